// SPDX-License-Identifier: Apache-2.0
#include "drivers/v4l2/Capture.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <string_view>
#include <utility>

namespace velmora::drivers::v4l2 {

namespace {

constexpr double untilNamed = 0.05; // seconds that udev has to give a new device its owner and its properties
constexpr double whileAway = 0.2; // seconds between two looks for a camera that went

}

std::shared_ptr<KernelCapture> openV4L2(const KernelWish& wish)
{
    return std::make_shared<Capture>(wish);
}

Capture::Capture(KernelWish wish)
    : wish_(std::move(wish))
    , loop_(Loop::begin())
{
    const std::lock_guard guard(*loop_);
    rescanTimer_ = loop_->timer([this] { rescan(); });
    watchFolder();
    rescan();
}

Capture::~Capture()
{
    const std::lock_guard guard(*loop_);
    folderWatch_.reset();
    rescanTimer_.reset();
    for (const auto& [node, device] : present_)
        device->setEvents({ [] {}, {} });
    if (inotify_ >= 0)
        close(inotify_);
}

void Capture::watchFolder()
{
    inotify_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    constexpr std::uint32_t news = IN_CREATE | IN_DELETE | IN_ATTRIB | IN_MOVED_TO | IN_MOVED_FROM;
    if (inotify_ < 0 || inotify_add_watch(inotify_, wish_.folders.devices.c_str(), news) < 0) {
        const NSError error = errorFromErrno(errno, "The devices in " + wish_.folders.devices + " cannot be watched");
        if (inotify_ >= 0)
            close(inotify_);
        throw error;
    }
    folderWatch_ = loop_->watch(inotify_, POLLIN, [this](short) { somethingHappened(); });
}

void Capture::somethingHappened()
{
    alignas(inotify_event) std::array<char, 4096> events {};
    bool isVideo = false;
    for (ssize_t size = 0; (size = read(inotify_, events.data(), events.size())) > 0;)
        for (ssize_t at = 0; at < size;) {
            const auto* event = reinterpret_cast<const inotify_event*>(events.data() + at);
            isVideo = isVideo || (event->len > 0 && std::string_view(event->name).starts_with("video"));
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    if (isVideo)
        rescanTimer_->once(untilNamed);
}

void Capture::rescan()
{
    for (const auto& node : std::exchange(gone_, {}))
        unplugged(node);
    const auto found = videoDevices(wish_);
    std::map<std::string, std::shared_ptr<Device>> gone = present_;
    for (const auto& each : found) {
        const auto known = present_.find(each.node);
        if (known != present_.end() && known->second->found() == each) {
            gone.erase(each.node);
            continue;
        }
        if (known != present_.end())
            unplugged(each.node); // another took its number
        gone.erase(each.node);
        if (const auto device = Device::open(*loop_, wish_, each))
            take(device);
    }
    for (const auto& [node, device] : gone)
        unplugged(node);
    if (cameras::steadySeconds() < lookUntil_)
        rescanTimer_->once(whileAway);
}

void Capture::take(const std::shared_ptr<Device>& device)
{
    const std::string node = device->found().node, identity = device->identity();
    const bool isTwin = std::any_of(
        present_.begin(), present_.end(), [&](const auto& each) { return each.second->identity() == identity; });
    if (isTwin)
        return;
    present_[node] = device;
    if (std::find(order_.begin(), order_.end(), identity) == order_.end())
        order_.push_back(identity);
    auto& camera = cameras_[identity];
    if (!camera)
        camera = std::make_shared<cameras::Camera>(
            loop_, counters_, cameras::CameraFamily { "V4L2", wish_.returnWithin, wish_.folders }, identity);
    device->setEvents({ [this, node] { // not in the stream's own call, which ends with the camera
                           gone_.push_back(node);
                           rescanTimer_->once(0);
                       },
        [this, identity] { cameras_.at(identity)->valuesChanged(); } });
    camera->appeared(device);
    if (presence_)
        presence_(camera, true);
}

void Capture::setDevicePresence(DevicePresence told)
{
    const std::lock_guard guard(*loop_);
    presence_ = std::move(told);
}

void Capture::unplugged(const std::string& node)
{
    const auto found = present_.find(node);
    if (found == present_.end())
        return;
    const auto device = found->second;
    present_.erase(found);
    lookUntil_ = cameras::steadySeconds() + wish_.returnWithin;
    const auto& camera = cameras_.at(device->identity());
    camera->vanished("was unplugged");
    if (presence_)
        presence_(camera, false);
}

std::vector<std::shared_ptr<CaptureDeviceDriver>> Capture::devices()
{
    const std::lock_guard guard(*loop_);
    rescan();
    std::vector<std::shared_ptr<CaptureDeviceDriver>> all;
    for (const auto& identity : order_)
        if (std::any_of(present_.begin(), present_.end(),
                [&](const auto& each) { return each.second->identity() == identity; }))
            all.push_back(cameras_.at(identity));
    return all;
}

/// The wide-angle camera at the back, else the first.
std::shared_ptr<CaptureDeviceDriver> Capture::defaultDevice(const std::string& mediaType)
{
    const auto all = devices();
    if (mediaType != AVMediaTypeVideo || all.empty())
        return nullptr;
    const auto usual = std::find_if(all.begin(), all.end(), [](const auto& device) {
        const auto description = device->description();
        return description.position == AVCaptureDevicePositionBack
            && description.deviceType == AVCaptureDeviceTypeBuiltInWideAngleCamera;
    });
    return usual == all.end() ? all.front() : *usual;
}

AVAuthorizationStatus Capture::authorizationStatus(const std::string& /*mediaType*/)
{
    return AVAuthorizationStatusAuthorized;
}

void Capture::requestAccess(const std::string& /*mediaType*/, std::function<void(bool)> answer)
{
    queue_.async([answer = std::move(answer)] { answer(true); });
}

cameras::PictureCounts Capture::pictureCounts() const
{
    return { counters_->handedOn, counters_->copied, counters_->converted };
}

}
