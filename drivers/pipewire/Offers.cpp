// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/Offers.h"

#include "drivers/pipewire/Pods.h"

#include <spa/param/format-utils.h>
#include <spa/param/video/color.h>
#include <spa/param/video/raw.h>

#include <algorithm>
#include <array>

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

/// Of a range of sizes, those that people use, and the largest.
std::vector<CMVideoDimensions> sizesOf(const Choice<spa_rectangle>& choice)
{
    if (choice.isRange())
        return cameras::sizesBetween(sizeOf(choice.values[0]), sizeOf(choice.values[1]), sizeOf(choice.values[2]));
    std::vector<CMVideoDimensions> sizes;
    for (const auto& each : choice.values)
        if (cameras::isPicture(sizeOf(each)))
            addNew(sizes, sizeOf(each));
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
    if (layouts.empty() || size.empty() || !cameras::isPicture(sizeOf(size.front())))
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
