// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/CameraPicture.h"

#include <libyuv.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace velmora {

namespace {

constexpr std::uint32_t fullRange = kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;
constexpr std::uint32_t videoRange = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;

int asInt(std::size_t value)
{
    return static_cast<int>(value);
}

/// Luma 16 to 235 becomes 0 to 255, or the other way; chroma likewise, around 128.
class RangeChange {
public:
    explicit RangeChange(bool toFull)
    {
        constexpr double lumaSteps = 219, chromaSteps = 224, all = 255;
        for (int i = 0; i < 256; ++i) {
            const double luma = toFull ? (i - 16) * all / lumaSteps : 16 + i * lumaSteps / all;
            const double chroma = 128 + (i - 128) * (toFull ? all / chromaSteps : chromaSteps / all);
            luma_[static_cast<std::size_t>(i)] = rounded(luma);
            chroma_[static_cast<std::size_t>(i)] = rounded(chroma);
        }
    }
    void apply(const CVPixelBuffer& pixels) const
    {
        for (std::size_t plane = 0; plane < pixels.planes().size(); ++plane) {
            const auto& [data, stride, width, height] = pixels.planes()[plane];
            const auto& table = plane == 0 ? luma_ : chroma_;
            const auto bytes = static_cast<std::size_t>(width) * (plane == 0 ? 1 : 2);
            for (std::size_t row = 0; row < static_cast<std::size_t>(height); ++row)
                for (std::uint8_t* at = data + row * stride; at != data + row * stride + bytes; ++at)
                    *at = table[*at];
        }
    }

private:
    static std::uint8_t rounded(double value)
    {
        return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
    }
    std::array<std::uint8_t, 256> luma_ {}, chroma_ {};
};

/// A Bayer picture's samples, whatever their width.
class Samples {
public:
    explicit Samples(const CameraPicture& picture)
        : picture_(picture)
    {
    }
    int at(int x, int y) const
    {
        const auto* row = picture_.planes[0].data + static_cast<std::size_t>(y) * picture_.planes[0].stride;
        const auto column = static_cast<std::size_t>(x);
        return picture_.bits > 8 ? row[2 * column] | row[2 * column + 1] << 8 : row[column];
    }
    /// The nearest sample of the same colour when (x, y) lies outside.
    int nearest(int x, int y) const
    {
        const auto inside = [](int value, int size) {
            return value < 0 ? value + 2 : value >= size ? value - 2 : value;
        };
        return at(inside(x, picture_.width), inside(y, picture_.height));
    }
    int greatest() const { return (1 << picture_.bits) - 1; }

private:
    const CameraPicture& picture_;
};

/// 0 red, 1 green, 2 blue, of a 2x2 tile, row by row.
std::array<std::uint8_t, 4> patternOf(CameraLayout layout)
{
    switch (layout) {
    case CameraLayout::BayerGBRG:
        return { 1, 2, 0, 1 };
    case CameraLayout::BayerGRBG:
        return { 1, 0, 2, 1 };
    case CameraLayout::BayerRGGB:
        return { 0, 1, 1, 2 };
    default:
        return { 2, 1, 1, 0 };
    }
}

std::size_t tilePlace(int x, int y)
{
    return static_cast<std::size_t>((y & 1) * 2 + (x & 1));
}

/// What grey reads in each channel, green being 1, when the whole picture is grey on the average.
std::array<double, 3> neutralOf(const CameraPicture& picture)
{
    const Samples samples(picture);
    const auto pattern = patternOf(picture.layout);
    constexpr int step = 8; // pixels; even, so that each place of the tile is met as often
    std::array<double, 3> sums {}, counts {};
    for (int y = 0; y + 1 < picture.height; y += step)
        for (int x = 0; x + 1 < picture.width; x += step)
            for (int place = 0; place < 4; ++place) {
                const std::size_t colour = pattern[static_cast<std::size_t>(place)];
                sums[colour] += samples.at(x + place % 2, y + place / 2);
                counts[colour] += 1;
            }
    constexpr double mostExtreme = 8; // a lens cap is no light
    std::array<double, 3> neutral { 1, 1, 1 };
    const double green = sums[1] / std::max(1.0, counts[1]);
    for (const std::size_t colour : { std::size_t { 0 }, std::size_t { 2 } })
        if (green > 0 && counts[colour] > 0)
            neutral[colour] = std::clamp(sums[colour] / counts[colour] / green, 1 / mostExtreme, mostExtreme);
    return neutral;
}

/// Each linear sample as sRGB shows it, balanced.
std::vector<std::uint8_t> curve(int greatest, double gain)
{
    std::vector<std::uint8_t> table(static_cast<std::size_t>(greatest) + 1);
    for (int i = 0; i <= greatest; ++i) {
        const double linear = std::min(1.0, gain * i / greatest);
        const double shown = linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
        table[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(std::lround(255 * shown));
    }
    return table;
}

/// The three colours at one place: its own sample, and the means of the nearest ones of the others.
std::array<int, 3> coloursAt(const Samples& samples, const std::array<std::uint8_t, 4>& pattern, int x, int y)
{
    std::array<int, 3> sums {}, counts {};
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            const std::size_t colour = pattern[tilePlace(x + dx, y + dy)];
            sums[colour] += samples.nearest(x + dx, y + dy);
            ++counts[colour];
        }
    const std::size_t own = pattern[tilePlace(x, y)];
    sums[own] = samples.at(x, y);
    counts[own] = 1;
    return { sums[0] / counts[0], sums[1] / counts[1], sums[2] / counts[2] };
}

std::shared_ptr<CVPixelBuffer> developed(const CameraPicture& picture)
{
    const Samples samples(picture);
    const auto neutral = neutralOf(picture);
    const auto pattern = patternOf(picture.layout);
    // No channel is darkened: where all are full, white stays white.
    const double least = std::min({ 1 / neutral[0], 1.0, 1 / neutral[2] });
    std::array<std::vector<std::uint8_t>, 3> curves;
    for (std::size_t colour = 0; colour < 3; ++colour)
        curves[colour] = curve(samples.greatest(), 1 / neutral[colour] / least);
    auto result = CVPixelBuffer::create(picture.width, picture.height, kCVPixelFormatType_32BGRA);
    const auto& [data, stride, width, height] = result->planes()[0];
    for (int y = 0; y < height; ++y) {
        std::uint8_t* to = data + static_cast<std::size_t>(y) * stride;
        for (int x = 0; x < width; ++x, to += 4) {
            const auto [red, green, blue] = coloursAt(samples, pattern, x, y);
            const auto shown = [&](std::size_t colour, int value) {
                return curves[colour][static_cast<std::size_t>(std::min(value, samples.greatest()))];
            };
            to[0] = shown(2, blue);
            to[1] = shown(1, green);
            to[2] = shown(0, red);
            to[3] = 255;
        }
    }
    return result;
}

NSError brokenJPEG(const CameraPicture& picture)
{
    constexpr int undecodable = -11821;
    return { AVFoundationErrorDomain, undecodable,
        "The camera sent a JPEG that cannot be read as " + std::to_string(picture.width) + "x"
            + std::to_string(picture.height) + "; the frame is left out." };
}

struct Target {
    std::uint8_t *y, *uv;
    int yStride, uvStride;
};

Target targetOf(const CVPixelBuffer& pixels)
{
    const auto& planes = pixels.planes();
    return { planes[0].data, planes[1].data, asInt(planes[0].stride), asInt(planes[1].stride) };
}

void fillFromPacked(const CVPixelBuffer& pixels, const std::uint8_t* bgra, int stride, bool video)
{
    const Target to = targetOf(pixels);
    const int width = pixels.width(), height = pixels.height(), half = (width + 1) / 2;
    if (video) {
        libyuv::ARGBToNV12(bgra, stride, to.y, to.yStride, to.uv, to.uvStride, width, height);
        return;
    }
    std::vector<std::uint8_t> chroma(static_cast<std::size_t>(half) * static_cast<std::size_t>((height + 1) / 2) * 2);
    std::uint8_t* const u = chroma.data();
    std::uint8_t* const v = u + chroma.size() / 2;
    libyuv::ARGBToJ420(bgra, stride, to.y, to.yStride, u, half, v, half, width, height);
    libyuv::MergeUVPlane(u, half, v, half, to.uv, to.uvStride, half, (height + 1) / 2);
}

/// Picture elements of 32 bits, of a layout without luma.
std::shared_ptr<CVPixelBuffer> packed(const CameraPicture& picture)
{
    if (isBayer(picture.layout))
        return developed(picture);
    auto result = CVPixelBuffer::create(picture.width, picture.height, kCVPixelFormatType_32BGRA);
    const auto& [to, toStride, width, height] = result->planes()[0];
    const auto& [from, fromStride] = picture.planes[0];
    const int stride = asInt(fromStride), wide = asInt(toStride);
    switch (picture.layout) {
    case CameraLayout::RGBA:
        libyuv::ABGRToARGB(from, stride, to, wide, width, height);
        break;
    case CameraLayout::BGR:
        libyuv::RGB24ToARGB(from, stride, to, wide, width, height);
        break;
    case CameraLayout::RGB:
        libyuv::RAWToARGB(from, stride, to, wide, width, height);
        break;
    default:
        libyuv::ARGBCopy(from, stride, to, wide, width, height);
    }
    return result;
}

/// Luma and chroma in the picture's own range; answers whether that is the video range.
bool fill(const CVPixelBuffer& pixels, const CameraPicture& picture, bool wantsVideo)
{
    const Target to = targetOf(pixels);
    const int width = picture.width, height = picture.height;
    const auto& p = picture.planes;
    const int s0 = asInt(p[0].stride), s1 = asInt(p[1].stride), s2 = asInt(p[2].stride);
    switch (picture.layout) {
    case CameraLayout::NV12:
        libyuv::CopyPlane(p[0].data, s0, to.y, to.yStride, width, height);
        libyuv::CopyPlane(p[1].data, s1, to.uv, to.uvStride, (width + 1) / 2 * 2, (height + 1) / 2);
        return picture.videoRange;
    case CameraLayout::NV21:
        libyuv::NV21ToNV12(p[0].data, s0, p[1].data, s1, to.y, to.yStride, to.uv, to.uvStride, width, height);
        return picture.videoRange;
    case CameraLayout::I420:
    case CameraLayout::YV12: {
        const bool swapped = picture.layout == CameraLayout::YV12;
        libyuv::I420ToNV12(p[0].data, s0, p[swapped ? 2 : 1].data, swapped ? s2 : s1, p[swapped ? 1 : 2].data,
            swapped ? s1 : s2, to.y, to.yStride, to.uv, to.uvStride, width, height);
        return picture.videoRange;
    }
    case CameraLayout::YUY2:
        libyuv::YUY2ToNV12(p[0].data, s0, to.y, to.yStride, to.uv, to.uvStride, width, height);
        return picture.videoRange;
    case CameraLayout::UYVY:
        libyuv::UYVYToNV12(p[0].data, s0, to.y, to.yStride, to.uv, to.uvStride, width, height);
        return picture.videoRange;
    case CameraLayout::Grey:
        libyuv::CopyPlane(p[0].data, s0, to.y, to.yStride, width, height);
        libyuv::SetPlane(to.uv, to.uvStride, (width + 1) / 2 * 2, (height + 1) / 2, 128);
        return picture.videoRange;
    case CameraLayout::JPEG:
        if (libyuv::MJPGToNV12(
                p[0].data, picture.size, to.y, to.yStride, to.uv, to.uvStride, width, height, width, height)
            != 0)
            throw brokenJPEG(picture);
        return false;
    default: {
        const auto colours = packed(picture);
        fillFromPacked(pixels, colours->planes()[0].data, asInt(colours->planes()[0].stride), wantsVideo);
        return wantsVideo;
    }
    }
}

void checkJPEG(const CameraPicture& picture)
{
    int width = 0, height = 0;
    if (libyuv::MJPGSize(picture.planes[0].data, picture.size, &width, &height) != 0 || width != picture.width
        || height != picture.height)
        throw brokenJPEG(picture);
}

bool hasLuma(CameraLayout layout)
{
    return layout <= CameraLayout::UYVY || layout == CameraLayout::Grey || layout == CameraLayout::JPEG;
}

}

