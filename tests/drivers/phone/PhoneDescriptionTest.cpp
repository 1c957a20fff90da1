// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhoneDescription.h"

#include "platform/CoreLocation/CLLocation.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace velmora::tests {

using namespace velmora::drivers::phone;

namespace {

std::string complaint(const std::string& text)
{
    try {
        fromJSONText(text, "phone.json");
    } catch (const NSError& error) {
        return error.localizedDescription();
    }
    return "accepted";
}

TEST(PhoneDescription, TripleHasItsEightCamerasInOrder)
{
    std::string ids;
    for (const auto& camera : triple().cameras)
        ids += camera.id + " ";
    EXPECT_EQ(
        ids, "back-wide back-tele back-ultrawide back-dual back-dualwide back-triple front-wide front-truedepth ");
}

TEST(PhoneDescription, TriplesFormatsAreThoseThatTheCameraLists)
{
    const Camera wide = triple().cameras[0];
    ASSERT_EQ(wide.formats.size(), 4U);
    EXPECT_EQ(wide.formats[0].frameRates.size(), 2U);
    EXPECT_EQ(wide.formats[1].frameRates[0].maximum, 240);
    EXPECT_EQ(CMTimeCompare(*wide.formats[1].frameRates[0].shortestFrame, CMTimeMake(1, 240)), 0);
    EXPECT_EQ(wide.formats[3].size, (CMVideoDimensions { 4032, 3024 }));
    EXPECT_EQ(wide.presets.at("AVCaptureSessionPresetPhoto"), 3U);
    EXPECT_EQ(wide.presets.at("AVCaptureSessionPresetHigh"), 0U);
    EXPECT_EQ(wide.rawFormats, (std::vector<std::uint32_t> { 1650943796 }));
    EXPECT_FALSE(wide.distortionCorrection);
}

TEST(PhoneDescription, TriplesFrontCamerasHaveAFixedLensAndNoTorch)
{
    const Camera front = triple().cameras[7];
    EXPECT_EQ(front.type, "AVCaptureDeviceTypeBuiltInTrueDepthCamera");
    EXPECT_EQ(front.position, AVCaptureDevicePositionFront);
    EXPECT_EQ(front.of, (std::vector<std::string> { "front-wide" }));
    EXPECT_TRUE(front.torchModes.empty());
    EXPECT_EQ(front.focusModes, (std::vector<int> { 0 }));
    EXPECT_EQ(front.formats[2].depth, (std::vector<CMVideoDimensions> { { 640, 480 } }));
}

TEST(PhoneDescription, SingleHasOneCameraAndNoneHasNoMicrophoneEither)
{
    EXPECT_EQ(single().cameras.size(), 1U);
    EXPECT_TRUE(none().cameras.empty());
    EXPECT_FALSE(none().microphone);
}

TEST(PhoneDescription, WhatIsLeftOutHasTheDefault)
{
    const PhoneDescription read = fromJSONText("{}", "phone.json");
    EXPECT_EQ(read.systemVersion, (SystemVersion { 17, 2 }));
    EXPECT_EQ(read.permissions.location, 4);
    EXPECT_TRUE(read.microphone);
    EXPECT_EQ(read.photoConnections, (std::vector<std::string> { "video" }));
}

TEST(PhoneDescription, MotionAndTrackAreRead)
{
    const PhoneDescription read = fromJSONText(
        R"({"motion": [{"at": 1.5, "acceleration": [-1, 0, 0.5]}],
            "track": [{"at": 2, "latitude": -33.5, "longitude": 151, "altitude": 12}]})",
        "phone.json");
    EXPECT_EQ(read.motion[0].at, 1.5);
    EXPECT_EQ(read.motion[0].acceleration.x, -1);
    EXPECT_EQ(read.motion[0].acceleration.z, 0.5);
    EXPECT_EQ(read.track[0].at, 2);
    EXPECT_EQ(read.track[0].location->coordinate().latitude, -33.5);
    EXPECT_EQ(read.track[0].location->altitude(), 12);
}

TEST(PhoneDescription, TheCameraButtonTheHandAndTheLensAreRead)
{
    const auto read = fromJSONText(R"({"controls": false, "foreignControls": ["Zoom"], "handShake": 0.02,
        "lostFrames": 0.03, "soundClock": 100, "cameras": [{"id": "a", "type": "ultrawide", "barrel": 0.12}]})",
        "phone.json");
    EXPECT_FALSE(read.controls);
    EXPECT_EQ(read.foreignControls, (std::vector<std::string> { "Zoom" }));
    EXPECT_EQ(read.handShake, 0.02);
    EXPECT_EQ(read.lostFrames, 0.03);
    EXPECT_EQ(read.soundClock, 100);
    EXPECT_EQ(read.cameras[0].barrel, 0.12);
    EXPECT_TRUE(triple().controls);
}

