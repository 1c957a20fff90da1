// SPDX-License-Identifier: Apache-2.0
#include "drivers/FlashDevice.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <utility>

namespace velmora::drivers::cameras {

namespace {

constexpr int longestFlash = 1000000; // microseconds that one is asked for at most
constexpr int shortestFlash = 400000; // one that goes out sooner is over before a camera has followed it

class FlashDevice final : public Light {
public:
    FlashDevice(int descriptor, std::string name)
        : descriptor_(descriptor)
        , name_(std::move(name))
    {
        const auto timeout = range(V4L2_CID_FLASH_TIMEOUT);
        canFlash_ = range(V4L2_CID_FLASH_STROBE) && (!timeout || timeout->maximum >= shortestFlash);
    }
    ~FlashDevice() override
    {
        if (torch_ || flashing_)
            set(V4L2_CID_FLASH_LED_MODE, V4L2_FLASH_LED_MODE_NONE);
        close(descriptor_);
    }
    FlashDevice(const FlashDevice&) = delete;
    FlashDevice& operator=(const FlashDevice&) = delete;

    bool isFlash() const { return range(V4L2_CID_FLASH_LED_MODE).has_value(); }
    std::string name() const override { return name_; }

    std::optional<NSError> setTorch(bool on) override
    {
        if (on)
            brighten(V4L2_CID_FLASH_TORCH_INTENSITY);
        const auto problem = set(V4L2_CID_FLASH_LED_MODE, on ? V4L2_FLASH_LED_MODE_TORCH : V4L2_FLASH_LED_MODE_NONE);
        if (!problem)
            torch_ = on;
        return problem;
    }
    std::optional<NSError> beginFlash() override
    {
        flashing_ = true;
        if (!canFlash_) {
            brighten(V4L2_CID_FLASH_TORCH_INTENSITY);
            return set(V4L2_CID_FLASH_LED_MODE, V4L2_FLASH_LED_MODE_TORCH);
        }
        if (const auto problem = set(V4L2_CID_FLASH_LED_MODE, V4L2_FLASH_LED_MODE_FLASH))
            return problem;
        if (range(V4L2_CID_FLASH_STROBE_SOURCE))
            set(V4L2_CID_FLASH_STROBE_SOURCE, V4L2_FLASH_STROBE_SOURCE_SOFTWARE);
        brighten(V4L2_CID_FLASH_INTENSITY);
        if (const auto timeout = range(V4L2_CID_FLASH_TIMEOUT))
            set(V4L2_CID_FLASH_TIMEOUT, std::min(static_cast<int>(timeout->maximum), longestFlash));
        return set(V4L2_CID_FLASH_STROBE, 1);
    }
    void endFlash() override
    {
        if (!std::exchange(flashing_, false))
            return;
        if (canFlash_ && range(V4L2_CID_FLASH_STROBE_STOP))
            set(V4L2_CID_FLASH_STROBE_STOP, 1);
        set(V4L2_CID_FLASH_LED_MODE, torch_ ? V4L2_FLASH_LED_MODE_TORCH : V4L2_FLASH_LED_MODE_NONE);
    }

private:
    std::optional<v4l2_queryctrl> range(std::uint32_t id) const
    {
        v4l2_queryctrl query {};
        query.id = id;
        if (ioctl(descriptor_, VIDIOC_QUERYCTRL, &query) != 0 || (query.flags & V4L2_CTRL_FLAG_DISABLED) != 0)
            return std::nullopt;
        return query;
    }
    std::optional<NSError> set(std::uint32_t id, int value) const
    {
        v4l2_control control { id, value };
        if (ioctl(descriptor_, VIDIOC_S_CTRL, &control) == 0)
            return std::nullopt;
        return errorFromErrno(errno, "The light \"" + name_ + "\" cannot be switched");
    }
    void brighten(std::uint32_t id) const
    {
        if (const auto intensity = range(id))
            set(id, intensity->maximum);
    }

    const int descriptor_;
    const std::string name_;
    bool canFlash_ = false, torch_ = false, flashing_ = false;
};

}

std::shared_ptr<Light> openFlashDevice(const KernelFolders& folders, const std::string& device)
{
    const int descriptor = open((folders.devices + "/" + device).c_str(), O_RDWR | O_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    std::ifstream file(folders.system + "/class/video4linux/" + device + "/name");
    std::string name = device;
    std::getline(file, name);
    auto flash = std::make_shared<FlashDevice>(descriptor, name.empty() ? device : name);
    return flash->isFlash() ? flash : nullptr;
}

}
