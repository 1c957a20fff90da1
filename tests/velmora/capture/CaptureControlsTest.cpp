// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVHardwareButtons.h"

#include "platform/AVFoundation/AVCaptureIndexPicker.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/Foundation/DispatchQueue.h"

#include "tests/support/ControllerTest.h"

#include <gmock/gmock.h>

namespace velmora::tests {

using namespace drivers::phone;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/// Implements nothing but what a delegate must.
class SilentDelegate : public NSObject, public QVCameraButtonControlsDelegate {
public:
    void sessionControlsDidBecomeActive(const std::shared_ptr<AVCaptureSession>&) override { }
    void sessionControlsWillEnterFullscreenAppearance(const std::shared_ptr<AVCaptureSession>&) override { }
    void sessionControlsWillExitFullscreenAppearance(const std::shared_ptr<AVCaptureSession>&) override { }
    void sessionControlsDidBecomeInactive(const std::shared_ptr<AVCaptureSession>&) override { }
};

std::shared_ptr<AVCaptureIndexPicker> picker(std::string title)
{
    return make<AVCaptureIndexPicker>(
        std::move(title), std::string("camera"), std::vector<std::string> { "one", "two", "three" });
}

}

class CaptureControls : public ControllerTest {
protected:
    CaptureControls() { construct(); }

    /// Notes each callback with the queue that it came on.
    std::shared_ptr<QVHardwareButtons::CameraButtonDelegate> noting()
    {
        auto delegate = make<QVHardwareButtons::CameraButtonDelegate>();
        const auto noteAs = [this](std::string what) {
            return [this, what] { notes.push_back(what + " on " + DispatchQueue::currentLabel()); };
        };
        delegate->controlSelectedMenuIndex = [noteAs](std::int64_t index) { noteAs(std::to_string(index))(); };
        delegate->controlsBecameActive = noteAs("active");
        delegate->controlsBecameInactive = noteAs("inactive");
        delegate->controlsWillEnterFullscreen = noteAs("enter");
        delegate->controlsWillExitFullscreen = noteAs("exit");
        return delegate;
    }
    void installMenu(const std::shared_ptr<QVCameraButtonControlsDelegate>& delegate,
        std::vector<std::string> options = { "Wide", "Tele", "Ultra wide" })
    {
        controller->setCaptureControlMenuWithLocalizedTitle("Lens", "camera.aperture", std::move(options), delegate);
    }
    std::vector<std::shared_ptr<AVCaptureControl>> controls() const { return controller->captureSession()->controls(); }
    std::shared_ptr<AVCaptureIndexPicker> menu(std::size_t index = 0) const
    {
        return std::dynamic_pointer_cast<AVCaptureIndexPicker>(controls().at(index));
    }

    std::vector<std::string> notes;
};

TEST_F(CaptureControls, AMenuHasItsTitleItsSymbolAndItsOptions)
{
    installMenu(noting());
    ASSERT_THAT(controls(), SizeIs(1));
    EXPECT_EQ(menu()->localizedTitle(), "Lens");
    EXPECT_EQ(menu()->symbolName(), "camera.aperture");
    EXPECT_THAT(menu()->localizedIndexTitles(), ElementsAre("Wide", "Tele", "Ultra wide"));
    EXPECT_EQ(menu()->selectedIndex(), 0);
}

TEST_F(CaptureControls, TheSecondMenuTakesThePlaceOfTheFirst)
{
    installMenu(noting());
    const auto first = menu();
    installMenu(noting(), { "a", "b" });
    ASSERT_THAT(controls(), SizeIs(1));
    EXPECT_NE(menu(), first);
    controller->updateSelectedControlMenuIndex(1);
    settle();
    EXPECT_EQ(menu()->selectedIndex(), 1);
    EXPECT_EQ(first->selectedIndex(), 0);
}

TEST_F(CaptureControls, InstallingRemovesEveryControlForeignOnesToo)
{
    phone.change([](PhoneDescription& description) { description.foreignControls = { "Zoom", "Exposure" }; });
    construct();
    ASSERT_THAT(controls(), SizeIs(2));
    EXPECT_EQ(menu(1)->localizedTitle(), "Exposure");
    const auto own = picker("own");
    controller->setCaptureControl(own, noting());
    EXPECT_THAT(controls(), ElementsAre(own));
}

TEST_F(CaptureControls, AnotherControlForgetsTheMenu)
{
    installMenu(noting());
    const auto forgotten = menu();
    controller->setCaptureControl(picker("other"), noting());
    controller->updateSelectedControlMenuIndex(2);
    settle();
    EXPECT_EQ(forgotten->selectedIndex(), 0);
    EXPECT_EQ(menu()->selectedIndex(), 0);
}

