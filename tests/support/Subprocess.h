// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace velmora::tests {

struct Outcome {
    int status = -1; ///< exit status; -1 after a signal
    std::string output; ///< standard output and standard error, as they came
};

/// Runs a line of the shell and waits for its end.
Outcome runCommand(const std::string& line);

}
