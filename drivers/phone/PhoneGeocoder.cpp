// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhoneGeocoder.h"

#include "platform/CoreLocation/CLLocation.h"

#include <utility>

namespace velmora::drivers::phone {

PhoneGeocoder::PhoneGeocoder(std::shared_ptr<PhoneState> state, std::shared_ptr<GeocodingDriver> before)
    : state_(std::move(state))
    , before_(std::move(before))
{
}

void PhoneGeocoder::answerNext(PlaceAnswer answer)
{
    const std::lock_guard lock(mutex_);
    prepared_.push_back(std::move(answer));
}

void PhoneGeocoder::reverseGeocode(std::shared_ptr<CLLocation> location, Answer answer)
{
    state_->note("reverseGeocode", "places");
    std::optional<PlaceAnswer> prepared;
    {
        const std::lock_guard lock(mutex_);
        if (!prepared_.empty()) {
            prepared = std::move(prepared_.front());
            prepared_.pop_front();
        }
    }
    if (!prepared && before_)
        return before_->reverseGeocode(std::move(location), std::move(answer));
    if (!prepared) {
        constexpr int foundNoResult = 8;
        prepared = PlaceAnswer { .error
            = NSError("kCLErrorDomain", foundNoResult, "The virtual phone knows no name for this place.") };
    }
    if (prepared->meanwhile)
        prepared->meanwhile();
    queue_.after(prepared->delay,
        [prepared = *prepared, answer = std::move(answer)] { answer(prepared.places, prepared.error); });
}

}
