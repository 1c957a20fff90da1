// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Subprocess.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>

namespace velmora::tests {

Outcome runCommand(const std::string& line)
{
    Outcome outcome;
    FILE* pipe = popen(("( " + line + " ) 2>&1").c_str(), "re");
    if (!pipe)
        return outcome;
    std::array<char, 4096> buffer {};
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe))
        outcome.output.append(buffer.data(), count);
    const int status = pclose(pipe);
    if (WIFEXITED(status))
        outcome.status = WEXITSTATUS(status);
    return outcome;
}

}
