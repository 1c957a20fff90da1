// SPDX-License-Identifier: Apache-2.0
// Draws sliders in all their looks into slider.png.
#include "velmora/ui/QVSlider.h"

#include "platform/Foundation/ManualClock.h"
#include "platform/Foundation/SteppedScheduler.h"
#include "platform/QuartzCore/CADisplay.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UIWindow.h"

#include "drivers/offscreen/OffscreenDisplay.h"

#include <cmath>
#include <string>

using namespace velmora;

namespace {

std::shared_ptr<QVSlider> addSlider(UIView& view, CGRect frame, QVSliderOrientation orientation, bool invoked)
{
    const auto slider = make<QVSlider>(frame);
    slider->setSliderOrientation(orientation);
    slider->setInactiveColor(UIColor::colorWithWhite(0.6));
    slider->setValueFormatter([](float value) { return std::to_string(std::lround(value * 100)) + " %"; });
    slider->setValueDisplayStyle(QVSliderValueDisplayStyleWhenIdle | QVSliderValueDisplayStyleWhileTouching);
    slider->setInvoked(invoked);
    view.addSubview(slider);
    return slider;
}

}

int main()
{
    ManualClock clock;
    SteppedScheduler scheduler(clock);
    const ScopedScheduler inForce(scheduler);
    const auto display = drivers::offscreen::OffscreenDisplay::withSize({ 520, 400 }, 2);
    DisplayDriver::install(display);
    const auto window = make<UIWindow>();
    window->setBackgroundColor(UIColor::colorWithWhite(0.15));
    window->setTintColor(UIColor::yellowColor());
    window->makeKeyAndVisible();

    constexpr auto level = QVSliderOrientationHorizontal, upright = QVSliderOrientationVertical;
    addSlider(*window, CGRectMake(20, 40, 300, 44), level, false)->setCurrentValue(0.25F);
    addSlider(*window, CGRectMake(20, 110, 300, 44), level, true)->setCurrentValue(0.6F);
    const auto marked = addSlider(*window, CGRectMake(20, 180, 300, 44), level, true);
    marked->setPointPositions({ { 0, 0.25F, 0.5F, 1 } });
    marked->setPermittedValues({ { 0, 0.25, 0.5, 1 } });
    marked->setCurrentValue(0.25F);
    const auto images = addSlider(*window, CGRectMake(20, 250, 300, 44), level, true);
    images->setMinimumImage(UIImage::systemImageNamed("minus"));
    images->setMaximumImage(UIImage::systemImageNamed("plus"));
    const auto disabled = addSlider(*window, CGRectMake(20, 320, 300, 44), level, false);
    disabled->setEnabled(false);
    disabled->layoutIfNeeded();
    disabled->setCurrentValue(0.5F);
    addSlider(*window, CGRectMake(390, 40, 44, 320), upright, false)->setCurrentValue(0.25F);
    const auto touched = addSlider(*window, CGRectMake(460, 40, 44, 320), upright, true);
    touched->setCurrentValue(0.8F);

    clock.advance(1); // what is to be hidden is
    UIScreen::mainScreen()->display()->renderIfNeeded();
    const CGPoint knob { 482, 40 + 33 + 254 * 0.2 };
    display->touch(DisplayTouchPhase::Began, knob);
    clock.advance(1); // the value has popped out
    UIScreen::mainScreen()->display()->renderIfNeeded();
    display->writePNG("slider.png");
    display->touch(DisplayTouchPhase::Ended, knob);
    clock.advance(1);
}
