// SPDX-License-Identifier: Apache-2.0
// Frames of a camera screen of 1080x2160 pixels. Counters first: conversions, rasterisations and composited pixels of
// each frame. Then times, to be read in two units that are measured here too.
#include "platform/CoreGraphics/CGContext.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/CoreGraphics/CGTextLayout.h"
#include "platform/Foundation/ManualClock.h"
#include "platform/Foundation/SteppedScheduler.h"
#include "platform/QuartzCore/CADisplay.h"
#include "platform/QuartzCore/CAShapeLayer.h"
#include "platform/QuartzCore/CATransaction.h"

#include "drivers/offscreen/OffscreenDisplay.h"

#include <vector>

#include "benchmarks/frameUnits.h"

namespace {

using namespace velmora;

struct Text : CALayerDelegate {
    bool drawsLayer(const std::shared_ptr<CALayer>&) override { return true; }
    void drawLayer(const std::shared_ptr<CALayer>&, CGContext& context) override
    {
        context.setFillColor({ 1, 1, 1, 1 });
        CGTextLayout("ISO 400  1/125").draw(context, { 0, 0 });
    }
};

/// Preview, marks, shutter button, slider, label and thumbnail, as the camera screen has them.
struct Screen {
    explicit Screen(int cameraWidth = 540, int cameraHeight = 1080, int degrees = 0)
        : camera(make<Camera>(cameraWidth, cameraHeight, degrees))
    {
        CATransaction::begin();
        CATransaction::setDisableActions(true);
        add(camera, CGRectMake(0, 0, width, height));
        add(marks, CGRectMake(0, 0, width, height));
        CGPath lines = CGPath::withRect(CGRectMake(10, 190, 340, 340));
        lines.moveToPoint({ 150, 360 });
        lines.addLineToPoint({ 210, 360 });
        marks->setPath(lines);
        marks->setFillColor(std::nullopt);
        marks->setStrokeColor(CGColor { 1, 1, 1, 1 });

        add(ring, CGRectMake(144, 620, 72, 72));
        ring->setPath(CGPath::withEllipseInRect(CGRectMake(0, 0, 72, 72)));
        ring->setFillColor(std::nullopt);
        ring->setStrokeColor(CGColor { 1, 1, 1, 1 });
        ring->setLineWidth(2);
        add(disc, CGRectMake(148, 624, 64, 64));
        disc->setCornerRadius(32);
        disc->setBackgroundColor(CGColor { 1, 1, 1, 1 });

        add(slider, CGRectMake(310, 200, 40, 300));
        slider->setBackgroundColor(CGColor { 0, 0, 0, 0.3 });
        slider->setCornerRadius(20);
        slider->addSublayer(knob);
        knob->setFrame(CGRectMake(4, 100, 32, 32));
        knob->setCornerRadius(16);
        knob->setBackgroundColor(CGColor { 1, 0.8, 0, 1 });

        add(label, CGRectMake(100, 40, 160, 24));
        label->setDelegate(text);
        label->setNeedsDisplay();
        add(thumbnail, CGRectMake(20, 630, 56, 56));
        thumbnail->setCornerRadius(4);
        thumbnail->setMasksToBounds(true);
        thumbnail->setContents(CGImage::withPixels(168, 168, std::vector<std::uint8_t>(168 * 168 * 4, 200)));
        CATransaction::commit();
        display->renderIfNeeded();
    }
    void add(const std::shared_ptr<CALayer>& layer, CGRect frame)
    {
        layer->setFrame(frame);
        display->rootLayer()->addSublayer(layer);
    }
    void moveAll(int step)
    {
        for (const std::shared_ptr<CALayer>& each :
            { std::shared_ptr<CALayer>(marks), std::shared_ptr<CALayer>(ring), disc, slider, label, thumbnail }) {
            const CGPoint at = each->position();
            each->setPosition({ at.x, at.y + (step % 2 == 0 ? 3 : -3) });
        }
    }

