// SPDX-License-Identifier: Apache-2.0
#include "drivers/gpsd/DaemonLocation.h"

#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreLocation/CLLocationManager.h"
#include "platform/Foundation/Clock.h"
#include "platform/Foundation/NSLog.h"

#include <gps.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <functional>
#include <utility>

namespace velmora::drivers::gpsd {

namespace {

constexpr int authorizedWhenInUse = 4;
constexpr double metresForDilution = 5; // of a position, for each unit of its dilution: an ordinary receiver

double accuracyOf(double told, double dilution)
{
    if (std::isfinite(told) && told > 0)
        return told;
    return std::isfinite(dilution) && dilution > 0 ? metresForDilution * dilution : -1;
}

/// Nothing for a report without a place: the first ones hold none.
std::shared_ptr<CLLocation> locationIn(const gps_data_t& data)
{
    const gps_fix_t& fix = data.fix;
    constexpr gps_mask_t needed = MODE_SET | LATLON_SET;
    if ((data.set & needed) != needed || fix.mode < MODE_2D || !std::isfinite(fix.latitude)
        || !std::isfinite(fix.longitude))
        return nullptr;
    CLLocation::Reading reading;
    reading.coordinate = { fix.latitude, fix.longitude };
    const double crosswise = std::hypot(fix.epx, fix.epy);
    reading.horizontalAccuracy = accuracyOf(std::isfinite(fix.eph) ? fix.eph : crosswise, data.dop.hdop);
    if (fix.mode >= MODE_3D) {
        const double altitude = std::isfinite(fix.altMSL) ? fix.altMSL : fix.altHAE;
        if (std::isfinite(altitude)) {
            reading.altitude = altitude;
            reading.verticalAccuracy = accuracyOf(fix.epv, data.dop.vdop);
        }
    }
    if (std::isfinite(fix.speed) && fix.speed >= 0)
        reading.speed = fix.speed;
    if (std::isfinite(fix.track) && fix.track >= 0 && reading.speed > 0)
        reading.course = fix.track;
    const double seconds = static_cast<double>(fix.time.tv_sec) + static_cast<double>(fix.time.tv_nsec) * 1e-9;
    reading.timestamp = fix.time.tv_sec > 0 ? seconds - NSTimeIntervalSince1970 : CFAbsoluteTimeGetCurrent();
    return make<CLLocation>(reading);
}

bool isSameReport(const CLLocation& a, const CLLocation& b)
{
    return a.timestamp() == b.timestamp() && a.coordinate().latitude == b.coordinate().latitude
        && a.coordinate().longitude == b.coordinate().longitude;
}

}

void DaemonLocation::Listeners::tell(const std::function<void(const LocationEvents&)>& what)
{
    std::map<std::uint64_t, std::shared_ptr<const LocationEvents>> now;
    {
        const std::lock_guard lock(mutex);
        now = all;
    }
    for (const auto& [id, events] : now)
        what(*events);
}

/// What the thread does until it is ended.
struct DaemonLocation::Reader {
    Reader(DaemonAddress where, double retryAfter, std::shared_ptr<Listeners> to)
        : address(std::move(where))
        , retry(retryAfter)
        , listeners(std::move(to))
    {
    }
    ~Reader() { close(ending); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    void end() const
    {
        const std::uint64_t one = 1;
        if (write(ending, &one, sizeof one) < 0)
            return; // it has ended already
    }
    /// Waits for the daemon, or for `seconds`; true when it shall end.
    bool waitsInVain(int daemon, double seconds) const
    {
        std::array<pollfd, 2> both { pollfd { ending, POLLIN, 0 }, pollfd { daemon, POLLIN, 0 } };
        poll(both.data(), daemon >= 0 ? 2 : 1, seconds < 0 ? -1 : static_cast<int>(seconds * 1000));
        return (both[0].revents & POLLIN) != 0;
    }
    void run()
    {
        for (;;) {
            gps_data_t data {};
            if (gps_open(address.host.c_str(), address.port.c_str(), &data) == 0) {
                told = false;
                gps_stream(&data, WATCH_ENABLE | WATCH_JSON, nullptr);
                const bool ended = listenTo(data);
                if (ended)
                    gps_stream(&data, WATCH_DISABLE, nullptr);
                gps_close(&data);
                if (ended)
                    return;
            }
            tellLoss();
            if (waitsInVain(-1, retry))
                return;
        }
    }
    /// True when it shall end, false when the daemon is gone.
    bool listenTo(gps_data_t& data)
    {
        for (;;) {
            // The library keeps what it has read already; its own question never waits.
            if (!gps_waiting(&data, 0) && waitsInVain(static_cast<int>(data.gps_fd), -1))
                return true;
            if (gps_read(&data, nullptr, 0) < 0)
                return false;
            const auto location = locationIn(data);
            if (!location || (last && isSameReport(*location, *last)))
                continue;
            last = location;
            listeners->tell([&](const LocationEvents& events) {
                if (events.moved)
                    events.moved({ location });
            });
        }
    }
    void tellLoss()
    {
        if (std::exchange(told, true))
            return;
        NSLog("[LocationDriver] gpsd at %@:%@ is gone; looking for it again.", address.host, address.port);
        const NSError error(kCLErrorDomain, kCLErrorLocationUnknown,
            "The place is not known, because gpsd at " + address.host + ":" + address.port
                + " does not answer; start it.");
        listeners->tell([&](const LocationEvents& events) {
            if (events.failed)
                events.failed(error);
        });
    }

    const DaemonAddress address;
    const double retry;
    const std::shared_ptr<Listeners> listeners;
    const int ending = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    std::shared_ptr<CLLocation> last;
    bool told = false;
};

DaemonLocation::DaemonLocation(DaemonAddress address, double retry)
    : address_(std::move(address))
    , retry_(retry)
{
}

DaemonLocation::~DaemonLocation()
{
    if (!reader_)
        return;
    reader_->end();
    thread_.join();
}

bool DaemonLocation::answers() const
{
    gps_data_t data {};
    if (gps_open(address_.host.c_str(), address_.port.c_str(), &data) != 0)
        return false;
    gps_close(&data);
    return true;
}

int DaemonLocation::authorizationStatus() const
{
    return authorizedWhenInUse;
}

void DaemonLocation::requestWhenInUseAuthorization()
{
    listeners_->tell([](const LocationEvents& events) {
        if (events.authorizationChanged)
            events.authorizationChanged(authorizedWhenInUse);
    });
}

Cancellable DaemonLocation::attach(LocationEvents events)
{
    const std::lock_guard lock(listeners_->mutex);
    const std::uint64_t id = ++listeners_->last;
    listeners_->all[id] = std::make_shared<const LocationEvents>(std::move(events));
    return Cancellable([listeners = listeners_, id] {
        std::shared_ptr<const LocationEvents> released; // after the lock
        const std::lock_guard guard(listeners->mutex);
        released = std::move(listeners->all[id]);
        listeners->all.erase(id);
    });
}

void DaemonLocation::start()
{
    const std::lock_guard lock(mutex_);
    if (++wanted_ != 1)
        return;
    reader_ = std::make_shared<Reader>(address_, retry_, listeners_);
    thread_ = std::thread([reader = reader_] { reader->run(); });
}

void DaemonLocation::stop()
{
    std::thread thread;
    {
        const std::lock_guard lock(mutex_);
        if (wanted_ == 0 || --wanted_ > 0)
            return;
        reader_->end();
        reader_.reset();
        thread = std::move(thread_);
    }
    if (thread.get_id() == std::this_thread::get_id())
        thread.detach(); // one of its own listeners stopped it
    else
        thread.join();
}

}
