// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <functional>

namespace velmora {

/// State that lives for the whole process (catalogues, class-wide defaults) says here, when it is first made, how it
/// is made fresh. A new virtual phone resets all of it, so that tests do not see each other.
class VELMORA_EXPORT ProcessState {
public:
    static void add(std::function<void()> reset);
    static void reset();
    /// Whether it was reset ever: then this is a simulation, and a person's own files are left alone.
    static bool wasReset();
};

}
