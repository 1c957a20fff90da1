// SPDX-License-Identifier: Apache-2.0
#include "drivers/v4l2/Formats.h"

#include <algorithm>
#include <array>

namespace velmora::drivers::v4l2 {

using cameras::Offer;
using cameras::Rate;

namespace {

struct Known {
    std::uint32_t format;
    PixelLayout layout;
};
constexpr std::array known {
    Known { V4L2_PIX_FMT_NV12, { CameraLayout::NV12 } },
    Known { V4L2_PIX_FMT_NV12M, { CameraLayout::NV12 } },
    Known { V4L2_PIX_FMT_NV21, { CameraLayout::NV21 } },
    Known { V4L2_PIX_FMT_NV21M, { CameraLayout::NV21 } },
    Known { V4L2_PIX_FMT_YUV420, { CameraLayout::I420 } },
    Known { V4L2_PIX_FMT_YUV420M, { CameraLayout::I420 } },
    Known { V4L2_PIX_FMT_YVU420, { CameraLayout::YV12 } },
    Known { V4L2_PIX_FMT_YVU420M, { CameraLayout::YV12 } },
    Known { V4L2_PIX_FMT_YUYV, { CameraLayout::YUY2 } },
    Known { V4L2_PIX_FMT_UYVY, { CameraLayout::UYVY } },
    Known { V4L2_PIX_FMT_XBGR32, { CameraLayout::BGRA } },
    Known { V4L2_PIX_FMT_ABGR32, { CameraLayout::BGRA } },
    Known { V4L2_PIX_FMT_BGR32, { CameraLayout::BGRA } },
    Known { V4L2_PIX_FMT_RGBX32, { CameraLayout::RGBA } },
    Known { V4L2_PIX_FMT_RGBA32, { CameraLayout::RGBA } },
    Known { V4L2_PIX_FMT_BGR24, { CameraLayout::BGR } },
    Known { V4L2_PIX_FMT_RGB24, { CameraLayout::RGB } },
    Known { V4L2_PIX_FMT_GREY, { CameraLayout::Grey } },
    Known { V4L2_PIX_FMT_MJPEG, { CameraLayout::JPEG } },
    Known { V4L2_PIX_FMT_JPEG, { CameraLayout::JPEG } },
    Known { V4L2_PIX_FMT_SBGGR8, { CameraLayout::BayerBGGR } },
    Known { V4L2_PIX_FMT_SGBRG8, { CameraLayout::BayerGBRG } },
    Known { V4L2_PIX_FMT_SGRBG8, { CameraLayout::BayerGRBG } },
    Known { V4L2_PIX_FMT_SRGGB8, { CameraLayout::BayerRGGB } },
    Known { V4L2_PIX_FMT_SBGGR10, { CameraLayout::BayerBGGR, 10 } },
    Known { V4L2_PIX_FMT_SGBRG10, { CameraLayout::BayerGBRG, 10 } },
    Known { V4L2_PIX_FMT_SGRBG10, { CameraLayout::BayerGRBG, 10 } },
    Known { V4L2_PIX_FMT_SRGGB10, { CameraLayout::BayerRGGB, 10 } },
    Known { V4L2_PIX_FMT_SBGGR12, { CameraLayout::BayerBGGR, 12 } },
    Known { V4L2_PIX_FMT_SGBRG12, { CameraLayout::BayerGBRG, 12 } },
    Known { V4L2_PIX_FMT_SGRBG12, { CameraLayout::BayerGRBG, 12 } },
    Known { V4L2_PIX_FMT_SRGGB12, { CameraLayout::BayerRGGB, 12 } },
    Known { V4L2_PIX_FMT_SBGGR14, { CameraLayout::BayerBGGR, 14 } },
    Known { V4L2_PIX_FMT_SGBRG14, { CameraLayout::BayerGBRG, 14 } },
    Known { V4L2_PIX_FMT_SGRBG14, { CameraLayout::BayerGRBG, 14 } },
    Known { V4L2_PIX_FMT_SRGGB14, { CameraLayout::BayerRGGB, 14 } },
    Known { V4L2_PIX_FMT_SBGGR16, { CameraLayout::BayerBGGR, 16 } },
    Known { V4L2_PIX_FMT_SGBRG16, { CameraLayout::BayerGBRG, 16 } },
    Known { V4L2_PIX_FMT_SGRBG16, { CameraLayout::BayerGRBG, 16 } },
    Known { V4L2_PIX_FMT_SRGGB16, { CameraLayout::BayerRGGB, 16 } },
};

constexpr std::uint32_t mostEntries = 256; // of a list, should a driver never end one

CMVideoDimensions sizeOf(std::uint32_t width, std::uint32_t height)
{
    return { static_cast<std::int32_t>(width), static_cast<std::int32_t>(height) };
}

/// A frame's time, the other way round.
Rate rateOf(const v4l2_fract& interval)
{
    return { interval.denominator, interval.numerator };
}

std::vector<CMVideoDimensions> sizesOf(const Descriptor& device, std::uint32_t format, v4l2_buf_type type)
{
    std::vector<CMVideoDimensions> sizes;
    for (std::uint32_t i = 0; i < mostEntries; ++i) {
        v4l2_frmsizeenum size {};
        size.index = i;
        size.pixel_format = format;
        if (!device.call(VIDIOC_ENUM_FRAMESIZES, &size))
            break;
        if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
            sizes.push_back(sizeOf(size.discrete.width, size.discrete.height));
            continue;
        }
        const auto least = sizeOf(size.stepwise.min_width, size.stepwise.min_height);
        const auto most = sizeOf(size.stepwise.max_width, size.stepwise.max_height);
        return cameras::sizesBetween(most, least, most);
    }
    v4l2_format current {};
    current.type = type;
    if (sizes.empty() && device.call(VIDIOC_G_FMT, &current))
        sizes.push_back(V4L2_TYPE_IS_MULTIPLANAR(type) ? sizeOf(current.fmt.pix_mp.width, current.fmt.pix_mp.height)
                                                       : sizeOf(current.fmt.pix.width, current.fmt.pix.height));
    std::erase_if(sizes, [](const CMVideoDimensions& size) { return !cameras::isPicture(size); });
    return sizes;
}

void addRates(Offer& offer, const Descriptor& device, std::uint32_t format)
{
    for (std::uint32_t i = 0; i < mostEntries; ++i) {
        v4l2_frmivalenum interval {};
        interval.index = i;
        interval.pixel_format = format;
        interval.width = static_cast<std::uint32_t>(offer.size.width);
        interval.height = static_cast<std::uint32_t>(offer.size.height);
        if (!device.call(VIDIOC_ENUM_FRAMEINTERVALS, &interval))
            return;
        if (interval.type != V4L2_FRMIVAL_TYPE_DISCRETE) {
            const Rate slowest = rateOf(interval.stepwise.max), fastest = rateOf(interval.stepwise.min);
            if (slowest.value() > 0 && fastest.value() > slowest.value())
                offer.between = { slowest, fastest };
            return;
        }
        const Rate rate = rateOf(interval.discrete);
        if (rate.value() > 0 && std::find(offer.rates.begin(), offer.rates.end(), rate) == offer.rates.end())
            offer.rates.push_back(rate);
    }
}

}

