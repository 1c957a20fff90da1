// SPDX-License-Identifier: Apache-2.0
#include "drivers/offscreen/OffscreenDisplay.h"

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSException.h"
#include "platform/Foundation/Scheduler.h"

#include <png.h>

#include <cmath>
#include <cstddef>
#include <cstring>

namespace velmora::drivers::offscreen {

namespace {

constexpr double largestSide = 16384; // pixels

DisplayMode modeFor(CGSize points, double scale)
{
    const double width = std::round(points.width * scale), height = std::round(points.height * scale);
    if (!(scale > 0) || !(width >= 1 && width <= largestSide && height >= 1 && height <= largestSide))
        throw NSException(NSInvalidArgumentException,
            "A display of " + std::to_string(points.width) + "x" + std::to_string(points.height) + " points at scale "
                + std::to_string(scale) + " cannot be made: give it from 1 to 16384 pixels a side");
    return { static_cast<int>(width), static_cast<int>(height), scale };
}

std::size_t bytesFor(const DisplayMode& mode)
{
    return 4 * static_cast<std::size_t>(mode.width) * static_cast<std::size_t>(mode.height);
}

}

OffscreenDisplay::OffscreenDisplay(DisplayMode mode)
    : mode_(mode)
    , pixels_(bytesFor(mode))
{
}

std::shared_ptr<OffscreenDisplay> OffscreenDisplay::withSize(CGSize points, double scale)
{
    return std::shared_ptr<OffscreenDisplay>(new OffscreenDisplay(modeFor(points, scale)));
}

DisplayPixels OffscreenDisplay::beginFrame()
{
    return { pixels_.data(), 4 * static_cast<std::size_t>(mode_.width), mode_, frames_ > 0 };
}

void OffscreenDisplay::present(std::span<const DisplayRect> damage)
{
    damage_.assign(damage.begin(), damage.end());
    ++frames_;
}

void OffscreenDisplay::setSize(CGSize points, double scale)
{
    mode_ = modeFor(points, scale);
    pixels_.assign(bytesFor(mode_), 0);
    if (events_.modeChanged)
        events_.modeChanged(mode_);
}

void OffscreenDisplay::expose()
{
    if (events_.exposed)
        events_.exposed();
}

void OffscreenDisplay::touch(DisplayTouchPhase phase, CGPoint point, std::int64_t id)
{
    if (events_.touch)
        events_.touch({ id, phase, point, Scheduler::current().clock().now() });
}

void OffscreenDisplay::key(const std::string& name, DisplayKeyPhase phase)
{
    if (events_.key)
        events_.key({ name, phase, Scheduler::current().clock().now() });
}

std::array<int, 3> OffscreenDisplay::colorAt(int x, int y) const
{
    if (x < 0 || y < 0 || x >= mode_.width || y >= mode_.height)
        throw NSException(NSInvalidArgumentException,
            "The pixel (" + std::to_string(x) + ", " + std::to_string(y) + ") is outside a display of "
                + std::to_string(mode_.width) + "x" + std::to_string(mode_.height));
    const std::uint8_t* pixel = pixels_.data()
        + 4 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(mode_.width) + static_cast<std::size_t>(x));
    return { pixel[2], pixel[1], pixel[0] };
}

void OffscreenDisplay::writePNG(const std::string& path) const
{
    std::vector<std::uint8_t> rows;
    rows.reserve(pixels_.size() / 4 * 3);
    for (std::size_t at = 0; at < pixels_.size(); at += 4)
        rows.insert(rows.end(), { pixels_[at + 2], pixels_[at + 1], pixels_[at] });
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(mode_.width);
    image.height = static_cast<png_uint_32>(mode_.height);
    image.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&image, path.c_str(), 0, rows.data(), 0, nullptr) == 0)
        throw NSError("org.velmora.display", 1,
            "The picture of the screen could not be written to " + path + ": " + image.message
                + ". Choose a folder that exists and has room.");
}

void install(CGSize points, double scale)
{
    DisplayDriver::installOpening([points, scale] { return OffscreenDisplay::withSize(points, scale); });
}

}
