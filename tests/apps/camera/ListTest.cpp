// SPDX-License-Identifier: Apache-2.0
#include "tests/apps/camera/CameraProgram.h"

namespace velmora::tests {

using testing::HasSubstr;

class Lists : public CameraProgram { };

TEST_F(Lists, LensesAreTheFrontOnesAndThenTheOthers)
{
    const auto outcome = run("--camera virtual lenses");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
        "front wide\nfront truedepth, with depth\nback wide\nback tele\nback dual, with depth\nback triple\n"
        "back dualwide, with depth\nback ultrawide\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Lists, LensesAreJSONWhenAskedFor)
{
    const auto json = run("--camera virtual --json lenses").json();
    EXPECT_EQ(json["version"], 1);
    EXPECT_EQ(json["driver"], "virtual");
    ASSERT_EQ(json["lenses"].size(), 8U);
    EXPECT_EQ(json["lenses"][1],
        (nlohmann::json { { "position", "front" }, { "type", "truedepth" }, { "raw", 3 }, { "depthCapture", true } }));
    EXPECT_EQ(json["lenses"][2],
        (nlohmann::json { { "position", "back" }, { "type", "wide" }, { "raw", 0 }, { "depthCapture", false } }));
}

TEST_F(Lists, APhoneWithoutLensesHasNone)
{
    const auto outcome = run("--camera virtual --phone none lenses");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "No lenses.\n");
    EXPECT_EQ(run("--camera virtual --phone none --json lenses").json()["lenses"], nlohmann::json::array());
}

TEST_F(Lists, DevicesAreToldWithTheirFormatsAndLimits)
{
    const auto outcome = run("--phone small.json --camera virtual devices");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out,
        HasSubstr("back-wide: back wide (back-wide)\n"
                  "  640 x 480, stills 640 x 480, 1 to 30 fps, ISO 32 to 3200, 1/8000 s to 1/3 s, zoom to 16\n"
                  "  can set: focus, focus point, exposure, exposure point, white balance, flash, torch, "
                  "stabilization, RAW, live photos\n"));
    EXPECT_THAT(outcome.out, HasSubstr("driver media: works\n"));
}

TEST_F(Lists, DevicesAreJSONWhenAskedFor)
{
    const auto json = run("--phone small.json --camera virtual --json devices").json();
    ASSERT_EQ(json["devices"].size(), 1U);
    const auto& device = json["devices"][0];
    EXPECT_EQ(device["id"], "back-wide");
    EXPECT_EQ(device["type"], "wide");
    EXPECT_EQ(device["position"], "back");
    ASSERT_EQ(device["formats"].size(), 1U);
    EXPECT_EQ(device["formats"][0]["width"], 640);
    EXPECT_EQ(device["formats"][0]["iso"], (nlohmann::json { 32.0, 3200.0 }));
    EXPECT_EQ(device["formats"][0]["frameRates"], (nlohmann::json { { 1.0, 30.0 } }));
    EXPECT_TRUE(json["missing"].is_array());
}

TEST_F(Lists, AMachineWithoutACameraListsNoneAndWhatBecameOfTheDrivers)
{
    const auto outcome = run("--camera virtual --phone none devices");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("No cameras.\ndriver media: works\n"));
}

}
