// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreMedia/CMTime.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>

namespace velmora {

namespace {

/// A numeric time as whole seconds and the rest of a second, which is never negative: products of two rests and
/// timescales fit 64 bits.
struct Split {
    std::int64_t seconds, rest;
};
Split split(const CMTime& time)
{
    std::int64_t seconds = time.value / time.timescale;
    std::int64_t rest = time.value % time.timescale;
    if (rest < 0) {
        rest += time.timescale;
        --seconds;
    }
    return { seconds, rest };
}

int rank(const CMTime& time)
{
    if (!CMTIME_IS_VALID(time))
        return 4;
    if (time.flags & kCMTimeFlags_PositiveInfinity)
        return 3;
    if (time.flags & kCMTimeFlags_Indefinite)
        return 2;
    return time.flags & kCMTimeFlags_NegativeInfinity ? 0 : 1;
}

constexpr CMTime infinityWithSignOf(double value)
{
    return value < 0 ? kCMTimeNegativeInfinity : kCMTimePositiveInfinity;
}

/// The nearest value in another timescale; an infinity when it does not fit.
CMTime rescaled(const CMTime& time, std::int32_t timescale)
{
    const auto [seconds, rest] = split(time);
    const std::int64_t most = std::numeric_limits<std::int64_t>::max() / timescale - 1;
    if (seconds > most || seconds < -most)
        return infinityWithSignOf(static_cast<double>(seconds));

    const std::int64_t product = rest * timescale;
    const std::int64_t part = (product + time.timescale / 2) / time.timescale;
    const bool rounded = product % time.timescale != 0;
    CMTime result = CMTimeMake(seconds * timescale + part, timescale);
    result.flags |= (time.flags & kCMTimeFlags_HasBeenRounded) | (rounded ? kCMTimeFlags_HasBeenRounded : 0U);
    return result;
}

std::int32_t commonTimescale(std::int32_t a, std::int32_t b)
{
    const std::int64_t common = std::lcm<std::int64_t>(a, b);
    return common <= std::numeric_limits<std::int32_t>::max() ? static_cast<std::int32_t>(common) : std::max(a, b);
}

CMTime negated(CMTime time)
{
    if (time.flags & kCMTimeFlags_PositiveInfinity)
        return kCMTimeNegativeInfinity;
    if (time.flags & kCMTimeFlags_NegativeInfinity)
        return kCMTimePositiveInfinity;
    if (CMTIME_IS_NUMERIC(time) && time.value == std::numeric_limits<std::int64_t>::min())
        return kCMTimePositiveInfinity; // its opposite does not fit
    time.value = -time.value;
    return time;
}

CMTime sumOfUnlike(const CMTime& a, const CMTime& b)
{
    if (!CMTIME_IS_VALID(a) || !CMTIME_IS_VALID(b))
        return kCMTimeInvalid;
    if ((a.flags | b.flags) & kCMTimeFlags_Indefinite)
        return kCMTimeIndefinite;
    if (CMTIME_IS_NUMERIC(a))
        return b;
    if (CMTIME_IS_NUMERIC(b) || rank(a) == rank(b))
        return a;
    return kCMTimeInvalid; // plus and minus infinity
}

}

CMTime CMTimeMakeWithSeconds(double seconds, std::int32_t timescale)
{
    if (std::isnan(seconds) || timescale <= 0)
        return kCMTimeInvalid;
    const double exact = seconds * timescale;
    if (std::abs(exact) >= 9223372036854775808.0)
        return infinityWithSignOf(exact);

    CMTime time = CMTimeMake(std::llround(exact), timescale);
    if (static_cast<double>(time.value) / timescale != seconds)
        time.flags |= kCMTimeFlags_HasBeenRounded;
    return time;
}

double CMTimeGetSeconds(const CMTime& time)
{
    if (CMTIME_IS_NUMERIC(time))
        return static_cast<double>(time.value) / time.timescale;
    if (!CMTIME_IS_VALID(time) || time.flags & kCMTimeFlags_Indefinite)
        return std::numeric_limits<double>::quiet_NaN();
    return time.flags & kCMTimeFlags_NegativeInfinity ? -std::numeric_limits<double>::infinity()
                                                      : std::numeric_limits<double>::infinity();
}

std::int32_t CMTimeCompare(const CMTime& a, const CMTime& b)
{
    const auto order = [](auto x, auto y) { return x < y ? -1 : x > y ? 1 : 0; };
    if (!CMTIME_IS_NUMERIC(a) || !CMTIME_IS_NUMERIC(b))
        return order(rank(a), rank(b));

    const Split left = split(a), right = split(b);
    if (left.seconds != right.seconds)
        return order(left.seconds, right.seconds);
    return order(left.rest * b.timescale, right.rest * a.timescale);
}

CMTime CMTimeAdd(const CMTime& a, const CMTime& b)
{
    if (!CMTIME_IS_NUMERIC(a) || !CMTIME_IS_NUMERIC(b))
        return sumOfUnlike(a, b);

    const std::int32_t timescale = commonTimescale(a.timescale, b.timescale);
    const CMTime left = rescaled(a, timescale), right = rescaled(b, timescale);
    if (!CMTIME_IS_NUMERIC(left) || !CMTIME_IS_NUMERIC(right))
        return sumOfUnlike(left, right);

    using Limits = std::numeric_limits<std::int64_t>;
    if (right.value > 0 ? left.value > Limits::max() - right.value : left.value < Limits::min() - right.value)
        return infinityWithSignOf(static_cast<double>(right.value));
    CMTime sum = CMTimeMake(left.value + right.value, timescale);
    sum.flags |= (left.flags | right.flags) & kCMTimeFlags_HasBeenRounded;
    return sum;
}

CMTime CMTimeSubtract(const CMTime& a, const CMTime& b)
{
    return CMTimeAdd(a, negated(b));
}

std::string CMTimeCopyDescription(const CMTime& time)
{
    if (!CMTIME_IS_VALID(time))
        return "{INVALID}";
    if (time.flags & kCMTimeFlags_PositiveInfinity)
        return "{+INFINITY}";
    if (time.flags & kCMTimeFlags_NegativeInfinity)
        return "{-INFINITY}";
    if (time.flags & kCMTimeFlags_Indefinite)
        return "{INDEFINITE}";

    std::array<char, 64> seconds {};
    std::snprintf(seconds.data(), seconds.size(), "%.3f", CMTimeGetSeconds(time));
    return "{" + std::to_string(time.value) + "/" + std::to_string(time.timescale) + " = " + seconds.data() + "}";
}

}
