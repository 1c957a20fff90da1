// SPDX-License-Identifier: Apache-2.0
#include "drivers/v4l2/Device.h"

#include "drivers/v4l2/DeviceStream.h"
#include "drivers/v4l2/Formats.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace velmora::drivers::v4l2 {

using cameras::Offer;
using cameras::Rate;

namespace {

template <std::size_t size> std::string textIn(const __u8 (&bytes)[size])
{
    const auto* end = std::find(std::begin(bytes), std::end(bytes), 0);
    return { std::begin(bytes), end };
}

}

Device::Device(Loop& loop, const KernelWish& wish, const VideoDevice& found)
    : loop_(loop)
    , wish_(wish)
    , found_(found)
    , properties_(found.properties)
{
}

std::shared_ptr<Device> Device::open(Loop& loop, const KernelWish& wish, const VideoDevice& found)
{
    const std::shared_ptr<Device> device(new Device(loop, wish, found));
    return device->learn() ? device : nullptr;
}

/// The one that streams, or one for the moment.
std::shared_ptr<Descriptor> Device::descriptor()
{
    if (auto streaming = open_.lock())
        return streaming;
    return std::make_shared<Descriptor>(wish_.folders.devices + "/" + found_.node);
}

bool Device::learn()
{
    const auto device = descriptor();
    v4l2_capability can {};
    if (!device->isOpen() || !device->call(VIDIOC_QUERYCAP, &can))
        return false;
    const std::uint32_t abilities = (can.capabilities & V4L2_CAP_DEVICE_CAPS) != 0 ? can.device_caps : can.capabilities;
    constexpr std::uint32_t captures = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_CAPTURE_MPLANE;
    constexpr std::uint32_t encodes
        = V4L2_CAP_VIDEO_M2M | V4L2_CAP_VIDEO_M2M_MPLANE | V4L2_CAP_VIDEO_OUTPUT | V4L2_CAP_VIDEO_OUTPUT_MPLANE;
    if ((abilities & captures) == 0 || (abilities & V4L2_CAP_STREAMING) == 0 || (abilities & encodes) != 0)
        return false;
    if ((abilities & V4L2_CAP_VIDEO_CAPTURE) == 0)
        type_ = V4L2_BUF_TYPE_VIDEO_CAPTURE_MPLANE;
    const std::string card = textIn(can.card), place = textIn(can.bus_info);
    names_.identity = (place.empty() ? found_.node : place) + "/" + std::to_string(found_.index);
    names_.name = card;
    names_.make = found_.make;
    names_.model = found_.model;
    offers_ = offersOf(*device, type_);
    const auto all = controlsIn(*device);
    controls_ = cameraControls(all);
    readValues(*device, controls_);
    properties_["api.v4l2.cap.card"] = card;
    properties_["node.description"] = found_.name + " " + textIn(can.driver);
    for (const auto& control : all) {
        v4l2_control value { control.query.id, 0 };
        if (control.query.id == V4L2_CID_CAMERA_ORIENTATION && device->call(VIDIOC_G_CTRL, &value)) {
            const char* const where = value.value == V4L2_CAMERA_ORIENTATION_FRONT ? "front"
                : value.value == V4L2_CAMERA_ORIENTATION_BACK                      ? "back"
                                                                                   : "external";
            properties_.try_emplace("api.libcamera.location", where);
        } else if (control.query.id == V4L2_CID_CAMERA_SENSOR_ROTATION && device->call(VIDIOC_G_CTRL, &value))
            properties_.try_emplace("api.libcamera.rotation", std::to_string(value.value));
    }
    return !offers_.empty();
}

CaptureDeviceDescription Device::description() const
{
    return cameras::describe(names_, cameras::placementOf(properties_, wish_.deviceTree), offers_, controls_);
}

void Device::set(const std::map<std::uint32_t, double>& values)
{
    if (values.empty())
        return;
    const auto device = descriptor();
    if (!device->isOpen())
        return;
    setValues(*device, controls_, values);
    look();
}

void Device::look()
{
    const auto device = descriptor();
    if (device->isOpen() && readValues(*device, controls_) && events_.valuesChanged)
        events_.valuesChanged();
}

std::unique_ptr<cameras::CameraStream> Device::stream(const Offer& offer, Rate rate, cameras::StreamEvents events)
{
    auto device = descriptor();
    if (!device->isOpen())
        throw errorFromErrno(errno, "it cannot be opened");
    open_ = device;
    std::vector<std::uint32_t> controls;
    for (const auto& [purpose, control] : controls_.all())
        controls.push_back(control.id);
    DeviceStream::Events told { std::move(events), [this] { events_.unplugged(); }, [this] { look(); } };
    return std::make_unique<DeviceStream>(loop_, std::move(device), type_, offer, rate, controls, std::move(told));
}

}
