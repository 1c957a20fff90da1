// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreGraphics/CGImage.h"

#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/NSException.h"

#include <string>
#include <utility>

namespace velmora {

namespace {

bool everyAlphaIsFull(const std::uint8_t* pixels, int width, int height, std::size_t stride)
{
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* row = pixels + static_cast<std::size_t>(y) * stride;
        for (int x = 0; x < width; ++x)
            if (row[4 * x + 3] != 255)
                return false;
    }
    return true;
}

std::uint8_t premultiplied(std::uint8_t component, std::uint8_t alpha)
{
    return static_cast<std::uint8_t>((component * alpha + 127) / 255);
}

}

std::shared_ptr<const CGImage> CGImage::withPixels(int width, int height, std::vector<std::uint8_t> pixels)
{
    if (width <= 0 || height <= 0
        || pixels.size() != 4 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height))
        throw NSException(NSInvalidArgumentException,
            "A picture of " + std::to_string(width) + "x" + std::to_string(height) + " pixels cannot be made of "
                + std::to_string(pixels.size()) + " bytes: give it four for each pixel");
    const auto owned = std::make_shared<const std::vector<std::uint8_t>>(std::move(pixels));
    const std::shared_ptr<CGImage> image(new CGImage);
    image->width_ = width;
    image->height_ = height;
    image->stride_ = 4 * static_cast<std::size_t>(width);
    image->pixels_ = owned->data();
    image->owner_ = owned;
    image->opaque_ = everyAlphaIsFull(image->pixels_, width, height, image->stride_);
    return image;
}

std::shared_ptr<const CGImage> CGImage::withPixelBuffer(const std::shared_ptr<CVPixelBuffer>& buffer)
{
    if (!buffer)
        return nullptr;
    if (buffer->pixelFormat() != kCVPixelFormatType_32BGRA)
        throw NSException(NSInvalidArgumentException,
            "A picture is made of 'BGRA' pixels, not of '" + fourCharacterCode(buffer->pixelFormat()) + "'");
    const auto& plane = buffer->planes().front();
    const int width = buffer->width(), height = buffer->height();
    if (everyAlphaIsFull(plane.data, width, height, plane.stride)) {
        const std::shared_ptr<CGImage> image(new CGImage);
        image->width_ = width;
        image->height_ = height;
        image->stride_ = plane.stride;
        image->pixels_ = plane.data;
        image->owner_ = buffer;
        image->opaque_ = true;
        return image;
    }

    std::vector<std::uint8_t> pixels;
    pixels.reserve(4 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* row = plane.data + static_cast<std::size_t>(y) * plane.stride;
        for (int x = 0; x < width; ++x, row += 4)
            pixels.insert(pixels.end(),
                { premultiplied(row[0], row[3]), premultiplied(row[1], row[3]), premultiplied(row[2], row[3]),
                    row[3] });
    }
    return withPixels(width, height, std::move(pixels));
}

}