bool isBayer(CameraLayout layout)
{
    return layout >= CameraLayout::BayerBGGR;
}

std::vector<CameraPlaneShape> planeShapes(CameraLayout layout, std::int32_t width, std::int32_t height, int bits)
{
    const auto w = static_cast<std::size_t>(width), half = static_cast<std::size_t>((width + 1) / 2);
    const std::int32_t halfHeight = (height + 1) / 2;
    switch (layout) {
    case CameraLayout::NV12:
    case CameraLayout::NV21:
        return { { w, height }, { 2 * half, halfHeight } };
    case CameraLayout::I420:
    case CameraLayout::YV12:
        return { { w, height }, { half, halfHeight }, { half, halfHeight } };
    case CameraLayout::YUY2:
    case CameraLayout::UYVY:
        return { { 4 * half, height } };
    case CameraLayout::BGRA:
    case CameraLayout::RGBA:
        return { { 4 * w, height } };
    case CameraLayout::BGR:
    case CameraLayout::RGB:
        return { { 3 * w, height } };
    case CameraLayout::JPEG:
        return {};
    default:
        return { { bits > 8 ? 2 * w : w, height } };
    }
}

std::size_t planeStride(CameraLayout layout, std::size_t plane, std::size_t firstStride)
{
    const bool halved = plane > 0 && (layout == CameraLayout::I420 || layout == CameraLayout::YV12);
    return halved ? (firstStride + 1) / 2 : firstStride;
}

