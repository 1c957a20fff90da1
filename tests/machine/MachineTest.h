// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/v4l2/openV4L2.h"

#include "tests/support/DeviceTest.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <string>

namespace velmora::tests {

/// The machine's cameras: the kernel's module "vivid", twice. The first has a picture in one piece of memory, the
/// second one with planes apart.
class MachineTest : public DeviceTest {
protected:
    static constexpr const char* first = "platform:vivid-000/0";
    static constexpr const char* second = "platform:vivid-001/0";

    std::shared_ptr<CaptureDeviceDriver> open(const std::string& identity = first)
    {
        if (!capture)
            capture = drivers::v4l2::openV4L2(wish);
        for (const auto& device : capture->devices())
            if (device->description().uniqueID == identity)
                return device;
        return nullptr;
    }
    /// Which format has this size; the number of formats when none has.
    static std::size_t formatOf(const CaptureDeviceDriver& camera, std::int32_t width, std::int32_t height)
    {
        const auto formats = camera.description().formats;
        std::size_t at = 0;
        while (at < formats.size() && !(formats[at].dimensions == CMVideoDimensions { width, height }))
            ++at;
        return at;
    }
    /// A camera that gives frames of 320 x 180, 15 or so a second, which a machine without any acceleration can do.
    std::shared_ptr<CaptureDeviceDriver> run(const std::string& identity = first, std::int32_t width = 320,
        std::int32_t height = 180, std::uint32_t format = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange)
    {
        const auto camera = open(identity);
        if (!camera)
            return nullptr;
        settings.activeFormat = formatOf(*camera, width, height);
        settings.minFrameDuration = settings.maxFrameDuration = CMTimeMake(1, 15);
        settings.exposureMode = settings.focusMode = settings.whiteBalanceMode = 2;
        camera->apply(settings, "activeFormat", {});
        return !start(camera, format) && frames.waitFor(1, 10) ? camera : nullptr;
    }

    drivers::v4l2::KernelWish wish;
    std::shared_ptr<drivers::v4l2::KernelCapture> capture;
    CaptureSettings settings;
};

/// A camera's controls as another program sees them.
class Controls {
public:
    explicit Controls(const std::string& node)
        : descriptor_(::open(node.c_str(), O_RDWR))
    {
    }
    ~Controls() { close(descriptor_); }
    Controls(const Controls&) = delete;
    Controls& operator=(const Controls&) = delete;

    bool has(const std::string& name) const { return find(name) != 0; }
    int value(const std::string& name) const
    {
        v4l2_control control { find(name), -1 };
        ioctl(descriptor_, VIDIOC_G_CTRL, &control);
        return control.value;
    }
    bool set(const std::string& name, int value) const
    {
        v4l2_control control { find(name), value };
        return ioctl(descriptor_, VIDIOC_S_CTRL, &control) == 0;
    }
    /// Takes the camera's pictures, so that nobody else can.
    bool takePictures() const
    {
        v4l2_requestbuffers wish {};
        wish.count = 2;
        wish.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        wish.memory = V4L2_MEMORY_MMAP;
        return ioctl(descriptor_, VIDIOC_REQBUFS, &wish) == 0;
    }

private:
    std::uint32_t find(const std::string& name) const
    {
        v4l2_queryctrl query {};
        query.id = V4L2_CTRL_FLAG_NEXT_CTRL;
        while (ioctl(descriptor_, VIDIOC_QUERYCTRL, &query) == 0) {
            if (name == reinterpret_cast<const char*>(query.name))
                return query.id;
            query.id |= V4L2_CTRL_FLAG_NEXT_CTRL;
        }
        return 0;
    }
    const int descriptor_;
};

}
