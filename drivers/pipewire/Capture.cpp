// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/Capture.h"

#include "drivers/pipewire/Description.h"
#include "drivers/pipewire/FrameStream.h"

#include <cstdlib>
#include <utility>

namespace velmora::drivers::pipewire {

namespace {

constexpr const char* daemonGone = "was lost with the PipeWire daemon";

/// A node as a camera.
class NodeCamera final : public cameras::CameraSource {
public:
    NodeCamera(const std::shared_ptr<Daemon>& daemon, std::shared_ptr<Node> node)
        : daemon_(*daemon)
        , node_(std::move(node))
    {
    }
    CaptureDeviceDescription description() const override { return describe(*node_, daemon_.wish().deviceTree); }
    const std::vector<Offer>& offers() const override { return node_->offers; }
    const Controls& controls() const override { return node_->controls; }
    void set(const std::map<std::uint32_t, double>& values) override { daemon_.set(*node_, values); }
    std::unique_ptr<cameras::CameraStream> stream(const Offer& offer, Rate rate, cameras::StreamEvents events) override
    {
        return std::make_unique<FrameStream>(daemon_, *node_, offer, rate, std::move(events));
    }

private:
    Daemon& daemon_; // outlives the camera that has this
    const std::shared_ptr<Node> node_;
};

}

Capture::Capture(const DaemonWish& wish)
    : daemon_(std::make_shared<Daemon>(wish))
{
    const std::lock_guard guard(*daemon_);
    DaemonEvents events;
    events.appeared = [this](const std::shared_ptr<Node>& node) { appeared(node); };
    events.vanished = [this](const std::shared_ptr<Node>& node) { vanished(node); };
    events.valuesChanged = [this](const std::shared_ptr<Node>& node) {
        if (const auto found = cameras_.find(node->identity); found != cameras_.end())
            found->second->valuesChanged();
    };
    events.lost = [this] {
        forEach([](auto& device) { device.vanished(daemonGone, false); });
        for (const auto& identity : std::set(present_))
            tell(identity, false);
    };
    events.restored = [this] { forEach([](auto& device) { device.waitForReturn(); }); };
    events.givenUp = [this] { forEach([](auto& device) { device.givenUp(); }); };
    daemon_->setEvents(std::move(events));
    for (const auto& node : daemon_->nodes())
        appeared(node);
}

Capture::~Capture()
{
    const std::lock_guard guard(*daemon_);
    daemon_->setEvents({});
}

template <class Call> void Capture::forEach(Call call)
{
    for (const auto& [identity, camera] : cameras_)
        call(*camera);
    for (const auto& [identity, microphone] : microphones_)
        call(*microphone);
}

void Capture::appeared(const std::shared_ptr<Node>& node)
{
    if (node->isMicrophone) {
        auto& microphone = microphones_[node->identity];
        if (!microphone)
            microphone = std::make_shared<Microphone>(daemon_, node->identity);
        microphone->appeared(node);
        tell(node->identity, true);
        return;
    }
    if (node->offers.empty())
        return; // nothing that we could read
    const DaemonWish& wish = daemon_->wish();
    const cameras::CameraFamily family { "PipeWire", wish.returnWithin, wish.folders };
    auto& camera = cameras_[node->identity];
    if (!camera)
        camera = std::make_shared<cameras::Camera>(daemon_, counters_, family, node->identity);
    camera->appeared(std::make_shared<NodeCamera>(daemon_, node));
    tell(node->identity, true);
}

void Capture::vanished(const std::shared_ptr<Node>& node)
{
    if (const auto found = cameras_.find(node->identity); found != cameras_.end())
        found->second->vanished("was unplugged");
    if (const auto found = microphones_.find(node->identity); found != microphones_.end())
        found->second->vanished("was unplugged");
    tell(node->identity, false);
}

void Capture::setDevicePresence(DevicePresence told)
{
    const std::lock_guard guard(*daemon_);
    presence_ = std::move(told);
}

void Capture::tell(const std::string& identity, bool isThere)
{
    const bool isNews = isThere ? present_.insert(identity).second : present_.erase(identity) > 0;
    if (!isNews || !presence_)
        return;
    if (const auto camera = cameras_.find(identity); camera != cameras_.end())
        presence_(camera->second, isThere);
    else if (const auto microphone = microphones_.find(identity); microphone != microphones_.end())
        presence_(microphone->second, isThere);
}

std::vector<std::shared_ptr<CaptureDeviceDriver>> Capture::devices()
{
    const std::lock_guard guard(*daemon_);
    daemon_->catchUp();
    std::vector<std::shared_ptr<CaptureDeviceDriver>> all;
    const auto nodes = daemon_->nodes();
    for (const auto& node : nodes)
        if (const auto found = cameras_.find(node->identity); !node->isMicrophone && found != cameras_.end())
            all.push_back(found->second);
    for (const auto& node : nodes)
        if (const auto found = microphones_.find(node->identity); node->isMicrophone && found != microphones_.end())
            all.push_back(found->second);
    return all;
}

/// The wide-angle camera at the back, else the first; the microphone that the session manager likes best.
std::shared_ptr<CaptureDeviceDriver> Capture::defaultDevice(const std::string& mediaType)
{
    const auto all = devices();
    const std::lock_guard guard(*daemon_);
    std::shared_ptr<CaptureDeviceDriver> best;
    long bestPriority = 0;
    for (const auto& node : daemon_->nodes()) {
        if (node->isMicrophone != (mediaType == AVMediaTypeAudio))
            continue;
        for (const auto& device : all) {
            const auto description = device->description();
            if (description.uniqueID != node->identity)
                continue;
            const bool isUsual = description.position == AVCaptureDevicePositionBack
                && description.deviceType == AVCaptureDeviceTypeBuiltInWideAngleCamera;
            const long priority = node->isMicrophone
                ? 1 + std::strtol(node->property(PW_KEY_PRIORITY_SESSION).c_str(), nullptr, 10)
                : (isUsual ? 2 : 1);
            if (priority > bestPriority) {
                best = device;
                bestPriority = priority;
            }
        }
    }
    return best;
}

AVAuthorizationStatus Capture::authorizationStatus(const std::string& /*mediaType*/)
{
    return AVAuthorizationStatusAuthorized;
}

void Capture::requestAccess(const std::string& /*mediaType*/, std::function<void(bool)> answer)
{
    queue_.async([answer = std::move(answer)] { answer(true); });
}

PictureCounts Capture::pictureCounts() const
{
    return { counters_->handedOn, counters_->copied, counters_->converted };
}

bool Capture::isConnected() const
{
    const std::lock_guard guard(*daemon_);
    return daemon_->isConnected();
}

}
