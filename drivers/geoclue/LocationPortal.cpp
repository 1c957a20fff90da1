// SPDX-License-Identifier: Apache-2.0
#include "drivers/geoclue/LocationPortal.h"

#include "platform/CoreLocation/CLLocationManager.h"

#include "drivers/PortalRequest.h"

#include <utility>

namespace velmora::drivers::geoclue {

namespace {
const BusObject portal { LocationPortal::name, "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Location" };
}

LocationPortal::LocationPortal(std::shared_ptr<Bus> bus)
    : bus_(std::move(bus))
{
}

void LocationPortal::begin(std::function<void(const BusDictionary&)> moved)
{
    try {
        BusDictionary options { { "session_handle_token", { std::string("velmora") } } };
        const auto made
            = bus_->call(portal, "CreateSession", { { 'D', { std::make_shared<BusDictionary>(std::move(options)) } } });
        session_ = made.empty() || !made.front().text() ? "" : *made.front().text();
        updates_ = bus_->listen(
            portal, "LocationUpdated", [session = session_, moved = std::move(moved)](const BusList& update) {
                if (update.size() > 1 && update[0].text() && *update[0].text() == session)
                    moved(update[1].dictionary());
            });
        PortalRequest request(*bus_);
        bus_->call(portal, "Start", { { 'o', { session_ } }, { 's', { std::string() } }, request.options() });
        if (request.answer() == PortalRequest::Granted)
            return;
    } catch (const NSError& error) {
        end();
        throw NSError(
            kCLErrorDomain, kCLErrorLocationUnknown, "The place is not known, because " + error.localizedDescription());
    }
    end();
    throw NSError(kCLErrorDomain, kCLErrorDenied, "The place may not be read; allow it in the system's settings.");
}

void LocationPortal::end()
{
    updates_.cancel();
    try {
        if (!session_.empty())
            bus_->call({ name, session_, "org.freedesktop.portal.Session" }, "Close");
    } catch (const NSError&) {
        session_.clear(); // the portal has ended it
    }
    session_.clear();
}

}
