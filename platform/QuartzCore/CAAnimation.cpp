// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/CAAnimation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace velmora {

namespace {

double mix(double from, double to, double fraction)
{
    return from + (to - from) * fraction;
}

CGPoint mix(CGPoint from, CGPoint to, double fraction)
{
    return { mix(from.x, to.x, fraction), mix(from.y, to.y, fraction) };
}

CGSize mix(CGSize from, CGSize to, double fraction)
{
    return { mix(from.width, to.width, fraction), mix(from.height, to.height, fraction) };
}

CGRect mix(CGRect from, CGRect to, double fraction)
{
    return { mix(from.origin, to.origin, fraction), mix(from.size, to.size, fraction) };
}

CATransform3D mix(const CATransform3D& from, const CATransform3D& to, double fraction)
{
    auto result = CATransform3DMakeAffineTransform(
        CGAffineTransformBetween(CATransform3DGetAffineTransform(from), CATransform3DGetAffineTransform(to), fraction));
    for (const auto member :
        { &CATransform3D::m13, &CATransform3D::m14, &CATransform3D::m23, &CATransform3D::m24, &CATransform3D::m31,
            &CATransform3D::m32, &CATransform3D::m33, &CATransform3D::m34, &CATransform3D::m43, &CATransform3D::m44 })
        result.*member = mix(from.*member, to.*member, fraction);
    return result;
}

CGColor mix(CGColor from, CGColor to, double fraction)
{
    return CGColorBetween(from, to, std::clamp(fraction, 0.0, 1.0));
}

CGPath mix(const CGPath& from, const CGPath& to, double fraction)
{
    return CGPathBetween(from, to, fraction);
}

}

CAValue CAValueBetween(const CAValue& from, const CAValue& to, double fraction)
{
    if (fraction == 1)
        return to;
    return std::visit(
        [&](const auto& end) -> CAValue {
            using Kind = std::remove_cvref_t<decltype(end)>;
            if constexpr (!std::is_same_v<Kind, std::monostate>)
                if (const auto* begin = std::get_if<Kind>(&from))
                    return mix(*begin, end, fraction);
            return end;
        },
        to);
}

const ClassInfo& CAAnimation::staticClass()
{
    static constexpr auto methods = methodTable(method<&CAAnimation::duration>("duration"),
        method<&CAAnimation::setDuration>("setDuration:"), method<&CAAnimation::repeatCount>("repeatCount"),
        method<&CAAnimation::setRepeatCount>("setRepeatCount:"), method<&CAAnimation::autoreverses>("autoreverses"),
        method<&CAAnimation::setAutoreverses>("setAutoreverses:"), method<&CAAnimation::fillMode>("fillMode"),
        method<&CAAnimation::setFillMode>("setFillMode:"),
        method<&CAAnimation::isRemovedOnCompletion>("isRemovedOnCompletion"),
        method<&CAAnimation::setRemovedOnCompletion>("setRemovedOnCompletion:"));
    static const ClassInfo info { "Velmora.CAAnimation", &NSObject::staticClass(), methods };
    return info;
}

double CAAnimation::activeDuration() const
{
    return delay_ + duration_ * repeatCount_ * (autoreverses_ ? 2 : 1);
}

double CAAnimation::curveAt(double seconds) const
{
    if (duration_ <= 0)
        return 1;
    return timingFunction_.value_or(kCAMediaTimingFunctionLinear).valueAt(seconds / duration_);
}

std::optional<double> CAAnimation::progressAt(double seconds) const
{
    const bool backwards = fillMode_ == kCAFillModeBackwards || fillMode_ == kCAFillModeBoth;
    const bool forwards = fillMode_ == kCAFillModeForwards || fillMode_ == kCAFillModeBoth;
    if (seconds < delay_)
        return backwards ? std::optional(0.0) : std::nullopt;
    if (seconds >= activeDuration())
        return forwards ? std::optional(autoreverses_ ? 0.0 : 1.0) : std::nullopt;

    const double active = seconds - delay_, run = autoreverses_ ? 2 * duration_ : duration_;
    const double within = std::fmod(active, run);
    return curveAt(within > duration_ ? run - within : within);
}

