// SPDX-License-Identifier: Apache-2.0
// A finger drags a slider by 1,000 moves of the display's own touches, each with what it draws anew: labels are
// rasterised, the rest is composited. Read it beside `onlyTheSlider` of bench_screen.
#include "velmora/ui/QVSlider.h"

#include "platform/Foundation/ManualClock.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/Foundation/SteppedScheduler.h"
#include "platform/QuartzCore/CADisplay.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UIWindow.h"

#include "drivers/offscreen/OffscreenDisplay.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

namespace velmora {

namespace {

constexpr int moves = 1000;

/// Of 1080x2160 pixels, as the camera screen's.
struct Screen {
    ~Screen()
    {
        slider.reset();
        window.reset();
        ProcessState::reset();
        DisplayDriver::install(nullptr);
    }

    ManualClock clock;
    SteppedScheduler scheduler { clock };
    ScopedScheduler inForce { scheduler };
    std::shared_ptr<drivers::offscreen::OffscreenDisplay> display
        = drivers::offscreen::OffscreenDisplay::withSize({ 360, 720 }, 3);
    std::shared_ptr<UIWindow> window;
    std::shared_ptr<QVSlider> slider;
};

void drag(benchmark::State& state, bool withValue)
{
    Screen screen;
    DisplayDriver::install(screen.display);
    screen.window = make<UIWindow>();
    screen.window->makeKeyAndVisible();
    screen.slider = make<QVSlider>(CGRectMake(40, 600, 280, 44));
    screen.slider->setSliderOrientation(QVSliderOrientationHorizontal);
    screen.slider->setInvoked(true);
    if (withValue) {
        screen.slider->setValueDisplayStyle(QVSliderValueDisplayStyleWhileTouching);
        screen.slider->setValueFormatter([](float value) { return std::to_string(value); });
    }
    screen.window->addSubview(screen.slider);
    const auto display = UIScreen::mainScreen()->display();
    display->renderIfNeeded();
    CADisplayCounters before, after;
    for (auto _ : state) {
        state.PauseTiming();
        screen.slider->setCurrentValue(screen.slider->minimumValue());
        display->renderIfNeeded();
        before = display->counters();
        state.ResumeTiming();
        screen.display->touch(DisplayTouchPhase::Began, { 60, 622 });
        for (int i = 0; i < moves; ++i) {
            screen.display->touch(DisplayTouchPhase::Moved, { 60 + 240.0 * i / moves, 622 });
            screen.clock.advance(1.0 / 60);
            display->renderIfNeeded();
        }
        screen.display->touch(DisplayTouchPhase::Ended, { 300, 622 });
        screen.clock.advance(1);
        display->renderIfNeeded();
        after = display->counters();
    }
    const auto each = [&](std::uint64_t CADisplayCounters::*counter) {
        return static_cast<double>(after.*counter - before.*counter) / moves;
    };
    state.counters["frames_a_move"] = each(&CADisplayCounters::frames);
    state.counters["rasters_a_move"] = each(&CADisplayCounters::rasterCount);
    state.counters["pixels_a_move"] = each(&CADisplayCounters::compositedPixels);
    state.SetItemsProcessed(state.iterations() * moves);
}

void dragOfTheSlider(benchmark::State& state)
{
    drag(state, false);
}

void dragOfTheSliderWithItsValue(benchmark::State& state)
{
    drag(state, true);
}

BENCHMARK(dragOfTheSlider)->Unit(benchmark::kMillisecond);
BENCHMARK(dragOfTheSliderWithItsValue)->Unit(benchmark::kMillisecond);

}

}
