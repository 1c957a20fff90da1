// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/PreviewPicture.h"

#include "platform/CoreMedia/CVPixelBuffer.h"

#include <libyuv.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace velmora {

namespace {

constexpr int bandRows = 120; // what stays in the cache between conversion and use
constexpr double boxFrom = 1.5; // times smaller: from there on bilinear sampling would skip pixels

std::size_t area(int stride, int height)
{
    return static_cast<std::size_t>(stride) * static_cast<std::size_t>(height);
}

int half(int samples)
{
    return (samples + 1) / 2;
}

libyuv::FilterMode filterFor(int from, int to)
{
    return from > boxFrom * to ? libyuv::kFilterBox : libyuv::kFilterBilinear;
}

libyuv::RotationMode turn(int degrees)
{
    return static_cast<libyuv::RotationMode>(degrees);
}

}

bool PreviewPicture::prepare(const LayerPreview& preview, DisplayRect whole, DisplayRect seen)
{
    const bool same = frame_ == preview.frame && whole_ == whole && seen_ == seen && rotation_ == preview.rotation
        && mirrored_ == preview.mirrored;
    if (same)
        return false;
    frame_ = preview.frame;
    whole_ = whole;
    seen_ = seen;
    rotation_ = preview.rotation;
    mirrored_ = preview.mirrored;
    packed_ = frame_->pixelFormat() == kCVPixelFormatType_32BGRA;
    videoRange_ = frame_->pixelFormat() == kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;

    // Mirroring what was turned is turning what stands on its head: the library flips for nothing on its way.
    const int rotation = !mirrored_ ? rotation_ : rotation_ % 180 == 0 ? 180 - rotation_ : rotation_;
    const Crop crop = cropOf(preview, whole);
    if (packed_)
        fitPacked(crop, rotation, mirrored_);
    else
        fitBiPlanar(crop, rotation, mirrored_);
    return true;
}

/// The part of the camera's picture that can be seen, in its own pixels, on even ones.
PreviewPicture::Crop PreviewPicture::cropOf(const LayerPreview& preview, DisplayRect whole) const
{
    double left = static_cast<double>(seen_.x - whole.x) / whole.width;
    double right = static_cast<double>(seen_.x + seen_.width - whole.x) / whole.width;
    const double top = static_cast<double>(seen_.y - whole.y) / whole.height;
    const double bottom = static_cast<double>(seen_.y + seen_.height - whole.y) / whole.height;
    if (preview.mirrored)
        left = std::exchange(right, 1 - left), left = 1 - left;
    double x0 = left, x1 = right, y0 = top, y1 = bottom;
    if (preview.rotation == 90)
        x0 = top, x1 = bottom, y0 = 1 - right, y1 = 1 - left;
    else if (preview.rotation == 180)
        x0 = 1 - right, x1 = 1 - left, y0 = 1 - bottom, y1 = 1 - top;
    else if (preview.rotation == 270)
        x0 = 1 - bottom, x1 = 1 - top, y0 = left, y1 = right;

    const auto even = [](double sample, int limit) {
        return std::clamp(2 * static_cast<int>(std::lround(sample * limit / 2)), 0, limit);
    };
    const int width = frame_->width(), height = frame_->height();
    Crop crop;
    crop.x = std::min(even(x0, width), std::max(0, width - 2));
    crop.y = std::min(even(y0, height), std::max(0, height - 2));
    crop.width = std::max(std::min(2, width), (x1 >= 1 ? width : even(x1, width)) - crop.x);
    crop.height = std::max(std::min(2, height), (y1 >= 1 ? height : even(y1, height)) - crop.y);
    return crop;
}

void PreviewPicture::fitBiPlanar(Crop crop, int rotation, bool flipped)
{
    const auto& luma = frame_->planes()[0];
    const auto& chroma = frame_->planes()[1];
    const int yStride = static_cast<int>(luma.stride), uvStride = static_cast<int>(chroma.stride);
    const std::uint8_t* y = luma.data + area(yStride, crop.y) + crop.x;
    const std::uint8_t* uv = chroma.data + area(uvStride, crop.y / 2) + crop.x;

    // Before it is turned, the target lies on its side.
    const bool sideways = rotation == 90 || rotation == 270, turns = rotation != 0 || flipped;
    const int width = sideways ? seen_.height : seen_.width, height = sideways ? seen_.width : seen_.height;
    if (width == crop.width && height == crop.height) {
        if (turns)
            turnBiPlanar(y, yStride, uv, uvStride, width, height, rotation, flipped, turned_);
        else
            y_ = { y, yStride, width, height }, u_ = { uv, uvStride, half(width), half(height) }, v_ = {};
        return;
    }

    if (turns && static_cast<std::int64_t>(width) * height >= static_cast<std::int64_t>(crop.width) * crop.height) {
        turnBiPlanar(y, yStride, uv, uvStride, crop.width, crop.height, rotation, flipped, turned_);
        scaleTurned();
        return;
    }
    const int stride = 2 * half(width); // scaling down first leaves less to turn
    scaled_.resize(area(stride, height) + area(stride, half(height)));
    std::uint8_t* scaledUV = scaled_.data() + area(stride, height);
    libyuv::NV12Scale(y, yStride, uv, uvStride, crop.width, crop.height, scaled_.data(), stride, scaledUV, stride,
        width, height, filterFor(std::max(crop.width, crop.height), std::max(width, height)));
    if (turns)
        turnBiPlanar(scaled_.data(), stride, scaledUV, stride, width, height, rotation, flipped, turned_);
    else
        y_ = { scaled_.data(), stride, width, height }, u_ = { scaledUV, stride, half(width), half(height) }, v_ = {};
}

