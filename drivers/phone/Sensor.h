// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"

#include "drivers/phone/Scene.h"
#include "drivers/phone/Warp.h"

#include <array>
#include <cstdint>
#include <memory>

namespace velmora::drivers::phone {

/// All that decides the pixels of one picture. Equal ones give the same bytes.
struct Shot {
    Scene::View view;
    Warp warp;
    double gain = 1; ///< on the linear light; at 1 white of the footage just saturates
    std::array<double, 3> balance { 1, 1, 1 }; ///< red, green, blue: on top, of an ordinary picture
    double blur = 0; ///< diameter of a point's image, as a fraction of the width
    double noise = 0; ///< standard deviation at full signal
    std::uint64_t seed = 0; ///< of the noise; the same where there is none

    bool operator==(const Shot& other) const;
    /// Nothing but the lens's and the hand's way is between the footage and the picture.
    bool isPlain() const;
};

/// A '420f' picture.
std::shared_ptr<CVPixelBuffer> develop(Scene& scene, const Shot& shot);
/// '420f', '420v' or 'BGRA' of a '420f' picture; the same one for '420f'.
std::shared_ptr<CVPixelBuffer> converted(const std::shared_ptr<CVPixelBuffer>& picture, std::uint32_t pixelFormat);
bool canConvertTo(std::uint32_t pixelFormat);

/// The Bayer samples, without the balance. `asShot` is what a grey surface reads in the balance in force.
RawImage readOut(Scene& scene, const Shot& shot, const std::array<double, 3>& asShot);

}
