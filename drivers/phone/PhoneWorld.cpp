// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhoneWorld.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace velmora::drivers::phone {

PhoneWorld::PhoneWorld(std::shared_ptr<PhoneState> state, std::shared_ptr<const PhoneMotion> motion)
    : state_(std::move(state))
    , motion_(std::move(motion))
    , scene_(Scene::open(state_->description()->footage))
{
}

const Camera* PhoneWorld::find(const PhoneDescription& description, const std::string& id) const
{
    const auto found = std::find_if(
        description.cameras.begin(), description.cameras.end(), [&](const Camera& camera) { return camera.id == id; });
    return found == description.cameras.end() ? nullptr : &*found;
}

std::shared_ptr<Scene> PhoneWorld::scene() const
{
    const std::lock_guard lock(mutex_);
    return scene_;
}

void PhoneWorld::setScene(std::shared_ptr<Scene> scene)
{
    const std::lock_guard lock(mutex_);
    scene_.swap(scene);
}

Turn PhoneWorld::turn(AVCaptureDevicePosition position) const
{
    // Sensors are mounted lying. The front one looks the other way, so turning the phone turns its picture the other
    // way round.
    const bool front = position == AVCaptureDevicePositionFront;
    switch (motion_->held()) {
    case Held::Upright:
        return Turn::Left;
    case Held::UpsideDown:
        return Turn::Right;
    case Held::TopLeft:
        return front ? Turn::Around : Turn::None;
    case Held::TopRight:
        break;
    }
    return front ? Turn::None : Turn::Around;
}

void PhoneWorld::fullAfter(std::uint64_t bytes)
{
    const std::lock_guard lock(mutex_);
    bytesLeft_ = bytes;
}

std::optional<NSError> PhoneWorld::store(std::uint64_t bytes)
{
    const std::uint64_t described = state_->description()->storage.bytesFree;
    const std::lock_guard lock(mutex_);
    if (described != bytesDescribed_) { // at first, and when it was told anew
        bytesDescribed_ = described;
        bytesUsed_ = 0;
    }
    const std::uint64_t left = std::min(described - bytesUsed_, bytesLeft_.value_or(described));
    if (bytes > left)
        return NSError(NSPOSIXErrorDomain, ENOSPC,
            "The phone is full: " + std::to_string(bytes) + " bytes may be needed and " + std::to_string(left)
                + " are left; delete something.");
    bytesUsed_ += bytes;
    if (bytesLeft_)
        *bytesLeft_ -= bytes;
    return std::nullopt;
}

void PhoneWorld::scriptNextPhoto(std::vector<PhotoEvent> events)
{
    const std::lock_guard lock(mutex_);
    scripts_.push_back(std::move(events));
}

std::optional<std::vector<PhotoEvent>> PhoneWorld::nextScript()
{
    const std::lock_guard lock(mutex_);
    if (scripts_.empty())
        return std::nullopt;
    auto script = std::move(scripts_.front());
    scripts_.pop_front();
    return script;
}

}
