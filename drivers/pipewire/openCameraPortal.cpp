// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/openCameraPortal.h"

#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/Guarded.h"
#include "platform/Foundation/NSLog.h"

#include "drivers/Bus.h"
#include "drivers/PortalRequest.h"

#include <utility>

namespace velmora::drivers::pipewire {

namespace {

const BusObject portal { "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
    "org.freedesktop.portal.Camera" };

class CameraPortal final : public DaemonCapture {
public:
    CameraPortal(std::shared_ptr<Bus> bus, DaemonWish wish);

    std::string name() const override { return "pipewire"; }
    std::vector<std::shared_ptr<CaptureDeviceDriver>> devices() override;
    std::shared_ptr<CaptureDeviceDriver> defaultDevice(const std::string& mediaType) override;
    /// Not determined until somebody asked; what the user said last; denied when the portal took the cameras back.
    AVAuthorizationStatus authorizationStatus(const std::string& mediaType) override;
    /// Puts the question to the user; asks again after a refusal, which the portal may answer by itself.
    void requestAccess(const std::string& mediaType, std::function<void(bool)> answer) override;
    PictureCounts pictureCounts() const override;
    bool isConnected() const override;
    void setDevicePresence(DevicePresence told) override;

private:
    struct State;
    const std::shared_ptr<State> state_;
};

struct CameraPortal::State {
    State(std::shared_ptr<Bus> to, DaemonWish like)
        : bus(std::move(to))
        , wish(std::move(like))
    {
    }

    /// On the queue: the user may take his time.
    bool ask()
    {
        if (const auto open = capture.get(); open && open->isConnected())
            return true;
        try {
            const PortalRequest request(*bus);
            bus->call(portal, "AccessCamera", { request.options() });
            if (request.answer() != PortalRequest::Granted)
                return refuse("the user did not allow it");
            const auto remote = bus->call(portal, "OpenPipeWireRemote", { { 'D', {} } });
            DaemonWish through = wish;
            through.fileDescriptor = remote.empty() ? -1 : static_cast<int>(remote.front().number(-1));
            if (through.fileDescriptor < 0)
                return refuse("the portal opened no connection");
            auto opened = openPipeWire(through);
            opened->setDevicePresence(presence.get());
            capture.set(std::move(opened));
            status.set(AVAuthorizationStatusAuthorized);
            return true;
        } catch (const NSError& error) {
            return refuse(error.localizedDescription());
        }
    }
    bool refuse(const std::string& why)
    {
        NSLog("[PipeWire] The portal gives no cameras: %@.", why);
        status.set(AVAuthorizationStatusDenied);
        return false;
    }

    const DispatchQueue queue { "org.velmora.pipewire.portal" };
    const std::shared_ptr<Bus> bus;
    const DaemonWish wish;
    Guarded<AVAuthorizationStatus> status { AVAuthorizationStatusNotDetermined };
    Guarded<CaptureDriver::DevicePresence> presence;
    Guarded<std::shared_ptr<DaemonCapture>> capture; // empty until the user has allowed it
};

CameraPortal::CameraPortal(std::shared_ptr<Bus> bus, DaemonWish wish)
    : state_(std::make_shared<State>(std::move(bus), std::move(wish)))
{
}

std::vector<std::shared_ptr<CaptureDeviceDriver>> CameraPortal::devices()
{
    const auto capture = state_->capture.get();
    return capture ? capture->devices() : std::vector<std::shared_ptr<CaptureDeviceDriver>> {};
}

std::shared_ptr<CaptureDeviceDriver> CameraPortal::defaultDevice(const std::string& mediaType)
{
    const auto capture = state_->capture.get();
    return capture ? capture->defaultDevice(mediaType) : nullptr;
}

AVAuthorizationStatus CameraPortal::authorizationStatus(const std::string& /*mediaType*/)
{
    const auto capture = state_->capture.get();
    return capture && !capture->isConnected() ? AVAuthorizationStatusDenied : state_->status.get();
}

void CameraPortal::requestAccess(const std::string& /*mediaType*/, std::function<void(bool)> answer)
{
    state_->queue.async([state = state_, answer = std::move(answer)] {
        const bool granted = state->ask();
        if (answer)
            answer(granted);
    });
}

PictureCounts CameraPortal::pictureCounts() const
{
    const auto capture = state_->capture.get();
    return capture ? capture->pictureCounts() : PictureCounts {};
}

/// What was allowed is there at once: it is listed, and not told.
void CameraPortal::setDevicePresence(DevicePresence told)
{
    state_->presence.set(told);
    if (const auto capture = state_->capture.get())
        capture->setDevicePresence(std::move(told));
}

bool CameraPortal::isConnected() const
{
    const auto capture = state_->capture.get();
    return capture && capture->isConnected();
}

}

std::shared_ptr<DaemonCapture> openCameraPortal(const DaemonWish& wish)
{
    auto bus = Bus::open(Bus::Kind::Session);
    if (!bus || !bus->knows(portal.name))
        return nullptr;
    return std::make_shared<CameraPortal>(std::move(bus), wish);
}

}