void PreviewPicture::turnBiPlanar(const std::uint8_t* y, int yStride, const std::uint8_t* uv, int uvStride, int width,
    int height, int rotation, bool flipped, std::vector<std::uint8_t>& store)
{
    const bool sideways = rotation == 90 || rotation == 270;
    const int outWidth = sideways ? height : width, outHeight = sideways ? width : height;
    const int stride = outWidth, halfStride = half(outWidth);
    store.resize(area(stride, outHeight) + 2 * area(halfStride, half(outHeight)));
    std::uint8_t* u = store.data() + area(stride, outHeight);
    std::uint8_t* v = u + area(halfStride, half(outHeight));
    libyuv::NV12ToI420Rotate(y, yStride, uv, uvStride, store.data(), stride, u, halfStride, v, halfStride, width,
        flipped ? -height : height, turn(rotation));
    y_ = { store.data(), stride, outWidth, outHeight };
    u_ = { u, halfStride, half(outWidth), half(outHeight) };
    v_ = { v, halfStride, half(outWidth), half(outHeight) };
}

void PreviewPicture::scaleTurned()
{
    const int width = seen_.width, height = seen_.height, halfWidth = half(width);
    scaled_.resize(area(width, height) + 2 * area(halfWidth, half(height)));
    std::uint8_t* u = scaled_.data() + area(width, height);
    std::uint8_t* v = u + area(halfWidth, half(height));
    libyuv::I420Scale(y_.data, y_.stride, u_.data, u_.stride, v_.data, v_.stride, y_.width, y_.height, scaled_.data(),
        width, u, halfWidth, v, halfWidth, width, height, libyuv::kFilterBilinear);
    y_ = { scaled_.data(), width, width, height };
    u_ = { u, halfWidth, halfWidth, half(height) };
    v_ = { v, halfWidth, halfWidth, half(height) };
}

void PreviewPicture::fitPacked(Crop crop, int rotation, bool flipped)
{
    const auto& plane = frame_->planes().front();
    const std::uint8_t* from = plane.data + area(static_cast<int>(plane.stride), crop.y) + 4 * crop.x;
    int stride = static_cast<int>(plane.stride);
    const bool sideways = rotation == 90 || rotation == 270, turns = rotation != 0 || flipped;
    const int width = sideways ? seen_.height : seen_.width, height = sideways ? seen_.width : seen_.height;
    if (width != crop.width || height != crop.height) {
        scaled_.resize(area(4 * width, height));
        libyuv::ARGBScale(from, stride, crop.width, crop.height, scaled_.data(), 4 * width, width, height,
            filterFor(std::max(crop.width, crop.height), std::max(width, height)));
        from = scaled_.data();
        stride = 4 * width;
    }
    if (turns) {
        turned_.resize(area(4 * seen_.width, seen_.height));
        libyuv::ARGBRotate(
            from, stride, turned_.data(), 4 * seen_.width, width, flipped ? -height : height, turn(rotation));
        from = turned_.data();
        stride = 4 * seen_.width;
    }
    y_ = { from, stride, seen_.width, seen_.height };
}

void PreviewPicture::convertRows(int x, int y, int width, int height, std::uint8_t* to, std::size_t stride) const
{
    const auto* matrix = videoRange_ ? &libyuv::kYuvI601Constants : &libyuv::kYuvJPEGConstants;
    const std::uint8_t* luma = y_.data + area(y_.stride, y) + x;
    const int toStride = static_cast<int>(stride);
    if (v_.data)
        libyuv::I420ToARGBMatrix(luma, y_.stride, u_.data + area(u_.stride, y / 2) + x / 2, u_.stride,
            v_.data + area(v_.stride, y / 2) + x / 2, v_.stride, to, toStride, matrix, width, height);
    else
        libyuv::NV12ToARGBMatrix(
            luma, y_.stride, u_.data + area(u_.stride, y / 2) + x, u_.stride, to, toStride, matrix, width, height);
}

void PreviewPicture::convert(DisplayRect rect, std::uint8_t* pixels, std::size_t stride)
{
    const int left = rect.x - seen_.x, bottom = rect.y - seen_.y + rect.height;
    const auto target = [&](int row) {
        return pixels + static_cast<std::ptrdiff_t>(row + seen_.y) * static_cast<std::ptrdiff_t>(stride)
            + 4 * static_cast<std::ptrdiff_t>(rect.x);
    };
    if (packed_) {
        for (int row = rect.y - seen_.y; row < bottom; ++row) {
            std::uint8_t* to = target(row);
            std::memcpy(to, y_.data + area(y_.stride, row) + 4 * left, 4 * static_cast<std::size_t>(rect.width));
        }
        return;
    }
    for (int top = rect.y - seen_.y; top < bottom;) {
        const int end = std::min(bottom, (top / bandRows + 1) * bandRows);
        // Colours are shared by two pixels each way: begin where the pair begins.
        const int fromX = left / 2 * 2, fromY = top / 2 * 2;
        if (fromX == left && fromY == top) {
            convertRows(left, top, rect.width, end - top, target(top), stride);
        } else {
            const int width = left - fromX + rect.width;
            rows_.resize(area(4 * width, end - fromY));
            convertRows(fromX, fromY, width, end - fromY, rows_.data(), 4 * static_cast<std::size_t>(width));
            for (int row = top; row < end; ++row)
                std::memcpy(target(row), rows_.data() + area(4 * width, row - fromY) + 4 * (left - fromX),
                    4 * static_cast<std::size_t>(rect.width));
        }
        top = end;
    }
}

}
