// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreMedia/CVPixelBuffer.h"

#include "platform/Foundation/NSException.h"

#include <algorithm>
#include <new>
#include <utility>

namespace velmora {

namespace {

constexpr std::size_t rowAlignment = 64; // bytes: a cache line, and the widest vector registers
constexpr std::int32_t largestSide = 65536; // pixels

struct Layout {
    std::size_t bytesPerSample;
    std::int32_t width, height; // samples
    std::size_t stride() const
    {
        return (static_cast<std::size_t>(width) * bytesPerSample + rowAlignment - 1) / rowAlignment * rowAlignment;
    }
    std::size_t size() const { return stride() * static_cast<std::size_t>(height); }
};

std::vector<Layout> layoutsOf(std::int32_t width, std::int32_t height, std::uint32_t pixelFormat)
{
    switch (pixelFormat) {
    case kCVPixelFormatType_420YpCbCr8BiPlanarFullRange:
    case kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange:
        return { { 1, width, height }, { 2, (width + 1) / 2, (height + 1) / 2 } };
    case kCVPixelFormatType_32BGRA:
        return { { 4, width, height } };
    case kCVPixelFormatType_14Bayer_BGGR:
        return { { 2, width, height } };
    default:
        return {};
    }
}

}

std::string fourCharacterCode(std::uint32_t code)
{
    std::string text;
    for (const int shift : { 24, 16, 8, 0 })
        text += static_cast<char>((code >> shift) & 0xFF);
    const bool printable = std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
    return printable ? text : std::to_string(code);
}

std::shared_ptr<CVPixelBuffer> CVPixelBuffer::create(std::int32_t width, std::int32_t height, std::uint32_t pixelFormat)
{
    const std::string what = std::to_string(width) + "x" + std::to_string(height);
    if (width <= 0 || height <= 0 || width > largestSide || height > largestSide)
        throw NSException(NSInvalidArgumentException,
            "A pixel buffer cannot be " + what + ": each side is 1 to " + std::to_string(largestSide) + " pixels");
    const auto layouts = layoutsOf(width, height, pixelFormat);
    if (layouts.empty())
        throw NSException(NSInvalidArgumentException,
            "A pixel buffer cannot hold '" + fourCharacterCode(pixelFormat)
                + "': it knows '420f', '420v', 'BGRA' and 'bgg4'");

    std::size_t size = 0;
    for (const Layout& layout : layouts)
        size += layout.size();
    constexpr std::align_val_t alignment { rowAlignment };
    std::shared_ptr<void> owner(
        ::operator new(size, alignment), [](void* memory) { ::operator delete(memory, alignment); });

    std::vector<Plane> planes;
    auto* data = static_cast<std::uint8_t*>(owner.get());
    for (const Layout& layout : layouts) {
        planes.push_back({ data, layout.stride(), layout.width, layout.height });
        data += layout.size();
    }
    return make<CVPixelBuffer>(width, height, pixelFormat, std::move(planes), std::move(owner));
}

CVPixelBuffer::CVPixelBuffer(std::int32_t width, std::int32_t height, std::uint32_t pixelFormat,
    std::vector<Plane> planes, std::shared_ptr<void> owner)
    : width_(width)
    , height_(height)
    , pixelFormat_(pixelFormat)
    , planes_(std::move(planes))
    , owner_(std::move(owner))
{
}

const ClassInfo& CVPixelBuffer::staticClass()
{
    static constexpr auto methods = methodTable(method<&CVPixelBuffer::width>("width"),
        method<&CVPixelBuffer::height>("height"), method<&CVPixelBuffer::pixelFormat>("pixelFormat"));
    static const ClassInfo info { "Velmora.CVPixelBuffer", &NSObject::staticClass(), methods };
    return info;
}

}
