// SPDX-License-Identifier: Apache-2.0
#include "drivers/v4l2/DeviceControls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmora::tests {

using namespace drivers::v4l2;
using drivers::cameras::Controls;

namespace {

KernelControl control(std::uint32_t id, int least, int most, int usual, std::uint32_t type = V4L2_CTRL_TYPE_INTEGER)
{
    v4l2_queryctrl query {};
    query.id = id;
    query.type = type;
    query.minimum = least;
    query.maximum = most;
    query.default_value = usual;
    return { query, {} };
}

KernelControl menu(std::uint32_t id, std::map<std::int64_t, std::int64_t> entries, std::uint32_t type)
{
    auto result = control(id, static_cast<int>(entries.begin()->first), static_cast<int>(entries.rbegin()->first),
        static_cast<int>(entries.begin()->first), type);
    result.menu = std::move(entries);
    return result;
}

KernelControl exposureModes(std::map<std::int64_t, std::int64_t> modes)
{
    return menu(V4L2_CID_EXPOSURE_AUTO, std::move(modes), V4L2_CTRL_TYPE_MENU);
}

CaptureDeviceDescription describedBy(const Controls& controls)
{
    CaptureDeviceDescription description;
    description.formats.emplace_back();
    controls.describe(description);
    return description;
}

CaptureSettings automatic()
{
    CaptureSettings settings;
    settings.exposureMode = settings.focusMode = settings.whiteBalanceMode = 2;
    return settings;
}

}

TEST(KernelControls, ExposureIsCountedInTenthsOfMilliseconds)
{
    const auto controls
        = cameraControls({ control(V4L2_CID_EXPOSURE_ABSOLUTE, 3, 2047, 250), exposureModes({ { 1, 1 }, { 3, 3 } }) });
    const auto format = describedBy(controls).formats[0];
    EXPECT_NEAR(CMTimeGetSeconds(format.minExposureDuration), 0.0003, 1e-9);
    EXPECT_NEAR(CMTimeGetSeconds(format.maxExposureDuration), 0.2047, 1e-9);
    CaptureSettings settings = automatic();
    settings.exposureMode = 3;
    settings.exposureDuration = CMTimeMake(1, 100);
    const auto before = automatic();
    const auto changes = controls.changesFor(settings, &before);
    EXPECT_EQ(changes.at(V4L2_CID_EXPOSURE_ABSOLUTE), 100);
    EXPECT_EQ(changes.at(V4L2_CID_EXPOSURE_AUTO), V4L2_EXPOSURE_MANUAL);
}

TEST(KernelControls, ExposureIsAutomaticInTheWayThatTheCameraHas)
{
    const auto modeOf = [](std::map<std::int64_t, std::int64_t> modes) {
        const auto controls
            = cameraControls({ control(V4L2_CID_EXPOSURE_ABSOLUTE, 1, 100, 1), exposureModes(std::move(modes)) });
        return controls.changesFor(automatic(), nullptr).at(V4L2_CID_EXPOSURE_AUTO);
    };
    EXPECT_EQ(modeOf({ { 0, 0 }, { 1, 1 } }), V4L2_EXPOSURE_AUTO);
    EXPECT_EQ(modeOf({ { 1, 1 }, { 3, 3 } }), V4L2_EXPOSURE_APERTURE_PRIORITY) << "as webcams have it";
}

TEST(KernelControls, SensitivityInThousandthsOfISO)
{
    const auto controls = cameraControls({ menu(V4L2_CID_ISO_SENSITIVITY,
        { { 0, 100000 }, { 1, 200000 }, { 2, 400000 }, { 3, 800000 } }, V4L2_CTRL_TYPE_INTEGER_MENU) });
    const auto format = describedBy(controls).formats[0];
    EXPECT_FLOAT_EQ(format.minISO, 100);
    EXPECT_FLOAT_EQ(format.maxISO, 800);
    CaptureSettings settings = automatic();
    settings.exposureMode = 3;
    settings.ISO = 390;
    const auto before = automatic();
    EXPECT_EQ(controls.changesFor(settings, &before).at(V4L2_CID_ISO_SENSITIVITY), 2) << "the nearest";
}

TEST(KernelControls, SensitivityThatIsTold)
{
    auto controls = cameraControls(
        { menu(V4L2_CID_ISO_SENSITIVITY, { { 0, 100000 }, { 1, 200000 } }, V4L2_CTRL_TYPE_INTEGER_MENU) });
    controls.read(V4L2_CID_ISO_SENSITIVITY, 1);
    EXPECT_FLOAT_EQ(controls.readings().ISO.value(), 200);
}

