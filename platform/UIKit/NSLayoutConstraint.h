// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmora {

class UIView;

enum NSLayoutAttribute : std::int64_t {
    NSLayoutAttributeNotAnAttribute = 0,
    NSLayoutAttributeLeft = 1,
    NSLayoutAttributeRight = 2,
    NSLayoutAttributeTop = 3,
    NSLayoutAttributeBottom = 4,
    NSLayoutAttributeLeading = 5, ///< left
    NSLayoutAttributeTrailing = 6, ///< right
    NSLayoutAttributeWidth = 7,
    NSLayoutAttributeHeight = 8,
    NSLayoutAttributeCenterX = 9,
    NSLayoutAttributeCenterY = 10,
};

/// item.attribute = toItem.toAttribute * multiplier + constant, where an item is a view or a safe area's guide. It
/// holds for views whose masks are not translated (setTranslatesAutoresizingMaskIntoConstraints) when their superview
/// is laid out; what no constraint says stays as it is, or as large as the content. Main thread only.
class VELMORA_EXPORT NSLayoutConstraint : public NSObject {
public:
    /// Items are held weakly. Without a second one the constant alone counts. Throws NSException for an item that is
    /// neither view nor guide, and for an attribute that is none.
    NSLayoutConstraint(const std::shared_ptr<NSObject>& item, NSLayoutAttribute attribute,
        const std::shared_ptr<NSObject>& toItem, NSLayoutAttribute toAttribute, double multiplier, double constant);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    using Metrics = std::map<std::string, double>;
    using Views = std::map<std::string, std::shared_ptr<UIView>>;
    /// "|-0-[view]-0-|", "V:|[a(44)]-8-[b(a)]|": distances and lengths are numbers or metrics, a lone hyphen is 8
    /// points between views and 20 to the superview's edge, and a length may be that of another view. Only equalities.
    /// Throws NSException, with the place, for a text that it cannot read.
    static std::vector<std::shared_ptr<NSLayoutConstraint>> constraintsWithVisualFormat(
        const std::string& format, const Metrics& metrics, const Views& views);

    std::shared_ptr<NSObject> firstItem() const { return first_.lock(); }
    NSLayoutAttribute firstAttribute() const { return firstAttribute_; }
    std::shared_ptr<NSObject> secondItem() const { return second_.lock(); }
    NSLayoutAttribute secondAttribute() const { return secondAttribute_; }
    double multiplier() const { return multiplier_; }
    double constant() const { return constant_; } ///< points
    /// The next layout applies it; inside an animation, layoutIfNeeded animates what it moves.
    void setConstant(double constant);

    bool isActive() const { return !host_.expired(); }
    /// Joins the nearest view that holds both items, or leaves it. Throws NSException where there is none.
    void setActive(bool active);
    static void activateConstraints(const std::vector<std::shared_ptr<NSLayoutConstraint>>& constraints);
    static void deactivateConstraints(const std::vector<std::shared_ptr<NSLayoutConstraint>>& constraints);

    // For views.
    void setHost(const std::weak_ptr<UIView>& host) { host_ = host; }

private:
    const std::weak_ptr<NSObject> first_, second_;
    const NSLayoutAttribute firstAttribute_, secondAttribute_;
    const double multiplier_;
    double constant_;
    std::weak_ptr<UIView> host_;
};

}
