// SPDX-License-Identifier: Apache-2.0
#include "drivers/places/OfflinePlaces.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

using namespace velmora;
using drivers::places::OfflinePlaces;

TEST(OfflinePlacesThreads, QuestionsFromManyThreadsAreEachAnsweredOnce)
{
    constexpr int threads = 4, questions = 25;
    auto places = std::make_shared<OfflinePlaces>();
    std::atomic<int> kyoto = 0, answers = 0;
    std::promise<void> all;
    std::vector<std::thread> asking;
    for (int i = 0; i < threads; ++i)
        asking.emplace_back([&, places] {
            for (int k = 0; k < questions; ++k)
                places->reverseGeocode(make<CLLocation>(35.0116, 135.7681), [&](const auto& found, const auto&) {
                    kyoto += found && found->size() == 1 && found->front()->locality() == "Kyoto" ? 1 : 0;
                    if (++answers == threads * questions)
                        all.set_value();
                });
        });
    for (auto& thread : asking)
        thread.join();
    places = nullptr; // questions that wait are answered all the same
    all.get_future().wait();
    EXPECT_EQ(kyoto, threads * questions);
}
