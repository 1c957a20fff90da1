// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/ManualClock.h"

#include "drivers/phone/VirtualPhone.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace velmora::tests {

/// A camera whose pictures are small enough for a test that looks at them: 640x480, stills too.
inline drivers::phone::Camera smallCamera(
    const std::string& id, AVCaptureDevicePosition position = AVCaptureDevicePositionBack)
{
    drivers::phone::Format format;
    format.size = format.highResolutionStill = { 640, 480 };
    drivers::phone::Camera camera;
    camera.id = id;
    camera.type = AVCaptureDeviceTypeBuiltInWideAngleCamera;
    camera.position = position;
    camera.formats = { format };
    camera.presets = { { AVCaptureSessionPresetPhoto, 0 }, { AVCaptureSessionPresetHigh, 0 } };
    camera.rawFormats = { 1650943796 };
    return camera;
}

/// Two small cameras, "back" and "front".
inline drivers::phone::PhoneDescription smallPhone()
{
    drivers::phone::PhoneDescription description;
    description.cameras = { smallCamera("back"), smallCamera("front", AVCaptureDevicePositionFront) };
    return description;
}

/// A phone and its clock, moved by hand; everything runs on the test's own thread.
class PhoneTest : public testing::Test {
protected:
    explicit PhoneTest(drivers::phone::PhoneDescription description = smallPhone())
        : phone(std::move(description))
    {
    }

    drivers::phone::VirtualPhone phone;
    ManualClock& clock = phone.clock();
};

}
