// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhoneMotion.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace velmora::drivers::phone {

PhoneMotion::PhoneMotion(std::shared_ptr<PhoneState> state)
    : state_(std::move(state))
{
}

Cancellable PhoneMotion::start(double interval, Reading reading)
{
    constexpr double shortestInterval = 0.001;
    std::uint64_t id = 0;
    {
        const std::lock_guard lock(mutex_);
        id = ++lastListener_;
        listeners_.emplace(id, Listener { std::max(interval, shortestInterval), std::move(reading) });
    }
    if (!state_->description()->motion.empty())
        queue_.after(std::max(interval, shortestInterval), [weak = weak_from_this(), id] {
            if (const auto self = weak.lock())
                self->read(id);
        });
    return Cancellable([weak = weak_from_this(), id] {
        const auto self = weak.lock();
        if (!self)
            return;
        const std::lock_guard lock(self->mutex_);
        self->listeners_.erase(id);
    });
}

void PhoneMotion::read(std::uint64_t listener)
{
    Listener found;
    {
        const std::lock_guard lock(mutex_);
        const auto entry = listeners_.find(listener);
        if (entry == listeners_.end())
            return;
        found = entry->second;
    }
    queue_.after(found.interval, [weak = weak_from_this(), listener] {
        if (const auto self = weak.lock())
            self->read(listener);
    });
    found.reading(CMAccelerometerData { acceleration(), state_->clock().now() }, std::nullopt);
}

void PhoneMotion::tilt(CMAcceleration acceleration, std::optional<NSError> error)
{
    std::optional<CMAccelerometerData> data;
    if (!error)
        data = CMAccelerometerData { acceleration, state_->clock().now() };
    held(); // what it was until now counts when it comes to lie flat
    const std::lock_guard lock(mutex_);
    tilted_ = TimedAcceleration { state_->now(), acceleration };
    for (const auto& [id, listener] : listeners_)
        queue_.async([weak = weak_from_this(), id = id, reading = listener.reading, data, error] {
            if (const auto self = weak.lock()) {
                const std::lock_guard still(self->mutex_);
                if (!self->listeners_.contains(id))
                    return;
            }
            reading(data, error);
        });
}

TimedAcceleration PhoneMotion::latest() const
{
    TimedAcceleration latest { -INFINITY, { 0, -1, 0 } };
    const double now = state_->now();
    for (const auto& scripted : state_->description()->motion)
        if (scripted.at <= now && scripted.at >= latest.at)
            latest = scripted;
    const std::lock_guard lock(mutex_);
    return tilted_ && tilted_->at >= latest.at ? *tilted_ : latest;
}

CMAcceleration PhoneMotion::acceleration() const
{
    return latest().acceleration;
}

Held PhoneMotion::held() const
{
    const auto [x, y, z] = acceleration();
    const std::lock_guard lock(mutex_);
    const double flat = std::max(std::abs(x), std::abs(y));
    if (flat == 0 || std::abs(z) > flat)
        return held_;
    if (std::abs(y) >= std::abs(x))
        return held_ = y < 0 ? Held::Upright : Held::UpsideDown;
    return held_ = x < 0 ? Held::TopLeft : Held::TopRight;
}

}
