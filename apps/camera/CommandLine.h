// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <variant>

#include "apps/camera/Options.h"

namespace velmora::camera {

/// A text that was asked for, such as the help, instead of a command.
struct Information {
    std::string text;
};

/// Throws Refusal, with status 2, for what can never be right.
std::variant<Options, Information> parseCommandLine(int argc, const char* const* argv);

}
