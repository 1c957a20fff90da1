// SPDX-License-Identifier: Apache-2.0
#include "drivers/CameraLight.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/KernelTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmora::tests {

using drivers::cameras::findLight;

constexpr auto back = AVCaptureDevicePositionBack, front = AVCaptureDevicePositionFront;

TEST(CameraLight, ShinesAsBrightAsTheKernelAllows)
{
    const KernelTree tree;
    tree.lamp("white:torch", 120);
    const auto light = findLight(tree.folders(), back);
    ASSERT_TRUE(light);
    EXPECT_FALSE(light->setTorch(true));
    EXPECT_EQ(tree.ofLED("white:torch", "brightness"), "120\n");
    EXPECT_FALSE(light->setTorch(false));
    EXPECT_EQ(tree.ofLED("white:torch", "brightness"), "0\n");
}

TEST(CameraLight, FlashesAtFullStrengthForAsLongAsItMay)
{
    const KernelTree tree;
    tree.flash("white:flash", 255, 500000);
    const auto light = findLight(tree.folders(), back);
    ASSERT_TRUE(light);
    EXPECT_FALSE(light->beginFlash());
    EXPECT_EQ(tree.ofLED("white:flash", "flash_brightness"), "900000\n");
    EXPECT_EQ(tree.ofLED("white:flash", "flash_timeout"), "500000\n");
    EXPECT_EQ(tree.ofLED("white:flash", "flash_strobe"), "1\n");
    EXPECT_EQ(tree.ofLED("white:flash", "brightness"), "0\n");
    light->endFlash();
    EXPECT_EQ(tree.ofLED("white:flash", "flash_strobe"), "0\n");
}

TEST(CameraLight, NeverFlashesForMoreThanASecond)
{
    const KernelTree tree;
    tree.flash("flash", 255, 30000000);
    ASSERT_FALSE(findLight(tree.folders(), back)->beginFlash());
    EXPECT_EQ(tree.ofLED("flash", "flash_timeout"), "1000000\n");
}

TEST(CameraLight, WhoseFlashIsTooShortForACameraShinesInstead)
{
    const KernelTree tree;
    tree.flash("white:flash", 200, 100000);
    const auto light = findLight(tree.folders(), back);
    EXPECT_FALSE(light->beginFlash());
    EXPECT_EQ(tree.ofLED("white:flash", "brightness"), "200\n");
    EXPECT_EQ(tree.ofLED("white:flash", "flash_strobe"), "0\n");
    light->endFlash();
    EXPECT_EQ(tree.ofLED("white:flash", "brightness"), "0\n");
}

TEST(CameraLight, StaysOnAfterAFlashWhenItWasATorch)
{
    const KernelTree tree;
    tree.lamp("white:torch", 7);
    const auto light = findLight(tree.folders(), back);
    light->setTorch(true);
    light->beginFlash();
    light->endFlash();
    EXPECT_EQ(tree.ofLED("white:torch", "brightness"), "7\n");
}

TEST(CameraLight, GoesOutWithItsLastOwner)
{
    const KernelTree tree;
    tree.lamp("white:torch", 7);
    auto light = findLight(tree.folders(), back);
    light->setTorch(true);
    light.reset();
    EXPECT_EQ(tree.ofLED("white:torch", "brightness"), "0\n");
}

TEST(CameraLight, IsTheOneThatFlashesAndIsWhite)
{
    const KernelTree tree;
    tree.lamp("white:torch", 7);
    tree.flash("yellow:flash", 7, 1000000);
    tree.flash("white:flash", 7, 1000000);
    EXPECT_EQ(findLight(tree.folders(), back)->name(), "white:flash");
}

TEST(CameraLight, IsNoKeyboardsAndNoBattery)
{
    const KernelTree tree;
    tree.lamp("input3::capslock", 1);
    tree.lamp("red:charging", 255);
    tree.lamp("flashlight-controller:status", 255);
    EXPECT_FALSE(findLight(tree.folders(), back));
}

TEST(CameraLight, AtTheFrontSaysSo)
{
    const KernelTree tree;
    tree.lamp("white:torch", 7);
    EXPECT_FALSE(findLight(tree.folders(), front));
    tree.lamp("front:white:flash", 9);
    ASSERT_TRUE(findLight(tree.folders(), front));
    EXPECT_EQ(findLight(tree.folders(), front)->name(), "front:white:flash");
    EXPECT_EQ(findLight(tree.folders(), back)->name(), "white:torch");
}

TEST(CameraLight, ThatTheKernelRefusesToSwitchTellsWhy)
{
    const KernelTree tree;
    tree.lamp("white:torch", 7);
    const auto light = findLight(tree.folders(), back);
    std::filesystem::remove_all(tree.path("sys/class/leds/white:torch"));
    const auto problem = light->setTorch(true);
    ASSERT_TRUE(problem);
    EXPECT_THAT(problem->localizedDescription(),
        testing::AllOf(testing::HasSubstr("white:torch"), testing::HasSubstr("No such file or directory")));
}

TEST(CameraLight, ThatThisUserMayNotSwitchIsLeftAloneAndSaid)
{
    const CapturedLog log;
    const KernelTree tree;
    std::filesystem::create_directories(tree.path("sys/class/leds/white:torch/brightness")); // not even the superuser
    EXPECT_FALSE(findLight(tree.folders(), back));
    EXPECT_THAT(log.lines(),
        testing::ElementsAre("The light white:torch may not be switched by this user. A rule of udev lets people: "
                             "docs/real-devices.md."));
}

TEST(CameraLight, IsNoneOnAMachineWithoutLights)
{
    const KernelTree tree;
    EXPECT_FALSE(findLight(tree.folders(), back));
    EXPECT_FALSE(findLight({ "/nonexistent", "/nonexistent" }, back));
}

}
