// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhoneLocation.h"

#include "platform/CoreLocation/CLLocation.h"

#include <optional>
#include <utility>

namespace velmora::drivers::phone {

namespace {
constexpr int allowedAlways = 3, allowedInUse = 4;
}

PhoneLocation::PhoneLocation(std::shared_ptr<PhoneState> state)
    : state_(std::move(state))
{
}

int PhoneLocation::authorizationStatus() const
{
    return state_->description()->permissions.location;
}

void PhoneLocation::requestWhenInUseAuthorization()
{
    state_->note("requestWhenInUseAuthorization", "location");
}

bool PhoneLocation::announcesAuthorizationAtCreation() const
{
    return state_->description()->permissions.locationAnnouncedAtCreation;
}

Cancellable PhoneLocation::attach(LocationEvents events)
{
    const std::lock_guard lock(mutex_);
    const std::uint64_t id = ++lastManager_;
    managers_.emplace(id, std::make_shared<const LocationEvents>(std::move(events)));
    return Cancellable([weak = weak_from_this(), id] {
        const auto self = weak.lock();
        if (!self)
            return;
        const std::lock_guard still(self->mutex_);
        self->managers_.erase(id);
    });
}

void PhoneLocation::start()
{
    state_->note("start", "location");
    std::uint64_t run = 0;
    bool first = false;
    {
        const std::lock_guard lock(mutex_);
        first = ++wanted_ == 1;
        run = first ? ++run_ : run_;
    }
    // Where it is now: what moves before the queue's turn is told by itself.
    queue_.async([weak = weak_from_this(), run, first, here = current()] {
        const auto self = weak.lock();
        if (!self)
            return;
        if (here)
            self->deliver({ here });
        if (first)
            self->followTrack(run);
    });
}

void PhoneLocation::stop()
{
    state_->note("stop", "location");
    const std::lock_guard lock(mutex_);
    --wanted_;
}

/// Waits for the track's next entry and tells it, as long as positions flow.
void PhoneLocation::followTrack(std::uint64_t run)
{
    const double now = state_->now();
    std::optional<TimedLocation> next;
    for (const auto& entry : state_->description()->track)
        if (entry.at > now && (!next || entry.at < next->at))
            next = entry;
    if (!next)
        return;
    queue_.after(next->at - now, [weak = weak_from_this(), run, next = *next] {
        const auto self = weak.lock();
        if (!self)
            return;
        {
            const std::lock_guard lock(self->mutex_);
            if (self->wanted_ == 0 || self->run_ != run)
                return;
        }
        self->deliver({ next.location });
        self->followTrack(run);
    });
}

std::shared_ptr<CLLocation> PhoneLocation::current() const
{
    const double now = state_->now();
    const auto description = state_->description();
    const std::lock_guard lock(mutex_);
    TimedLocation latest = moved_;
    for (const auto& entry : description->track)
        if (entry.at <= now && (!latest.location || entry.at > latest.at))
            latest = entry;
    return latest.location;
}

void PhoneLocation::moveTo(std::vector<std::shared_ptr<CLLocation>> batch)
{
    if (batch.empty())
        return;
    {
        const std::lock_guard lock(mutex_);
        moved_ = { state_->now(), batch.back() };
        if (wanted_ == 0)
            return; // it is told at the next start
    }
    queue_.async([weak = weak_from_this(), batch = std::move(batch)] {
        if (const auto self = weak.lock())
            self->deliver(batch);
    });
}

void PhoneLocation::deliver(const std::vector<std::shared_ptr<CLLocation>>& batch)
{
    const int status = authorizationStatus();
    if (status != allowedAlways && status != allowedInUse)
        return;
    {
        const std::lock_guard lock(mutex_);
        if (wanted_ == 0)
            return;
    }
    tell([&](const LocationEvents& events) {
        if (events.moved)
            events.moved(batch);
    });
}

void PhoneLocation::fail(const NSError& error)
{
    queue_.async([weak = weak_from_this(), error] {
        if (const auto self = weak.lock())
            self->tell([&](const LocationEvents& events) {
                if (events.failed)
                    events.failed(error);
            });
    });
}

void PhoneLocation::authorizationChanged(int status)
{
    queue_.async([weak = weak_from_this(), status] {
        if (const auto self = weak.lock())
            self->tell([&](const LocationEvents& events) {
                if (events.authorizationChanged)
                    events.authorizationChanged(status);
            });
    });
}

void PhoneLocation::tell(const std::function<void(const LocationEvents&)>& what)
{
    std::map<std::uint64_t, std::shared_ptr<const LocationEvents>> managers; // they come and go while they are told
    {
        const std::lock_guard lock(mutex_);
        managers = managers_;
    }
    for (const auto& [id, events] : managers)
        what(*events);
}

}
