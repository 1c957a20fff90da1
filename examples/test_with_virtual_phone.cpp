// SPDX-License-Identifier: Apache-2.0
// How an application tests its own camera code: a virtual phone that is asked to fail, on a clock that is moved by
// hand.
#include "velmora/capture/QVCameraController.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "platform/Foundation/ManualClock.h"

#include "drivers/installDefaults.h"
#include "drivers/phone/VirtualPhone.h"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::drivers::phone;

/// What an application might have: it counts what the user shot, and how often that failed.
struct Roll {
    int photos = 0, failures = 0;
};

static void shoot(QVCameraController& controller, Roll& roll)
{
    controller.captureStillImage({}, [&roll](auto photo, auto) { ++(photo ? roll.photos : roll.failures); });
}

class RollOfFilm : public testing::Test {
protected:
    RollOfFilm()
    {
        drivers::installDefaults(); // the phone's pictures are encoded by the real encoder
        controller->startSession();
        phone.clock().advance(0.5);
    }

    VirtualPhone phone { triple() };
    std::shared_ptr<QVCameraController> controller = make<QVCameraController>();
    Roll roll;
};

TEST_F(RollOfFilm, APhotoIsCounted)
{
    shoot(*controller, roll);
    phone.clock().advance(1);
    EXPECT_EQ(roll.photos, 1);
}

TEST_F(RollOfFilm, AFullPhoneIsAFailureToTellTheUser)
{
    phone.fullAfter(0);
    shoot(*controller, roll);
    phone.clock().advance(1);
    EXPECT_EQ(roll.photos, 0);
    EXPECT_EQ(roll.failures, 1);
}
