// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/AVFoundation/AVCaptureDeviceInput.h"
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"

#include "tests/support/ControllerTest.h"

#include <filesystem>
#include <iterator>

namespace velmora::tests {

using namespace drivers::phone;

namespace {

PhoneDescription wideAndTele()
{
    PhoneDescription description = smallPhone();
    for (auto& camera : description.cameras)
        camera.formats[0].size = camera.formats[0].highResolutionStill = { 64, 48 }; // many photos
    Camera tele = description.cameras[0];
    tele.id = "tele";
    tele.type = AVCaptureDeviceTypeBuiltInTelephotoCamera;
    description.cameras.push_back(std::move(tele));
    return description;
}

std::ptrdiff_t openDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

}

/// Switches between two lenses and takes a photo each time: one that still waits when the lens changes.
class LensSwitching : public ControllerTest {
protected:
    LensSwitching()
        : ControllerTest(wideAndTele())
    {
        constructAndStart(QVCameraCaptureIntentStillImage | QVCameraCaptureIntentSampleBuffers);
    }

    void switchLens()
    {
        controller->setLensType(
            controller->lensType() == QVLensTypeWideAngle ? QVLensTypeTelephoto : QVLensTypeWideAngle);
        for (const auto& input : controller->captureSession()->inputs())
            everMade.push_back(input);
        for (const auto& each : controller->captureSession()->outputs())
            for (const auto& connection : each->connections())
                everMade.push_back(connection);
    }
    void takePhoto()
    {
        ++asked;
        controller->captureStillImage(
            nullptr, [this](const std::shared_ptr<QVPhotoCaptureOutput>& photo, const std::optional<NSError>&) {
                ++answered;
                photos += photo ? 1 : 0;
            });
    }
    /// Inputs and connections that any switch has made and that still exist.
    std::size_t alive() const
    {
        std::size_t count = 0;
        std::vector<std::shared_ptr<NSObject>> counted; // one that stayed was noted at each switch
        for (const auto& each : everMade)
            if (const auto object = each.lock())
                if (std::find(counted.begin(), counted.end(), object) == counted.end()) {
                    counted.push_back(object);
                    ++count;
                }
        return count;
    }

    int asked = 0, answered = 0, photos = 0;
    std::vector<std::weak_ptr<NSObject>> everMade;
};

TEST_F(LensSwitching, AThousandTimesWhilePhotosAreTakenLosesNothingAndLeavesNothingBehind)
{
    int announced = 0;
    const auto token = controller->observe(
        "currentVideoCaptureDevice", NSKeyValueObservingOptionNew, [&](const NSKeyValueChange&) { ++announced; });
    std::size_t aliveBefore = 0;
    std::ptrdiff_t descriptorsBefore = 0;
    for (int i = 1; i <= 1000; ++i) {
        takePhoto();
        switchLens();
        clock.advance(0.2);
        ASSERT_EQ(announced, i);
        ASSERT_EQ(cameraID(), i % 2 == 1 ? "tele" : "back");
        if (i == 100) {
            aliveBefore = alive();
            descriptorsBefore = openDescriptors();
        }
    }
    EXPECT_EQ(answered, 1000);
    EXPECT_EQ(photos, 1000);
    EXPECT_EQ(alive(), aliveBefore);
    EXPECT_EQ(openDescriptors(), descriptorsBefore);
    EXPECT_EQ(controller->captureSession()->inputs().size(), 1U);
    EXPECT_EQ(controller->captureSession()->outputs().size(), 2U);
    EXPECT_EQ(log.lines(), Lines {});
}

}
