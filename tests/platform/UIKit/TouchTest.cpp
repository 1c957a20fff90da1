// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIControl.h"
#include "platform/UIKit/UILongPressGestureRecognizer.h"
#include "platform/UIKit/UIPanGestureRecognizer.h"
#include "platform/UIKit/UIPinchGestureRecognizer.h"
#include "platform/UIKit/UITapGestureRecognizer.h"

#include "tests/support/WindowTest.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmora::tests {
namespace {

using Words = std::vector<std::string>;

/// Writes down the touches that reach it.
class Sheet : public UIView {
public:
    using UIView::UIView;
    void touchesBegan(const UITouches& touches, const std::shared_ptr<UIEvent>&) override { note("began", touches); }
    void touchesMoved(const UITouches& touches, const std::shared_ptr<UIEvent>&) override { note("moved", touches); }
    void touchesEnded(const UITouches& touches, const std::shared_ptr<UIEvent>&) override { note("ended", touches); }
    void touchesCancelled(const UITouches& touches, const std::shared_ptr<UIEvent>&) override
    {
        note("cancelled", touches);
    }
    Words words;
    CGPoint last, previous;
    std::int64_t taps = 0;

private:
    void note(const char* word, const UITouches& touches)
    {
        words.push_back(word);
        last = touches.front()->locationInView(this);
        previous = touches.front()->previousLocationInView(this);
        taps = touches.front()->tapCount();
    }
};

/// A target and a delegate that write down what they hear.
class Listener : public NSObject, public UIGestureRecognizerDelegate {
public:
    static const ClassInfo& staticClass()
    {
        static constexpr auto methods
            = methodTable(method<&Listener::first>("first:"), method<&Listener::second>("second:"),
                method<&Listener::touched>("touched:event:"), method<&Listener::plain>("plain"));
        static const ClassInfo info { "Tests.Listener", &NSObject::staticClass(), methods };
        return info;
    }
    const ClassInfo& classInfo() const override { return staticClass(); }

