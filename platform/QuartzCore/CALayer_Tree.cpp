// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/CALayer.h"

#include "platform/Foundation/NSException.h"
#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/QueueState.h"
#include "platform/QuartzCore/CADisplay.h"
#include "platform/QuartzCore/LayerAnimations.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace velmora {

namespace {

/// One for all trees: layers move from one to another, and an owner may end on any thread.
std::mutex& treeMutex()
{
    static auto* mutex = new std::mutex;
    return *mutex;
}

}

std::shared_ptr<CALayer> CALayer::superlayer() const
{
    const std::lock_guard lock(treeMutex());
    return superlayer_.lock();
}

std::vector<std::shared_ptr<CALayer>> CALayer::sublayers() const
{
    const std::lock_guard lock(treeMutex());
    return sublayers_;
}

std::vector<std::shared_ptr<CALayer>> CALayer::sublayersFromBack() const
{
    auto layers = sublayers();
    const auto behind = [](const auto& a, const auto& b) { return a->zPosition() < b->zPosition(); };
    if (!std::is_sorted(layers.begin(), layers.end(), behind))
        std::stable_sort(layers.begin(), layers.end(), behind);
    return layers;
}

void CALayer::addSublayer(const std::shared_ptr<CALayer>& layer)
{
    insertSublayer(layer, UINT32_MAX);
}

void CALayer::insertSublayer(const std::shared_ptr<CALayer>& layer, std::uint32_t index)
{
    place(layer, [index](const auto&) { return index; });
}

void CALayer::insertSublayerBelow(const std::shared_ptr<CALayer>& layer, const std::shared_ptr<CALayer>& sibling)
{
    place(layer, [&](const auto& all) {
        const auto found = std::find(all.begin(), all.end(), sibling);
        return found == all.end() ? 0 : static_cast<std::size_t>(found - all.begin());
    });
}

void CALayer::insertSublayerAbove(const std::shared_ptr<CALayer>& layer, const std::shared_ptr<CALayer>& sibling)
{
    place(layer, [&](const auto& all) {
        const auto found = std::find(all.begin(), all.end(), sibling);
        return found == all.end() ? all.size() : static_cast<std::size_t>(found - all.begin()) + 1;
    });
}

void CALayer::place(const std::shared_ptr<CALayer>& layer, const Index& index)
{
    if (!layer)
        return;
    const std::shared_ptr<CALayer> self = sharedFromThis(*this);
    std::shared_ptr<CALayer> left; // may end, and must not do so inside the lock
    {
        const std::lock_guard lock(treeMutex());
        for (auto each = self; each; each = each->superlayer_.lock())
            if (each == layer)
                throw NSException(
                    NSInvalidArgumentException, "A layer cannot become a sublayer of itself or of a layer inside it");

        left = layer->leaveSuperlayer();
        const auto place = std::min(index(sublayers_), sublayers_.size());
        sublayers_.insert(sublayers_.begin() + static_cast<std::ptrdiff_t>(place), layer);
        layer->superlayer_ = self;
    }
    if (left && left != self)
        left->requestFrame();
    requestFrame();
}

void CALayer::removeFromSuperlayer()
{
    const auto self = weak_from_this().lock(); // the superlayer may hold the last reference
    std::shared_ptr<CALayer> left;
    {
        const std::lock_guard lock(treeMutex());
        left = leaveSuperlayer();
    }
    if (!left)
        return;
    left->requestFrame();
    if (isMainThread())
        endAnimationsBelow();
    else if (self)
        NSRunLoop::mainRunLoop().perform([layer = sharedFromThis(*this)] {
            if (!layer->superlayer())
                layer->endAnimationsBelow();
        });
}

void CALayer::endAnimationsBelow()
{
    removeAllAnimations();
    for (const auto& sublayer : sublayers())
        sublayer->endAnimationsBelow();
}

std::shared_ptr<CALayer> CALayer::leaveSuperlayer()
{
    auto superlayer = superlayer_.lock();
    if (superlayer)
        std::erase_if(superlayer->sublayers_, [this](const auto& each) { return each.get() == this; });
    superlayer_.reset();
    return superlayer;
}