std::optional<PixelLayout> layoutOf(std::uint32_t pixelFormat)
{
    for (const Known& each : known)
        if (each.format == pixelFormat)
            return each.layout;
    return std::nullopt;
}

std::vector<Offer> offersOf(const Descriptor& device, v4l2_buf_type type)
{
    std::vector<Offer> offers;
    for (std::uint32_t i = 0; i < mostEntries; ++i) {
        v4l2_fmtdesc format {};
        format.index = i;
        format.type = type;
        if (!device.call(VIDIOC_ENUM_FMT, &format))
            break;
        const auto layout = layoutOf(format.pixelformat);
        if (!layout)
            continue;
        for (const auto& size : sizesOf(device, format.pixelformat, type)) {
            Offer offer;
            offer.layout = layout->layout;
            offer.bits = layout->bits;
            offer.code = format.pixelformat;
            offer.size = size;
            addRates(offer, device, format.pixelformat);
            offers.push_back(std::move(offer));
        }
    }
    return offers;
}

bool hasVideoRange(std::uint32_t pixelFormat, std::uint32_t colorspace, std::uint32_t quantization)
{
    const auto layout = layoutOf(pixelFormat);
    if (!layout || (layout->layout > CameraLayout::UYVY && layout->layout != CameraLayout::Grey))
        return false;
    if (quantization != V4L2_QUANTIZATION_DEFAULT)
        return quantization == V4L2_QUANTIZATION_LIM_RANGE;
    return colorspace != V4L2_COLORSPACE_JPEG;
}

}
