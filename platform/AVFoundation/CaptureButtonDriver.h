// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace velmora {

/// What happens to a button of the housing.
enum AVCaptureEventPhase : std::uint64_t {
    AVCaptureEventPhaseBegan = 0,
    AVCaptureEventPhaseEnded = 1, ///< released after it was pressed
    AVCaptureEventPhaseCancelled = 2, ///< let go of before it was pressed all the way, or nobody looks any more
};

/// Buttons of the housing: camera keys, volume keys. One is installed for the process.
class VELMORA_EXPORT CaptureButtonDriver {
public:
    using Pressed = std::function<void(const std::string& button, AVCaptureEventPhase phase)>;

    virtual ~CaptureButtonDriver() = default;
    /// `pressed` is called on any thread; an empty one ends it.
    virtual void setPressed(Pressed pressed) = 0;

    static std::shared_ptr<CaptureButtonDriver> installed(); ///< Empty when there is none.
    static void install(std::shared_ptr<CaptureButtonDriver> driver);
};

/// Makes phases of the positions of one button that can be pressed half and all the way; a repeated position changes
/// nothing. Half and back is cancelled, all the way and back is ended.
class VELMORA_EXPORT ButtonPress {
public:
    enum class Position : std::uint8_t { Up, Half, Down };
    /// Calls `tell` with the phase, when there is one.
    void moveTo(Position position, const std::function<void(AVCaptureEventPhase)>& tell);

private:
    Position position_ = Position::Up;
    bool wasDown_ = false; // in this press
};

}
