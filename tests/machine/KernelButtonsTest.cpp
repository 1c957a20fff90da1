// SPDX-License-Identifier: Apache-2.0
#include "drivers/evdev/InputButtons.h"

#include "tests/support/Collected.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/uinput.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::tests {
namespace {

using drivers::evdev::InputButtons;
using testing::ElementsAre;

/// An input device that the kernel makes of what a program tells it.
class MadeDevice {
public:
    explicit MadeDevice(std::initializer_list<int> keys)
        : descriptor_(::open("/dev/uinput", O_WRONLY | O_NONBLOCK | O_CLOEXEC))
    {
        ::ioctl(descriptor_, UI_SET_EVBIT, EV_KEY);
        for (const int key : keys)
            ::ioctl(descriptor_, UI_SET_KEYBIT, key);
        uinput_setup setup {};
        std::strncpy(setup.name, "velmora test buttons", sizeof setup.name - 1);
        setup.id.bustype = BUS_VIRTUAL;
        made_ = ::ioctl(descriptor_, UI_DEV_SETUP, &setup) == 0 && ::ioctl(descriptor_, UI_DEV_CREATE) == 0;
    }
    ~MadeDevice()
    {
        unplug();
        ::close(descriptor_);
    }
    MadeDevice(const MadeDevice&) = delete;
    MadeDevice& operator=(const MadeDevice&) = delete;

    bool isMade() const { return made_; }
    void unplug()
    {
        if (std::exchange(made_, false))
            ::ioctl(descriptor_, UI_DEV_DESTROY);
    }
    void key(std::uint16_t code, std::int32_t value) const
    {
        std::array<input_event, 2> events {};
        events[0].type = EV_KEY;
        events[0].code = code;
        events[0].value = value;
        events[1].type = EV_SYN;
        static_cast<void>(!::write(descriptor_, events.data(), sizeof events));
    }

private:
    const int descriptor_;
    bool made_ = false;
};

class KernelButtons : public testing::Test {
protected:
    /// A device has no past: what happens to it before it is found is never told.
    static void pressUntilHeard(const MadeDevice& device, std::uint16_t code, Collected<std::string>& by)
    {
        for (int tries = 0; tries < 100 && !by.waitFor(1, 0.2); ++tries) {
            device.key(code, 1);
            device.key(code, 0);
        }
        EXPECT_TRUE(by.waitUntil([](const auto& all) { return !all.empty() && all.size() % 2 == 0; }, 20));
        by.clear();
    }
    void listen()
    {
        buttons.setPressed([this](const std::string& button, AVCaptureEventPhase phase) {
            heard.add(button + " " + std::to_string(phase));
        });
    }
    ~KernelButtons() override { buttons.setPressed(nullptr); }
    std::vector<std::string> afterHearing(std::size_t count) const
    {
        EXPECT_TRUE(heard.waitFor(count, 20));
        return heard.all();
    }

    /// The kernel numbers them as they come.
    static std::string newestDevice()
    {
        int newest = -1;
        for (const auto& entry : std::filesystem::directory_iterator("/dev/input"))
            if (const std::string name = entry.path().filename(); name.starts_with("event"))
                newest = std::max(newest, std::stoi(name.substr(5)));
        return "/dev/input/event" + std::to_string(newest);
    }

    Collected<std::string> heard;
    InputButtons buttons { {} };
};

TEST_F(KernelButtons, TellOfTheCameraKeysTwoContacts)
{
    const MadeDevice device { KEY_CAMERA, KEY_CAMERA_FOCUS };
    ASSERT_TRUE(device.isMade());
    ASSERT_TRUE(InputButtons::canRead({}));
    listen();
    pressUntilHeard(device, KEY_CAMERA_FOCUS, heard);
    device.key(KEY_CAMERA_FOCUS, 1);
    device.key(KEY_CAMERA_FOCUS, 0);
    device.key(KEY_CAMERA_FOCUS, 1);
    device.key(KEY_CAMERA, 1);
    device.key(KEY_CAMERA, 0);
    device.key(KEY_CAMERA_FOCUS, 0);

    EXPECT_THAT(afterHearing(4), ElementsAre("Camera 0", "Camera 2", "Camera 0", "Camera 1"));
}

TEST_F(KernelButtons, ThatComeAreHeardAndThatGoAreLetGoOf)
{
    listen();
    MadeDevice remote { KEY_VOLUMEUP };
    ASSERT_TRUE(remote.isMade());
    pressUntilHeard(remote, KEY_VOLUMEUP, heard);
    remote.key(KEY_VOLUMEUP, 1);
    EXPECT_THAT(afterHearing(1), ElementsAre("VolumeUp 0"));
    remote.unplug(); // before which the kernel itself lets go of the key

    EXPECT_THAT(afterHearing(2), ElementsAre("VolumeUp 0", testing::AnyOf("VolumeUp 1", "VolumeUp 2")));
}

TEST_F(KernelButtons, ThatDoNothingElseBelongToOne)
{
    const MadeDevice device { KEY_VOLUMEUP, KEY_VOLUMEDOWN };
    ASSERT_TRUE(device.isMade());
    listen();
    pressUntilHeard(device, KEY_VOLUMEUP, heard);
    const int descriptor = ::open(newestDevice().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(descriptor, 0);
    device.key(KEY_VOLUMEUP, 1);
    EXPECT_THAT(afterHearing(1), ElementsAre("VolumeUp 0"));
    std::array<input_event, 4> events {};
    EXPECT_LT(::read(descriptor, events.data(), sizeof events), 0); // nobody else hears of it

    buttons.setPressed(nullptr);
    device.key(KEY_VOLUMEUP, 0);
    EXPECT_GT(::read(descriptor, events.data(), sizeof events), 0);
    ::close(descriptor);
}

}
}