    ManualClock clock;
    SteppedScheduler scheduler { clock };
    ScopedScheduler inForce { scheduler };
    std::shared_ptr<CADisplay> display
        = make<CADisplay>(drivers::offscreen::OffscreenDisplay::withSize({ width, height }, scale));
    std::shared_ptr<Camera> camera;
    std::shared_ptr<CAShapeLayer> marks = CAShapeLayer::layer(), ring = CAShapeLayer::layer();
    std::shared_ptr<CALayer> disc = CALayer::layer(), slider = CALayer::layer(), knob = CALayer::layer(),
                             label = CALayer::layer(), thumbnail = CALayer::layer();
    std::shared_ptr<Text> text = std::make_shared<Text>();
};

/// Renders a frame for each iteration, and reports what each of them cost in counts.
template <class Change> void frames(benchmark::State& state, Screen& screen, Change change)
{
    CATransaction::begin();
    CATransaction::setDisableActions(true);
    change(0);
    screen.display->renderIfNeeded();
    const auto before = screen.display->counters();
    int step = 0;
    for (auto _ : state) {
        change(++step);
        screen.display->renderIfNeeded();
    }
    CATransaction::commit();
    const auto after = screen.display->counters();
    const auto each = [&](std::uint64_t CADisplayCounters::*counter) {
        return benchmark::Counter(static_cast<double>(after.*counter - before.*counter) / step);
    };
    state.counters["frames"] = each(&CADisplayCounters::frames);
    state.counters["rasters"] = each(&CADisplayCounters::rasterCount);
    state.counters["conversions"] = each(&CADisplayCounters::previewConversions);
    state.counters["pixels"] = each(&CADisplayCounters::compositedPixels);
    state.counters["shown"] = each(&CADisplayCounters::presentedPixels);
}

void everythingMoves(benchmark::State& state)
{
    Screen screen;
    frames(state, screen, [&](int step) {
        screen.camera->next();
        screen.moveAll(step);
    });
}
BENCHMARK(everythingMoves)->Unit(benchmark::kMicrosecond);

void previewOnly(benchmark::State& state)
{
    Screen screen;
    frames(state, screen, [&](int) { screen.camera->next(); });
}
BENCHMARK(previewOnly)->Unit(benchmark::kMicrosecond);

/// As phones mount their sensors: every frame is turned by a quarter.
void previewOnlyTurned(benchmark::State& state)
{
    Screen screen(1920, 1080, 90);
    frames(state, screen, [&](int) { screen.camera->next(); });
}
BENCHMARK(previewOnlyTurned)->Unit(benchmark::kMicrosecond);

void interfaceMoves(benchmark::State& state)
{
    Screen screen;
    frames(state, screen, [&](int step) { screen.moveAll(step); });
}
BENCHMARK(interfaceMoves)->Unit(benchmark::kMicrosecond);

void onlyTheSlider(benchmark::State& state)
{
    Screen screen;
    frames(state, screen, [&](int step) { screen.knob->setPosition({ 20, 100.0 + step % 50 }); });
}
BENCHMARK(onlyTheSlider)->Unit(benchmark::kMicrosecond);

void closedShutter(benchmark::State& state)
{
    Screen screen;
    const auto shutter = CALayer::layer();
    shutter->setFrame(CGRectMake(0, 0, width, height));
    shutter->setBackgroundColor(CGColor { 0, 0, 0, 1 });
    screen.display->rootLayer()->insertSublayerAbove(shutter, screen.camera);
    frames(state, screen, [&](int step) {
        screen.camera->next();
        screen.moveAll(step);
    });
}
BENCHMARK(closedShutter)->Unit(benchmark::kMicrosecond);

void nothingMoves(benchmark::State& state)
{
    Screen screen;
    frames(state, screen, [](int) {});
}
BENCHMARK(nothingMoves)->Unit(benchmark::kMicrosecond);

}
