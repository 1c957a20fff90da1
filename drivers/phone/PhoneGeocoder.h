// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/LocationDriver.h"
#include "platform/Foundation/DispatchQueue.h"

#include "drivers/phone/PhoneState.h"

#include <deque>
#include <memory>
#include <mutex>

namespace velmora::drivers::phone {

/// Answers with what the test prepared, one answer a question; other questions go to the geocoder that was installed
/// before the phone, and without one they find nothing.
class PhoneGeocoder final : public GeocodingDriver {
public:
    PhoneGeocoder(std::shared_ptr<PhoneState> state, std::shared_ptr<GeocodingDriver> before);

    void reverseGeocode(std::shared_ptr<CLLocation> location, Answer answer) override;
    void answerNext(PlaceAnswer answer);

private:
    const std::shared_ptr<PhoneState> state_;
    const std::shared_ptr<GeocodingDriver> before_;
    const DispatchQueue queue_ { "org.velmora.phone.places" };
    std::mutex mutex_;
    std::deque<PlaceAnswer> prepared_;
};

}