TEST(KernelControls, AGainIsSpreadOverFourStops)
{
    const auto controls = cameraControls({ control(V4L2_CID_GAIN, 0, 100, 0) });
    CaptureSettings settings = automatic();
    settings.exposureMode = 3;
    settings.ISO = 400;
    const auto before = automatic();
    EXPECT_EQ(controls.changesFor(settings, &before).at(V4L2_CID_GAIN), 50);
}

TEST(KernelControls, TheGainIsByHandWhenTheExposureIs)
{
    const auto controls = cameraControls(
        { control(V4L2_CID_GAIN, 0, 100, 0), control(V4L2_CID_AUTOGAIN, 0, 1, 1, V4L2_CTRL_TYPE_BOOLEAN) });
    CaptureSettings settings = automatic();
    EXPECT_EQ(controls.changesFor(settings, nullptr).at(V4L2_CID_AUTOGAIN), 1);
    settings.exposureMode = 3;
    EXPECT_EQ(controls.changesFor(settings, nullptr).at(V4L2_CID_AUTOGAIN), 0);
}

TEST(KernelControls, FocusGoesFromFarToNear)
{
    const auto controls = cameraControls({ control(V4L2_CID_FOCUS_ABSOLUTE, 0, 250, 0) });
    CaptureSettings settings = automatic();
    settings.focusMode = 0;
    settings.lensPosition = 0; // the nearest
    const auto before = automatic();
    EXPECT_EQ(controls.changesFor(settings, &before).at(V4L2_CID_FOCUS_ABSOLUTE), 250);
    settings.lensPosition = 1;
    EXPECT_EQ(controls.changesFor(settings, &before).at(V4L2_CID_FOCUS_ABSOLUTE), 0);
}

TEST(KernelControls, BiasInThousandthsOfAStop)
{
    const auto controls = cameraControls({ menu(V4L2_CID_AUTO_EXPOSURE_BIAS,
        { { 0, -2000 }, { 1, -1000 }, { 2, 0 }, { 3, 1000 }, { 4, 2000 } }, V4L2_CTRL_TYPE_INTEGER_MENU) });
    const auto description = describedBy(controls);
    EXPECT_FLOAT_EQ(description.minExposureBias, -2);
    EXPECT_FLOAT_EQ(description.maxExposureBias, 2);
    CaptureSettings settings = automatic();
    settings.exposureTargetBias = -1;
    const auto before = automatic();
    EXPECT_EQ(controls.changesFor(settings, &before).at(V4L2_CID_AUTO_EXPOSURE_BIAS), 1);
}

TEST(KernelControls, ZoomIsAFactorOfTheLeast)
{
    const auto controls = cameraControls({ control(V4L2_CID_ZOOM_ABSOLUTE, 100, 500, 100) });
    EXPECT_DOUBLE_EQ(describedBy(controls).formats[0].maxZoomFactor, 5);
    CaptureSettings settings = automatic();
    settings.zoomFactor = 2.5;
    const auto before = automatic();
    EXPECT_EQ(controls.changesFor(settings, &before).at(V4L2_CID_ZOOM_ABSOLUTE), 250);
}

TEST(KernelControls, ThatCannotBeSetAreNone)
{
    auto disabled = control(V4L2_CID_GAIN, 0, 100, 0);
    disabled.query.flags = V4L2_CTRL_FLAG_DISABLED;
    EXPECT_FALSE(controlOf(disabled));
    auto readOnly = control(V4L2_CID_ZOOM_ABSOLUTE, 0, 100, 0);
    readOnly.query.flags = V4L2_CTRL_FLAG_READ_ONLY;
    EXPECT_FALSE(controlOf(readOnly));
    EXPECT_FALSE(controlOf(control(V4L2_CID_BRIGHTNESS, 0, 255, 128))) << "nobody sets it";
    EXPECT_TRUE(controlOf(control(V4L2_CID_GAIN, 0, 100, 0)));
}

TEST(KernelControls, OfTwoForOnePurposeTheFirstCounts)
{
    const auto controls
        = cameraControls({ control(V4L2_CID_ANALOGUE_GAIN, 1, 16, 1), control(V4L2_CID_GAIN, 0, 100, 0) });
    CaptureSettings settings = automatic();
    settings.exposureMode = 3;
    settings.ISO = 200;
    const auto before = automatic();
    EXPECT_THAT(controls.changesFor(settings, &before), testing::UnorderedElementsAre(testing::Key(V4L2_CID_GAIN)));
}

}
