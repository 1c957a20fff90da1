// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/Capture.h"

#include <cstdlib>
#include <utility>

namespace velmora::drivers::pipewire {

namespace {
constexpr const char* daemonGone = "was lost with the PipeWire daemon";
}

Capture::Capture(const DaemonWish& wish)
    : daemon_(std::make_shared<Daemon>(wish))
{
    const auto guard = daemon_->lock();
    DaemonEvents events;
    events.appeared = [this](const std::shared_ptr<Node>& node) { appeared(node); };
    events.vanished = [this](const std::shared_ptr<Node>& node) { vanished(node); };
    events.valuesChanged = [this](const std::shared_ptr<Node>& node) {
        if (const auto found = cameras_.find(node->identity); found != cameras_.end())
            found->second->valuesChanged();
    };
    events.lost = [this] { forEach([](auto& device) { device.vanished(daemonGone); }); };
    events.restored = [this] { forEach([](auto& device) { device.waitForReturn(); }); };
    events.givenUp = [this] { forEach([](auto& device) { device.givenUp(); }); };
    daemon_->setEvents(std::move(events));
    for (const auto& node : daemon_->nodes())
        appeared(node);
}

Capture::~Capture()
{
    const auto guard = daemon_->lock();
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
        return;
    }
    if (node->offers.empty())
        return; // nothing that we could read
    auto& camera = cameras_[node->identity];
    if (!camera)
        camera = std::make_shared<Camera>(daemon_, counters_, node->identity);
    camera->appeared(node);
}

void Capture::vanished(const std::shared_ptr<Node>& node)
{
    if (const auto found = cameras_.find(node->identity); found != cameras_.end())
        found->second->vanished("was unplugged");
    if (const auto found = microphones_.find(node->identity); found != microphones_.end())
        found->second->vanished("was unplugged");
}

std::vector<std::shared_ptr<CaptureDeviceDriver>> Capture::devices()
{
    const auto guard = daemon_->lock();
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
    const auto guard = daemon_->lock();
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
    const auto guard = daemon_->lock();
    return daemon_->isConnected();
}

}