TEST(PhoneDescription, TextsAreRead)
{
    const auto read
        = fromJSONText(R"({"applicationStrings": {"OFF": "Aus"}, "defaults": {"album": "A-1"}})", "phone.json");
    EXPECT_EQ(read.applicationStrings.at("OFF"), "Aus");
    EXPECT_EQ(read.defaults.at("album"), "A-1");
    EXPECT_EQ(triple().information.at("NSLocationWhenInUseUsageDescription"), "Photos remember where they were taken.");
}

TEST(PhoneDescription, APresetMaySelectNoFormat)
{
    const auto read
        = fromJSONText(R"({"cameras": [{"id": "a", "type": "odd", "presets": {"High": null}}]})", "phone.json");
    EXPECT_EQ(read.cameras[0].presets.at("High"), std::nullopt);
    EXPECT_EQ(read.cameras[0].type, "odd");
}

TEST(PhoneDescription, AnUnknownKeyIsNamedWithItsPlaceAndFile)
{
    EXPECT_EQ(complaint(R"({"storage": {"bytesfree": 1}})"),
        "phone.json: storage has an unknown key \"bytesfree\"; known are bytesFree.");
}

TEST(PhoneDescription, AValueOutsideItsRangeIsNamed)
{
    EXPECT_EQ(complaint(R"({"sceneDistance": -2})"),
        "phone.json: sceneDistance is -2; it must be a number from 0.01 to 1000000.");
    EXPECT_EQ(complaint(R"({"cameras": [{"id": "a", "type": "wide", "flashModes": [0, 99]}]})"),
        "phone.json: cameras[0].flashModes[1] is 99; it must be a whole number from -1 to 16.");
}

TEST(PhoneDescription, AMissingMemberIsNamed)
{
    EXPECT_EQ(
        complaint(R"({"cameras": [{"id": "a"}]})"), "phone.json: cameras[0] has no \"type\", which it must have.");
}

TEST(PhoneDescription, AFormatThatDoesNotExistIsNamed)
{
    EXPECT_EQ(complaint(R"({"cameras": [{"id": "a", "type": "wide", "formats": ["big"]}]})"),
        "phone.json: cameras[0].formats[0] is \"big\"; it must be the name of one of the description's formats.");
}

TEST(PhoneDescription, TwoCamerasOfOneNameAreRefused)
{
    EXPECT_EQ(complaint(R"({"cameras": [{"id": "a", "type": "wide"}, {"id": "a", "type": "tele"}]})"),
        "phone.json: cameras[1] is an object; its id \"a\" must not be another camera's too.");
}

TEST(PhoneDescription, ACameraMadeOfAnotherPhonesIsRefused)
{
    EXPECT_EQ(complaint(R"({"cameras": [{"id": "a", "type": "dual", "of": ["b"]}]})"),
        "phone.json: cameras[0] is an object; it must be made of cameras of this phone, and \"b\" is none.");
}

TEST(PhoneDescription, APermissionIsOneOfItsNames)
{
    EXPECT_EQ(complaint(R"({"permissions": {"camera": "yes"}})"),
        "phone.json: permissions.camera is \"yes\"; it must be \"notDetermined\", \"restricted\", \"denied\" or "
        "\"authorised\".");
}

TEST(PhoneDescription, AVersionAndATimeAreWrittenInTheirWay)
{
    EXPECT_EQ(complaint(R"({"systemVersion": 17})"),
        "phone.json: systemVersion is 17; it must be a version such as \"17.2\".");
    EXPECT_EQ(complaint(R"({"formats": {"f": {"exposure": ["1/0", "1/3"]}}})"),
        "phone.json: formats.f.exposure[0] is \"1/0\"; it must be a time above zero such as \"1/60\", or a number of "
        "seconds.");
}

TEST(PhoneDescription, WhatIsNotJSONIsRefusedWithItsLine)
{
    EXPECT_EQ(complaint("{\n\"footage\": }"),
        "phone.json: line 2 is not JSON, so the phone cannot be read; it must be an object in braces, as RFC 8259 "
        "writes it.");
}

TEST(PhoneDescription, ANumberBeyondAllNumbersIsRefused)
{
    EXPECT_EQ(complaint(R"({"sceneDistance": 60E666})"),
        "phone.json: it holds a number that is too large to be read; numbers go up to 1e308.");
}

TEST(PhoneDescription, AFileThatIsNotThereIsNamed)
{
    try {
        fromJSON("/nowhere/phone.json");
        FAIL() << "it was read";
    } catch (const NSError& error) {
        EXPECT_EQ(error.domain(), "NSPOSIXErrorDomain");
        EXPECT_EQ(error.localizedDescription(),
            "The description of the phone, /nowhere/phone.json, cannot be read: No such file or directory");
    }
}

TEST(PhoneDescription, FootageIsLookedForBesideTheFile)
{
    const auto folder = std::filesystem::temp_directory_path() / "velmora-phone-description";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "phone.json") << R"({"footage": "field.jpg"})";
    EXPECT_EQ(fromJSON(folder / "phone.json").footage, (folder / "field.jpg").string());
    std::filesystem::remove_all(folder);
}

}
}
