// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CameraPicture.h"

#include "drivers/pipewire/Daemon.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace velmora::drivers::pipewire {

/// A frame in the daemon's own memory, while `lease` is held; for the call alone when there is none, for then too few
/// buffers are left to the camera, or its memory cannot outlive the stream.
struct StreamFrame {
    CameraPicture picture;
    std::optional<double> time; ///< seconds of the steady clock when it was taken, if the camera tells
    std::optional<std::uint64_t> sequence; ///< as the camera counts, if it does
    std::shared_ptr<void> lease;
};

/// Frames of one node in one format. Everything with the daemon locked, callbacks on its thread.
class FrameStream {
public:
    struct Events {
        std::function<void(const Negotiated&)> negotiated;
        std::function<void(const StreamFrame&)> frame;
        std::function<void(const std::string& why)> broke; ///< it must be ended; nothing more comes
    };
    /// Asks for that offer; when somebody else chose the camera's format already, frames have that one.
    FrameStream(Daemon& daemon, const Node& node, const Offer& offer, Rate rate, Events events);
    ~FrameStream();
    FrameStream(const FrameStream&) = delete;
    FrameStream& operator=(const FrameStream&) = delete;

    /// Whether it began; otherwise it is of no use.
    bool isConnected() const { return stream_ != nullptr; }

private:
    struct Memory;
    struct Returns;
    struct Lease;

    void chooseBuffers(const spa_pod* format);
    void addBuffer(pw_buffer* buffer);
    void process();
    bool lay(CameraPicture& picture, const pw_buffer& buffer, const Memory& memory) const;
    void takeBack();

    Daemon& daemon_;
    const Properties properties_;
    const Events events_;
    pw_stream* stream_ = nullptr;
    spa_hook hook_ {};
    std::optional<Negotiated> format_;
    std::map<pw_buffer*, std::shared_ptr<Memory>> memories_;
    std::shared_ptr<Returns> returns_;
};

}
