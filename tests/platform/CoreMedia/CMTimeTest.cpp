// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreMedia/CMTime.h"

#include "platform/Foundation/NSLog.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace velmora;

namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();

TEST(CMTime, IsMadeAsGivenAndNotReduced)
{
    const CMTime time = CMTimeMake(2, 60);

    EXPECT_EQ(time.value, 2);
    EXPECT_EQ(time.timescale, 60);
    EXPECT_TRUE(CMTIME_IS_NUMERIC(time));
}

TEST(CMTime, NeedsATimescaleAboveZero)
{
    EXPECT_FALSE(CMTIME_IS_VALID(CMTimeMake(1, 0)));
    EXPECT_FALSE(CMTIME_IS_VALID(CMTimeMake(1, -30)));
}

TEST(CMTime, AllZeroIsInvalidAndNotZeroSeconds)
{
    EXPECT_FALSE(CMTIME_IS_VALID(CMTime {}));
    EXPECT_TRUE(std::isnan(CMTimeGetSeconds(CMTime {})));
    EXPECT_EQ(CMTimeGetSeconds(kCMTimeZero), 0.0);
    EXPECT_NE(CMTimeCompare(CMTime {}, kCMTimeZero), 0);
}

TEST(CMTime, SecondsOfTheUnlike)
{
    EXPECT_TRUE(std::isnan(CMTimeGetSeconds(kCMTimeIndefinite)));
    EXPECT_EQ(CMTimeGetSeconds(kCMTimePositiveInfinity), std::numeric_limits<double>::infinity());
    EXPECT_EQ(CMTimeGetSeconds(kCMTimeNegativeInfinity), -std::numeric_limits<double>::infinity());
}

TEST(CMTime, ComparesFractionsExactly)
{
    EXPECT_EQ(CMTimeCompare(CMTimeMake(1, 3), CMTimeMake(2, 6)), 0);
    EXPECT_EQ(CMTimeCompare(CMTimeMake(1001, 240000), CMTimeMake(1, 240)), 1);
    EXPECT_EQ(CMTimeCompare(CMTimeMake(-1, 3), CMTimeMake(-1, 4)), -1);
    EXPECT_EQ(CMTimeCompare(CMTimeMake(most, 3), CMTimeMake(most - 1, 3)), 1);
    EXPECT_EQ(CMTimeCompare(CMTimeMake(most, 2147483647), CMTimeMake(most, 2147483646)), -1);
}

TEST(CMTime, OrdersEveryKind)
{
    const CMTime rising[] { kCMTimeNegativeInfinity, CMTimeMake(-5, 1), CMTimeMake(5, 1), kCMTimeIndefinite,
        kCMTimePositiveInfinity, kCMTimeInvalid };

    for (int a = 0; a < 6; ++a)
        for (int b = 0; b < 6; ++b)
            EXPECT_EQ(CMTimeCompare(rising[a], rising[b]), a < b ? -1 : a > b ? 1 : 0) << a << " and " << b;
}

TEST(CMTime, SumIsInTheSmallestCommonTimescale)
{
    const CMTime sum = CMTimeAdd(CMTimeMake(1, 24), CMTimeMake(1, 60));

    EXPECT_EQ(sum.value, 7);
    EXPECT_EQ(sum.timescale, 120);
    EXPECT_EQ(sum.flags, kCMTimeFlags_Valid);
}

TEST(CMTime, SumWithoutACommonTimescaleIsRounded)
{
    const CMTime sum = CMTimeAdd(CMTimeMake(1, 2147483647), CMTimeMake(1, 1000000007));

    EXPECT_EQ(sum.timescale, 2147483647);
    EXPECT_EQ(sum.value, 3); // 1 + 2.147... of its parts
    EXPECT_NE(sum.flags & kCMTimeFlags_HasBeenRounded, 0U);
}

TEST(CMTime, SumBeyondTheRangeIsInfinite)
{
    EXPECT_EQ(CMTimeCompare(CMTimeAdd(CMTimeMake(most, 1), CMTimeMake(1, 1)), kCMTimePositiveInfinity), 0);
    EXPECT_EQ(CMTimeCompare(CMTimeAdd(CMTimeMake(-most, 1), CMTimeMake(-2, 1)), kCMTimeNegativeInfinity), 0);
    EXPECT_EQ(CMTimeCompare(CMTimeAdd(CMTimeMake(most, 1), CMTimeMake(1, 30)), kCMTimePositiveInfinity), 0);
}

TEST(CMTime, SumWithTheUnlike)
{
    EXPECT_FALSE(CMTIME_IS_VALID(CMTimeAdd(kCMTimeInvalid, kCMTimeZero)));
    EXPECT_FALSE(CMTIME_IS_VALID(CMTimeSubtract(kCMTimePositiveInfinity, kCMTimePositiveInfinity)));
    EXPECT_EQ(CMTimeCompare(CMTimeSubtract(kCMTimeZero, kCMTimePositiveInfinity), kCMTimeNegativeInfinity), 0);
    EXPECT_EQ(CMTimeCompare(CMTimeAdd(kCMTimeIndefinite, kCMTimePositiveInfinity), kCMTimeIndefinite), 0);
}

TEST(CMTime, DifferenceMayBeNegative)
{
    EXPECT_EQ(CMTimeCompare(CMTimeSubtract(CMTimeMake(1, 30), CMTimeMake(1, 15)), CMTimeMake(-1, 30)), 0);
}

TEST(CMTime, OfSecondsIsTheNearest)
{
    EXPECT_EQ(CMTimeMakeWithSeconds(0.5, 600).value, 300);
    EXPECT_EQ(CMTimeMakeWithSeconds(0.5, 600).flags, kCMTimeFlags_Valid);
    EXPECT_EQ(CMTimeMakeWithSeconds(1.0 / 3, 100).value, 33);
    EXPECT_NE(CMTimeMakeWithSeconds(1.0 / 3, 100).flags & kCMTimeFlags_HasBeenRounded, 0U);
    EXPECT_EQ(CMTimeMakeWithSeconds(-0.015, 100).value, -2);
}

TEST(CMTime, OfUnusualSecondsIsUnusual)
{
    EXPECT_FALSE(CMTIME_IS_VALID(CMTimeMakeWithSeconds(std::nan(""), 600)));
    EXPECT_EQ(CMTimeCompare(CMTimeMakeWithSeconds(1e300, 600), kCMTimePositiveInfinity), 0);
    EXPECT_EQ(CMTimeCompare(CMTimeMakeWithSeconds(-INFINITY, 600), kCMTimeNegativeInfinity), 0);
}

TEST(CMTime, DescribesItselfInLogs)
{
    EXPECT_EQ(stringWithFormat("%@", CMTimeMake(1, 543)), "{1/543 = 0.002}");
    EXPECT_EQ(stringWithFormat("%@", kCMTimeInvalid), "{INVALID}");
    EXPECT_EQ(stringWithFormat("%@", kCMTimePositiveInfinity), "{+INFINITY}");
}

}
