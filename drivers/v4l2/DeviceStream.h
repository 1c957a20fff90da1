// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/CameraFrame.h"
#include "drivers/CameraSource.h"
#include "drivers/v4l2/Descriptor.h"
#include "drivers/v4l2/Loop.h"

#include <linux/videodev2.h>

#include <functional>
#include <memory>
#include <vector>

namespace velmora::drivers::v4l2 {

/// A camera's frames in buffers that the kernel lends us.
class DeviceStream final : public cameras::CameraStream {
public:
    struct Events {
        cameras::StreamEvents stream;
        std::function<void()> unplugged, controlsChanged;
    };
    /// Throws NSError when the device does not begin.
    DeviceStream(Loop& loop, std::shared_ptr<Descriptor> device, v4l2_buf_type type, const cameras::Offer& offer,
        cameras::Rate rate, const std::vector<std::uint32_t>& controls, Events events);
    ~DeviceStream() override;
    DeviceStream(const DeviceStream&) = delete;
    DeviceStream& operator=(const DeviceStream&) = delete;

private:
    class Buffers;
    struct Lease;
    struct Memory;

    void setFormat(const cameras::Offer& offer);
    void setRate(cameras::Rate rate);
    void happened(short what);
    void frame(bool failed);
    std::vector<cameras::FramePiece> piecesOf(const v4l2_buffer& buffer, const v4l2_plane* planes) const;

    const std::shared_ptr<Descriptor> device_;
    const v4l2_buf_type type_;
    const Events events_;
    cameras::Negotiated format_;
    std::vector<std::size_t> strides_; // of the planes that the device lays apart
    std::shared_ptr<Buffers> buffers_;
    Loop::Watch watch_;
    int spoilt_ = 0; // frames in a row
};

}
