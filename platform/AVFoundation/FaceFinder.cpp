// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/FaceFinder.h"

#include "platform/CoreMedia/CMSampleBuffer.h"

#include <libyuv.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace velmora {

namespace {

constexpr double secondsBetweenLooks = 0.25;
constexpr int longerSide = 400; // pixels; faces from a twentieth of the picture on are found there

/// The frame's luma, small.
GreyPicture greyPictureOf(const CVPixelBuffer& frame)
{
    const double scale = std::min(1.0, static_cast<double>(longerSide) / std::max(frame.width(), frame.height()));
    GreyPicture grey;
    grey.width = std::max(1, static_cast<int>(std::lround(frame.width() * scale)));
    grey.height = std::max(1, static_cast<int>(std::lround(frame.height() * scale)));
    grey.pixels.resize(static_cast<std::size_t>(grey.width) * static_cast<std::size_t>(grey.height));
    const auto& plane = frame.planes().front();
    const auto stride = static_cast<int>(plane.stride);
    if (frame.pixelFormat() != kCVPixelFormatType_32BGRA) {
        libyuv::ScalePlane(plane.data, stride, frame.width(), frame.height(), grey.pixels.data(), grey.width,
            grey.width, grey.height, libyuv::kFilterBox);
        return grey;
    }
    std::vector<std::uint8_t> colour(grey.pixels.size() * 4);
    libyuv::ARGBScale(plane.data, stride, frame.width(), frame.height(), colour.data(), grey.width * 4, grey.width,
        grey.height, libyuv::kFilterBox);
    libyuv::ARGBToI400(colour.data(), grey.width * 4, grey.pixels.data(), grey.width, grey.width, grey.height);
    return grey;
}

GreyPicture turned(const GreyPicture& picture, int degrees)
{
    if (degrees == 0)
        return picture;
    GreyPicture result { std::vector<std::uint8_t>(picture.pixels.size()), picture.width, picture.height };
    if (degrees != 180)
        std::swap(result.width, result.height);
    libyuv::RotatePlane(picture.pixels.data(), picture.width, result.pixels.data(), result.width, picture.width,
        picture.height, static_cast<libyuv::RotationMode>(degrees));
    return result;
}

/// A rectangle of the picture that was turned, as it lies in the one before.
CGRect turnedBack(const CGRect& rect, int degrees)
{
    const auto [x, y] = rect.origin;
    const auto [width, height] = rect.size;
    switch (degrees) {
    case 90:
        return CGRectMake(y, 1 - x - width, height, width);
    case 180:
        return CGRectMake(1 - x - width, 1 - y - height, width, height);
    case 270:
        return CGRectMake(1 - y - height, x, height, width);
    default:
        return rect;
    }
}

/// How much two rectangles have in common, 0 to 1.
double overlap(const CGRect& a, const CGRect& b)
{
    const double left = std::max(a.origin.x, b.origin.x), top = std::max(a.origin.y, b.origin.y);
    const double right = std::min(a.origin.x + a.size.width, b.origin.x + b.size.width);
    const double bottom = std::min(a.origin.y + a.size.height, b.origin.y + b.size.height);
    if (right <= left || bottom <= top)
        return 0;
    const double common = (right - left) * (bottom - top);
    return common / (a.size.width * a.size.height + b.size.width * b.size.height - common);
}

}

FaceFinder::FaceFinder(std::shared_ptr<FaceDetector> detector, int sensorRotation, Found found)
    : detector_(std::move(detector))
    , found_(std::move(found))
    , rotation_(sensorRotation)
{
}

void FaceFinder::look(const CMSampleBuffer& frame)
{
    const auto& pixels = frame.imageBuffer();
    if (!pixels)
        return;
    const double time = CMTimeGetSeconds(frame.presentationTimeStamp());
    {
        const std::lock_guard lock(mutex_);
        if (looking_ || time < nextLook_)
            return;
        looking_ = true;
        nextLook_ = time + secondsBetweenLooks;
    }
    queue_.async([self = shared_from_this(), grey = greyPictureOf(*pixels), time] {
        self->find(grey, time);
        const std::lock_guard lock(self->mutex_);
        self->looking_ = false;
    });
}

void FaceFinder::find(const GreyPicture& picture, double time)
{
    auto bounds = detector_->facesIn(turned(picture, rotation_));
    for (auto& rect : bounds)
        rect = turnedBack(rect, rotation_);
    const bool hadFaces = !faces_.empty();
    auto objects = number(bounds, time);
    if (bounds.empty())
        rotation_ = (rotation_ + 90) % 360;
    if (hadFaces || !bounds.empty())
        found_(std::move(objects));
}

std::vector<CaptureMetadataObject> FaceFinder::number(const std::vector<CGRect>& bounds, double time)
{
    constexpr double sameFace = 0.2; // of overlap
    auto before = std::exchange(faces_, {});
    std::vector<CaptureMetadataObject> objects;
    for (const auto& rect : bounds) {
        const auto same = std::max_element(before.begin(), before.end(),
            [&](const Face& a, const Face& b) { return overlap(a.bounds, rect) < overlap(b.bounds, rect); });
        const bool isKnown = same != before.end() && overlap(same->bounds, rect) > sameFace;
        faces_.push_back({ rect, isKnown ? same->number : ++lastNumber_ });
        if (isKnown)
            before.erase(same);
        objects.push_back({ AVMetadataObjectTypeFace, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height,
            time, faces_.back().number });
    }
    return objects;
}

}
