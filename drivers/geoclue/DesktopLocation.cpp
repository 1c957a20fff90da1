// SPDX-License-Identifier: Apache-2.0
#include "drivers/geoclue/DesktopLocation.h"

#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreLocation/CLLocationManager.h"
#include "platform/Foundation/Clock.h"

#include <limits>
#include <utility>

namespace velmora::drivers::geoclue {

namespace {

constexpr int notDetermined = 0, denied = 2, authorizedWhenInUse = 4;

double numberIn(const BusDictionary& words, const char* key, double otherwise)
{
    const auto found = words.find(key);
    return found == words.end() ? otherwise : found->second.number(otherwise);
}

/// Seconds and microseconds since 1970, as a list; now without them.
double timeIn(const BusDictionary& words)
{
    const auto found = words.find("Timestamp");
    const auto* list = found == words.end() ? nullptr : std::get_if<std::shared_ptr<BusList>>(&found->second.held);
    if (!list || !*list || (*list)->size() < 2)
        return CFAbsoluteTimeGetCurrent();
    return (**list)[0].number(0) + (**list)[1].number(0) * 1e-6 - NSTimeIntervalSince1970;
}

/// Both services use the same words; what they do not know is negative, and an unknown height is the least number.
std::shared_ptr<CLLocation> locationFrom(const BusDictionary& words)
{
    CLLocation::Reading reading;
    reading.coordinate = { numberIn(words, "Latitude", 0), numberIn(words, "Longitude", 0) };
    reading.horizontalAccuracy = numberIn(words, "Accuracy", -1);
    const double unknown = std::numeric_limits<double>::lowest();
    if (const double altitude = numberIn(words, "Altitude", unknown); altitude > unknown / 2) {
        reading.altitude = altitude;
        reading.verticalAccuracy = reading.horizontalAccuracy; // the services tell one for both
    }
    reading.speed = numberIn(words, "Speed", -1);
    reading.course = numberIn(words, "Heading", -1);
    reading.timestamp = timeIn(words);
    return make<CLLocation>(reading);
}

}

struct DesktopLocation::State : std::enable_shared_from_this<DesktopLocation::State> {
    explicit State(std::unique_ptr<PositionService> of)
        : service(std::move(of))
    {
    }

    void tell(const std::function<void(const LocationEvents&)>& what)
    {
        std::map<std::uint64_t, std::shared_ptr<const LocationEvents>> now;
        {
            const std::lock_guard lock(mutex);
            now = listeners;
        }
        for (const auto& [id, events] : now)
            what(*events);
    }
    void setStatus(int next)
    {
        {
            const std::lock_guard lock(mutex);
            if (std::exchange(status, next) == next)
                return;
        }
        tell([next](const LocationEvents& events) {
            if (events.authorizationChanged)
                events.authorizationChanged(next);
        });
    }
    bool isWanted()
    {
        const std::lock_guard lock(mutex);
        return wanted > 0;
    }
    /// On the queue: the user may take his time.
    void begin()
    {
        if (running)
            return;
        try {
            service->begin([weak = weak_from_this()](const BusDictionary& words) {
                const auto self = weak.lock();
                if (!self || !self->isWanted())
                    return;
                self->tell([location = locationFrom(words)](const LocationEvents& events) {
                    if (events.moved)
                        events.moved({ location });
                });
            });
            running = true;
            setStatus(authorizedWhenInUse);
        } catch (const NSError& error) {
            if (error.code() == kCLErrorDenied)
                setStatus(denied);
            tell([&](const LocationEvents& events) {
                if (events.failed)
                    events.failed(error);
            });
        }
    }
    void end()
    {
        if (!std::exchange(running, false))
            return;
        service->end();
    }

    const DispatchQueue queue { "org.velmora.geoclue" };
    const std::unique_ptr<PositionService> service; // on the queue
    bool running = false;
    std::mutex mutex; // what follows
    std::map<std::uint64_t, std::shared_ptr<const LocationEvents>> listeners;
    std::uint64_t last = 0;
    int wanted = 0, status = notDetermined;
};

DesktopLocation::DesktopLocation(std::unique_ptr<PositionService> service)
    : state_(std::make_shared<State>(std::move(service)))
{
}

DesktopLocation::~DesktopLocation()
{
    state_->queue.async([state = state_] { state->end(); });
}

int DesktopLocation::authorizationStatus() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->status;
}

void DesktopLocation::requestWhenInUseAuthorization()
{
    state_->queue.async([state = state_] {
        state->begin();
        if (!state->isWanted())
            state->end(); // it was asked, not wanted
    });
}

Cancellable DesktopLocation::attach(LocationEvents events)
{
    const std::lock_guard lock(state_->mutex);
    const std::uint64_t id = ++state_->last;
    state_->listeners[id] = std::make_shared<const LocationEvents>(std::move(events));
    return Cancellable([state = state_, id] {
        std::shared_ptr<const LocationEvents> released; // after the lock
        const std::lock_guard guard(state->mutex);
        released = std::move(state->listeners[id]);
        state->listeners.erase(id);
    });
}

void DesktopLocation::start()
{
    {
        const std::lock_guard lock(state_->mutex);
        ++state_->wanted;
    }
    state_->queue.async([state = state_] { state->begin(); });
}

void DesktopLocation::stop()
{
    {
        const std::lock_guard lock(state_->mutex);
        if (state_->wanted > 0)
            --state_->wanted;
    }
    state_->queue.async([state = state_] {
        if (!state->isWanted())
            state->end();
    });
}

}
