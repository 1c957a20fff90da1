// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora {

/// The time of the run loop, timers, animations and the virtual phone.
class VELMORA_EXPORT Clock {
public:
    virtual ~Clock() = default;
    virtual double now() const = 0; ///< Seconds; never goes back.
    virtual double absoluteTime() const = 0; ///< Seconds since 2001-01-01 00:00 UTC; may jump.
};

/// Seconds between 1970-01-01 and the reference date 2001-01-01, both 00:00 UTC.
inline constexpr double NSTimeIntervalSince1970 = 978307200.0;

/// The machine's own time.
class VELMORA_EXPORT SteadyClock final : public Clock {
public:
    double now() const override;
    double absoluteTime() const override;
};

/// Seconds since the reference date, by the clock in force.
VELMORA_EXPORT double CFAbsoluteTimeGetCurrent();

}
