// SPDX-License-Identifier: Apache-2.0
#include <fstream>

#include "tests/drivers/pipewire/PipeWireTest.h"

namespace velmora::tests {

class PipeWireDevices : public PipeWireTest {
protected:
    void declareMachine(const std::string& compatible, const std::string& chassis)
    {
        std::ofstream(daemon->folder().file("compatible")) << compatible << '\0';
        std::ofstream(daemon->folder().file("chassis-type")) << chassis << '\0';
    }
    std::vector<std::string> names()
    {
        std::vector<std::string> all;
        for (const auto& device : capture->devices())
            all.push_back(device->description().uniqueID);
        return all;
    }
};

TEST_F(PipeWireDevices, AreNamedAndPlacedAsTheirNodesTell)
{
    publish("libcamera_input.back", { "api.libcamera.location=back", "velmora.lens=tele", "velmora.rotation=90" });
    publish("libcamera_input.front", { "api.libcamera.location=front", "api.libcamera.rotation=90" });
    const auto back = open("libcamera_input.back")->description();
    EXPECT_EQ(back.name, "libcamera_input.back");
    EXPECT_EQ(back.position, AVCaptureDevicePositionBack);
    EXPECT_EQ(back.deviceType, AVCaptureDeviceTypeBuiltInTelephotoCamera);
    EXPECT_EQ(back.sensorRotation, 90);
    const auto front = open("libcamera_input.front")->description();
    EXPECT_EQ(front.position, AVCaptureDevicePositionFront);
    EXPECT_EQ(front.deviceType, AVCaptureDeviceTypeBuiltInWideAngleCamera);
    EXPECT_EQ(front.sensorRotation, 270) << "the kernel counts the other way round";
}

TEST_F(PipeWireDevices, ThatComeAndGoAreTold)
{
    publish("first");
    ASSERT_TRUE(open("first"));
    const auto told = std::make_shared<Collected<std::string>>();
    capture->setDevicePresence([told](const std::shared_ptr<CaptureDeviceDriver>& device, bool isThere) {
        told->add(device->description().uniqueID + (isThere ? " came" : " went"));
    });
    auto second = daemon->camera("second", { "offers=NV12:640x480:30" });
    ASSERT_TRUE(told->waitFor(1));
    second.reset();
    ASSERT_TRUE(told->waitFor(2));
    EXPECT_EQ(told->all(), (std::vector<std::string> { "second came", "second went" }));

    daemon->kill();
    ASSERT_TRUE(told->waitFor(3));
    EXPECT_EQ(told->all()[2], "first went");
    capture->setDevicePresence(nullptr);
}

TEST_F(PipeWireDevices, OfAKnownPhoneArePlacedByTheirSensors)
{
    declareMachine("pine64,pinephone-pro", "handset");
    publish("v4l2_input.imx258");
    publish("v4l2_input.ov8858");
    EXPECT_EQ(open("v4l2_input.imx258")->description().position, AVCaptureDevicePositionBack);
    EXPECT_EQ(open("v4l2_input.imx258")->description().sensorRotation, 90);
    EXPECT_EQ(open("v4l2_input.ov8858")->description().position, AVCaptureDevicePositionFront);
}

TEST_F(PipeWireDevices, WithoutAWordOfTheirPlaceLookWhereTheirUserLooks)
{
    publish("v4l2_input.usb-0_4");
    publish("v4l2_input.usb-0_5", { "device.product.name=Integrated Camera" });
    EXPECT_EQ(open("v4l2_input.usb-0_4")->description().position, AVCaptureDevicePositionBack);
    EXPECT_EQ(open("v4l2_input.usb-0_4")->description().sensorRotation, 0);
    EXPECT_EQ(open("v4l2_input.usb-0_5")->description().position, AVCaptureDevicePositionFront);
}

TEST_F(PipeWireDevices, ListTheirFormatsWithRatesAndTheLargestStillOfThatShape)
{
    publish("one", { "offers=NV12:1280x720:30/60 YUY2:640x480:30 NV12:640x480:15 NV12:2592x1944:10" });
    const auto formats = open("one")->description().formats;
    ASSERT_EQ(formats.size(), 3U);
    EXPECT_EQ(formats[0].dimensions, (CMVideoDimensions { 1280, 720 }));
    EXPECT_EQ(formats[0].highResolutionStill, (CMVideoDimensions { 1280, 720 }));
    ASSERT_EQ(formats[0].frameRates.size(), 2U);
    EXPECT_EQ(formats[0].frameRates[0].maxFrameRate, 30);
    EXPECT_EQ(formats[0].frameRates[1].maxFrameRate, 60);
    EXPECT_EQ(CMTimeCompare(formats[0].frameRates[1].minFrameDuration, CMTimeMake(1, 60)), 0);
    EXPECT_EQ(formats[1].dimensions, (CMVideoDimensions { 640, 480 }));
    EXPECT_EQ(formats[1].highResolutionStill, (CMVideoDimensions { 2592, 1944 }));
    EXPECT_EQ(formats[1].frameRates.size(), 2U);
}

TEST_F(PipeWireDevices, NameAFormatForMoviesAndOneForPhotos)
{
    publish("one", { "offers=NV12:640x480:30 NV12:1920x1080:30 NV12:2592x1944:10 NV12:3840x2160:30" });
    const auto description = open("one")->description();
    EXPECT_EQ(description.presets.at(AVCaptureSessionPresetHigh), 1U);
    EXPECT_EQ(description.presets.at(AVCaptureSessionPresetPhoto), 1U) << "the largest picture is 16:9";
    EXPECT_EQ(description.activeFormat, 1U);
}

TEST_F(PipeWireDevices, OfOneNameAreToldApart)
{
    publish("camera");
    publish("camera");
    open("camera");
    EXPECT_THAT(names(), testing::UnorderedElementsAre("camera", "camera#2"));
}

TEST_F(PipeWireDevices, ComeAndGoWithTheirPlugs)
{
    publish("one");
    open("one");
    EXPECT_THAT(names(), testing::ElementsAre("one"));
    publish("two");
    EXPECT_THAT(names(), testing::ElementsAre("one", "two"));
    const auto before = open("one");
    cameras[0].reset();
    EXPECT_THAT(names(), testing::ElementsAre("two"));
    publish("one");
    EXPECT_EQ(open("one"), before) << "it is the same camera after unplugging";
}

TEST_F(PipeWireDevices, AreNoneWithoutADaemon)
{
    auto wish = this->wish();
    wish.socket = daemon->folder().file("nobody");
    try {
        drivers::pipewire::openPipeWire(wish);
        FAIL() << "nobody listens there";
    } catch (const NSError& error) {
        EXPECT_EQ(error.localizedDescription(),
            "No PipeWire daemon runs here; start pipewire and wireplumber, and try again.");
    }
}

TEST_F(PipeWireDevices, TheDefaultCameraIsTheWideOneAtTheBack)
{
    publish("a", { "api.libcamera.location=front" });
    publish("b", { "api.libcamera.location=back", "velmora.lens=tele" });
    publish("c", { "api.libcamera.location=back" });
    cameras.push_back(daemon->microphone("mic"));
    open("a");
    EXPECT_EQ(capture->defaultDevice(AVMediaTypeVideo)->description().uniqueID, "c");
    EXPECT_EQ(capture->defaultDevice(AVMediaTypeAudio)->description().uniqueID, "mic");
}

TEST_F(PipeWireDevices, TellTheRangesOfTheirControlsInOurUnits)
{
    publish("one", { "controls=webcam" });
    const auto description = open("one")->description();
    EXPECT_EQ(description.exposureModes, (std::vector<int> { 0, 2, 3 }));
    EXPECT_EQ(description.focusModes, (std::vector<int> { 0, 2 }));
    EXPECT_EQ(description.whiteBalanceModes, (std::vector<int> { 0, 2 }));
    const auto& format = description.formats[0];
    EXPECT_DOUBLE_EQ(CMTimeGetSeconds(format.minExposureDuration), 0.0001);
    EXPECT_DOUBLE_EQ(CMTimeGetSeconds(format.maxExposureDuration), 0.5);
    EXPECT_EQ(format.minISO, 100);
    EXPECT_EQ(format.maxISO, 1600);
    EXPECT_EQ(format.maxZoomFactor, 4);
}

TEST_F(PipeWireDevices, WithoutControlsDoAllByThemselves)
{
    publish("one", { "controls=none" });
    const auto description = open("one")->description();
    EXPECT_EQ(description.exposureModes, std::vector<int> { 2 });
    EXPECT_EQ(description.whiteBalanceModes, std::vector<int> { 2 });
    EXPECT_TRUE(description.focusModes.empty());
    EXPECT_EQ(description.formats[0].maxZoomFactor, 1);
}

}
