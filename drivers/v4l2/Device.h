// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/CameraDescription.h"
#include "drivers/CameraSource.h"
#include "drivers/v4l2/DeviceControls.h"
#include "drivers/v4l2/DeviceList.h"
#include "drivers/v4l2/Loop.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmora::drivers::v4l2 {

/// A camera of the kernel while it is plugged in. With the loop locked.
class Device final : public cameras::CameraSource {
public:
    struct Events {
        std::function<void()> unplugged, valuesChanged;
    };
    /// Null when the device is no camera, gives nothing that we could read, or cannot be opened.
    static std::shared_ptr<Device> open(Loop& loop, const KernelWish& wish, const VideoDevice& found);

    /// The place where it is plugged in, and which of the cameras there it is.
    const std::string& identity() const { return names_.identity; }
    const VideoDevice& found() const { return found_; }
    void setEvents(Events events) { events_ = std::move(events); }

    CaptureDeviceDescription description() const override;
    const std::vector<cameras::Offer>& offers() const override { return offers_; }
    const cameras::Controls& controls() const override { return controls_; }
    void set(const std::map<std::uint32_t, double>& values) override;
    std::unique_ptr<cameras::CameraStream> stream(
        const cameras::Offer& offer, cameras::Rate rate, cameras::StreamEvents events) override;
    void look() override;

private:
    Device(Loop& loop, const KernelWish& wish, const VideoDevice& found);
    bool learn();
    void place(const std::vector<KernelControl>& all);
    std::shared_ptr<Descriptor> descriptor();

    Loop& loop_; // outlives the camera that has this
    const KernelWish wish_;
    const VideoDevice found_;
    std::weak_ptr<Descriptor> open_; // while it streams: a camera that is open may shine its lamp
    v4l2_buf_type type_ = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    cameras::CameraNames names_;
    cameras::Properties properties_;
    std::vector<cameras::Offer> offers_;
    cameras::Controls controls_;
    Events events_;
};

}
