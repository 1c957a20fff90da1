// SPDX-License-Identifier: Apache-2.0
#include "drivers/Camera.h"

#include "platform/Foundation/NSLog.h"

#include <utility>

namespace velmora::drivers::cameras {

namespace {

constexpr double untilFollowed = 0.25; // seconds in which a camera's automatic exposure follows a light
constexpr double slowestFrame = 0.1; // seconds, of a camera that tells no rate
constexpr double darkest = 48; // mean luma of a picture that wants light, of 255

/// Of every so many pixels; the green of a picture that has no luma.
double meanLuma(const CVPixelBuffer& pixels)
{
    constexpr std::int32_t step = 16;
    const auto& plane = pixels.planes()[0];
    const bool isColour = pixels.pixelFormat() == kCVPixelFormatType_32BGRA;
    const std::size_t bytes = isColour ? 4 : 1, first = isColour ? 1 : 0;
    double sum = 0, count = 0;
    for (std::int32_t y = 0; y < pixels.height(); y += step)
        for (std::int32_t x = 0; x < pixels.width(); x += step) {
            sum += plane.data[plane.stride * static_cast<std::size_t>(y) + bytes * static_cast<std::size_t>(x) + first];
            ++count;
        }
    return count > 0 ? sum / count : 0;
}

}

bool Camera::wantsFlash(int mode) const
{
    return light_ && (mode == lit || (mode == asNeeded && newest_ && meanLuma(*newest_) < darkest));
}

bool Camera::isLit(const StillPointer& still, double taken)
{
    if (!still->flash)
        return true;
    if (!still->lit) {
        if (const auto problem = light_->beginFlash()) {
            NSLog("[%@] The photo is taken without flash: %@", family_.name, problem->localizedDescription());
            still->flash = false;
            return true;
        }
        still->lit = steadySeconds();
        return false;
    }
    const double rate = format_ ? format_->rate.value() : 0;
    return taken >= *still->lit + untilFollowed + (rate > 0 ? 1 / rate : slowestFrame);
}

void Camera::darken(const StillPointer& still)
{
    if (std::exchange(still->flash, false) && still->lit && light_)
        light_->endFlash();
}

void Camera::setTorch(int mode)
{
    const bool on = wanted_ && mode == lit;
    if (!light_ || on == torch_)
        return;
    if (const auto problem = light_->setTorch(on))
        NSLog("[%@] The torch cannot be switched: %@", family_.name, problem->localizedDescription());
    else
        torch_ = on;
}

}
