// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGColor.h"
#include "platform/CoreGraphics/CGPath.h"
#include "platform/Foundation/NSObject.h"
#include "platform/QuartzCore/CAMediaTimingFunction.h"
#include "platform/QuartzCore/CATransform3D.h"

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace velmora {

class CAAnimation;

/// A value that can be animated; std::monostate is "as it is".
using CAValue = std::variant<std::monostate, double, CGPoint, CGSize, CGRect, CATransform3D, CGColor, CGPath>;

/// The value at `fraction` of the way; beyond 0 to 1 it goes on, as springs do. `to` where the kinds differ.
VELMORA_EXPORT CAValue CAValueBetween(const CAValue& from, const CAValue& to, double fraction);

inline constexpr const char* kCAFillModeRemoved = "removed";
inline constexpr const char* kCAFillModeForwards = "forwards";
inline constexpr const char* kCAFillModeBackwards = "backwards";
inline constexpr const char* kCAFillModeBoth = "both";

/// Hears of animations, on the main thread.
class VELMORA_EXPORT CAAnimationDelegate {
public:
    virtual ~CAAnimationDelegate() = default;
    virtual void animationDidStart(const std::shared_ptr<CAAnimation>&) { }
    /// `finished`: it came to its end, rather than being removed or replaced.
    virtual void animationDidStop(const std::shared_ptr<CAAnimation>&, bool /*finished*/) { }
};

/// What changes in time on a layer. The layer takes a copy: what is set later changes nothing. Main thread only.
class VELMORA_EXPORT CAAnimation : public NSObject {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
    virtual std::shared_ptr<CAAnimation> copy() const = 0;

    /// Seconds; 0 takes the transaction's.
    double duration() const { return duration_; }
    void setDuration(double seconds) { duration_ = seconds; }
    /// Seconds from being added; before, the layer shows the first value only in the fill modes backwards and both.
    double delay() const { return delay_; }
    void setDelay(double seconds) { delay_ = seconds; }
    /// How often it runs; infinity for ever.
    double repeatCount() const { return repeatCount_; }
    void setRepeatCount(double count) { repeatCount_ = count; }
    /// There and back, each in its duration.
    bool autoreverses() const { return autoreverses_; }
    void setAutoreverses(bool autoreverses) { autoreverses_ = autoreverses; }
    const std::string& fillMode() const { return fillMode_; }
    void setFillMode(const std::string& mode) { fillMode_ = mode; }
    bool isRemovedOnCompletion() const { return removedOnCompletion_; }
    void setRemovedOnCompletion(bool removed) { removedOnCompletion_ = removed; }
    /// Empty: the transaction's, or linear.
    const std::optional<CAMediaTimingFunction>& timingFunction() const { return timingFunction_; }
    void setTimingFunction(const std::optional<CAMediaTimingFunction>& function) { timingFunction_ = function; }
    /// Held, as the platform's are, until the animation has ended.
    const std::shared_ptr<CAAnimationDelegate>& delegate() const { return delegate_; }
    void setDelegate(const std::shared_ptr<CAAnimationDelegate>& delegate) { delegate_ = delegate; }

    /// From being added to the end of the last repetition, in seconds; the transaction's duration in place of 0.
    double activeDuration() const;
    /// How far it is, `seconds` after it was added; empty while and after the layer shows nothing of it.
    std::optional<double> progressAt(double seconds) const;

protected:
    CAAnimation() = default;
    CAAnimation(const CAAnimation&) = default;
    /// The curve, `seconds` into one run.
    virtual double curveAt(double seconds) const;

private:
    double duration_ = 0, delay_ = 0, repeatCount_ = 1;
    bool autoreverses_ = false, removedOnCompletion_ = true;
    std::string fillMode_ = kCAFillModeRemoved;
    std::optional<CAMediaTimingFunction> timingFunction_;
    std::shared_ptr<CAAnimationDelegate> delegate_;
};

/// Moves one property, named by its key path: "position", "position.x", "bounds", "bounds.size.width", "opacity",
/// "transform", "transform.scale", "transform.scale.x", "transform.rotation", "transform.rotation.z",
/// "transform.translation.y", "backgroundColor", "cornerRadius", "borderWidth", "borderColor", "anchorPoint",
/// "contentsTintColor", and of shape layers "path", "fillColor", "strokeColor", "lineWidth", "strokeStart",
/// "strokeEnd". An unknown one is accepted and shows nothing.
class VELMORA_EXPORT CABasicAnimation : public CAAnimation {
public:
    explicit CABasicAnimation(std::string keyPath);
    static std::shared_ptr<CABasicAnimation> animationWithKeyPath(const std::string& keyPath);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
    std::shared_ptr<CAAnimation> copy() const override;

    const std::string& keyPath() const { return keyPath_; }
    /// Without one, the layer's value while the animation runs.
    const CAValue& fromValue() const { return from_; }
    void setFromValue(CAValue value) { from_ = std::move(value); }
    const CAValue& toValue() const { return to_; }
    void setToValue(CAValue value) { to_ = std::move(value); }

private:
    std::string keyPath_;
    CAValue from_, to_;
};

/// Moves as a spring does. Its settlingDuration() is what `duration` should be.
class VELMORA_EXPORT CASpringAnimation : public CABasicAnimation {
public:
    explicit CASpringAnimation(std::string keyPath);
    static std::shared_ptr<CASpringAnimation> animationWithKeyPath(const std::string& keyPath);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
    std::shared_ptr<CAAnimation> copy() const override;

    double mass() const { return mass_; }
    void setMass(double mass) { mass_ = mass; } ///< above 0
    double stiffness() const { return stiffness_; }
    void setStiffness(double stiffness) { stiffness_ = stiffness; } ///< above 0
    double damping() const { return damping_; }
    void setDamping(double damping) { damping_ = damping; } ///< 0 or above
    double initialVelocity() const { return initialVelocity_; }
    void setInitialVelocity(double velocity) { initialVelocity_ = velocity; } ///< distances a second
    double settlingDuration() const; ///< seconds

protected:
    double curveAt(double seconds) const override;

private:
    CASpringMotion motion() const;

    double mass_ = 1, stiffness_ = 100, damping_ = 10, initialVelocity_ = 0;
};

/// Moves along several values. Without times they come at equal distances.
class VELMORA_EXPORT CAKeyframeAnimation : public CABasicAnimation {
public:
    explicit CAKeyframeAnimation(std::string keyPath);
    static std::shared_ptr<CAKeyframeAnimation> animationWithKeyPath(const std::string& keyPath);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
    std::shared_ptr<CAAnimation> copy() const override;

    const std::vector<CAValue>& values() const { return values_; }
    void setValues(std::vector<CAValue> values) { values_ = std::move(values); }
    /// One for each value, rising from 0 to 1; any other number of them counts as none.
    const std::vector<double>& keyTimes() const { return keyTimes_; }
    void setKeyTimes(std::vector<double> times) { keyTimes_ = std::move(times); }
    /// Of all the values.
    CAValue valueAt(double progress) const;

private:
    std::vector<CAValue> values_;
    std::vector<double> keyTimes_;
};

}
