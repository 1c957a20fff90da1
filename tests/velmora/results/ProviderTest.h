// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/results/QVLocationProvider.h"

#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreLocation/CLPlacemark.h"
#include "platform/Foundation/NSNotificationCenter.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/PhoneTest.h"

namespace velmora::tests {

inline std::shared_ptr<CLPlacemark> town(const std::string& name)
{
    return make<CLPlacemark>(CLPlacemark::Names { .locality = name });
}

inline std::shared_ptr<CLPlacemark> park(const std::string& name, const std::string& inTown)
{
    return make<CLPlacemark>(CLPlacemark::Names { .locality = inTown, .areasOfInterest = { { name } } });
}

/// A provider on a phone whose user allows the location while the application is in use.
class ProviderTest : public PhoneTest {
protected:
    void permit(int status)
    {
        phone.change([status](auto& description) { description.permissions.location = status; });
        clock.advance(0);
    }
    void start()
    {
        provider->start();
        clock.advance(0);
    }
    /// Metres east of (0, 0), along the equator.
    void moveTo(double metres) { moveTo(make<CLLocation>(0.0, metres / 111319.49079327358)); }
    void moveTo(const std::shared_ptr<CLLocation>& location)
    {
        phone.moveTo({ location });
        clock.advance(0);
    }
    void answer(std::vector<std::shared_ptr<CLPlacemark>> places)
    {
        phone.answerNextGeocode({ .places = std::move(places), .delay = 0 });
    }
    void failGeocoding() { phone.answerNextGeocode({ .error = NSError("kCLErrorDomain", 2), .delay = 0 }); }
    void failLocation(std::int64_t code)
    {
        phone.failLocation(NSError("kCLErrorDomain", code));
        clock.advance(0);
    }

    /// How often something reached the device since the last call of `forget`.
    std::size_t count(const std::string& what) const
    {
        std::size_t found = 0;
        const auto& journal = phone.journal();
        for (std::size_t i = forgotten; i < journal.size(); ++i)
            found += journal[i].what == what ? 1 : 0;
        return found;
    }
    std::size_t geocodes() const { return count("reverseGeocode"); }
    void forget() { forgotten = phone.journal().size(); }

    std::shared_ptr<QVLocationProvider> provider = make<QVLocationProvider>();
    CapturedLog log;
    std::size_t forgotten = 0;
};

}
