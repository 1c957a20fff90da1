// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureSession.h"

#include "drivers/media/install.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/PhoneTest.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::tests {

using Lines = std::vector<std::string>;

/// A phone, its log, and controllers that are made in one word.
class ControllerTest : public PhoneTest {
protected:
    explicit ControllerTest(drivers::phone::PhoneDescription description = smallPhone())
        : PhoneTest(std::move(description))
    {
        drivers::media::install(); // photos are files in memory
    }
    ~ControllerTest() override
    {
        controller.reset();
        settle();
    }

    /// Runs everything that waits on a queue; time stands still.
    void settle() { clock.advance(0); }

    void construct(QVCameraCaptureIntent intent = QVCameraCaptureIntentStillImage,
        AVCaptureDevicePosition position = AVCaptureDevicePositionBack, std::optional<std::string> preset = {})
    {
        controller = make<QVCameraController>(position, intent, std::move(preset));
    }
    void constructAndStart(QVCameraCaptureIntent intent = QVCameraCaptureIntentStillImage,
        AVCaptureDevicePosition position = AVCaptureDevicePositionBack)
    {
        construct(intent, position);
        controller->startSession();
        settle();
        log.clear();
    }

    /// The camera in use; empty without one.
    std::string cameraID() const
    {
        const auto device = controller->currentVideoCaptureDevice();
        return device ? device->uniqueID() : std::string();
    }
    /// The session's only output of a class, or nothing.
    template <class Output> std::shared_ptr<Output> output() const
    {
        for (const auto& each : controller->captureSession()->outputs())
            if (auto found = std::dynamic_pointer_cast<Output>(each))
                return found;
        return nullptr;
    }

    CapturedLog log;
    std::shared_ptr<QVCameraController> controller;
};

}
