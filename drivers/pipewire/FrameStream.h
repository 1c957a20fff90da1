// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/CameraFrame.h"
#include "drivers/pipewire/Daemon.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora::drivers::pipewire {

using cameras::StreamFrame;

/// Frames of one node in one format. Everything with the daemon locked, callbacks on its thread.
class FrameStream final : public cameras::CameraStream {
public:
    using Events = cameras::StreamEvents;
    /// Asks for that offer; when somebody else chose the camera's format already, frames have that one. Throws NSError
    /// when the daemon refuses.
    FrameStream(Daemon& daemon, const Node& node, const Offer& offer, Rate rate, Events events);
    ~FrameStream() override;
    FrameStream(const FrameStream&) = delete;
    FrameStream& operator=(const FrameStream&) = delete;

    std::string whatCame() const override;

private:
    struct Memory;
    struct Returns;
    struct Lease;

    void chooseBuffers(const spa_pod* format);
    void addBuffer(pw_buffer* buffer);
    void process();
    static std::vector<cameras::FramePiece> piecesOf(const pw_buffer& buffer, const Memory& memory);
    void takeBack();

    Daemon& daemon_;
    const Properties properties_;
    const Events events_;
    pw_stream* stream_ = nullptr;
    spa_hook hook_ {};
    std::optional<Negotiated> format_;
    std::uint64_t unreadable_ = 0; // frames
    std::map<pw_buffer*, std::shared_ptr<Memory>> memories_;
    std::shared_ptr<Returns> returns_;
};

}
