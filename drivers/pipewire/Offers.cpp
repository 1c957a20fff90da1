// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/Offers.h"

#include "drivers/pipewire/Pods.h"

#include <spa/param/format-utils.h>
#include <spa/param/video/color.h>
#include <spa/param/video/raw.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace velmora::drivers::pipewire {

namespace {

struct Known {
    CameraLayout layout;
    FormatIds ids;
};
/// In the order of what they cost.
constexpr std::array known {
    Known { CameraLayout::NV12, { SPA_MEDIA_SUBTYPE_raw, SPA_VIDEO_FORMAT_NV12 } },
    Known { CameraLayout::NV21, { SPA_MEDIA_SUBTYPE_raw, SPA_VIDEO_FORMAT_NV21 } },
    Known { CameraLayout::I420, { SPA_MEDIA_SUBTYPE_raw, SPA_VIDEO_FORMAT_I420 } },
    Known { CameraLayout::YV12, { SPA_MEDIA_SUBTYPE_raw, SPA_VIDEO_FORMAT_YV12 } },
    Known { CameraLayout::YUY2, { SPA_MEDIA_SUBTYPE_raw, SPA_VIDEO_FORMAT_YUY2 } },
    Known { CameraLayout::UYVY, { SPA_MEDIA_SUBTYPE_raw, SPA_VIDEO_FORMAT_UYVY } },
    Known { CameraLayout::BGRA, { SPA_MEDIA_SUBTYPE_raw, SPA_VIDEO_FORMAT_BGRx } },
    Known { CameraLayout::BGRA, { SPA_MEDIA_SUBTYPE_raw, SPA_VIDEO_FORMAT_BGRA } },
    Known { CameraLayout::RGBA, { SPA_MEDIA_SUBTYPE_raw, SPA_VIDEO_FORMAT_RGBx } },
    Known { CameraLayout::RGBA, { SPA_MEDIA_SUBTYPE_raw, SPA_VIDEO_FORMAT_RGBA } },
    Known { CameraLayout::BGR, { SPA_MEDIA_SUBTYPE_raw, SPA_VIDEO_FORMAT_BGR } },
    Known { CameraLayout::RGB, { SPA_MEDIA_SUBTYPE_raw, SPA_VIDEO_FORMAT_RGB } },
    Known { CameraLayout::Grey, { SPA_MEDIA_SUBTYPE_raw, SPA_VIDEO_FORMAT_GRAY8 } },
    Known { CameraLayout::JPEG, { SPA_MEDIA_SUBTYPE_mjpg, 0 } },
};

struct BayerOrder {
    CameraLayout layout = CameraLayout::BayerBGGR;
    int bits = 8;
};

BayerOrder bayerOrder(const Properties& properties)
{
    const auto found = properties.find("velmora.bayer");
    if (found == properties.end())
        return {};
    const std::string& text = found->second;
    BayerOrder order;
    if (text.starts_with("RGGB"))
        order.layout = CameraLayout::BayerRGGB;
    else if (text.starts_with("GRBG"))
        order.layout = CameraLayout::BayerGRBG;
    else if (text.starts_with("GBRG"))
        order.layout = CameraLayout::BayerGBRG;
    for (const int bits : { 10, 12, 14, 16 })
        if (text.ends_with(std::to_string(bits)))
            order.bits = bits;
    return order;
}

Rate rateOf(const spa_fraction& fraction)
{
    return { fraction.num, fraction.denom };
}

CMVideoDimensions sizeOf(const spa_rectangle& rectangle)
{
    return { static_cast<std::int32_t>(rectangle.width), static_cast<std::int32_t>(rectangle.height) };
}

void addNew(auto& list, const auto& value)
{
    if (std::find(list.begin(), list.end(), value) == list.end())
        list.push_back(value);
}

bool isPicture(CMVideoDimensions size)
{
    constexpr std::int32_t largest = 32768; // pixels
    return size.width > 0 && size.height > 0 && size.width <= largest && size.height <= largest;
}

/// Of a range of sizes, those that people use, and the largest.
std::vector<CMVideoDimensions> sizesOf(const Choice<spa_rectangle>& choice)
{
    std::vector<CMVideoDimensions> sizes;
    if (!choice.isRange()) {
        for (const auto& each : choice.values)
            addNew(sizes, sizeOf(each));
    } else {
        const CMVideoDimensions least = sizeOf(choice.values[1]), most = sizeOf(choice.values[2]);
        addNew(sizes, sizeOf(choice.values[0]));
        addNew(sizes, most);
        constexpr std::array<CMVideoDimensions, 8> usual { { { 4032, 3024 }, { 3840, 2160 }, { 2592, 1944 },
            { 1920, 1440 }, { 1920, 1080 }, { 1280, 720 }, { 640, 480 }, { 320, 240 } } };
        for (const auto& each : usual)
            if (each.width >= least.width && each.height >= least.height && each.width <= most.width
                && each.height <= most.height)
                addNew(sizes, each);
    }
    std::erase_if(sizes, [](const CMVideoDimensions& size) { return !isPicture(size); });
    return sizes;
}

std::vector<Offer> layoutsIn(const spa_pod* format, const Properties& properties)
{
    std::uint32_t type = 0, subtype = 0;
    if (spa_format_parse(format, &type, &subtype) < 0 || type != SPA_MEDIA_TYPE_video)
        return {};
    std::vector<Offer> layouts;
    const auto add = [&](CameraLayout layout, int bits) {
        Offer offer;
        offer.layout = layout;
        offer.bits = bits;
        addNew(layouts, offer);
    };
    if (subtype == SPA_MEDIA_SUBTYPE_bayer) {
        const auto [layout, bits] = bayerOrder(properties);
        add(layout, bits);
    }
    const auto formats = choiceOf<std::uint32_t>(format, SPA_FORMAT_VIDEO_format).values;
    for (const Known& each : known)
        if (each.ids.subtype == subtype
            && (each.ids.video == 0 || std::find(formats.begin(), formats.end(), each.ids.video) != formats.end()))
            add(each.layout, 8);
    return layouts;
}

}