TEST_F(CaptureControls, AControlOnASessionWithoutAnyLeavesTheStoredMenu)
{
    // Nothing was removed, so nothing is forgotten.
    phone.fail({ .step = Step::AddControl, .outcome = Outcome::Nothing, .times = 1 });
    installMenu(noting());
    ASSERT_THAT(controls(), IsEmpty());
    controller->setCaptureControl(picker("other"), noting());
    log.clear();
    controller->updateSelectedControlMenuIndex(-1);
    settle();
    EXPECT_THAT(log.lines(), SizeIs(1)); // the refused menu hears it
}

TEST_F(CaptureControls, WithoutSupportNothingIsInstalledAndNoDelegateIsSet)
{
    phone.change([](PhoneDescription& description) { description.controls = false; });
    const auto delegate = noting();
    controller->setCaptureControl(picker("own"), delegate);
    EXPECT_THAT(controls(), IsEmpty());
    EXPECT_EQ(controller->captureSession()->controlsDelegate(), nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CaptureControls, WithoutSupportTheMenuIsStoredAllTheSame)
{
    phone.change([](PhoneDescription& description) { description.controls = false; });
    installMenu(noting());
    controller->updateSelectedControlMenuIndex(-1);
    settle();
    EXPECT_THAT(log.lines(), ElementsAre("[AVCaptureIndexPicker] Index -1 is outside the 3 titles. Ignored."));
}

TEST_F(CaptureControls, ARefusedControlIsLoggedWithoutATagAndItsDelegateIsSet)
{
    phone.fail({ .step = Step::AddControl, .outcome = Outcome::Nothing });
    const auto refused = picker("own");
    const auto delegate = noting();
    controller->setCaptureControl(refused, delegate);
    EXPECT_THAT(log.lines(), ElementsAre("Unable to add control " + refused->description()));
    EXPECT_THAT(refused->description(), HasSubstr("<Velmora.AVCaptureIndexPicker: 0x"));
    EXPECT_THAT(controls(), IsEmpty());
    EXPECT_EQ(controller->captureSession()->controlsDelegate(), delegate);
}

TEST_F(CaptureControls, ARefusedMenuIsStoredAndHearsLaterUpdates)
{
    phone.fail({ .step = Step::AddControl, .outcome = Outcome::Nothing });
    installMenu(noting());
    log.clear();
    controller->updateSelectedControlMenuIndex(-1);
    settle();
    EXPECT_THAT(log.lines(), ElementsAre("[AVCaptureIndexPicker] Index -1 is outside the 3 titles. Ignored."));
}

TEST_F(CaptureControls, WhatPeopleSelectIsToldOnTheSessionQueue)
{
    installMenu(noting());
    phone.selectControl(0, 2);
    settle();
    EXPECT_THAT(notes, ElementsAre("2 on org.velmora.Velmora.cameraSessionQueue"));
    EXPECT_EQ(menu()->selectedIndex(), 2);
}

TEST_F(CaptureControls, AnUpdateShowsTheIndexAndTellsNobody)
{
    installMenu(noting());
    controller->updateSelectedControlMenuIndex(2);
    EXPECT_EQ(menu()->selectedIndex(), 0) << "before the session queue ran";
    settle();
    EXPECT_EQ(menu()->selectedIndex(), 2);
    EXPECT_THAT(notes, IsEmpty());
}

TEST_F(CaptureControls, AnUpdateIsMadeOnTheSessionQueue)
{
    installMenu(noting());
    const auto observation = menu()->observe("selectedIndex", NSKeyValueObservingOptionNew,
        [this](const NSKeyValueChange&) { notes.push_back(DispatchQueue::currentLabel()); });
    controller->updateSelectedControlMenuIndex(2);
    settle();
    EXPECT_THAT(notes, ElementsAre("org.velmora.Velmora.cameraSessionQueue"));
}

TEST_F(CaptureControls, TheNumberOfOptionsItselfIsIgnored)
{
    installMenu(noting());
    controller->updateSelectedControlMenuIndex(1);
    controller->updateSelectedControlMenuIndex(3);
    settle();
    EXPECT_EQ(menu()->selectedIndex(), 1);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CaptureControls, ANegativeIndexPassesAndIsRefusedByTheMenuItself)
{
    installMenu(noting());
    controller->updateSelectedControlMenuIndex(-1);
    settle();
    EXPECT_EQ(menu()->selectedIndex(), 0);
    EXPECT_THAT(log.lines(), ElementsAre("[AVCaptureIndexPicker] Index -1 is outside the 3 titles. Ignored."));
}

TEST_F(CaptureControls, AnUpdateWithoutAMenuIsIgnored)
{
    controller->updateSelectedControlMenuIndex(0);
    settle();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CaptureControls, TheOtherCallbacksComeOnTheMainQueue)
{
    const auto delegate = noting();
    installMenu(delegate);
    phone.showControls(true, false);
    phone.showControls(true, true);
    phone.showControls(false, false);
    settle();
    const std::string main = DispatchQueue::main().label();
    EXPECT_THAT(notes, ElementsAre("active on " + main, "enter on " + main, "exit on " + main, "inactive on " + main));
}

TEST_F(CaptureControls, TheMenuHoldsItsDelegate)
{
    auto delegate = noting();
    const std::weak_ptr weak = delegate;
    installMenu(delegate);
    delegate.reset();
    EXPECT_FALSE(weak.expired());
    phone.selectControl(0, 1);
    settle();
    EXPECT_THAT(notes, SizeIs(1));
}

TEST_F(CaptureControls, AnotherControlsDelegateIsNotHeld)
{
    auto delegate = noting();
    const std::weak_ptr weak = delegate;
    controller->setCaptureControl(picker("own"), delegate);
    delegate.reset();
    EXPECT_TRUE(weak.expired());
    phone.showControls(true, false);
    settle();
    EXPECT_THAT(notes, IsEmpty());
}

TEST_F(CaptureControls, ADelegateWithoutTheIndexMethodHearsNothing)
{
    installMenu(make<SilentDelegate>());
    phone.selectControl(0, 1);
    settle();
    EXPECT_EQ(menu()->selectedIndex(), 1);
}

TEST_F(CaptureControls, AMenuWithoutADelegateIsAMenuAllTheSame)
{
    installMenu(nullptr);
    phone.selectControl(0, 1);
    settle();
    EXPECT_EQ(menu()->selectedIndex(), 1);
}

TEST_F(CaptureControls, NoControlIsRefusedLikeAnyOther)
{
    controller->setCaptureControl(nullptr, nullptr);
    EXPECT_THAT(log.lines(), ElementsAre("Unable to add control (null)"));
}

using CaptureControlsDeathTest = CaptureControls;

TEST_F(CaptureControlsDeathTest, ReconfiguringFromASelectionStopsTheProcessWithTheQueuesName)
{
    const auto delegate = make<QVHardwareButtons::CameraButtonDelegate>();
    delegate->controlSelectedMenuIndex = [this](std::int64_t) { controller->setDiscardLateVideoFrames(true); };
    installMenu(delegate);
    EXPECT_DEATH(
        {
            phone.selectControl(0, 1);
            settle();
        },
        "cameraSessionQueue");
}

TEST_F(CaptureControls, ACameraButtonDelegateWithoutFunctionsAcceptsEveryCallback)
{
    const auto delegate = make<QVHardwareButtons::CameraButtonDelegate>();
    EXPECT_FALSE(delegate->controlSelectedMenuIndex);
    EXPECT_FALSE(delegate->controlsBecameActive);
    EXPECT_FALSE(delegate->controlsBecameInactive);
    EXPECT_FALSE(delegate->controlsWillEnterFullscreen);
    EXPECT_FALSE(delegate->controlsWillExitFullscreen);
    installMenu(delegate);
    phone.selectControl(0, 1);
    phone.showControls(true, true);
    phone.showControls(false, false);
    settle();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CaptureControls, EveryOperationIsThereByItsSelector)
{
    const auto delegate = noting();
    controller->performSelector("setCaptureControlMenuWithLocalizedTitle:symbolName:localizedOptions:delegate:", "Lens",
        "camera", std::vector<std::string> { "a", "b" }, std::shared_ptr<QVCameraButtonControlsDelegate>(delegate));
    controller->performSelector("updateSelectedControlMenuIndex:", 1);
    settle();
    EXPECT_EQ(menu()->selectedIndex(), 1);
    delegate->performSelector("controlDidSelectCaptureMenuIndex:", 1);
    EXPECT_THAT(notes, SizeIs(1));
    controller->performSelector("setCaptureControl:delegate:", std::shared_ptr<AVCaptureControl>(picker("own")),
        std::shared_ptr<QVCameraButtonControlsDelegate>(delegate));
    EXPECT_EQ(menu()->localizedTitle(), "own");
}

}
