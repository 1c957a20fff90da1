// SPDX-License-Identifier: Apache-2.0
#include "drivers/evdev/InputButtons.h"

#include "tests/support/Collected.h"
#include "tests/support/TemporaryFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/input.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace velmora::tests {

using drivers::evdev::InputButtons;
using drivers::evdev::Places;
using testing::ElementsAre;

namespace {

// As sysfs writes them: hexadecimal words of 64 bits, the highest first.
constexpr const char* volumeKeys = "c000000000000 0"; // 114, 115
constexpr const char* cameraKeys = "10000 0 0 0 0 100000 0 0 0"; // 212, 528
constexpr const char* keyboardKeys = "200000010000000"; // 28, 57

/// A device of a kernel that is made of pipes and files.
class Device {
public:
    Device(const TemporaryFolder& folder, const std::string& name, const std::string& keys)
        : path_(folder.file("dev/" + name))
    {
        const std::string capabilities = folder.file("sys/" + name + "/device/capabilities");
        std::filesystem::create_directories(capabilities);
        std::filesystem::create_directories(folder.file("dev"));
        std::ofstream(capabilities + "/key") << keys << '\n';
        ::mkfifo(path_.c_str(), 0600);
        descriptor_ = ::open(path_.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
    }
    ~Device() { unplug(); }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    void send(std::uint16_t type, std::uint16_t code, std::int32_t value) const
    {
        input_event event {};
        event.type = type;
        event.code = code;
        event.value = value;
        ASSERT_EQ(::write(descriptor_, &event, sizeof event), static_cast<ssize_t>(sizeof event));
    }
    void key(std::uint16_t code, std::int32_t value) const
    {
        send(EV_KEY, code, value);
        send(EV_SYN, SYN_REPORT, 0);
    }
    void unplug()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
        descriptor_ = -1;
        ::unlink(path_.c_str());
    }

private:
    const std::string path_;
    int descriptor_ = -1;
};

class InputButtonsThreads : public testing::Test {
protected:
    ~InputButtonsThreads() override
    {
        if (buttons)
            buttons->setPressed(nullptr);
    }
    Places places() const { return { folder.file("dev"), folder.file("sys"), typing }; }
    void listen()
    {
        buttons = std::make_unique<InputButtons>(places());
        buttons->setPressed([this](const std::string& button, AVCaptureEventPhase phase) {
            heard.add(button + " " + std::to_string(phase));
        });
    }
    std::vector<std::string> afterHearing(std::size_t count) const
    {
        EXPECT_TRUE(heard.waitFor(count));
        return heard.all();
    }

