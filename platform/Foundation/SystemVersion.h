// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <compare>
#include <functional>

namespace velmora {

/// The version of the system that runs the process, as programs ask for it before they use something newer.
struct VELMORA_EXPORT SystemVersion {
    int major = 17, minor = 2;
    auto operator<=>(const SystemVersion&) const = default;

    /// What the installed source answers now; without one, the version whose services these are. From any thread.
    static SystemVersion current();

    using Source = std::function<SystemVersion()>;
    /// Replaces the source, which is asked on any thread at every question; an empty one takes it away. Answers the
    /// one before.
    static Source install(Source source);
};

}
