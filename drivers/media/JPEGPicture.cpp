// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/JPEGPicture.h"

#include "drivers/media/ExifOrientation.h"
#include "drivers/media/MediaErrors.h"
#include "drivers/media/PictureLimits.h"

#include <turbojpeg.h>

#include <cstring>
#include <string>

namespace velmora::drivers::media {

namespace {

struct DestroyHandle {
    void operator()(void* handle) const { tjDestroy(handle); }
};

/// To the smallest fraction that the library decodes to.
void shrink(int& width, int& height, int atLeastWidth, int atLeastHeight)
{
    int count = 0;
    const tjscalingfactor* factors = tjGetScalingFactors(&count);
    const int wholeWidth = width, wholeHeight = height;
    for (int i = 0; i < count; ++i) {
        const int shrunkWidth = TJSCALED(wholeWidth, factors[i]), shrunkHeight = TJSCALED(wholeHeight, factors[i]);
        if (shrunkWidth >= atLeastWidth && shrunkHeight >= atLeastHeight && shrunkWidth < width) {
            width = shrunkWidth;
            height = shrunkHeight;
        }
    }
}

NSError damagedJPEG(tjhandle handle)
{
    return damaged(
        "The JPEG picture is damaged: " + std::string(tjGetErrorStr2(handle)) + ". Use another copy of the file.");
}

}

bool isJPEG(std::span<const std::uint8_t> data)
{
    return data.size() >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF;
}

std::shared_ptr<CVPixelBuffer> decodeJPEG(std::span<const std::uint8_t> data, int atLeastWidth, int atLeastHeight)
{
    const std::unique_ptr<void, DestroyHandle> handle(tjInitDecompress());
    int width = 0, height = 0, subsampling = 0, colours = 0;
    if (tjDecompressHeader3(handle.get(), data.data(), data.size(), &width, &height, &subsampling, &colours) != 0)
        throw damagedJPEG(handle.get());
    checkPictureSize(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height));
    if (colours == TJCS_CMYK || colours == TJCS_YCCK)
        throw damaged("The JPEG picture has four inks (CMYK), which are for print, and cannot be opened. "
                      "Save it as RGB.");
    if (atLeastWidth > 0 && atLeastHeight > 0)
        shrink(width, height, atLeastWidth, atLeastHeight);
    const auto pixels = CVPixelBuffer::create(width, height, kCVPixelFormatType_32BGRA);
    const CVPixelBuffer::Plane& plane = pixels->planes()[0];
    // A scan limit: a small file of endless progressive scans would keep a core busy for minutes.
    if (tjDecompress2(handle.get(), data.data(), data.size(), plane.data, width, static_cast<int>(plane.stride), height,
            TJPF_BGRA, TJFLAG_STOPONWARNING | TJFLAG_LIMITSCANS)
        != 0)
        throw damagedJPEG(handle.get());
    return pixels;
}

int orientationOfJPEG(std::span<const std::uint8_t> data)
{
    constexpr std::uint8_t app1 = 0xE1, sos = 0xDA;
    constexpr std::size_t name = 6; // "Exif" and two zeros
    for (std::size_t at = 2; at + 4 <= data.size() && data[at] == 0xFF && data[at + 1] != sos;) {
        if (data[at + 1] == 0xFF) { // a marker may be preceded by any number of these
            ++at;
            continue;
        }
        const std::size_t length = static_cast<std::size_t>(data[at + 2]) << 8 | data[at + 3];
        if (length < 2 || length > data.size() - at - 2)
            break;
        const auto content = data.subspan(at + 4, length - 2);
        if (data[at + 1] == app1 && content.size() > name && std::memcmp(content.data(), "Exif\0\0", name) == 0)
            return exifOrientation(content.subspan(name));
        at += 2 + length;
    }
    return 1;
}

}