CABasicAnimation::CABasicAnimation(std::string keyPath)
    : keyPath_(std::move(keyPath))
{
}

std::shared_ptr<CABasicAnimation> CABasicAnimation::animationWithKeyPath(const std::string& keyPath)
{
    return make<CABasicAnimation>(keyPath);
}

const ClassInfo& CABasicAnimation::staticClass()
{
    static constexpr auto methods = methodTable(method<&CABasicAnimation::keyPath>("keyPath"));
    static constexpr auto classMethods
        = methodTable(classMethod<&CABasicAnimation::animationWithKeyPath>("animationWithKeyPath:"));
    static const ClassInfo info { "Velmora.CABasicAnimation", &CAAnimation::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<CAAnimation> CABasicAnimation::copy() const
{
    return make<CABasicAnimation>(*this);
}

CASpringAnimation::CASpringAnimation(std::string keyPath)
    : CABasicAnimation(std::move(keyPath))
{
}

std::shared_ptr<CASpringAnimation> CASpringAnimation::animationWithKeyPath(const std::string& keyPath)
{
    return make<CASpringAnimation>(keyPath);
}

const ClassInfo& CASpringAnimation::staticClass()
{
    using Self = CASpringAnimation;
    static constexpr auto methods = methodTable(method<&Self::mass>("mass"), method<&Self::setMass>("setMass:"),
        method<&Self::stiffness>("stiffness"), method<&Self::setStiffness>("setStiffness:"),
        method<&Self::damping>("damping"), method<&Self::setDamping>("setDamping:"),
        method<&Self::initialVelocity>("initialVelocity"), method<&Self::setInitialVelocity>("setInitialVelocity:"),
        method<&Self::settlingDuration>("settlingDuration"));
    static constexpr auto classMethods = methodTable(classMethod<&Self::animationWithKeyPath>("animationWithKeyPath:"));
    static const ClassInfo info { "Velmora.CASpringAnimation", &CABasicAnimation::staticClass(), methods,
        classMethods };
    return info;
}

std::shared_ptr<CAAnimation> CASpringAnimation::copy() const
{
    return make<CASpringAnimation>(*this);
}

CASpringMotion CASpringAnimation::motion() const
{
    const double frequency = std::sqrt(stiffness_ / mass_);
    return { damping_ / (2 * std::sqrt(stiffness_ * mass_)), frequency, initialVelocity_ };
}

double CASpringAnimation::settlingDuration() const
{
    return motion().settlingDuration();
}

double CASpringAnimation::curveAt(double seconds) const
{
    return motion().valueAt(seconds);
}

CAKeyframeAnimation::CAKeyframeAnimation(std::string keyPath)
    : CABasicAnimation(std::move(keyPath))
{
}

std::shared_ptr<CAKeyframeAnimation> CAKeyframeAnimation::animationWithKeyPath(const std::string& keyPath)
{
    return make<CAKeyframeAnimation>(keyPath);
}

const ClassInfo& CAKeyframeAnimation::staticClass()
{
    static constexpr auto classMethods
        = methodTable(classMethod<&CAKeyframeAnimation::animationWithKeyPath>("animationWithKeyPath:"));
    static const ClassInfo info { "Velmora.CAKeyframeAnimation", &CABasicAnimation::staticClass(), {}, classMethods };
    return info;
}

std::shared_ptr<CAAnimation> CAKeyframeAnimation::copy() const
{
    return make<CAKeyframeAnimation>(*this);
}

CAValue CAKeyframeAnimation::valueAt(double progress) const
{
    const std::size_t count = values_.size();
    if (count < 2)
        return count == 1 ? values_.front() : CAValue {};
    const bool timed = keyTimes_.size() == count;
    const auto timeOf = [&](std::size_t index) {
        return timed ? keyTimes_[index] : static_cast<double>(index) / static_cast<double>(count - 1);
    };
    std::size_t next = 1;
    while (next + 1 < count && timeOf(next) <= progress)
        ++next;
    const double begin = timeOf(next - 1), length = timeOf(next) - begin;
    const double fraction = length > 0 ? std::clamp((progress - begin) / length, 0.0, 1.0) : 1;
    return CAValueBetween(values_[next - 1], values_[next], fraction);
}

}