bool isAlready(const CameraPicture& picture, std::uint32_t pixelFormat)
{
    switch (pixelFormat) {
    case fullRange:
    case videoRange:
        return picture.layout == CameraLayout::NV12 && picture.videoRange == (pixelFormat == videoRange);
    case kCVPixelFormatType_32BGRA:
        return picture.layout == CameraLayout::BGRA;
    default:
        return false;
    }
}

bool isPictureFormat(std::uint32_t pixelFormat)
{
    return pixelFormat == fullRange || pixelFormat == videoRange || pixelFormat == kCVPixelFormatType_32BGRA;
}

std::shared_ptr<CVPixelBuffer> converted(const CameraPicture& picture, std::uint32_t pixelFormat)
{
    if (picture.layout == CameraLayout::JPEG)
        checkJPEG(picture);
    const bool colours = pixelFormat == kCVPixelFormatType_32BGRA;
    if (colours && !hasLuma(picture.layout))
        return packed(picture);
    auto result = CVPixelBuffer::create(picture.width, picture.height, colours ? fullRange : pixelFormat);
    const bool isVideo = fill(*result, picture, pixelFormat == videoRange);
    if (!colours) {
        if (isVideo != (pixelFormat == videoRange)) {
            static const RangeChange toFull(true), toVideo(false);
            (isVideo ? toFull : toVideo).apply(*result);
        }
        return result;
    }
    auto shown = CVPixelBuffer::create(picture.width, picture.height, kCVPixelFormatType_32BGRA);
    const Target from = targetOf(*result);
    libyuv::NV12ToARGBMatrix(from.y, from.yStride, from.uv, from.uvStride, shown->planes()[0].data,
        asInt(shown->planes()[0].stride), isVideo ? &libyuv::kYuvI601Constants : &libyuv::kYuvJPEGConstants,
        picture.width, picture.height);
    return shown;
}

