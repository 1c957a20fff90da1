// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <thread>

namespace velmora::drivers::phone {

/// Works on the lines of a picture in two halves at the same time where that is worth a thread; a half begins at an
/// even line. `work` gets the first line and the one behind the last.
template <class Work> void inParts(int lines, Work work)
{
    constexpr int worthAThread = 700; // lines
    if (lines < worthAThread) {
        work(0, lines);
        return;
    }
    const int middle = lines / 4 * 2;
    std::thread lower([&] { work(middle, lines); });
    work(0, middle);
    lower.join();
}

}
