// SPDX-License-Identifier: Apache-2.0
#include "drivers/geoclue/GeoClue.h"

#include "platform/CoreLocation/CLLocationManager.h"
#include "platform/Foundation/NSBundle.h"

#include <utility>

namespace velmora::drivers::geoclue {

namespace {

constexpr std::int64_t exact = 8; // the service's word for the best that there is
constexpr double userDecidesWithin = 30; // seconds; without an agent of the desktop nobody ever answers

NSError refused(const NSError& error)
{
    const bool byUser = error.domain() == "org.freedesktop.DBus.Error.AccessDenied";
    return { kCLErrorDomain, byUser ? kCLErrorDenied : kCLErrorLocationUnknown,
        byUser ? "The place may not be read; allow it in the system's settings."
               : "The place is not known, because " + error.localizedDescription() };
}

}

GeoClue::GeoClue(std::shared_ptr<Bus> bus)
    : bus_(std::move(bus))
{
}

void GeoClue::begin(std::function<void(const BusDictionary&)> moved)
{
    try {
        const auto made = bus_->call(
            { name, "/org/freedesktop/GeoClue2/Manager", "org.freedesktop.GeoClue2.Manager" }, "GetClient");
        if (made.empty() || !made.front().text())
            throw NSError(kCLErrorDomain, kCLErrorLocationUnknown, "GeoClue gave no client");
        client_ = { name, *made.front().text(), "org.freedesktop.GeoClue2.Client" };
        bus_->setProperty(client_, "DesktopId", { std::string("org.velmora.Velmora") });
        bus_->setProperty(client_, "RequestedAccuracyLevel", { exact });
        // The bus's thread must not wait for an answer that itself would bring.
        updates_ = bus_->listen(client_, "LocationUpdated", [bus = bus_, queue = queue_, moved](const BusList& places) {
            if (places.size() < 2 || !places[1].text())
                return;
            queue.async([bus, moved, path = *places[1].text()] {
                try {
                    moved(bus->properties({ name, path, "org.freedesktop.GeoClue2.Location" }));
                } catch (const NSError&) {
                    return; // a newer one took its place
                }
            });
        });
        bus_->call(client_, "Start", {}, userDecidesWithin);
    } catch (const NSError& error) {
        updates_.cancel();
        throw refused(error);
    }
}

void GeoClue::end()
{
    updates_.cancel();
    try {
        bus_->call(client_, "Stop");
    } catch (const NSError&) {
        return; // the service has gone, and its client with it
    }
}

}