RawImage rawImage(const CameraPicture& picture)
{
    RawImage raw;
    raw.samples = CVPixelBuffer::create(picture.width, picture.height, kCVPixelFormatType_14Bayer_BGGR);
    raw.pattern = patternOf(picture.layout);
    const Samples samples(picture);
    raw.whiteLevel = static_cast<std::uint16_t>(samples.greatest());
    const auto& [data, stride, width, height] = raw.samples->planes()[0];
    for (int y = 0; y < height; ++y) {
        std::uint8_t* to = data + static_cast<std::size_t>(y) * stride;
        for (int x = 0; x < width; ++x, to += 2) {
            const auto value = static_cast<std::uint16_t>(samples.at(x, y));
            std::memcpy(to, &value, sizeof value);
        }
    }
    // From XYZ to the linear channels of sRGB (IEC 61966-2-1).
    raw.colorMatrix = { 3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570 };
    raw.asShotNeutral = neutralOf(picture);
    return raw;
}

CameraPicture cameraPicture(const CVPixelBuffer& pixels)
{
    CameraPicture picture;
    picture.layout = pixels.pixelFormat() == kCVPixelFormatType_32BGRA ? CameraLayout::BGRA : CameraLayout::NV12;
    picture.videoRange = pixels.pixelFormat() == videoRange;
    picture.width = pixels.width();
    picture.height = pixels.height();
    for (std::size_t i = 0; i < pixels.planes().size(); ++i)
        picture.planes[i] = { pixels.planes()[i].data, pixels.planes()[i].stride };
    return picture;
}

