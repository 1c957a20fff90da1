// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureIndexPicker.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/CaptureControlsDriver.h"
#include "platform/Foundation/NSException.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/PhoneTest.h"

#include <gmock/gmock.h>

namespace velmora::tests {

using namespace drivers::phone;
using testing::ElementsAre;
using testing::IsEmpty;

class SessionControls : public PhoneTest {
protected:
    static std::shared_ptr<AVCaptureIndexPicker> picker()
    {
        return make<AVCaptureIndexPicker>(
            std::string("Lens"), std::string("camera"), std::vector<std::string> { "one", "two", "three" });
    }

    CapturedLog log;
    std::shared_ptr<AVCaptureSession> session = make<AVCaptureSession>();
};

TEST_F(SessionControls, AreSupportedWhereThereIsACameraButton)
{
    EXPECT_TRUE(session->supportsControls());
    phone.change([](PhoneDescription& description) { description.controls = false; });
    EXPECT_FALSE(session->supportsControls());
    EXPECT_FALSE(session->canAddControl(picker()));
}

TEST_F(SessionControls, WithoutADriverThereAreNone)
{
    const auto before = CaptureControlsDriver::installed();
    CaptureControlsDriver::install(nullptr);
    EXPECT_FALSE(session->supportsControls());
    EXPECT_FALSE(session->canAddControl(picker()));
    session->addControl(picker());
    EXPECT_THAT(session->controls(), IsEmpty());
    CaptureControlsDriver::install(before);
}

TEST_F(SessionControls, AControlIsAddedOnceAndRemoved)
{
    const auto one = picker();
    const auto two = picker();
    session->addControl(one);
    EXPECT_FALSE(session->canAddControl(one));
    session->addControl(one);
    session->addControl(two);
    EXPECT_THAT(session->controls(), ElementsAre(one, two));
    session->removeControl(one);
    EXPECT_THAT(session->controls(), ElementsAre(two));
    session->removeControl(one);
    EXPECT_THAT(session->controls(), ElementsAre(two));
}

TEST_F(SessionControls, ASelectionCallsTheActionOnItsQueueAlsoForTheSameIndex)
{
    std::vector<std::string> notes;
    const auto menu = picker();
    const DispatchQueue queue("tests.menu");
    menu->setActionQueue(queue,
        [&](std::int64_t index) { notes.push_back(std::to_string(index) + " on " + DispatchQueue::currentLabel()); });
    session->addControl(menu);
    phone.selectControl(0, 1);
    phone.selectControl(0, 1);
    EXPECT_THAT(notes, IsEmpty());
    clock.advance(0);
    EXPECT_THAT(notes, ElementsAre("1 on tests.menu", "1 on tests.menu"));
}

TEST_F(SessionControls, SettingTheIndexInCodeIsObservableAndCallsNobody)
{
    std::vector<std::int64_t> seen;
    int calls = 0;
    const auto menu = picker();
    menu->setActionQueue(DispatchQueue::main(), [&](std::int64_t) { ++calls; });
    const auto observation = observe(*menu, Property { "selectedIndex", &AVCaptureIndexPicker::selectedIndex },
        NSKeyValueObservingOptionNew, [&](std::int64_t index) { seen.push_back(index); });
    menu->setSelectedIndex(2);
    clock.advance(0);
    EXPECT_THAT(seen, ElementsAre(2));
    EXPECT_EQ(calls, 0);
}

TEST_F(SessionControls, AnIndexOutsideTheTitlesIsLoggedAndIgnored)
{
    const auto menu = picker();
    menu->setSelectedIndex(1);
    menu->setSelectedIndex(3);
    menu->setSelectedIndex(-1);
    EXPECT_EQ(menu->selectedIndex(), 1);
    EXPECT_THAT(log.lines(),
        ElementsAre("[AVCaptureIndexPicker] Index 3 is outside the 3 titles. Ignored.",
            "[AVCaptureIndexPicker] Index -1 is outside the 3 titles. Ignored."));
}

TEST_F(SessionControls, ADisabledMenuCannotBeOperated)
{
    int calls = 0;
    const auto menu = picker();
    menu->setActionQueue(DispatchQueue::main(), [&](std::int64_t) { ++calls; });
    session->addControl(menu);
    menu->setEnabled(false);
    phone.selectControl(0, 1);
    clock.advance(0);
    EXPECT_EQ(menu->selectedIndex(), 0);
    EXPECT_EQ(calls, 0);
    menu->setSelectedIndex(2); // code still may
    EXPECT_EQ(menu->selectedIndex(), 2);
}

TEST_F(SessionControls, AskingThePhoneForAControlThatIsNotThereIsAnError)
{
    EXPECT_THROW(phone.selectControl(0, 1), NSException);
    session->addControl(picker());
    EXPECT_THROW(phone.selectControl(1, 0), NSException);
}

}
