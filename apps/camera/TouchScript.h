// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/QuartzCore/DisplayDriver.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velmora::camera {

/// What a finger does at one moment.
struct ScriptedTouch {
    double at = 0; ///< seconds from the script's beginning
    DisplayTouchPhase phase = DisplayTouchPhase::Began;
    CGPoint point;
    std::int64_t finger = 0;
};

/// Reads lines of `SECONDS down|move|up|cancel X Y [FINGER]`; `#` begins a comment. The times do not go back. Throws
/// Refusal that names file, line and what would be accepted.
std::vector<ScriptedTouch> readTouchScript(const std::string& file);

}