namespace {

/// `bytes` of each sample: 1 of luma, 2 of a pair of chroma, 4 of a coloured pixel.
void turnPlane(const CVPixelBuffer::Plane& from, const CVPixelBuffer::Plane& to, int bytes, int degrees)
{
    const auto mode = static_cast<libyuv::RotationMode>(degrees);
    if (bytes == 1)
        libyuv::RotatePlane(from.data, asInt(from.stride), to.data, asInt(to.stride), from.width, from.height, mode);
    else if (bytes == 2)
        libyuv::RotatePlane_16(reinterpret_cast<const std::uint16_t*>(from.data), asInt(from.stride / 2),
            reinterpret_cast<std::uint16_t*>(to.data), asInt(to.stride / 2), from.width, from.height, mode);
    else
        libyuv::ARGBRotate(from.data, asInt(from.stride), to.data, asInt(to.stride), from.width, from.height, mode);
}

void mirrorPlane(const CVPixelBuffer::Plane& from, const CVPixelBuffer::Plane& to, int bytes)
{
    if (bytes == 1)
        libyuv::MirrorPlane(from.data, asInt(from.stride), to.data, asInt(to.stride), from.width, from.height);
    else if (bytes == 2)
        libyuv::MirrorUVPlane(from.data, asInt(from.stride), to.data, asInt(to.stride), from.width, from.height);
    else
        libyuv::ARGBMirror(from.data, asInt(from.stride), to.data, asInt(to.stride), from.width, from.height);
}

}

std::shared_ptr<CVPixelBuffer> scaled(const CVPixelBuffer& pixels, std::int32_t width, std::int32_t height)
{
    auto result = CVPixelBuffer::create(width, height, pixels.pixelFormat());
    const auto& from = pixels.planes();
    const auto& to = result->planes();
    if (pixels.pixelFormat() == kCVPixelFormatType_32BGRA)
        libyuv::ARGBScale(from[0].data, asInt(from[0].stride), pixels.width(), pixels.height(), to[0].data,
            asInt(to[0].stride), width, height, libyuv::kFilterBox);
    else
        libyuv::NV12Scale(from[0].data, asInt(from[0].stride), from[1].data, asInt(from[1].stride), pixels.width(),
            pixels.height(), to[0].data, asInt(to[0].stride), to[1].data, asInt(to[1].stride), width, height,
            libyuv::kFilterBox);
    return result;
}

std::shared_ptr<CVPixelBuffer> turned(const CVPixelBuffer& pixels, const PictureOrientation& how)
{
    const std::int32_t width = how.isSideways() ? pixels.height() : pixels.width();
    const std::int32_t height = how.isSideways() ? pixels.width() : pixels.height();
    const auto upright = CVPixelBuffer::create(width, height, pixels.pixelFormat());
    for (std::size_t i = 0; i < pixels.planes().size(); ++i) {
        const bool isBGRA = pixels.pixelFormat() == kCVPixelFormatType_32BGRA;
        turnPlane(pixels.planes()[i], upright->planes()[i], isBGRA ? 4 : i == 0 ? 1 : 2, how.rotation);
    }
    if (!how.mirrored)
        return upright;
    auto mirrored = CVPixelBuffer::create(width, height, pixels.pixelFormat());
    for (std::size_t i = 0; i < pixels.planes().size(); ++i) {
        const bool isBGRA = pixels.pixelFormat() == kCVPixelFormatType_32BGRA;
        mirrorPlane(upright->planes()[i], mirrored->planes()[i], isBGRA ? 4 : i == 0 ? 1 : 2);
    }
    return mirrored;
}

}
