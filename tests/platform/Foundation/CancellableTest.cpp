// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Cancellable.h"

#include <gtest/gtest.h>

namespace velmora::tests {

TEST(Tokens, EndOnceHoweverOftenTheyAreCancelled)
{
    int ends = 0;
    {
        Cancellable token([&] { ++ends; });
        token.cancel();
        token.cancel();
    }
    EXPECT_EQ(ends, 1);
}

TEST(Tokens, EndWithTheirScope)
{
    int ends = 0;
    {
        const Cancellable token([&] { ++ends; });
    }
    EXPECT_EQ(ends, 1);
}

TEST(Tokens, AMovedOneEndsWhereItWent)
{
    int ends = 0;
    Cancellable kept;
    {
        Cancellable token([&] { ++ends; });
        kept = std::move(token);
    }
    EXPECT_EQ(ends, 0);
    kept.cancel();
    EXPECT_EQ(ends, 1);
}

TEST(Tokens, AnAssignmentEndsWhatWasHeld)
{
    std::string ended;
    Cancellable token([&] { ended += "first"; });
    token = Cancellable([&] { ended += " second"; });
    EXPECT_EQ(ended, "first");
}

TEST(Tokens, ABagEndsAllThatWereStoredInIt)
{
    int ends = 0;
    std::vector<Cancellable> bag;
    Cancellable([&] { ++ends; }).storeIn(bag);
    Cancellable([&] { ++ends; }).storeIn(bag);
    EXPECT_EQ(ends, 0);
    bag.clear();
    EXPECT_EQ(ends, 2);
}

}
