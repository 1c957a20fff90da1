// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Guarded.h"

#include <gtest/gtest.h>

#include <thread>

namespace velmora::tests {

TEST(Guarded, ExchangeAnswersWhatItHeld)
{
    Guarded<std::string> text { "before" };

    EXPECT_EQ(text.exchange("after"), "before");
    EXPECT_EQ(text.get(), "after");
}

TEST(Guarded, WhatWasReplacedEndsOutsideTheLock)
{
    struct ReadsOnItsWayOut {
        explicit ReadsOnItsWayOut(const Guarded<std::shared_ptr<ReadsOnItsWayOut>>& holder)
            : holder_(holder)
        {
        }
        ~ReadsOnItsWayOut() { EXPECT_EQ(holder_.get(), nullptr); }
        const Guarded<std::shared_ptr<ReadsOnItsWayOut>>& holder_;
    };
    Guarded<std::shared_ptr<ReadsOnItsWayOut>> holder;
    holder.set(std::make_shared<ReadsOnItsWayOut>(holder));

    holder.set(nullptr);

    EXPECT_EQ(holder.get(), nullptr);
}

TEST(GuardedThreads, ChangesInPlaceLoseNothing)
{
    Guarded<int> count;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&count] {
            for (int step = 0; step < 1000; ++step)
                count.with([](int& value) { ++value; });
        });
    for (auto& thread : threads)
        thread.join();

    EXPECT_EQ(count.get(), 4000);
}

}
