// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <cstdint>
#include <string>

namespace velmora {

enum CMTimeFlags : std::uint32_t {
    kCMTimeFlags_Valid = 1,
    kCMTimeFlags_HasBeenRounded = 2,
    kCMTimeFlags_PositiveInfinity = 4,
    kCMTimeFlags_NegativeInfinity = 8,
    kCMTimeFlags_Indefinite = 16,
};

/// A rational time: `value` / `timescale` seconds. The all-zero struct is invalid; it is not zero seconds.
struct CMTime {
    std::int64_t value = 0;
    std::int32_t timescale = 0;
    std::uint32_t flags = 0;
    std::int64_t epoch = 0;
};

inline constexpr CMTime kCMTimeInvalid {};
inline constexpr CMTime kCMTimeZero { 0, 1, kCMTimeFlags_Valid, 0 };
inline constexpr CMTime kCMTimeIndefinite { 0, 0, kCMTimeFlags_Valid | kCMTimeFlags_Indefinite, 0 };
inline constexpr CMTime kCMTimePositiveInfinity { 0, 0, kCMTimeFlags_Valid | kCMTimeFlags_PositiveInfinity, 0 };
inline constexpr CMTime kCMTimeNegativeInfinity { 0, 0, kCMTimeFlags_Valid | kCMTimeFlags_NegativeInfinity, 0 };

/// Valid, not reduced. A timescale of zero or below makes an invalid time.
constexpr CMTime CMTimeMake(std::int64_t value, std::int32_t timescale)
{
    return timescale > 0 ? CMTime { value, timescale, kCMTimeFlags_Valid, 0 } : kCMTimeInvalid;
}
/// The nearest value to `seconds` in this timescale; not a number makes an invalid time, infinities stay.
VELMORA_EXPORT CMTime CMTimeMakeWithSeconds(double seconds, std::int32_t timescale);

/// Invalid and indefinite: not a number; infinities: plus or minus infinity.
VELMORA_EXPORT double CMTimeGetSeconds(const CMTime& time);
/// -1, 0 or 1, exact and total: -infinity < finite < indefinite < +infinity < invalid. Two invalid times are equal.
VELMORA_EXPORT std::int32_t CMTimeCompare(const CMTime& a, const CMTime& b);
/// Sum and difference; invalid when one is, in the smallest common timescale that fits.
VELMORA_EXPORT CMTime CMTimeAdd(const CMTime& a, const CMTime& b);
VELMORA_EXPORT CMTime CMTimeSubtract(const CMTime& a, const CMTime& b);

constexpr bool CMTIME_IS_VALID(const CMTime& time)
{
    return (time.flags & kCMTimeFlags_Valid) != 0;
}
constexpr bool CMTIME_IS_NUMERIC(const CMTime& time)
{
    constexpr std::uint32_t odd
        = kCMTimeFlags_PositiveInfinity | kCMTimeFlags_NegativeInfinity | kCMTimeFlags_Indefinite;
    return CMTIME_IS_VALID(time) && (time.flags & odd) == 0;
}

/// "{1/543 = 0.002}", "{INVALID}"; what %@ prints.
VELMORA_EXPORT std::string CMTimeCopyDescription(const CMTime& time);
inline std::string description(const CMTime& time)
{
    return CMTimeCopyDescription(time);
}

/// Pixels.
struct CMVideoDimensions {
    std::int32_t width = 0, height = 0;
    bool operator==(const CMVideoDimensions&) const = default;
};

}
