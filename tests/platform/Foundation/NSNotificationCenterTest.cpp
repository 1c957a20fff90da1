// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSNotificationCenter.h"

#include "platform/Foundation/ProcessState.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/platform/Foundation/Lamp.h"

namespace velmora::tests {

namespace {
using Lines = std::vector<std::string>;

class Notifications : public testing::Test {
protected:
    NSNotificationCenter center;
    Lines heard;
    std::function<void(const NSNotification&)> write(const std::string& who)
    {
        return [this, who](const NSNotification& notification) { heard.push_back(who + " " + notification.name); };
    }
};

/// Unregisters itself when it ends.
class Careful : public NSObject {
public:
    explicit Careful(NSNotificationCenter& center)
        : center_(center)
    {
    }
    ~Careful() override { center_.removeObserver(*this); }

private:
    NSNotificationCenter& center_;
};
}

TEST_F(Notifications, ArriveWithNameObjectAndInformation)
{
    const auto lamp = make<Lamp>();
    NSNotification got;
    const auto token = center.addObserver("Lit", nullptr, [&](const NSNotification& each) { got = each; });
    center.postNotificationName("Lit", lamp, { { "level", box(3) } });
    EXPECT_EQ(got.name, "Lit");
    EXPECT_EQ(got.object, lamp);
    EXPECT_EQ(unbox<int>(got.userInfo.at("level")), 3);
}

TEST_F(Notifications, ReachOnlyWhoAskedForTheName)
{
    const auto lit = center.addObserver("Lit", nullptr, write("lit"));
    const auto dark = center.addObserver("Dark", nullptr, write("dark"));
    center.postNotificationName("Dark", nullptr);
    EXPECT_EQ(heard, Lines({ "dark Dark" }));
}

TEST_F(Notifications, ReachOnlyWhoAskedForTheSender)
{
    const auto mine = make<Lamp>();
    const auto other = make<Lamp>();
    const auto token = center.addObserver("Lit", mine, write("mine"));
    center.postNotificationName("Lit", other);
    center.postNotificationName("Lit", nullptr);
    EXPECT_EQ(heard, Lines());
    center.postNotificationName("Lit", mine);
    EXPECT_EQ(heard, Lines({ "mine Lit" }));
}

TEST_F(Notifications, TheFilterDoesNotKeepItsObjectAlive)
{
    auto lamp = make<Lamp>();
    const std::weak_ptr<Lamp> weak = lamp;
    const auto token = center.addObserver("Lit", lamp, write("lamp"));
    lamp.reset();
    EXPECT_TRUE(weak.expired());
}

TEST_F(Notifications, ComeInTheOrderOfRegistrationWhetherNamedOrNot)
{
    const auto first = center.addObserver("", nullptr, write("every"));
    const auto second = center.addObserver("Lit", nullptr, write("named"));
    const auto third = center.addObserver("", nullptr, write("every too"));
    center.postNotificationName("Lit", nullptr);
    EXPECT_EQ(heard, Lines({ "every Lit", "named Lit", "every too Lit" }));
}

TEST_F(Notifications, AreSentToSelectorsWithAndWithoutArgument)
{
    const auto lamp = make<Lamp>();
    center.addObserver(lamp, "hear:", "Lit", nullptr);
    center.addObserver(lamp, "hearNothing", "Lit", nullptr);
    center.postNotificationName("Lit", nullptr);
    EXPECT_EQ(lamp->heard, Lines({ "Lit", "nothing" }));
}

TEST_F(Notifications, AnObserverBySelectorIsHeldWeaklyAndNeedNotBeRemoved)
{
    auto lamp = make<Lamp>();
    const std::weak_ptr<Lamp> weak = lamp;
    center.addObserver(lamp, "hear:", "Lit", nullptr);
    lamp.reset();
    EXPECT_TRUE(weak.expired());
    center.postNotificationName("Lit", nullptr);
}

TEST_F(Notifications, RemovingAnObserverRemovesAllItsNames)
{
    const auto lamp = make<Lamp>();
    center.addObserver(lamp, "hear:", "Lit", nullptr);
    center.addObserver(lamp, "hear:", "Dark", nullptr);
    center.removeObserver(*lamp);
    center.removeObserver(*lamp);
    center.postNotificationName("Lit", nullptr);
    center.postNotificationName("Dark", nullptr);
    EXPECT_EQ(lamp->heard, Lines());
}

TEST_F(Notifications, AnObserverRemovedByAnotherIsNotCalledAnyMore)
{
    Cancellable second;
    const auto first = center.addObserver("Lit", nullptr, [&](const auto&) { second.cancel(); });
    second = center.addObserver("Lit", nullptr, write("second"));
    center.postNotificationName("Lit", nullptr);
    EXPECT_EQ(heard, Lines());
}

TEST_F(Notifications, AnObserverAddedWhileOneIsPostedHearsTheNext)
{
    std::vector<Cancellable> tokens;
    tokens.push_back(center.addObserver("Lit", nullptr, [&](const auto&) {
        if (tokens.size() == 1)
            tokens.push_back(center.addObserver("Lit", nullptr, write("added")));
    }));
    center.postNotificationName("Lit", nullptr);
    EXPECT_EQ(heard, Lines());
    center.postNotificationName("Lit", nullptr);
    EXPECT_EQ(heard, Lines({ "added Lit" }));
}

TEST_F(Notifications, WhatAHandlerCapturedMayUnregisterWhenItEnds)
{
    auto careful = make<Careful>(center);
    auto token = center.addObserver("Lit", nullptr, [careful](const auto&) {});
    careful.reset();
    token.cancel();
    auto another = center.addObserver("Lit", nullptr, [careful = make<Careful>(center)](const auto&) {});
    center.removeAllObservers();
    center.postNotificationName("Lit", nullptr);
    another.cancel();
    EXPECT_EQ(heard, Lines());
}

TEST_F(Notifications, ATokenMayOutliveItsCenter)
{
    auto own = std::make_unique<NSNotificationCenter>();
    auto token = own->addObserver("Lit", nullptr, write("lit"));
    own.reset();
    EXPECT_NO_THROW(token.cancel());
}

TEST_F(Notifications, TheDefaultCenterForgetsItsObserversWhenTheProcessStartsFresh)
{
    const auto token = NSNotificationCenter::defaultCenter().addObserver("Lit", nullptr, write("lit"));
    ProcessState::reset();
    NSNotificationCenter::defaultCenter().postNotificationName("Lit", nullptr);
    EXPECT_EQ(heard, Lines());
}

TEST(NotificationsThreads, PostsAndRegistrationsMixFreely)
{
    NSNotificationCenter center;
    std::atomic<int> heard { 0 };
    const auto steady = center.addObserver("Lit", nullptr, [&](const auto&) { ++heard; });
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                const auto lamp = make<Lamp>();
                center.addObserver(lamp, "hear:", "Lit", lamp);
                const auto token = center.addObserver("Lit", lamp, [](const auto&) {});
                center.postNotificationName("Lit", lamp);
                EXPECT_EQ(lamp->heard.size(), 1);
                center.removeObserver(*lamp);
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(heard, 600);
}

}
