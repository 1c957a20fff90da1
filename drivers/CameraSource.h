// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CameraPicture.h"
#include "platform/AVFoundation/CaptureDriver.h"

#include "drivers/CameraControls.h"
#include "drivers/CameraOffers.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora::drivers::cameras {

/// A function that an event loop calls. Made, set and ended with the loop locked.
class VELMORA_EXPORT LoopTimer {
public:
    virtual ~LoopTimer() = default;
    /// Once after `seconds`, or every so many.
    virtual void once(double seconds) = 0;
    virtual void every(double seconds) = 0;
    virtual void stop() = 0;
};

/// The thread on which a family's cameras tell what happens. A lock keeps it out; on itself, and in one who has it, the
/// lock does nothing.
class VELMORA_EXPORT EventLoop {
public:
    virtual ~EventLoop() = default;
    virtual void lock() = 0;
    virtual void unlock() = 0;
    virtual std::unique_ptr<LoopTimer> timer(std::function<void()> fire) = 0;
    /// Waits until all is known that was told so far. With the loop locked.
    virtual void catchUp() { }
};

/// A frame in the camera's own memory, while `lease` is held; for the call alone when there is none, for then too few
/// buffers are left to the camera, or its memory cannot outlive the stream.
struct StreamFrame {
    CameraPicture picture;
    std::optional<double> time; ///< seconds of the steady clock when it was taken, if the camera tells
    std::optional<std::uint64_t> sequence; ///< as the camera counts, if it does
    std::shared_ptr<void> lease;
};

/// What a stream tells, on its loop's thread. It cannot be ended in one of these calls.
struct StreamEvents {
    std::function<void(const Negotiated&)> negotiated;
    std::function<void(const StreamFrame&)> frame;
    std::function<void(const std::string& why)> broke; ///< it must be ended; nothing more comes
    std::function<void()> stale; ///< its buffers are too small: they are those of a format before, and stay
};

/// Frames of one camera in one format, until it is destroyed.
class VELMORA_EXPORT CameraStream {
public:
    virtual ~CameraStream() = default;
    /// For somebody who waited in vain: as much as is known of why.
    virtual std::string whatCame() const { return "none came"; }
};

/// A camera while it is plugged in. Used with its loop locked.
class VELMORA_EXPORT CameraSource {
public:
    virtual ~CameraSource() = default;
    virtual CaptureDeviceDescription description() const = 0;
    virtual const std::vector<Offer>& offers() const = 0;
    virtual const Controls& controls() const = 0;
    /// As the camera takes them, by their ids.
    virtual void set(const std::map<std::uint32_t, double>& values) = 0;
    /// Asks for that offer; when somebody else chose the camera's format already, frames have that one. Throws NSError
    /// when there will be no frames.
    virtual std::unique_ptr<CameraStream> stream(const Offer& offer, Rate rate, StreamEvents events) = 0;
    /// Now and then, while it streams: what changes without a word may be read.
    virtual void look() { }
};

/// What became of pictures, of all cameras.
struct PictureCounters {
    std::atomic<std::uint64_t> handedOn { 0 }, copied { 0 }, converted { 0 };
};

VELMORA_EXPORT double steadySeconds();

}