void CALayer::setDisplay(const std::weak_ptr<CADisplay>& display)
{
    const std::lock_guard lock(treeMutex());
    display_ = display;
}

std::shared_ptr<CADisplay> CALayer::display() const
{
    const std::lock_guard lock(treeMutex());
    const CALayer* root = this;
    std::shared_ptr<CALayer> holder;
    while (auto superlayer = root->superlayer_.lock()) {
        holder = std::move(superlayer);
        root = holder.get();
    }
    return root->display_.lock();
}

void CALayer::setNeedsLayout()
{
    needsLayout_ = true;
    requestFrame();
}

void CALayer::layoutIfNeeded()
{
    constexpr int mostRounds = 16; // a layout that marks itself again and again must not hang the program
    for (int round = 0; needsLayout_ && round < mostRounds; ++round) {
        needsLayout_ = false;
        if (const auto delegate = this->delegate())
            delegate->layoutSublayersOfLayer(sharedFromThis(*this));
    }
    for (const auto& sublayer : sublayers())
        sublayer->layoutIfNeeded();
}

CGAffineTransform CALayer::toSuperlayer() const
{
    const CGRect bounds = values_.bounds;
    const CGAffineTransform toAnchor
        = CGAffineTransformMakeTranslation(-bounds.origin.x - values_.anchorPoint.x * bounds.size.width,
            -bounds.origin.y - values_.anchorPoint.y * bounds.size.height);
    auto result = CGAffineTransformConcat(toAnchor, affineTransform());
    result.tx += values_.position.x;
    result.ty += values_.position.y;
    return result;
}

namespace {

/// Through the nearest layer that holds both: what turns outside it leaves no rounding behind.
CGAffineTransform wayBetween(const CALayer& from, const CALayer* to)
{
    CGAffineTransform up = CGAffineTransformIdentity;
    for (const CALayer* layer = &from;; layer = layer->superlayer().get()) {
        CGAffineTransform down = CGAffineTransformIdentity;
        for (const CALayer* each = to; each; each = each->superlayer().get()) {
            if (each == layer)
                return CGAffineTransformConcat(up, CGAffineTransformInvert(down));
            down = CGAffineTransformConcat(down, each->toSuperlayer());
        }
        up = CGAffineTransformConcat(up, layer->toSuperlayer());
        if (!layer->superlayer()) // into the outermost of the other's, or of all where there is none
            return CGAffineTransformConcat(up, CGAffineTransformInvert(down));
    }
}

}

CGPoint CALayer::convertPoint(CGPoint point, const std::shared_ptr<CALayer>& other) const
{
    return CGPointApplyAffineTransform(point, wayBetween(*this, other.get()));
}

CGPoint CALayer::convertPointFromLayer(CGPoint point, const std::shared_ptr<CALayer>& other) const
{
    return CGPointApplyAffineTransform(point, CGAffineTransformInvert(wayBetween(*this, other.get())));
}

CGRect CALayer::convertRect(CGRect rect, const std::shared_ptr<CALayer>& other) const
{
    return CGRectApplyAffineTransform(rect, wayBetween(*this, other.get()));
}

bool CALayer::containsPoint(CGPoint point) const
{
    return CGRectContainsPoint(values_.bounds, point);
}

std::shared_ptr<CALayer> CALayer::hitTest(CGPoint point)
{
    if (hidden_ || values_.opacity <= 0 || determinant(affineTransform()) == 0)
        return nullptr;
    const CGPoint inside = CGPointApplyAffineTransform(point, CGAffineTransformInvert(toSuperlayer()));
    const bool contained = containsPoint(inside);
    if (masksToBounds_ && !contained)
        return nullptr;
    const auto layers = sublayersFromBack();
    for (auto sublayer = layers.rbegin(); sublayer != layers.rend(); ++sublayer)
        if (auto hit = (*sublayer)->hitTest(inside))
            return hit;
    return contained ? sharedFromThis(*this) : nullptr;
}

}