    const TemporaryFolder folder;
    bool typing = false;
    Collected<std::string> heard;
    std::unique_ptr<InputButtons> buttons;
};

TEST_F(InputButtonsThreads, APressAndReleaseOfAVolumeKeyBeginsAndEnds)
{
    const Device device(folder, "event0", volumeKeys);
    listen();
    device.key(KEY_VOLUMEUP, 1);
    device.key(KEY_VOLUMEUP, 0);
    device.key(KEY_VOLUMEDOWN, 1);

    EXPECT_THAT(afterHearing(3), ElementsAre("VolumeUp 0", "VolumeUp 1", "VolumeDown 0"));
}

TEST_F(InputButtonsThreads, AKeyThatRepeatsIsOnePress)
{
    const Device device(folder, "event0", volumeKeys);
    listen();
    device.key(KEY_VOLUMEUP, 1);
    device.key(KEY_VOLUMEUP, 2);
    device.key(KEY_VOLUMEUP, 2);
    device.key(KEY_VOLUMEUP, 0);

    EXPECT_THAT(afterHearing(2), ElementsAre("VolumeUp 0", "VolumeUp 1"));
}

TEST_F(InputButtonsThreads, HalfAPressOfTheCameraKeyIsCancelled)
{
    const Device device(folder, "event3", cameraKeys);
    listen();
    device.key(KEY_CAMERA_FOCUS, 1);
    device.key(KEY_CAMERA_FOCUS, 0);

    EXPECT_THAT(afterHearing(2), ElementsAre("Camera 0", "Camera 2"));
}

TEST_F(InputButtonsThreads, AWholePressThroughTheFocusIsOne)
{
    const Device device(folder, "event3", cameraKeys);
    listen();
    device.key(KEY_CAMERA_FOCUS, 1);
    device.key(KEY_CAMERA, 1);
    device.key(KEY_CAMERA, 0);
    device.key(KEY_CAMERA_FOCUS, 0);
    device.key(KEY_CAMERA_FOCUS, 1);

    EXPECT_THAT(afterHearing(3), ElementsAre("Camera 0", "Camera 1", "Camera 0"));
}

TEST_F(InputButtonsThreads, AKeyboardsSpaceCountsWhereNobodyTypes)
{
    const Device device(folder, "event1", keyboardKeys);
    EXPECT_FALSE(InputButtons::canRead(places()));
    typing = true;
    EXPECT_TRUE(InputButtons::canRead(places()));
    listen();
    device.key(KEY_SPACE, 1);
    device.key(KEY_SPACE, 0);
    device.key(KEY_ENTER, 1);

    EXPECT_THAT(afterHearing(3), ElementsAre("Space 0", "Space 1", "Return 0"));
}

TEST_F(InputButtonsThreads, OtherKeysAreNoButtons)
{
    const Device device(folder, "event0", volumeKeys);
    listen();
    device.key(KEY_POWER, 1);
    device.key(KEY_POWER, 0);
    device.key(KEY_CAMERA, 1); // it says that it has none
    device.key(KEY_VOLUMEUP, 1);

    EXPECT_THAT(afterHearing(1), ElementsAre("VolumeUp 0"));
}

TEST_F(InputButtonsThreads, WhatIsPluggedInLaterIsHeard)
{
    const Device first(folder, "event0", volumeKeys);
    listen();
    first.key(KEY_VOLUMEUP, 1);
    EXPECT_TRUE(heard.waitFor(1)); // it looks
    const Device remote(folder, "event7", volumeKeys);
    remote.key(KEY_VOLUMEDOWN, 1);

    EXPECT_THAT(afterHearing(2), ElementsAre("VolumeUp 0", "VolumeDown 0"));
}

TEST_F(InputButtonsThreads, WhatIsUnpluggedWhilePressedIsCancelled)
{
    Device device(folder, "event0", volumeKeys);
    listen();
    device.key(KEY_VOLUMEUP, 1);
    EXPECT_TRUE(heard.waitFor(1));
    device.unplug();

    EXPECT_THAT(afterHearing(2), ElementsAre("VolumeUp 0", "VolumeUp 2"));
}

TEST_F(InputButtonsThreads, AReleaseThatTheKernelHadNoRoomForIsTakenUp)
{
    const Device device(folder, "event0", volumeKeys);
    listen();
    device.key(KEY_VOLUMEUP, 1);
    device.send(EV_SYN, SYN_DROPPED, 0);

    EXPECT_THAT(afterHearing(2), ElementsAre("VolumeUp 0", "VolumeUp 1"));
}

TEST_F(InputButtonsThreads, NothingComesAfterwards)
{
    const Device device(folder, "event0", volumeKeys);
    listen();
    device.key(KEY_VOLUMEUP, 1);
    EXPECT_TRUE(heard.waitFor(1));
    buttons->setPressed(nullptr);
    device.key(KEY_VOLUMEUP, 0);
    listen();
    device.key(KEY_VOLUMEDOWN, 1);

    EXPECT_THAT(afterHearing(2), ElementsAre("VolumeUp 0", "VolumeDown 0"));
}

TEST_F(InputButtonsThreads, WithoutDevicesThereIsNothingToRead)
{
    EXPECT_FALSE(InputButtons::canRead(places()));
    const Device touchscreen(folder, "event0", "400 0 0 0 0 0"); // 330
    EXPECT_FALSE(InputButtons::canRead(places()));
    const Device damaged(folder, "event1", "what is this");
    EXPECT_FALSE(InputButtons::canRead(places()));
    const Device volume(folder, "event2", volumeKeys);
    EXPECT_TRUE(InputButtons::canRead(places()));
}

}

}
