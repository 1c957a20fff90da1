// SPDX-License-Identifier: Apache-2.0
#include "drivers/CameraOffers.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace velmora::drivers::cameras {

Rate nearestRate(const Offer& offer, double wanted)
{
    if (offer.between) {
        constexpr std::uint32_t thousand = 1000;
        const double value = std::clamp(wanted, offer.between->first.value(), offer.between->second.value());
        const double whole = std::round(value);
        if (std::abs(value - whole) < 1.0 / thousand)
            return { static_cast<std::uint32_t>(whole), 1 };
        return { static_cast<std::uint32_t>(std::lround(value * thousand)), thousand };
    }
    if (offer.rates.empty())
        return {};
    return *std::min_element(offer.rates.begin(), offer.rates.end(),
        [wanted](const Rate& a, const Rate& b) { return std::abs(a.value() - wanted) < std::abs(b.value() - wanted); });
}

double distance(const Offer& offer, double wanted)
{
    return std::abs(nearestRate(offer, wanted).value() - wanted);
}

const Offer* bestOffer(const std::vector<Offer>& offers, CMVideoDimensions size, double wanted)
{
    const Offer* best = nullptr;
    const auto isBetter = [&](const Offer& offer) {
        if (!best || isBayer(offer.layout) != isBayer(best->layout))
            return !best || isBayer(best->layout);
        constexpr double same = 0.5; // frames a second: 29.97 is as good as 30
        const double difference = distance(offer, wanted) - distance(*best, wanted);
        return std::abs(difference) > same ? difference < 0 : offer.layout < best->layout;
    };
    for (const Offer& offer : offers)
        if (offer.size == size && isBetter(offer))
            best = &offer;
    return best;
}

bool isPicture(CMVideoDimensions size)
{
    constexpr std::int32_t largest = 32768; // pixels
    return size.width > 0 && size.height > 0 && size.width <= largest && size.height <= largest;
}

std::vector<CMVideoDimensions> sizesBetween(CMVideoDimensions usual, CMVideoDimensions least, CMVideoDimensions most)
{
    constexpr std::array<CMVideoDimensions, 8> common { { { 4032, 3024 }, { 3840, 2160 }, { 2592, 1944 },
        { 1920, 1440 }, { 1920, 1080 }, { 1280, 720 }, { 640, 480 }, { 320, 240 } } };
    std::vector<CMVideoDimensions> sizes;
    const auto add = [&](CMVideoDimensions size) {
        if (isPicture(size) && std::find(sizes.begin(), sizes.end(), size) == sizes.end())
            sizes.push_back(size);
    };
    add(usual);
    add(most);
    for (const auto& each : common)
        if (each.width >= least.width && each.height >= least.height && each.width <= most.width
            && each.height <= most.height)
            add(each);
    return sizes;
}

}
