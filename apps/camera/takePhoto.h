// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>

namespace velmora {
class QVPhotoCaptureOutput;
}

namespace velmora::camera {

class OpenCamera;

/// A photo and its moments: asked for, exposed, data in hand.
struct TakenPhoto {
    using Moment = std::chrono::steady_clock::time_point;
    std::shared_ptr<QVPhotoCaptureOutput> photo;
    Moment request, exposure, data;
};

/// Takes one photo, or a live photo, as the controller is set, and waits for it. Throws Refusal.
TakenPhoto takePhoto(const OpenCamera& camera, bool live);

}
