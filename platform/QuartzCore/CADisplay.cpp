// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/CADisplay.h"

#include "platform/CoreGraphics/CGImage.h"
#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/QueueState.h"
#include "platform/Foundation/Scheduler.h"
#include "platform/QuartzCore/CALayer.h"
#include "platform/QuartzCore/CATransaction.h"
#include "platform/QuartzCore/Compositor.h"
#include "platform/QuartzCore/LayerContent.h"

#include <cmath>
#include <utility>
#include <vector>

namespace velmora {

namespace {

constexpr double ticksPerSecond = 60;

double now()
{
    return Scheduler::current().clock().now();
}

void displayBelow(CALayer& layer)
{
    layer.displayIfNeeded();
    if (const auto& mask = layer.mask())
        displayBelow(*mask);
    for (const auto& sublayer : layer.sublayers())
        displayBelow(*sublayer);
}

/// Layout and drawing; what they mark in their turn waits for the next frame.
void bringUpToDate(CALayer& layer, CADisplayCounters& counters)
{
    const std::uint64_t before = LayerContent::rasterCount();
    layer.layoutIfNeeded();
    displayBelow(layer);
    counters.rasterCount += LayerContent::rasterCount() - before;
}

}

CADisplay::CADisplay(std::shared_ptr<DisplayDriver> driver)
    : driver_(std::move(driver))
    , root_(CALayer::layer())
    , compositor_(std::make_unique<Compositor>(counters_))
{
}

CADisplay::~CADisplay()
{
    driver_->setEvents({});
}

void CADisplay::didConstruct()
{
    NSObject::didConstruct();
    const DisplayMode mode = driver_->mode();
    root_->setBackgroundColor(CGColor { 0, 0, 0, 1 });
    root_->setFrame(CGRectMake(0, 0, mode.width / mode.scale, mode.height / mode.scale));
    root_->setDisplay(weakFromThis(*this));

    DisplayEvents events;
    const auto weak = weakFromThis(*this);
    events.touch = [weak](const DisplayTouch& touch) {
        if (const auto self = weak.lock(); self && self->handlers_.touch)
            self->handlers_.touch(touch);
    };
    events.key = [weak](const DisplayKey& key) {
        if (const auto self = weak.lock(); self && self->handlers_.key)
            self->handlers_.key(key);
    };
    events.modeChanged = [weak](const DisplayMode& changed) {
        if (const auto self = weak.lock())
            self->modeChanged(changed);
    };
    events.exposed = [weak] {
        if (const auto self = weak.lock()) {
            self->everything_ = true;
            self->setNeedsFrame();
        }
    };
    events.closed = [weak] {
        if (const auto self = weak.lock(); self && self->handlers_.closed)
            self->handlers_.closed();
    };
    driver_->setEvents(std::move(events));
    setNeedsFrame();
}

const ClassInfo& CADisplay::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&CADisplay::bounds>("bounds"), method<&CADisplay::scale>("scale"));
    static const ClassInfo info { "Velmora.CADisplay", &NSObject::staticClass(), methods };
    return info;
}

CGRect CADisplay::bounds() const
{
    const DisplayMode mode = driver_->mode();
    return CGRectMake(0, 0, mode.width / mode.scale, mode.height / mode.scale);
}

double CADisplay::scale() const
{
    return driver_->mode().scale;
}

void CADisplay::setEventHandlers(DisplayEvents handlers)
{
    handlers_ = std::move(handlers);
}

void CADisplay::modeChanged(const DisplayMode& mode)
{
    CATransaction::begin();
    CATransaction::setDisableActions(true);
    root_->setFrame(CGRectMake(0, 0, mode.width / mode.scale, mode.height / mode.scale));
    CATransaction::commit();
    everything_ = true;
    setNeedsFrame();
    if (handlers_.modeChanged)
        handlers_.modeChanged(mode);
}

void CADisplay::setNeedsFrame()
{
    if (!isMainThread()) {
        NSRunLoop::mainRunLoop().perform([weak = weakFromThis(*this)] {
            if (const auto self = weak.lock())
                self->setNeedsFrame();
        });
        return;
    }
    needsFrame_ = true;
    scheduleTick();
}

void CADisplay::frameArrived()
{
    setNeedsFrame();
}

/// At the next point of a grid that stands still: a late tick is skipped, never made up for.
void CADisplay::scheduleTick()
{
    if (std::exchange(tickScheduled_, true))
        return;
    const double moment = now();
    double next = std::ceil(moment * ticksPerSecond - 1e-6) / ticksPerSecond;
    if (next <= lastTick_ + 0.5 / ticksPerSecond)
        next += 1 / ticksPerSecond;
    NSRunLoop::mainRunLoop().performAfter(next - moment, [weak = weakFromThis(*this)] {
        if (const auto self = weak.lock())
            self->tick();
    });
}

void CADisplay::tick()
{
    tickScheduled_ = false;
    lastTick_ = now();
    ++counters_.ticks;
    if (needsFrame_)
        render(false);
}

bool CADisplay::renderIfNeeded()
{
    return render(false);
}

void CADisplay::renderAll()
{
    render(true);
}

bool CADisplay::render(bool everything)
{
    needsFrame_ = false;
    bringUpToDate(*root_, counters_);

    const DisplayPixels pixels = driver_->beginFrame();
    const DisplayMode mode = pixels.mode;
    const bool all = everything || std::exchange(everything_, false) || !pixels.holdsLastFrame;
    const DisplayRect bounds { 0, 0, mode.width, mode.height };
    const Region damage
        = compositor_->damage(root_, CGAffineTransformMakeScale(mode.scale, mode.scale), bounds, mode.scale, all, true);
    if (compositor_->isMoving()) {
        needsFrame_ = true;
        scheduleTick();
    }
    if (!pixels.data || damage.isEmpty())
        return false;

    compositor_->draw(damage, pixels.data, pixels.stride, bounds);
    const auto rects = damage.rects();
    driver_->present(rects);
    ++counters_.frames;
    counters_.presentedPixels += damage.area();
    return true;
}

CADisplayCounters CADisplay::counters() const
{
    return counters_;
}

std::shared_ptr<const CGImage> CALayer::image(double scale, bool update)
{
    CADisplayCounters counters;
    if (update)
        bringUpToDate(*this, counters);
    const CGRect bounds = shown()->bounds();
    const int width = std::max(1, static_cast<int>(std::lround(bounds.size.width * scale)));
    const int height = std::max(1, static_cast<int>(std::lround(bounds.size.height * scale)));
    const DisplayRect target { 0, 0, width, height };
    std::vector<std::uint8_t> pixels(4 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    // The layer's own coordinates become the picture's: its place in the superlayer is taken back.
    auto toTarget = CGAffineTransformInvert(shown()->toSuperlayer());
    toTarget = CGAffineTransformConcat(toTarget, CGAffineTransformMakeTranslation(-bounds.origin.x, -bounds.origin.y));
    toTarget = CGAffineTransformConcat(toTarget, CGAffineTransformMakeScale(scale, scale));
    Compositor compositor(counters);
    const Region all = compositor.damage(sharedFromThis(*this), toTarget, target, scale, true, false);
    compositor.draw(all, pixels.data(), 4 * static_cast<std::size_t>(width), target);
    return CGImage::withPixels(width, height, std::move(pixels));
}

}
