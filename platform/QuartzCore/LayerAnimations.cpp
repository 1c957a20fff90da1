// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/LayerAnimations.h"

#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/Scheduler.h"
#include "platform/QuartzCore/CALayer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

namespace velmora {

namespace {

double now()
{
    return Scheduler::current().clock().now();
}

std::uint64_t nextToken()
{
    static std::uint64_t last = 0;
    return ++last;
}

/// A key path of a layer in two: the property, and the part of it that is meant.
std::pair<std::string_view, std::string_view> split(std::string_view path)
{
    const auto dot = path.find('.');
    if (dot == std::string_view::npos)
        return { path, {} };
    return { path.substr(0, dot), path.substr(dot + 1) };
}

// Each part of a compound value: whether it has one of that name, read and, with a number, written.

double* partOf(CGPoint& value, std::string_view part)
{
    return part == "x" ? &value.x : part == "y" ? &value.y : nullptr;
}

double* partOf(CGSize& value, std::string_view part)
{
    return part == "width" ? &value.width : part == "height" ? &value.height : nullptr;
}

double* partOf(CGRect& value, std::string_view part)
{
    const auto [member, of] = split(part);
    return member == "origin" ? partOf(value.origin, of) : member == "size" ? partOf(value.size, of) : nullptr;
}

struct Axes {
    double scaleX, scaleY, angle;
};

Axes axesOf(const CATransform3D& t)
{
    return { std::hypot(t.m11, t.m12), std::hypot(t.m21, t.m22), std::atan2(t.m12, t.m11) };
}

void scaleAxis(double& x, double& y, double length, double wanted, bool first)
{
    if (length > 0) {
        x *= wanted / length;
        y *= wanted / length;
        return;
    }
    (first ? x : y) = wanted; // nothing is left that had a direction
}

CAValue readTransform(const CATransform3D& t, std::string_view part)
{
    const Axes axes = axesOf(t);
    if (part == "scale" || part == "scale.x")
        return axes.scaleX;
    if (part == "scale.y")
        return axes.scaleY;
    if (part == "rotation" || part == "rotation.z")
        return axes.angle;
    if (part == "translation")
        return CGSize { t.m41, t.m42 };
    if (part == "translation.x")
        return t.m41;
    if (part == "translation.y")
        return t.m42;
    return {};
}

void turn(CATransform3D& t, double angle)
{
    const auto flat = CATransform3DGetAffineTransform(t);
    auto turned = CGAffineTransformConcat(flat, CGAffineTransformMakeRotation(angle - axesOf(t).angle));
    turned.tx = flat.tx;
    turned.ty = flat.ty;
    t = CATransform3DMakeAffineTransform(turned);
}

void writeTransform(CATransform3D& t, std::string_view part, const CAValue& value)
{
    if (const auto* shift = std::get_if<CGSize>(&value); shift && part == "translation") {
        t.m41 = shift->width;
        t.m42 = shift->height;
    }
    const auto* number = std::get_if<double>(&value);
    if (!number)
        return;
    const Axes axes = axesOf(t);
    if (part == "scale" || part == "scale.x")
        scaleAxis(t.m11, t.m12, axes.scaleX, *number, true);
    if (part == "scale" || part == "scale.y")
        scaleAxis(t.m21, t.m22, axes.scaleY, *number, false);
    if (part == "rotation" || part == "rotation.z")
        turn(t, *number);
    if (part == "translation.x")
        t.m41 = *number;
    if (part == "translation.y")
        t.m42 = *number;
}

CAValue readPart(CAValue value, std::string_view part)
{
    if (part.empty())
        return value;
    return std::visit(
        [&](auto& whole) -> CAValue {
            using Kind = std::remove_cvref_t<decltype(whole)>;
            if constexpr (std::is_same_v<Kind, CATransform3D>)
                return readTransform(whole, part);
            if constexpr (std::is_same_v<Kind, CGRect>)
                if (part == "origin" || part == "size")
                    return part == "size" ? CAValue(whole.size) : CAValue(whole.origin);
            if constexpr (requires { partOf(whole, part); })
                if (const double* number = partOf(whole, part))
                    return *number;
            return {};
        },
        value);
}

CAValue withPart(CAValue value, std::string_view part, const CAValue& given)
{
    if (part.empty())
        return given;
    std::visit(
        [&](auto& whole) {
            using Kind = std::remove_cvref_t<decltype(whole)>;
            if constexpr (std::is_same_v<Kind, CATransform3D>)
                writeTransform(whole, part, given);
            if constexpr (std::is_same_v<Kind, CGRect>) {
                if (const auto* size = std::get_if<CGSize>(&given); size && part == "size")
                    whole.size = *size;
                if (const auto* origin = std::get_if<CGPoint>(&given); origin && part == "origin")
                    whole.origin = *origin;
            }
            if constexpr (requires { partOf(whole, part); })
                if (double* number = partOf(whole, part); number && std::holds_alternative<double>(given))
                    *number = std::get<double>(given);
        },
        value);
    return value;
}

}

void AnimationBatch::ended(bool finished)
{
    --running_;
    finished_ = finished_ && finished;
    // A block that runs its full time completes by its timer, in the order of ending.
    if (closed_ && running_ == 0 && (!timed_ || !finished_))
        completeSoon();
}

void AnimationBatch::close()
{
    closed_ = true;
    if (running_ == 0)
        completeSoon();
}

void AnimationBatch::closeWithDuration(double seconds)
{
    closed_ = timed_ = true;
    if (std::isinf(seconds))
        return;
    NSRunLoop::mainRunLoop().performAfter(std::max(0.0, seconds), [self = shared_from_this()] {
        if (self->completed_)
            return;
        self->closed_ = false; // the last of them must not complete it too
        for (const auto& [weak, token] : std::exchange(self->members_, {}))
            if (const auto layer = weak.lock(); layer && layer->animations_)
                layer->animations_->end(token, true);
        self->complete();
    });
}

void AnimationBatch::complete()
{
    if (std::exchange(completed_, true))
        return;
    if (const auto completion = std::exchange(completion_, nullptr))
        completion(finished_);
}

void AnimationBatch::completeSoon()
{
    if (completion_ && !completed_)
        NSRunLoop::mainRunLoop().perform([self = shared_from_this()] { self->complete(); });
}

BlockAnimation::BlockAnimation(std::string keyPath, const CABlockAnimation& block)
    : CABasicAnimation(std::move(keyPath))
    , curve_(block.curve)
    , fromCurrent_(block.beginFromCurrentState)
{
    setDuration(std::max(0.0, block.duration));
    setDelay(std::max(0.0, block.delay));
    setRepeatCount(block.repeatCount);
    setAutoreverses(block.autoreverses);
    setFillMode(kCAFillModeBackwards);
    if (const auto* spring = std::get_if<CASpringCurve>(&curve_))
        spring_ = CASpringMotion::settlingAfter(duration(), spring->dampingRatio, spring->initialVelocity);
    if (std::holds_alternative<CACriticalCurve>(curve_))
        spring_ = CASpringMotion::settlingAfter(duration(), 1, 0);
}

std::shared_ptr<CAAnimation> BlockAnimation::copy() const
{
    return make<BlockAnimation>(*this);
}

double BlockAnimation::curveAt(double seconds) const
{
    if (duration() <= 0 || seconds >= duration())
        return 1;
    if (const auto* timing = std::get_if<CAMediaTimingFunction>(&curve_))
        return timing->valueAt(seconds / duration());
    return spring_.valueAt(seconds);
}

LayerAnimations::LayerAnimations(CALayer& layer)
    : layer_(layer)
{
}

LayerAnimations::~LayerAnimations()
{
    for (auto& running : std::exchange(running_, {}))
        if (running.batch && !running.stopped)
            running.batch->ended(false);
}

/// A second change of one property within one block goes from where the first one began, and interrupts nothing.
bool LayerAnimations::goesOnWith(const std::shared_ptr<CAAnimation>& animation, const std::string& key)
{
    const auto block = std::dynamic_pointer_cast<BlockAnimation>(animation);
    const auto batch = TransactionState::batch();
    const auto found = std::find_if(running_.begin(), running_.end(),
        [&](const Running& running) { return running.key == key && running.batch == batch && !running.stopped; });
    if (!block || !batch || found == running_.end())
        return false;
    const auto earlier = std::dynamic_pointer_cast<BlockAnimation>(found->animation);
    if (!earlier)
        return false;
    block->setFromValue(earlier->fromValue());
    found->animation = block;
    return true;
}

void LayerAnimations::add(const std::shared_ptr<CAAnimation>& animation, const std::string& key)
{
    if (goesOnWith(animation, key))
        return;
    if (!key.empty())
        remove(key);
    const std::uint64_t token = nextToken();
    const auto batch = TransactionState::batch();
    running_.push_back({ token, key, animation, now(), batch });
    const auto weak = weakFromThis(layer_);
    if (batch) {
        batch->added();
        batch->members_.emplace_back(weak, token);
    }
    if (animation->delegate())
        animation->delegate()->animationDidStart(animation);

    const double length = animation->activeDuration();
    // A block ends its own animations, all at one time.
    if (std::isinf(length) || dynamic_cast<BlockAnimation*>(animation.get()))
        return;
    NSRunLoop::mainRunLoop().performAfter(length, [weak, token] {
        if (const auto layer = weak.lock(); layer && layer->animations_)
            layer->animations_->end(token, true);
    });
}

void LayerAnimations::end(std::uint64_t token, bool finished)
{
    const auto found = std::find_if(
        running_.begin(), running_.end(), [&](const Running& running) { return running.token == token; });
    if (found == running_.end() || found->stopped)
        return;
    Running running = *found;
    if (finished && !running.animation->isRemovedOnCompletion())
        found->stopped = true;
    else
        running_.erase(found);
    stop(std::move(running), finished);
}

void LayerAnimations::stop(Running running, bool finished)
{
    layer_.requestFrame();
    if (running.stopped)
        return;
    if (running.batch)
        running.batch->ended(finished);
    if (const auto delegate = running.animation->delegate())
        delegate->animationDidStop(running.animation, finished);
}

std::shared_ptr<CAAnimation> LayerAnimations::find(const std::string& key) const
{
    const auto found
        = std::find_if(running_.begin(), running_.end(), [&](const Running& running) { return running.key == key; });
    return found == running_.end() ? nullptr : found->animation;
}

std::vector<std::string> LayerAnimations::keys() const
{
    std::vector<std::string> keys;
    for (const Running& running : running_)
        if (!running.key.empty())
            keys.push_back(running.key);
    return keys;
}

void LayerAnimations::remove(const std::string& key)
{
    const auto found
        = std::find_if(running_.begin(), running_.end(), [&](const Running& running) { return running.key == key; });
    if (found == running_.end())
        return;
    Running running = std::move(*found);
    running_.erase(found);
    stop(std::move(running), false);
}

void LayerAnimations::removeAll()
{
    for (auto& running : std::exchange(running_, {}))
        stop(std::move(running), false);
}

bool LayerAnimations::isMoving() const
{
    return std::any_of(running_.begin(), running_.end(), [&](const Running& running) {
        const auto* basic = dynamic_cast<const CABasicAnimation*>(running.animation.get());
        if (running.stopped || !basic)
            return false;
        const auto [property, part] = split(basic->keyPath());
        return !std::holds_alternative<std::monostate>(readPart(layer_.animatableValue(property), part));
    });
}

void LayerAnimations::showOn(CALayer& copy) const
{
    const double moment = now();
    for (const Running& running : running_) {
        const auto* basic = dynamic_cast<const CABasicAnimation*>(running.animation.get());
        const auto progress = basic ? basic->progressAt(moment - running.begin) : std::nullopt;
        if (!progress)
            continue;
        const auto [property, part] = split(basic->keyPath());
        const CAValue whole = copy.animatableValue(property), shown = readPart(whole, part);
        if (std::holds_alternative<std::monostate>(shown))
            continue;
        CAValue value;
        if (const auto* keyframes = dynamic_cast<const CAKeyframeAnimation*>(basic)) {
            value = keyframes->valueAt(*progress);
        } else {
            const auto orShown
                = [&](const CAValue& given) { return std::holds_alternative<std::monostate>(given) ? shown : given; };
            value = CAValueBetween(orShown(basic->fromValue()), orShown(basic->toValue()), *progress);
        }
        if (!std::holds_alternative<std::monostate>(value))
            copy.setAnimatableValue(property, withPart(whole, part, value));
    }
}

}
