// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSLog.h"

#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSError.h"

#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <thread>

#include "tests/platform/Foundation/Lamp.h"

namespace velmora::tests {

namespace {
using Lines = std::vector<std::string>;

struct Interval {
    double from, to;
};
std::string description(const Interval& interval)
{
    return std::to_string(interval.from) + ".." + std::to_string(interval.to);
}
}

TEST(Log, EachCallIsOneLine)
{
    const CapturedLog log;
    NSLog("[Lamp] Unsupported level %f. Ignored.", 1.5);
    NSLog("two\nlines");
    EXPECT_EQ(log.lines(), Lines({ "[Lamp] Unsupported level 1.500000. Ignored.", "two lines" }));
}

TEST(LogFormats, AnObjectIsPrintedByItsDescription)
{
    const NSError error("Lamps", 3, "The lamp is broken.");
    EXPECT_EQ(stringWithFormat("%@", error), "Error Domain=Lamps Code=3 \"The lamp is broken.\"");
    EXPECT_EQ(stringWithFormat("%@", make<NSError>(error)), "Error Domain=Lamps Code=3 \"The lamp is broken.\"");
    EXPECT_EQ(stringWithFormat("%@", std::optional(error)), "Error Domain=Lamps Code=3 \"The lamp is broken.\"");
}

TEST(LogFormats, NothingIsPrintedAsNull)
{
    const std::shared_ptr<Lamp> none;
    const char* const noText = nullptr;
    EXPECT_EQ(
        stringWithFormat("%@ %@ %@ %@ %@", none, std::weak_ptr<Lamp>(), std::optional<NSError>(), noText, nullptr),
        "(null) (null) (null) (null) (null)");
}

TEST(LogFormats, AValueWithADescriptionIsPrintedByIt)
{
    EXPECT_EQ(stringWithFormat("%@", Interval { 1, 2 }), "1.000000..2.000000");
}

TEST(LogFormats, TextsAndNumbersHaveADescriptionToo)
{
    EXPECT_EQ(stringWithFormat("%@ %@ %@ %@ %@", "a", std::string("b"), 3, 0.5, true), "a b 3 0.5 1");
    EXPECT_EQ(stringWithFormat("%@ %@", 4.0, 1e20), "4 1e+20");
}

TEST(LogFormats, WholeNumbersAreCutToThirtyTwoBits)
{
    EXPECT_EQ(stringWithFormat("%i", std::int64_t { 4294967297 }), "1");
    EXPECT_EQ(stringWithFormat("%i", std::uint32_t { 4294967295 }), "-1");
    EXPECT_EQ(stringWithFormat("%i", LampColorAmber), "2");
}

TEST(LogFormats, LongNumbersAreNotCut)
{
    EXPECT_EQ(stringWithFormat("%li", std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(stringWithFormat("%li", 4294967297), "4294967297");
}

TEST(LogFormats, FloatingPointNumbersHaveSixDecimals)
{
    EXPECT_EQ(stringWithFormat("%f", 1.0F / 3), "0.333333");
    EXPECT_EQ(stringWithFormat("%f", 1e21), "1000000000000000000000.000000");
    EXPECT_EQ(stringWithFormat("%f", -std::numeric_limits<double>::infinity()), "-inf");
}

TEST(LogFormats, TwoPerCentSignsAreOne)
{
    EXPECT_EQ(stringWithFormat("%i%% of %@%%", 5, "x"), "5% of x%");
}

TEST(Log, ASinkMayLogAndReplaceItself)
{
    Lines lines;
    const LogSink before = setLogSink([&](const std::string& line) {
        lines.push_back(line);
        setLogSink([&](const std::string& next) { lines.push_back("next: " + next); });
        NSLog("%@ again", line);
    });
    NSLog("line");
    setLogSink(before);
    EXPECT_EQ(lines, Lines({ "line", "next: line again" }));
}

TEST(LogDeathTest, WritesALineToStandardError)
{
    const auto act = [] {
        NSLog("[Lamp] %@", "broken");
        std::exit(0);
    };
    EXPECT_EXIT(act(), testing::ExitedWithCode(0), "\\[Lamp\\] broken\n");
}

TEST(LogDeathTest, TheEnvironmentSilencesIt)
{
    const auto act = [] {
        setenv("VELMORA_LOG", "quiet", 1);
        NSLog("broken");
        std::exit(0);
    };
    EXPECT_EXIT(act(), testing::ExitedWithCode(0), testing::Not(testing::ContainsRegex("broken")));
}

TEST(LogDeathTest, TheEnvironmentAddsTimeAndQueue)
{
    const auto act = [] {
        setenv("VELMORA_LOG", "verbose", 1);
        DispatchQueue("camera").sync([] { NSLog("broken"); });
        std::exit(0);
    };
    EXPECT_EXIT(act(), testing::ExitedWithCode(0), "[0-9]+\\.[0-9]+ \\(camera\\) broken\n");
}

TEST(LogDeathTest, AFatalErrorStopsTheProcessWithItsReasonWhateverTheSink)
{
    const CapturedLog log;
    EXPECT_DEATH(fatalError("the lamp is on fire"), "Fatal error: the lamp is on fire");
}

TEST(LogThreads, LinesOfManyThreadsArriveWholeAndEachInItsOrder)
{
    const CapturedLog log;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 100; ++i)
                NSLog("%i %i", t, i);
        });
    for (auto& thread : threads)
        thread.join();
    std::vector<int> next(4, 0);
    for (const std::string& line : log.lines()) {
        const auto t = static_cast<std::size_t>(line.at(0) - '0');
        EXPECT_EQ(line, std::to_string(t) + " " + std::to_string(next.at(t)++));
    }
    EXPECT_EQ(next, std::vector<int>(4, 100));
}

}
