// SPDX-License-Identifier: Apache-2.0
// Frames of 1080x2160 pixels while a camera screen with a running preview gives way to a container with 60 photos, and
// comes back; what a dismissal needs to begin; and one step of a finger that pulls the container down. Counters first:
// rasterisations and composited pixels of each frame. Times are to be read in the two units that are measured here too.
#include "velmora/navigation/QVCameraReturnViewController.h"

#include "platform/CoreGraphics/CGImage.h"
#include "platform/Foundation/ManualClock.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/Foundation/SteppedScheduler.h"
#include "platform/QuartzCore/CADisplay.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UIScrollView.h"
#include "platform/UIKit/UIWindow.h"

#include "drivers/offscreen/OffscreenDisplay.h"

#include "benchmarks/frameUnits.h"

namespace {

constexpr double frameTime = 1.0 / 60; // seconds
constexpr int transitionFrames = 30;

class Photos : public UIViewController {
public:
    void viewDidLoad() override
    {
        setTitle("Photos");
        view()->setBackgroundColor(UIColor::whiteColor());
        scrollView = make<UIScrollView>(view()->bounds());
        scrollView->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
        scrollView->setContentSize({ width, 20 * 120 });
        view()->addSubview(scrollView);
        for (int i = 0; i < 60; ++i) {
            const auto photo
                = make<UIImageView>(CGRectMake(i % 3 * 120 + 1, static_cast<int>(i / 3) * 120 + 1, 118, 118));
            photo->setImage(
                make<UIImage>(CGImage::withPixels(
                                  354, 354, std::vector<std::uint8_t>(354 * 354 * 4, static_cast<std::uint8_t>(4 * i))),
                    scale));
            scrollView->addSubview(photo);
        }
    }
    std::shared_ptr<UIScrollView> scrollView;
};

struct Stage {
    Stage()
    {
        DisplayDriver::install(drivers::offscreen::OffscreenDisplay::withSize({ width, height }, scale));
        window = make<UIWindow>();
        window->setRootViewController(camera);
        window->makeKeyAndVisible();
        preview->setFrame(CGRectMake(0, 0, width, height));
        camera->view()->layer()->addSublayer(preview);
        run(1);
    }
    ~Stage()
    {
        window->setRootViewController(nullptr);
        window = nullptr;
        ProcessState::reset();
        DisplayDriver::install(nullptr);
    }
    void run(double seconds)
    {
        clock.advance(seconds);
        display().renderIfNeeded();
    }
    /// To the display's next frame, which it draws by itself.
    void tick() { clock.advance(frameTime); }
    /// With a new picture of the camera.
    void frame()
    {
        preview->next();
        tick();
    }
    static CADisplay& display() { return *UIScreen::mainScreen()->display(); }

    ManualClock clock;
    SteppedScheduler scheduler { clock };
    ScopedScheduler inForce { scheduler };
    std::shared_ptr<UIWindow> window;
    std::shared_ptr<UIViewController> camera = make<UIViewController>();
    std::shared_ptr<Camera> preview = make<Camera>(540, 1080, 0);
    std::shared_ptr<Photos> photos = make<Photos>();
    std::shared_ptr<QVCameraReturnViewController> container = make<QVCameraReturnViewController>(photos);
};

/// Counts what `step` costs the display in the mean; `begin` is not measured.
template <class Begin, class Step> void frames(benchmark::State& state, int each, Begin begin, Step step)
{
    std::uint64_t shown = 0, rasters = 0, pixels = 0;
    double count = 0;
    int at = each;
    for (auto _ : state) {
        if (at == each) {
            state.PauseTiming();
            begin();
            at = 0;
            state.ResumeTiming();
        }
        ++at;
        const auto before = Stage::display().counters();
        step();
        const auto after = Stage::display().counters();
        shown += after.frames - before.frames;
        rasters += after.rasterCount - before.rasterCount;
        pixels += after.compositedPixels - before.compositedPixels;
        ++count;
    }
    state.counters["frames"] = static_cast<double>(shown) / count;
    state.counters["rasters"] = static_cast<double>(rasters) / count;
    state.counters["pixels"] = static_cast<double>(pixels) / count;
}

void presenting(benchmark::State& state)
{
    Stage stage;
    frames(
        state, transitionFrames,
        [&] {
            stage.run(1);
            stage.camera->dismissViewControllerAnimated(false);
            stage.frame();
            stage.camera->presentViewController(stage.container, true);
            stage.frame();
        },
        [&] { stage.frame(); });
}
BENCHMARK(presenting)->Unit(benchmark::kMicrosecond);

void dismissing(benchmark::State& state)
{
    Stage stage;
    frames(
        state, transitionFrames,
        [&] {
            stage.run(1);
            stage.camera->presentViewController(stage.container, false);
            stage.frame();
            stage.container->dismiss();
            stage.frame();
        },
        [&] { stage.frame(); });
}
BENCHMARK(dismissing)->Unit(benchmark::kMicrosecond);

/// The picture of the container, and the first frame with it.
void beginningToDismiss(benchmark::State& state)
{
    Stage stage;
    frames(
        state, 1,
        [&] {
            stage.run(1);
            stage.camera->presentViewController(stage.container, false);
            stage.run(1);
        },
        [&] {
            stage.container->dismiss();
            stage.frame();
        });
}
BENCHMARK(beginningToDismiss)->Unit(benchmark::kMicrosecond);

/// One change of the offset, and the frame that shows it.
void pulling(benchmark::State& state)
{
    Stage stage;
    stage.camera->presentViewController(stage.container, false);
    stage.run(1);
    const auto& scrollView = stage.photos->scrollView;
    scrollView->setDragging(true);
    int step = 0;
    frames(
        state, 1 << 30, [] {},
        [&] {
            scrollView->setContentOffset({ 0, -44.0 - ++step % 70 });
            stage.tick();
        });
}
BENCHMARK(pulling)->Unit(benchmark::kMicrosecond);

/// The same without the bar: what the content alone costs when it moves.
void scrolling(benchmark::State& state)
{
    Stage stage;
    stage.camera->presentViewController(stage.container, false);
    stage.run(1);
    int step = 0;
    frames(
        state, 1 << 30, [] {},
        [&] {
            stage.photos->scrollView->setContentOffset({ 0, 100.0 + ++step % 70 });
            stage.tick();
        });
}
BENCHMARK(scrolling)->Unit(benchmark::kMicrosecond);

/// All that a change of the offset asks of the container, without a frame.
void pullWithoutAFrame(benchmark::State& state)
{
    Stage stage;
    stage.camera->presentViewController(stage.container, false);
    stage.run(1);
    stage.photos->scrollView->setDragging(true);
    int step = 0;
    for (auto _ : state)
        stage.photos->scrollView->setContentOffset({ 0, -44.0 - ++step % 70 });
}
BENCHMARK(pullWithoutAFrame)->Unit(benchmark::kMicrosecond);

void layoutOfThePulledBar(benchmark::State& state)
{
    Stage stage;
    stage.camera->presentViewController(stage.container, false);
    stage.run(1);
    stage.photos->scrollView->setDragging(true);
    int step = 0;
    for (auto _ : state) {
        stage.photos->scrollView->setContentOffset({ 0, -44.0 - ++step % 70 });
        stage.window->layoutIfNeeded();
    }
}
BENCHMARK(layoutOfThePulledBar)->Unit(benchmark::kMicrosecond);

}
