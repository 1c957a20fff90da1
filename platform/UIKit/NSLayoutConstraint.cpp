// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/NSLayoutConstraint.h"

#include "platform/Foundation/NSException.h"
#include "platform/UIKit/ConstraintSolver.h"
#include "platform/UIKit/UIView.h"

#include <algorithm>

namespace velmora {

NSLayoutConstraint::NSLayoutConstraint(const std::shared_ptr<NSObject>& item, NSLayoutAttribute attribute,
    const std::shared_ptr<NSObject>& toItem, NSLayoutAttribute toAttribute, double multiplier, double constant)
    : first_(item)
    , second_(toItem)
    , firstAttribute_(attribute)
    , secondAttribute_(toAttribute)
    , multiplier_(multiplier)
    , constant_(constant)
{
    const auto isOne
        = [](NSLayoutAttribute which) { return which >= NSLayoutAttributeLeft && which <= NSLayoutAttributeCenterY; };
    if (!viewOfItem(item) || (toItem && !viewOfItem(toItem)))
        throw NSException(NSInvalidArgumentException, "A constraint is between views and layout guides");
    if (!isOne(attribute) || (toItem && !isOne(toAttribute)))
        throw NSException(
            NSInvalidArgumentException, "A constraint names edges, sizes and centres: attributes from 1 to 10");
}

const ClassInfo& NSLayoutConstraint::staticClass()
{
    static constexpr auto methods = methodTable(method<&NSLayoutConstraint::firstItem>("firstItem"),
        method<&NSLayoutConstraint::firstAttribute>("firstAttribute"),
        method<&NSLayoutConstraint::secondItem>("secondItem"),
        method<&NSLayoutConstraint::secondAttribute>("secondAttribute"),
        method<&NSLayoutConstraint::multiplier>("multiplier"), method<&NSLayoutConstraint::constant>("constant"),
        method<&NSLayoutConstraint::setConstant>("setConstant:"), method<&NSLayoutConstraint::isActive>("isActive"),
        method<&NSLayoutConstraint::setActive>("setActive:"));
    static constexpr auto classMethods
        = methodTable(classMethod<&NSLayoutConstraint::activateConstraints>("activateConstraints:"),
            classMethod<&NSLayoutConstraint::deactivateConstraints>("deactivateConstraints:"));
    static const ClassInfo info { "Velmora.NSLayoutConstraint", &NSObject::staticClass(), methods, classMethods };
    return info;
}

namespace {

/// The view that lays the item out, and all the way up: constraints of a size alone are solved outside the view.
void markOutwards(const std::shared_ptr<NSObject>& item)
{
    for (auto view = viewOfItem(item); view; view = view->superview())
        view->setNeedsLayout();
}

}

void NSLayoutConstraint::setConstant(double constant)
{
    if (constant_ == constant)
        return;
    constant_ = constant;
    if (isActive())
        markOutwards(firstItem());
}

void NSLayoutConstraint::setActive(bool active)
{
    if (active == isActive())
        return;
    if (!active) {
        host_.lock()->removeConstraint(sharedFromThis(*this));
        return;
    }
    const auto first = viewOfItem(firstItem()), second = viewOfItem(secondItem());
    for (auto view = first; view; view = view->superview())
        if (!second || second->isDescendantOfView(*view)) {
            view->addConstraint(sharedFromThis(*this));
            return;
        }
    throw NSException("NSGenericException",
        "A constraint cannot be activated: no view holds both of its items. Add them to one tree first");
}

void NSLayoutConstraint::activateConstraints(const std::vector<std::shared_ptr<NSLayoutConstraint>>& constraints)
{
    for (const auto& constraint : constraints)
        constraint->setActive(true);
}

void NSLayoutConstraint::deactivateConstraints(const std::vector<std::shared_ptr<NSLayoutConstraint>>& constraints)
{
    for (const auto& constraint : constraints)
        constraint->setActive(false);
}

}
