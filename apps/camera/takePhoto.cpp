// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/takePhoto.h"

#include "velmora/capture/QVCameraController.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include <optional>
#include <utility>

#include "apps/camera/OpenCamera.h"
#include "apps/camera/Refusal.h"

namespace velmora::camera {

namespace {

constexpr double longestShot = 30; // seconds

struct Shot : TakenPhoto {
    std::optional<NSError> error;
    bool finished = false;
};

}

TakenPhoto takePhoto(const OpenCamera& camera, bool live)
{
    // A late answer finds the shot still there.
    const auto shot = std::make_shared<Shot>();
    shot->request = shot->exposure = std::chrono::steady_clock::now();
    const auto began = [shot] {
        DispatchQueue::main().async([shot, now = std::chrono::steady_clock::now()] { shot->exposure = now; });
    };
    const auto finished = [shot](std::shared_ptr<QVPhotoCaptureOutput> photo, std::optional<NSError> error) {
        DispatchQueue::main().async(
            [shot, photo = std::move(photo), error = std::move(error), now = std::chrono::steady_clock::now()] {
                shot->photo = photo;
                shot->error = error;
                shot->data = now;
                shot->finished = true;
            });
    };
    auto& controller = *camera.controller();
    const bool started
        = live ? controller.captureLivePhoto(began, finished) : controller.captureStillImage(began, finished);
    if (!started)
        throw Refusal("No photo was taken", camera.reason({}, "the camera stopped"), "try again");
    if (!camera.turnUntil([&] { return shot->finished || camera.hasFailed(); }, longestShot))
        throw Refusal("No photo was taken", "the camera did not answer within 30 s", "try again");
    if (!shot->photo)
        throw Refusal("No photo was taken",
            camera.reason(shot->error, "the camera gave neither a picture nor a reason"), "try again");
    return *shot;
}

}
