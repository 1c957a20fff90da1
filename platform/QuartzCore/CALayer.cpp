// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/CALayer.h"

#include "platform/Foundation/NSException.h"

#include <algorithm>
#include <mutex>

namespace velmora {

namespace {

/// One for all trees: layers move from one to another, and an owner may end on any thread.
std::mutex& treeMutex()
{
    static auto* mutex = new std::mutex;
    return *mutex;
}

}

CALayer::~CALayer() = default;

const ClassInfo& CALayer::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&CALayer::bounds>("bounds"), method<&CALayer::setBounds>("setBounds:"),
            method<&CALayer::position>("position"), method<&CALayer::setPosition>("setPosition:"),
            method<&CALayer::frame>("frame"), method<&CALayer::setFrame>("setFrame:"),
            method<&CALayer::superlayer>("superlayer"), method<&CALayer::sublayers>("sublayers"),
            method<&CALayer::addSublayer>("addSublayer:"), method<&CALayer::insertSublayer>("insertSublayer:atIndex:"),
            method<&CALayer::removeFromSuperlayer>("removeFromSuperlayer"),
            method<&CALayer::convertPoint>("convertPoint:toLayer:"));
    static constexpr auto classMethods = methodTable(initialiser<CALayer>("init"), initialiser<CALayer>("layer"));
    static const ClassInfo info { "Velmora.CALayer", &NSObject::staticClass(), methods, classMethods };
    return info;
}

CGRect CALayer::frame() const
{
    const CGSize size = bounds_.size;
    return { { position_.x - size.width / 2, position_.y - size.height / 2 }, size };
}

void CALayer::setFrame(CGRect frame)
{
    bounds_.size = frame.size;
    position_ = { frame.origin.x + frame.size.width / 2, frame.origin.y + frame.size.height / 2 };
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

void CALayer::addSublayer(const std::shared_ptr<CALayer>& layer)
{
    insertSublayer(layer, UINT32_MAX);
}

void CALayer::insertSublayer(const std::shared_ptr<CALayer>& layer, std::uint32_t index)
{
    if (!layer)
        return;
    const std::shared_ptr<CALayer> self = sharedFromThis(*this);
    std::shared_ptr<CALayer> left; // may end, and must not do so inside the lock
    const std::lock_guard lock(treeMutex());
    for (auto each = self; each; each = each->superlayer_.lock())
        if (each == layer)
            throw NSException(
                NSInvalidArgumentException, "A layer cannot become a sublayer of itself or of a layer inside it");

    left = layer->leaveSuperlayer();
    const auto place = std::min<std::size_t>(index, sublayers_.size());
    sublayers_.insert(sublayers_.begin() + static_cast<std::ptrdiff_t>(place), layer);
    layer->superlayer_ = self;
}

void CALayer::removeFromSuperlayer()
{
    const auto self = weak_from_this().lock(); // the superlayer may hold the last reference
    std::shared_ptr<CALayer> left;
    const std::lock_guard lock(treeMutex());
    left = leaveSuperlayer();
}

std::shared_ptr<CALayer> CALayer::leaveSuperlayer()
{
    auto superlayer = superlayer_.lock();
    if (superlayer)
        std::erase_if(superlayer->sublayers_, [this](const auto& each) { return each.get() == this; });
    superlayer_.reset();
    return superlayer;
}

CGPoint CALayer::toRoot(CGPoint point) const
{
    const CGRect place = frame();
    point = { point.x - bounds_.origin.x + place.origin.x, point.y - bounds_.origin.y + place.origin.y };
    const auto outer = superlayer();
    return outer ? outer->toRoot(point) : point;
}

CGPoint CALayer::convertPoint(CGPoint point, const std::shared_ptr<CALayer>& other) const
{
    const CGPoint inRoot = toRoot(point);
    if (!other)
        return inRoot;
    const CGPoint origin = other->toRoot({ 0, 0 });
    return { inRoot.x - origin.x, inRoot.y - origin.y };
}

}
