// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Completion.h"

#include "tests/support/SteppedTest.h"

#include <gtest/gtest.h>

namespace velmora::tests {

namespace {
using Answer = Completion<void(int)>;
class SteppedCompletions : public SteppedTest { };
}

TEST(Completions, HandOverTheirArguments)
{
    int got = 0;
    Answer answer([&](int value) { got = value; }, "answer");
    answer(3);
    EXPECT_EQ(got, 3);
}

TEST(Completions, AMovedOneOwesNothingAnyMore)
{
    int calls = 0;
    Answer first([&](int) { ++calls; }, "answer");
    {
        Answer second(std::move(first));
        second(1);
    }
    EXPECT_EQ(calls, 1);
}

TEST(Completions, WithoutACallbackTheyMayEndUncalled)
{
    {
        const Answer unheard(nullptr, "answer");
    }
    Answer called(nullptr, "answer");
    EXPECT_NO_THROW(called(1));
}

TEST(Completions, LetGoOfWhatTheirCallbackCapturedWhenTheyWereCalled)
{
    auto captured = std::make_shared<int>(0);
    const std::weak_ptr<int> weak = captured;
    Answer answer([captured = std::move(captured)](int value) { *captured = value; }, "answer");
    answer(1);
    EXPECT_TRUE(weak.expired());
}

TEST_F(SteppedCompletions, ReachAQueueAsABlock)
{
    int got = 0;
    const std::function<void(int)> block = asBlock(Answer([&](int value) { got = value; }, "answer"));
    DispatchQueue("q").async([block] { block(5); });
    clock.advance(0);
    EXPECT_EQ(got, 5);
}

TEST(CompletionsDeathTest, NeverCalledTheyStopTheProcessAndSayTheirName)
{
    EXPECT_DEATH({ const Answer forgotten([](int) {}, "answer"); }, "\"answer\" was never called");
}

TEST(CompletionsDeathTest, CalledTwiceTheyStopTheProcess)
{
    const auto act = [] {
        Answer answer([](int) {}, "answer");
        answer(1);
        answer(2);
    };
    EXPECT_DEATH(act(), "\"answer\" was called a second time");
}

TEST(CompletionsDeathTest, CalledAfterTheyWereMovedTheyStopTheProcess)
{
    const auto act = [] {
        Answer answer([](int) {}, "answer");
        Answer moved(std::move(answer));
        moved(1);
        answer(1); // NOLINT(bugprone-use-after-move): this is what is tested
    };
    EXPECT_DEATH(act(), "was called a second time");
}

}
