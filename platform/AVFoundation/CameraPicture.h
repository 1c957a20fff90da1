// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/AVFoundation/CaptureOrientation.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace velmora {

/// How cameras lay a picture out in memory. The Bayer layouts are named after their first four samples, row by row.
enum class CameraLayout : std::uint8_t {
    NV12,
    NV21,
    I420,
    YV12,
    YUY2,
    UYVY,
    BGRA,
    RGBA,
    BGR,
    RGB,
    Grey,
    JPEG,
    BayerBGGR,
    BayerGBRG,
    BayerGRBG,
    BayerRGGB,
};

/// A picture as a camera gave it, in the camera's memory.
struct CameraPicture {
    CameraLayout layout = CameraLayout::NV12;
    std::int32_t width = 0, height = 0; ///< pixels
    struct Plane {
        const std::uint8_t* data = nullptr;
        std::size_t stride = 0; ///< bytes from row to row
    };
    std::array<Plane, 3> planes {};
    std::size_t size = 0; ///< bytes, of a JPEG
    bool videoRange = false; ///< luma goes from 16 to 235, chroma from 16 to 240; of layouts with luma
    int bits = 8; ///< a sample, of a Bayer layout; more than 8 lie in two bytes, the low one first
};

VELMORA_EXPORT bool isBayer(CameraLayout layout);

/// How many bytes each plane of a layout has in a row, at least, and how many rows; none for a JPEG. A camera that
/// hands over one piece of memory lays the planes one after the other, and the strides of further ones follow from the
/// first.
struct CameraPlaneShape {
    std::size_t rowBytes = 0;
    std::int32_t rows = 0;
};
VELMORA_EXPORT std::vector<CameraPlaneShape> planeShapes(
    CameraLayout layout, std::int32_t width, std::int32_t height, int bits = 8);
/// The stride of a further plane, where the first has this one.
VELMORA_EXPORT std::size_t planeStride(CameraLayout layout, std::size_t plane, std::size_t firstStride);

/// Whether the picture's bytes are those of this pixel format, so that nothing has to be converted.
VELMORA_EXPORT bool isAlready(const CameraPicture& picture, std::uint32_t pixelFormat);
/// Whether `converted` makes this pixel format: '420f', '420v' or 'BGRA'.
VELMORA_EXPORT bool isPictureFormat(std::uint32_t pixelFormat);
/// A copy in another pixel format. A Bayer picture is developed: grey on the average, sRGB's curve. Throws NSError for
/// a JPEG that is broken or has another size.
VELMORA_EXPORT std::shared_ptr<CVPixelBuffer> converted(const CameraPicture& picture, std::uint32_t pixelFormat);
/// A Bayer picture for a file of its own. Nothing is known of the sensor: its channels are taken for those of sRGB, and
/// the picture for grey on the average.
VELMORA_EXPORT RawImage rawImage(const CameraPicture& picture);
/// The same picture ('420f', '420v' or 'BGRA') as a camera's, by reference.
VELMORA_EXPORT CameraPicture cameraPicture(const CVPixelBuffer& pixels);
/// A copy of another size, in '420f', '420v' or 'BGRA' as `pixels` is.
VELMORA_EXPORT std::shared_ptr<CVPixelBuffer> scaled(
    const CVPixelBuffer& pixels, std::int32_t width, std::int32_t height);
/// A copy that is turned and mirrored, in '420f', '420v' or 'BGRA' as `pixels` is.
VELMORA_EXPORT std::shared_ptr<CVPixelBuffer> turned(const CVPixelBuffer& pixels, const PictureOrientation& how);

}
