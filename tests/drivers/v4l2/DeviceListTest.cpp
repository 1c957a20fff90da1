// SPDX-License-Identifier: Apache-2.0
#include "drivers/v4l2/DeviceList.h"

#include "tests/support/DeviceTest.h"
#include "tests/support/KernelTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmora::tests {

using namespace drivers::v4l2;

class KernelDevices : public DeviceTest {
protected:
    KernelWish wish() const { return { tree.folders(), tree.path("udev"), tree.path("device-tree"), 3 }; }
    void list(const std::string& node, const std::string& name, int index = 0) const
    {
        const std::string folder = "sys/class/video4linux/" + node;
        tree.write(folder + "/name", name + "\n");
        tree.write(folder + "/index", std::to_string(index) + "\n");
        tree.write(folder + "/dev", "81:" + node.substr(5) + "\n");
        tree.write("dev/" + node, "");
    }
    std::vector<std::string> nodes() const
    {
        std::vector<std::string> all;
        for (const auto& device : videoDevices(wish()))
            all.push_back(device.node);
        return all;
    }

    const KernelTree tree;
};

TEST_F(KernelDevices, AreListedByTheirNumbers)
{
    for (const char* node : { "video10", "video9", "video0" })
        list(node, "camera");
    EXPECT_THAT(nodes(), testing::ElementsAre("video0", "video9", "video10"));
}

TEST_F(KernelDevices, ThatHaveNoFileYetAreNotListed)
{
    list("video0", "camera");
    list("video1", "camera");
    std::filesystem::remove(tree.path("dev/video1"));
    EXPECT_THAT(nodes(), testing::ElementsAre("video0"));
}

TEST_F(KernelDevices, OfOtherKindsAreNotListed)
{
    list("video0", "camera");
    for (const char* other : { "vbi0", "radio0", "v4l-subdev0", "videox", "video" }) {
        tree.write(std::string("sys/class/video4linux/") + other + "/name", "other\n");
        tree.write(std::string("dev/") + other, "");
    }
    EXPECT_THAT(nodes(), testing::ElementsAre("video0"));
}

TEST_F(KernelDevices, TellTheirNameAndPlace)
{
    list("video2", "Integrated Camera: Integrated I", 1);
    const auto device = videoDevices(wish()).at(0);
    EXPECT_EQ(device.name, "Integrated Camera: Integrated I");
    EXPECT_EQ(device.index, 1);
    EXPECT_EQ(device.make, "");
}

TEST_F(KernelDevices, OfUSBTellWhoMadeThem)
{
    list("video0", "Webcam");
    tree.write("sys/devices/usb1/1-4/manufacturer", "Example Optics\n");
    tree.write("sys/devices/usb1/1-4/product", "Webcam 5\n");
    std::filesystem::create_directories(tree.path("sys/devices/usb1/1-4/1-4:1.0"));
    std::filesystem::create_directory_symlink(
        tree.path("sys/devices/usb1/1-4/1-4:1.0"), tree.path("sys/class/video4linux/video0/device"));
    const auto device = videoDevices(wish()).at(0);
    EXPECT_EQ(device.make, "Example Optics");
    EXPECT_EQ(device.model, "Webcam 5");
}

TEST_F(KernelDevices, AreDeclaredByRulesOfUdev)
{
    list("video3", "sensor");
    tree.write("udev/c81:3",
        "S:v4l/by-id/sensor\nE:ID_V4L_PRODUCT=sensor\nE:VELMORA_POSITION=front\nE:VELMORA_LENS=ultrawide\n"
        "E:VELMORA_ROTATION=270\n");
    const auto device = videoDevices(wish()).at(0);
    EXPECT_EQ(device.properties.at("velmora.position"), "front");
    EXPECT_EQ(device.properties.at("velmora.lens"), "ultrawide");
    EXPECT_EQ(device.properties.at("velmora.rotation"), "270");
    EXPECT_EQ(device.properties.size(), 3U);
}

TEST_F(KernelDevices, AreNoneOnAMachineWithoutVideo)
{
    EXPECT_TRUE(nodes().empty());
}

TEST_F(KernelDevices, ThatAreNoCamerasGiveNone)
{
    list("video0", "a file that knows no camera's calls");
    const auto capture = openV4L2(wish());
    EXPECT_EQ(capture->name(), "v4l2");
    EXPECT_TRUE(capture->devices().empty());
    EXPECT_FALSE(capture->defaultDevice(AVMediaTypeVideo));
    EXPECT_EQ(capture->authorizationStatus(AVMediaTypeVideo), AVAuthorizationStatusAuthorized);
}

TEST_F(KernelDevices, CannotBeHadWithoutTheirFolder)
{
    KernelWish nowhere = wish();
    nowhere.folders.devices = tree.path("nowhere");
    try {
        openV4L2(nowhere);
        FAIL() << "it was opened";
    } catch (const NSError& error) {
        EXPECT_THAT(error.localizedDescription(), testing::HasSubstr(tree.path("nowhere")));
    }
}

}
