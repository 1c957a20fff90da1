// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVHardwareButtons.h"

#include "platform/AVFoundation/AVCaptureEventInteraction.h"
#include "platform/SwiftUI/UIHostingView.h"
#include "platform/UIKit/UIApplication.h"
#include "platform/UIKit/UIColor.h"

#include "tests/support/PhoneWindowTest.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace velmora::tests {
namespace {

/// A plain view, as a description.
struct Plain {
    std::shared_ptr<UIView> made = make<UIView>();
    std::shared_ptr<UIView> makeUIView() const { return made; }
    void updateUIView(const std::shared_ptr<UIView>&) const { }
};

class HardwareButtons : public PhoneWindowTest {
protected:
    void host(const AnyView& view)
    {
        hosting = make<UIHostingView>(view, CGRectMake(0, 0, 100, 100));
        window->addSubview(hosting);
        hosting->layoutIfNeeded();
    }
    void hostCounting()
    {
        host(captureHardwareButtons(Plain(), [this] { ++taken; }));
    }
    void press(int phase)
    {
        phone.pressButton(phase);
        clock.advance(0);
    }
    void key(const std::string& name, DisplayKeyPhase phase) { screen->key(name, phase); }
    void typeKey(const std::string& name)
    {
        key(name, DisplayKeyPhase::Pressed);
        key(name, DisplayKeyPhase::Released);
    }
    void run(int major, int minor)
    {
        phone.change([&](drivers::phone::PhoneDescription& description) {
            description.systemVersion = { major, minor };
        });
    }