std::vector<Offer> offersIn(const spa_pod* format, const Properties& properties)
{
    const auto rates = choiceOf<spa_fraction>(format, SPA_FORMAT_VIDEO_framerate);
    std::vector<Offer> offers;
    for (const Offer& layout : layoutsIn(format, properties))
        for (const auto& size : sizesOf(choiceOf<spa_rectangle>(format, SPA_FORMAT_VIDEO_size))) {
            Offer offer = layout;
            offer.size = size;
            if (rates.isRange()) {
                offer.rates = { rateOf(rates.values[0]) };
                offer.between = { rateOf(rates.values[1]), rateOf(rates.values[2]) };
            } else
                for (const auto& each : rates.values)
                    if (each.num > 0 && each.denom > 0)
                        addNew(offer.rates, rateOf(each));
            offers.push_back(offer);
        }
    return offers;
}

std::optional<Negotiated> negotiatedIn(const spa_pod* format, const Properties& properties)
{
    const auto layouts = layoutsIn(format, properties);
    const auto size = choiceOf<spa_rectangle>(format, SPA_FORMAT_VIDEO_size).values;
    if (layouts.empty() || size.empty() || !isPicture(sizeOf(size.front())))
        return std::nullopt;
    Negotiated result { layouts.front().layout, sizeOf(size.front()), {}, false, layouts.front().bits };
    if (const auto rate = choiceOf<spa_fraction>(format, SPA_FORMAT_VIDEO_framerate).values;
        !rate.empty() && rate.front().num > 0 && rate.front().denom > 0)
        result.rate = rateOf(rate.front());
    result.videoRange = result.layout == CameraLayout::YUY2 || result.layout == CameraLayout::UYVY;
    if (const auto range = choiceOf<std::uint32_t>(format, SPA_FORMAT_VIDEO_colorRange).values;
        !range.empty() && range.front() != SPA_VIDEO_COLOR_RANGE_UNKNOWN)
        result.videoRange = range.front() == SPA_VIDEO_COLOR_RANGE_16_235;
    return result;
}

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

FormatIds idsOf(CameraLayout layout)
{
    for (const Known& each : known)
        if (each.layout == layout)
            return each.ids;
    return { SPA_MEDIA_SUBTYPE_bayer, 0 };
}

std::vector<std::uint32_t> rawFormats()
{
    std::vector<std::uint32_t> formats;
    for (const Known& each : known)
        if (each.ids.video != 0)
            formats.push_back(each.ids.video);
    return formats;
}

}
