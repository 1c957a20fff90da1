// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/CoreMedia/CVPixelBuffer.h"

#include "tests/support/PhoneTest.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace velmora::tests {

/// Red, green and blue from 0 to 1, in linear light, of a '420f' picture.
inline std::array<double, 3> linearAt(const CVPixelBuffer& pixels, int x, int y)
{
    const auto& luma = pixels.planes()[0];
    const auto& colour = pixels.planes()[1];
    const double Y = luma.data[static_cast<std::size_t>(y) * luma.stride + static_cast<std::size_t>(x)];
    const std::uint8_t* pair
        = colour.data + static_cast<std::size_t>(y / 2) * colour.stride + static_cast<std::size_t>(x / 2 * 2);
    const double blueness = pair[0] - 128.0, redness = pair[1] - 128.0;
    const auto linear = [](double level) {
        const double c = std::clamp(level / 255, 0.0, 1.0);
        return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return { linear(Y + 1.402 * redness), linear(Y - 0.344136 * blueness - 0.714136 * redness),
        linear(Y + 1.772 * blueness) };
}

/// The mean over a square of 16 pixels.
inline std::array<double, 3> patch(const CVPixelBuffer& pixels, int left, int top)
{
    std::array<double, 3> sum {};
    for (int y = top; y < top + 16; ++y)
        for (int x = left; x < left + 16; ++x)
            for (std::size_t c = 0; c < 3; ++c)
                sum[c] += linearAt(pixels, x, y)[c] / 256;
    return sum;
}

inline bool sameBytes(const CVPixelBuffer& a, const CVPixelBuffer& b)
{
    for (std::size_t p = 0; p < a.planes().size(); ++p) {
        const auto &left = a.planes()[p], &right = b.planes()[p];
        const auto bytes = static_cast<std::size_t>(left.width) * (p == 0 ? 1 : 2);
        for (std::size_t y = 0; y < static_cast<std::size_t>(left.height); ++y)
            if (!std::equal(
                    left.data + y * left.stride, left.data + y * left.stride + bytes, right.data + y * right.stride))
                return false;
    }
    return true;
}

/// Drives a camera of the small phone as the session does.
class CameraFixture : public PhoneTest {
protected:
    explicit CameraFixture(drivers::phone::PhoneDescription description = smallPhone())
        : PhoneTest(std::move(description))
    {
    }

    std::shared_ptr<CaptureDeviceDriver> device(const std::string& id)
    {
        for (const auto& each : CaptureDriver::installed()->devices())
            if (each->description().uniqueID == id)
                return each;
        return nullptr;
    }
    std::optional<NSError> start(std::uint32_t pixelFormat = kCVPixelFormatType_420YpCbCr8BiPlanarFullRange)
    {
        return camera->start(
            { pixelFormat, 0 }, [this](std::shared_ptr<CMSampleBuffer> frame) { frames.push_back(std::move(frame)); });
    }
    /// Automatic throughout, as a device begins.
    CaptureSettings automatic() const
    {
        CaptureSettings settings;
        settings.focusMode = settings.exposureMode = settings.whiteBalanceMode = 2;
        return settings;
    }
    CaptureSettings exposed(float ISO, CMTime duration) const
    {
        CaptureSettings settings = automatic();
        settings.exposureMode = 3;
        settings.ISO = ISO;
        settings.exposureDuration = duration;
        return settings;
    }
    CapturedStill still(StillRequest request = {})
    {
        CapturedStill taken;
        StillEvents events;
        events.processed = [&](auto picture, const auto&) { taken = picture.value_or(CapturedStill {}); };
        events.raw = [&](auto picture, const auto&) { taken.raw = picture.value_or(CapturedStill {}).raw; };
        camera->captureStill(request, std::move(events));
        clock.advance(0.05);
        return taken;
    }
    CapturedStill stillWith(const CaptureSettings& settings, StillRequest request = {})
    {
        camera->apply(settings, "set", nullptr);
        clock.advance(0.11);
        return still(request);
    }

    std::shared_ptr<CaptureDeviceDriver> camera = device("back");
    std::vector<std::shared_ptr<CMSampleBuffer>> frames;
};

}