    void first(const std::shared_ptr<UIGestureRecognizer>& recognizer) { note("first", *recognizer); }
    void second(const std::shared_ptr<UIGestureRecognizer>& recognizer) { note("second", *recognizer); }
    void touched(const std::shared_ptr<UIControl>&, const std::shared_ptr<UIEvent>& event)
    {
        words.push_back(event ? "touched with an event" : "touched");
    }
    void plain() { words.push_back("plain"); }
    bool gestureRecognizerShouldBegin(const std::shared_ptr<UIGestureRecognizer>&) override { return lets; }
    bool shouldRecognizeSimultaneously(
        const std::shared_ptr<UIGestureRecognizer>&, const std::shared_ptr<UIGestureRecognizer>&) override
    {
        return together;
    }
    Words words;
    bool together = false, lets = true;

private:
    void note(const std::string& name, const UIGestureRecognizer& recognizer)
    {
        words.push_back(name + " " + std::to_string(recognizer.state()));
    }
};

class Touching : public WindowTest { };

TEST_F(Touching, ReachesTheDeepestViewFromBeginToEnd)
{
    const auto outer = add<Sheet>(CGRectMake(0, 0, 200, 200));
    const auto inner = make<Sheet>(CGRectMake(50, 50, 50, 50));
    outer->addSubview(inner);
    touchDown({ 60, 70 });
    moveTo({ 300, 300 });
    lift({ 301, 302 });
    EXPECT_EQ(inner->words, (Words { "began", "moved", "ended" }));
    EXPECT_TRUE(outer->words.empty());
    EXPECT_EQ(inner->last, CGPointMake(251, 252));
    EXPECT_EQ(inner->previous, CGPointMake(250, 250));
}

TEST_F(Touching, QuickTapsAreCounted)
{
    const auto sheet = add<Sheet>(CGRectMake(0, 0, 200, 200));
    tap({ 10, 10 });
    clock.advance(0.2);
    touchDown({ 12, 10 });
    EXPECT_EQ(sheet->taps, 2);
    lift({ 12, 10 });
    clock.advance(0.5);
    touchDown({ 12, 10 });
    EXPECT_EQ(sheet->taps, 1);
}

TEST_F(Touching, ASecondFingerReachesOnlyViewsThatWantSeveral)
{
    const auto sheet = add<Sheet>(CGRectMake(0, 0, 200, 200));
    touchDown({ 10, 10 }, 1);
    touchDown({ 20, 20 }, 2);
    EXPECT_EQ(sheet->words, (Words { "began" }));
    lift({ 10, 10 }, 1);
    lift({ 20, 20 }, 2);
    sheet->words.clear();
    sheet->setMultipleTouchEnabled(true);
    touchDown({ 10, 10 }, 1);
    touchDown({ 20, 20 }, 2);
    EXPECT_EQ(sheet->words, (Words { "began", "began" }));
}

TEST_F(Touching, FingersThatComeDownWhileEventsAreIgnoredAreNobodys)
{
    const auto sheet = add<Sheet>(CGRectMake(0, 0, 200, 200));
    UIApplication::sharedApplication()->beginIgnoringInteractionEvents();
    touchDown({ 10, 10 });
    UIApplication::sharedApplication()->endIgnoringInteractionEvents();
    lift({ 10, 10 });
    EXPECT_TRUE(sheet->words.empty());
}

TEST_F(Touching, TheFrontmostWindowGetsIt)
{
    const auto sheet = add<Sheet>(CGRectMake(0, 0, 200, 200));
    const auto alert = make<UIWindow>(CGRectMake(0, 0, 100, 100));
    alert->setWindowLevel(UIWindowLevelAlert);
    alert->setHidden(false);
    tap({ 50, 50 });
    EXPECT_TRUE(sheet->words.empty());
    alert->setHidden(true);
    tap({ 50, 50 });
    EXPECT_EQ(sheet->words, (Words { "began", "ended" }));
}

TEST_F(Touching, KeysGoToTheFirstResponderAndOnFromThere)
{
    class Reader : public UIView {
    public:
        using UIView::UIView;
        bool canBecomeFirstResponder() const override { return accepts; }
        void pressBegan(const UIPress& press) override { keys += press.key; }
        bool accepts = true;
        std::string keys;
    };
    const auto outer = add<Reader>(CGRectMake(0, 0, 10, 10));
    const auto inner = make<UIView>();
    outer->addSubview(inner);
    EXPECT_FALSE(inner->becomeFirstResponder());
    EXPECT_TRUE(outer->becomeFirstResponder());
    screen->key("a", DisplayKeyPhase::Pressed);
    EXPECT_EQ(outer->keys, "a");
    UIApplication::sharedApplication()->setFirstResponder(inner);
    screen->key("b", DisplayKeyPhase::Pressed);
    EXPECT_EQ(outer->keys, "ab");
}

TEST_F(Touching, AWindowThatGoesDuringATouchTakesItsRecognisersAlong)
{
    const auto listener = make<Listener>();
    auto recognizer = make<UIPanGestureRecognizer>(listener, "first:");
    window->addGestureRecognizer(recognizer);
    const std::weak_ptr<UIGestureRecognizer> weak = recognizer;
    recognizer = nullptr;
    touchDown({ 10, 10 });
    moveTo({ 50, 50 });
    window = nullptr;
    lift({ 50, 50 });
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(listener->words, (Words { "first 1" }));
}

class Control : public WindowTest {
protected:
    Control()
    {
        for (const auto& [event, word] : std::vector<std::pair<UIControlEvents, std::string>> {
                 { UIControlEventTouchDown, "down" }, { UIControlEventTouchDragInside, "drag in" },
                 { UIControlEventTouchDragOutside, "drag out" }, { UIControlEventTouchDragEnter, "enter" },
                 { UIControlEventTouchDragExit, "exit" }, { UIControlEventTouchUpInside, "up in" },
                 { UIControlEventTouchUpOutside, "up out" }, { UIControlEventTouchCancel, "cancel" } })
            control->addAction(event, [this, word = word] { words.push_back(word); }).storeIn(tokens);
    }
    std::shared_ptr<UIControl> control = add<UIControl>(CGRectMake(100, 100, 50, 50));
    std::shared_ptr<Listener> listener = make<Listener>();
    Words words;
    std::vector<Cancellable> tokens;
};

TEST_F(Control, ATapIsDownAndUpInside)
{
    touchDown({ 110, 110 });
    EXPECT_TRUE(control->isHighlighted());
    EXPECT_TRUE(control->isTracking());
    lift({ 110, 110 });
    EXPECT_EQ(words, (Words { "down", "up in" }));
    EXPECT_FALSE(control->isHighlighted());
}

TEST_F(Control, LeavingAndComingBackAreTold)
{
    touchDown({ 110, 110 });
    moveTo({ 300, 110 });
    EXPECT_FALSE(control->isHighlighted());
    moveTo({ 120, 110 });
    moveTo({ 99, 110 });
    lift({ 99, 110 });
    EXPECT_EQ(words, (Words { "down", "drag out", "exit", "drag in", "enter", "drag out", "exit", "up out" }));
}

TEST_F(Control, ACancelledTouchSaysSo)
{
    touchDown({ 110, 110 });
    cancelTouch({ 110, 110 });
    EXPECT_EQ(words, (Words { "down", "cancel" }));
}

TEST_F(Control, ADisabledOneGetsNoTouchButKeepsItFromThoseBelow)
{
    const auto below = make<Sheet>(CGRectMake(100, 100, 50, 50));
    window->insertSubviewBelow(below, control);
    control->setEnabled(false);
    tap({ 110, 110 });
    EXPECT_TRUE(words.empty());
    EXPECT_TRUE(below->words.empty());
}

TEST_F(Control, ActionsTakeAsMuchAsTheirNamesSay)
{
    control->addTarget(listener, "plain", UIControlEventTouchDown);
    control->addTarget(listener, "touched:event:", UIControlEventTouchUpInside);
    tap({ 110, 110 });
    control->sendActionsForControlEvents(UIControlEventTouchUpInside);
    EXPECT_EQ(listener->words, (Words { "plain", "touched with an event", "touched" }));
}

TEST_F(Control, TargetsAreCalledInTheOrderOfAddingAndNotHeld)
{
    auto other = make<Listener>();
    Words order;
    tokens.clear();
    control->addAction(UIControlEventValueChanged, [&] { order.push_back("one"); }).storeIn(tokens);
    control->addTarget(other, "plain", UIControlEventValueChanged);
    control->addAction(UIControlEventValueChanged, [&] { order.push_back("two"); }).storeIn(tokens);
    const std::weak_ptr<Listener> weak = other;
    other = nullptr;
    EXPECT_TRUE(weak.expired());
    control->sendActionsForControlEvents(UIControlEventValueChanged);
    EXPECT_EQ(order, (Words { "one", "two" }));
}

TEST_F(Control, ARemovedTargetHearsNothing)
{
    control->addTarget(listener, "plain", UIControlEventTouchDown | UIControlEventTouchUpInside);
    control->removeTarget(listener, "plain", UIControlEventTouchDown);
    tap({ 110, 110 });
    EXPECT_EQ(listener->words, (Words { "plain" }));
    EXPECT_EQ(control->actionsForTarget(listener, UIControlEventTouchUpInside), (Words { "plain" }));
}

TEST_F(Control, WithoutATargetTheActionGoesUpTheResponders)
{
    class Host : public UIView {
    public:
        using UIView::UIView;
        static const ClassInfo& staticClass()
        {
            static constexpr auto methods = methodTable(method<&Host::shoot>("shoot:"));
            static const ClassInfo info { "Tests.Host", &UIView::staticClass(), methods };
            return info;
        }
        const ClassInfo& classInfo() const override { return staticClass(); }
        void shoot(const std::shared_ptr<UIControl>& sender) { seen = sender; }
        std::shared_ptr<UIControl> seen;
    };
    const auto host = add<Host>(CGRectMake(0, 0, 320, 480));
    host->addSubview(control);
    control->addTarget({}, "shoot:", UIControlEventTouchUpInside);
    tap({ 110, 110 });
    EXPECT_EQ(host->seen, control);
}

class Gesture : public WindowTest {
protected:
    template <class Recognizer> std::shared_ptr<Recognizer> recognise(const char* action)
    {
        auto recognizer = make<Recognizer>(listener, action);
        recognizer->setDelegate(listener);
        sheet->addGestureRecognizer(recognizer);
        return recognizer;
    }
    std::shared_ptr<Sheet> sheet = add<Sheet>(CGRectMake(0, 0, 200, 200));
    std::shared_ptr<Listener> listener = make<Listener>();
};

TEST_F(Gesture, ATapIsRecognisedAtItsEnd)
{
    recognise<UITapGestureRecognizer>("first:");
    touchDown({ 10, 10 });
    EXPECT_TRUE(listener->words.empty());
    lift({ 10, 10 });
    EXPECT_EQ(listener->words, (Words { "first 3" }));
    EXPECT_EQ(sheet->words, (Words { "began", "cancelled" }));
}

TEST_F(Gesture, ATapThatWandersOrLastsIsNone)
{
    recognise<UITapGestureRecognizer>("first:");
    touchDown({ 10, 10 });
    moveTo({ 100, 10 });
    lift({ 10, 10 });
    touchDown({ 10, 10 });
    clock.advance(1);
    lift({ 10, 10 });
    EXPECT_TRUE(listener->words.empty());
}

TEST_F(Gesture, ADoubleTapNeedsTwoInTime)
{
    recognise<UITapGestureRecognizer>("first:")->setNumberOfTapsRequired(2);
    tap({ 10, 10 });
    clock.advance(1);
    tap({ 10, 10 });
    EXPECT_TRUE(listener->words.empty());
    clock.advance(0.1);
    tap({ 10, 10 });
    EXPECT_EQ(listener->words, (Words { "first 3" }));
}

TEST_F(Gesture, ASingleTapWaitsForTheDoubleTapToFail)
{
    const auto twice = recognise<UITapGestureRecognizer>("second:");
    twice->setNumberOfTapsRequired(2);
    recognise<UITapGestureRecognizer>("first:")->requireGestureRecognizerToFail(twice);
    tap({ 10, 10 });
    EXPECT_TRUE(listener->words.empty());
    clock.advance(0.4);
    EXPECT_EQ(listener->words, (Words { "first 3" }));
    listener->words.clear();
    tap({ 10, 10 });
    clock.advance(0.1);
    tap({ 10, 10 });
    clock.advance(1);
    EXPECT_EQ(listener->words, (Words { "second 3" }));
}

TEST_F(Gesture, APanBeginsChangesAndEnds)
{
    const auto pan = recognise<UIPanGestureRecognizer>("first:");
    touchDown({ 10, 10 });
    moveTo({ 15, 10 });
    EXPECT_TRUE(listener->words.empty());
    clock.advance(0.05);
    moveTo({ 30, 10 });
    clock.advance(0.05);
    moveTo({ 40, 20 });
    EXPECT_EQ(pan->translationInView(sheet), CGPointMake(30, 10));
    EXPECT_EQ(pan->locationInView(sheet), CGPointMake(40, 20));
    EXPECT_NEAR(pan->velocityInView(sheet).x, 300, 60);
    pan->setTranslation({ 1, 2 }, sheet);
    EXPECT_EQ(pan->translationInView(sheet), CGPointMake(1, 2));
    lift({ 40, 20 });
    EXPECT_EQ(listener->words, (Words { "first 1", "first 2", "first 3" }));
    EXPECT_EQ(pan->state(), UIGestureRecognizerStatePossible);
}

TEST_F(Gesture, APanThatStandsStillHasNoVelocity)
{
    const auto pan = recognise<UIPanGestureRecognizer>("first:");
    touchDown({ 10, 10 });
    clock.advance(0.05);
    moveTo({ 60, 10 });
    EXPECT_EQ(pan->velocityInView(sheet), CGPointMake(1000, 0));
    clock.advance(0.2);
    EXPECT_EQ(pan->velocityInView(sheet), CGPointZero);
}

TEST_F(Gesture, AFingerThatRestedIsAsFastAsInTheLastTenthOfASecond)
{
    const auto pan = recognise<UIPanGestureRecognizer>("first:");
    touchDown({ 10, 10 });
    clock.advance(1);
    moveTo({ 30, 10 });
    EXPECT_NEAR(pan->velocityInView(sheet).x, 200, 1e-9); // 20 points, and it rested until then
    clock.advance(0.05);
    moveTo({ 60, 10 });
    EXPECT_NEAR(pan->velocityInView(sheet).x, 500, 1e-9);
}

TEST_F(Gesture, ALongPressBeginsAfterItsDuration)
{
    recognise<UILongPressGestureRecognizer>("first:");
    touchDown({ 10, 10 });
    clock.advance(0.4);
    EXPECT_TRUE(listener->words.empty());
    clock.advance(0.2);
    moveTo({ 100, 10 });
    lift({ 100, 10 });
    EXPECT_EQ(listener->words, (Words { "first 1", "first 2", "first 3" }));
}

TEST_F(Gesture, ALongPressOfNoDurationBeginsAtOnce)
{
    recognise<UILongPressGestureRecognizer>("first:")->setMinimumPressDuration(0);
    touchDown({ 10, 10 });
    EXPECT_EQ(listener->words, (Words { "first 1" }));
    EXPECT_TRUE(sheet->words.empty());
}

TEST_F(Gesture, ALongPressThatWandersBeforeItsTimeIsNone)
{
    recognise<UILongPressGestureRecognizer>("first:");
    touchDown({ 10, 10 });
    moveTo({ 25, 10 });
    clock.advance(1);
    lift({ 25, 10 });
    EXPECT_TRUE(listener->words.empty());
}

TEST_F(Gesture, OneOfTwoWins)
{
    recognise<UILongPressGestureRecognizer>("first:")->setMinimumPressDuration(0);
    recognise<UIPanGestureRecognizer>("second:");
    touchDown({ 10, 10 });
    moveTo({ 50, 10 });
    lift({ 50, 10 });
    EXPECT_EQ(listener->words, (Words { "first 1", "first 2", "first 3" }));
}

TEST_F(Gesture, TwoRunTogetherWhereTheDelegateLetsThem)
{
    listener->together = true;
    recognise<UIPanGestureRecognizer>("first:");
    recognise<UILongPressGestureRecognizer>("second:")->setMinimumPressDuration(0);
    touchDown({ 10, 10 });
    moveTo({ 50, 10 });
    moveTo({ 60, 10 });
    lift({ 60, 10 });
    EXPECT_EQ(
        listener->words, (Words { "second 1", "first 1", "second 2", "first 2", "second 2", "first 3", "second 3" }));
}

TEST_F(Gesture, TheDelegateCanForbidTheBegin)
{
    listener->lets = false;
    recognise<UITapGestureRecognizer>("first:");
    tap({ 10, 10 });
    EXPECT_TRUE(listener->words.empty());
    EXPECT_EQ(sheet->words, (Words { "began", "ended" }));
}

TEST_F(Gesture, RecognisersOfOuterViewsHearTooAndDisabledOnesDoNot)
{
    const auto tap1 = make<UITapGestureRecognizer>(listener, "first:");
    window->addGestureRecognizer(tap1);
    tap({ 10, 10 });
    EXPECT_EQ(listener->words, (Words { "first 3" }));
    tap1->setEnabled(false);
    tap({ 10, 10 });
    EXPECT_EQ(listener->words.size(), 1U);
}

TEST_F(Gesture, ATapOnAControlIsTheControls)
{
    window->addGestureRecognizer(make<UITapGestureRecognizer>(listener, "first:"));
    const auto control = add<UIControl>(CGRectMake(0, 0, 50, 50));
    control->addTarget(listener, "plain", UIControlEventTouchUpInside);
    tap({ 10, 10 });
    EXPECT_EQ(listener->words, (Words { "plain" }));
}

TEST_F(Gesture, APinchTellsTheScale)
{
    const auto pinch = recognise<UIPinchGestureRecognizer>("first:");
    touchDown({ 50, 50 }, 1);
    touchDown({ 150, 50 }, 2);
    clock.advance(0.1);
    moveTo({ 170, 50 }, 2);
    EXPECT_NEAR(pinch->scale(), 1.2, 1e-9);
    EXPECT_NEAR(pinch->velocity(), 2, 1e-9);
    pinch->setScale(1);
    moveTo({ 110, 50 }, 2);
    EXPECT_NEAR(pinch->scale(), 0.5, 1e-9);
    lift({ 110, 50 }, 2);
    lift({ 50, 50 }, 1);
    EXPECT_EQ(listener->words, (Words { "first 1", "first 2", "first 3" }));
}

TEST_F(Gesture, CanBeDrivenByHand)
{
    const auto pan = recognise<UIPanGestureRecognizer>("first:");
    pan->drive(UIGestureRecognizerStateChanged, { 30, 40 }, sheet);
    EXPECT_EQ(listener->words, (Words { "first 2" }));
    EXPECT_EQ(pan->state(), UIGestureRecognizerStateChanged);
    EXPECT_EQ(pan->locationInView(sheet), CGPointMake(30, 40));
    pan->setVelocity({ 0, -500 }, sheet);
    EXPECT_EQ(pan->velocityInView(sheet), CGPointMake(0, -500));
}

}
}