    std::shared_ptr<UIHostingView> hosting;
    int taken = 0;
};

TEST_F(HardwareButtons, APressAndReleaseCallTheActionOnceOnRelease)
{
    hostCounting();
    press(0);
    EXPECT_EQ(taken, 0);
    press(1);
    EXPECT_EQ(taken, 1);
}

TEST_F(HardwareButtons, ACancelledPressDoesNotCallTheAction)
{
    hostCounting();
    press(0);
    press(2);
    EXPECT_EQ(taken, 0);
}

TEST_F(HardwareButtons, TheActionRunsLaterOnTheMainThread)
{
    hostCounting();
    phone.pressButton(0);
    phone.pressButton(1);
    EXPECT_EQ(taken, 0);
    clock.advance(0);
    EXPECT_EQ(taken, 1);
}

TEST_F(HardwareButtons, ABackgroundLiesBehindTheViewAndIsClear)
{
    const Plain plain;
    host(captureHardwareButtons(plain, [] {}));
    const auto layered = hosting->subviews().at(0);
    ASSERT_EQ(layered->subviews().size(), 2U);
    EXPECT_EQ(layered->subviews()[1], plain.made);
    const auto behind = layered->subviews()[0];
    EXPECT_TRUE(behind->backgroundColor()->isEqual(UIColor::clearColor().get()));
    EXPECT_EQ(behind->interactions().size(), 1U);
    layered->layoutIfNeeded();
    EXPECT_EQ(behind->frame(), CGRectMake(0, 0, 100, 100));
}

TEST_F(HardwareButtons, BeforeSystemVersion17_2ThereIsNoViewBehind)
{
    run(17, 1);
    const Plain plain;
    host(captureHardwareButtons(plain, [this] { ++taken; }));
    EXPECT_EQ(hosting->subviews().at(0), plain.made);
    press(0);
    press(1);
    EXPECT_EQ(taken, 0);
}

TEST_F(HardwareButtons, WithExactly17_2AndLaterThereIsOne)
{
    run(17, 2);
    hostCounting();
    EXPECT_EQ(hosting->subviews().at(0)->subviews().size(), 2U);
    run(18, 0);
    hosting->setRootView(captureHardwareButtons(Plain(), [] {}));
    EXPECT_EQ(hosting->subviews().at(0)->subviews().size(), 2U);
}

TEST_F(HardwareButtons, ActOnlyWhileTheViewIsOnTheScreen)
{
    hostCounting();
    hosting->removeFromSuperview();
    press(0);
    press(1);
    EXPECT_EQ(taken, 0);
    window->addSubview(hosting);
    press(0);
    press(1);
    EXPECT_EQ(taken, 1);
}

TEST_F(HardwareButtons, KeysThatNobodyWantsAreButtons)
{
    hostCounting();
    for (const char* name : { "Space", "Return", "VolumeUp", "VolumeDown", "Camera" })
        typeKey(name);
    EXPECT_EQ(taken, 5);
    typeKey("a");
    EXPECT_EQ(taken, 5);
}

TEST_F(HardwareButtons, AKeyThatRepeatsTakesOnePhoto)
{
    hostCounting();
    key("Space", DisplayKeyPhase::Pressed);
    key("Space", DisplayKeyPhase::Pressed);
    key("Space", DisplayKeyPhase::Pressed);
    EXPECT_EQ(taken, 0);
    key("Space", DisplayKeyPhase::Released);
    key("Space", DisplayKeyPhase::Released);
    EXPECT_EQ(taken, 1);
}

TEST_F(HardwareButtons, APressThatTheKeyboardTellsOfTooIsOne)
{
    hostCounting();
    key("Camera", DisplayKeyPhase::Pressed);
    press(0);
    key("Camera", DisplayKeyPhase::Released);
    EXPECT_EQ(taken, 0);
    press(1);
    EXPECT_EQ(taken, 1);
    typeKey("AudioVolumeUp");
    EXPECT_EQ(taken, 2);
}

TEST_F(HardwareButtons, OnesOfTheHousingAreLeftAloneWhileTheApplicationIsInactive)
{
    hostCounting();
    UIApplication::sharedApplication()->resignActive();
    press(0);
    press(1);
    EXPECT_EQ(taken, 0);
    UIApplication::sharedApplication()->becomeActive();
    press(0);
    press(1);
    EXPECT_EQ(taken, 1);
}

TEST_F(HardwareButtons, APressIsCancelledWhenTheApplicationLosesTheScreen)
{
    hostCounting();
    key("Space", DisplayKeyPhase::Pressed);
    UIApplication::sharedApplication()->resignActive();
    UIApplication::sharedApplication()->becomeActive();
    key("Space", DisplayKeyPhase::Released);
    EXPECT_EQ(taken, 0);
}

/// Interactions by themselves.
class CaptureEvents : public HardwareButtons {
protected:
    std::shared_ptr<AVCaptureEventInteraction> attach(std::vector<int>& phases)
    {
        const auto interaction
            = AVCaptureEventInteraction::initWithEventHandler([&phases](const std::shared_ptr<AVCaptureEvent>& event) {
                  phases.push_back(static_cast<int>(event->phase()));
              });
        add<UIView>(CGRectMake(0, 0, 10, 10))->addInteraction(interaction);
        return interaction;
    }
    std::vector<int> first, second;
};

TEST_F(CaptureEvents, TheOneAttachedLastHearsEveryPhase)
{
    attach(first);
    attach(second);
    for (const int phase : { 0, 1, 0, 2 })
        press(phase);
    EXPECT_TRUE(first.empty());
    EXPECT_EQ(second, (std::vector { 0, 1, 0, 2 }));
}

TEST_F(CaptureEvents, WhatBeganWithOneEndsWithIt)
{
    attach(first);
    press(0);
    attach(second);
    press(1);
    EXPECT_EQ(first, (std::vector { 0, 1 }));
    EXPECT_TRUE(second.empty());
}

TEST_F(CaptureEvents, ADisabledOneIsPassedOver)
{
    attach(first);
    attach(second)->setEnabled(false);
    press(0);
    press(1);
    EXPECT_EQ(first, (std::vector { 0, 1 }));
    EXPECT_TRUE(second.empty());
}

TEST_F(CaptureEvents, ARemovedOneHearsNothing)
{
    const auto interaction = attach(first);
    interaction->view()->removeInteraction(interaction);
    press(0);
    EXPECT_TRUE(first.empty());
    EXPECT_EQ(interaction->view(), nullptr);
}

TEST(ButtonPress, HalfAndBackIsCancelledAndAllTheWayIsEnded)
{
    using enum ButtonPress::Position;
    ButtonPress press;
    std::vector<int> phases;
    const auto to = [&](ButtonPress::Position position) {
        press.moveTo(position, [&](AVCaptureEventPhase phase) { phases.push_back(static_cast<int>(phase)); });
    };
    to(Half);
    to(Half);
    to(Up);
    EXPECT_EQ(phases, (std::vector { 0, 2 }));
    phases.clear();
    to(Half);
    to(Down);
    to(Half);
    to(Up);
    EXPECT_EQ(phases, (std::vector { 0, 1 }));
    phases.clear();
    to(Half);
    to(Down);
    to(Half);
    to(Down); // a second photo from half
    to(Up);
    EXPECT_EQ(phases, (std::vector { 0, 1, 0, 1 }));
}

/// Descriptions and the views that show them.
class Hosting : public PhoneWindowTest {
protected:
    struct Counting {
        int* made;
        int* updated;
        int* dismantled;
        std::shared_ptr<UIView> makeUIView() const
        {
            ++*made;
            return make<UIView>();
        }
        void updateUIView(const std::shared_ptr<UIView>&) const { ++*updated; }
        void dismantleUIView(const std::shared_ptr<UIView>&) const { ++*dismantled; }
    };
    struct Wrapped {
        AnyView inside;
        AnyView body() const { return inside; }
    };
    Counting counting() { return { &made, &updated, &dismantled }; }
    int made = 0, updated = 0, dismantled = 0;
};

TEST_F(Hosting, AViewOfTheSameKindStaysAndIsUpdated)
{
    const auto hosting = make<UIHostingView>(AnyView(counting()));
    const auto shown = hosting->subviews().at(0);
    hosting->setRootView(counting());
    EXPECT_EQ(hosting->subviews().at(0), shown);
    EXPECT_EQ(made, 1);
    EXPECT_EQ(updated, 2);
    EXPECT_EQ(dismantled, 0);
}

TEST_F(Hosting, AnotherKindTakesItsPlaceAndTheFormerIsDismantled)
{
    const auto hosting = make<UIHostingView>(AnyView(counting()));
    hosting->setRootView(Plain());
    EXPECT_EQ(dismantled, 1);
    EXPECT_EQ(hosting->subviews().size(), 1U);
    hosting->setRootView({});
    EXPECT_TRUE(hosting->subviews().empty());
}

TEST_F(Hosting, ADescriptionThatIsMadeOfOthersIsTheOthers)
{
    const Plain plain;
    const auto hosting = make<UIHostingView>(AnyView(Wrapped { plain }));
    EXPECT_EQ(hosting->subviews().at(0), plain.made);
}

TEST_F(Hosting, ABackgroundIsUpdatedAndDismantledWithItsView)
{
    auto hosting = make<UIHostingView>(AnyView(Plain()).background(counting()));
    hosting->setRootView(AnyView(Plain()).background(counting()));
    EXPECT_EQ(made, 1);
    EXPECT_EQ(updated, 2);
    hosting.reset();
    EXPECT_EQ(dismantled, 1);
}

}
}
