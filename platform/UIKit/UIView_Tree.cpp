// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIView.h"

#include "platform/Foundation/NSException.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIViewController.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>
#include <utility>

namespace velmora {

namespace {

/// Rec. 709: how bright the eye finds it.
double luminance(CGColor color)
{
    return 0.2126 * color.red + 0.7152 * color.green + 0.0722 * color.blue;
}

}

std::shared_ptr<UIView> UIView::viewWithTag(std::int64_t tag)
{
    if (tag_ == tag)
        return sharedFromThis(*this);
    for (const auto& view : subviews_)
        if (auto found = view->viewWithTag(tag))
            return found;
    return nullptr;
}

std::shared_ptr<UIWindow> UIView::window() const
{
    const auto above = superview();
    return above ? above->window() : nullptr;
}

void UIView::addSubview(const std::shared_ptr<UIView>& view)
{
    insert(view, [](const auto& all) { return all.size(); });
}

void UIView::insertSubview(const std::shared_ptr<UIView>& view, std::size_t index)
{
    insert(view, [index](const auto&) { return index; });
}

void UIView::insertSubviewBelow(const std::shared_ptr<UIView>& view, const std::shared_ptr<UIView>& sibling)
{
    insert(view, [&](const auto& all) {
        const auto found = std::find(all.begin(), all.end(), sibling);
        return found == all.end() ? 0 : static_cast<std::size_t>(found - all.begin());
    });
}

void UIView::insertSubviewAbove(const std::shared_ptr<UIView>& view, const std::shared_ptr<UIView>& sibling)
{
    insert(view, [&](const auto& all) {
        const auto found = std::find(all.begin(), all.end(), sibling);
        return found == all.end() ? all.size() : static_cast<std::size_t>(found - all.begin()) + 1;
    });
}

void UIView::bringSubviewToFront(const std::shared_ptr<UIView>& view)
{
    if (view && view->superview().get() == this)
        addSubview(view);
}

void UIView::sendSubviewToBack(const std::shared_ptr<UIView>& view)
{
    if (view && view->superview().get() == this)
        insertSubview(view, 0);
}

void UIView::exchangeSubviews(std::size_t index, std::size_t other)
{
    const auto [low, high] = std::minmax(index, other);
    if (high >= subviews_.size() || low == high)
        return;
    const auto first = subviews_[low], second = subviews_[high];
    insertSubview(second, low);
    insertSubview(first, high);
}

void UIView::insert(const std::shared_ptr<UIView>& view, const Place& place)
{
    if (!view)
        return;
    const auto self = sharedFromThis(*this);
    for (auto each = self; each; each = each->superview())
        if (each == view)
            throw NSException(
                NSInvalidArgumentException, "A view cannot become a subview of itself or of a view inside it");

    const auto before = view->superview();
    const auto oldWindow = view->window(), newWindow = window();
    const auto tint = view->tintColor();
    if (before != self)
        view->willMoveToSuperview(self);
    if (oldWindow != newWindow)
        view->tellWindow(newWindow, true);
    if (before && before != self)
        before->willRemoveSubview(view);
    if (before)
        std::erase(before->subviews_, view);

    const std::size_t index = std::min(place(subviews_), subviews_.size());
    subviews_.insert(subviews_.begin() + static_cast<std::ptrdiff_t>(index), view);
    view->superview_ = self;
    placeLayer(view, index);
    setNeedsLayout();
    if (before == self)
        return;
    if (oldWindow != newWindow)
        view->tellWindow(newWindow, false);
    view->didMoveToSuperview();
    didAddSubview(view);
    if (safeArea_ != UIEdgeInsetsZero || view->safeArea_ != UIEdgeInsetsZero)
        view->updateSafeArea();
    if (!sameColor(tint, view->tintColor()))
        view->tellTint(true, true);
}

/// Layers of other owners keep their places.
void UIView::placeLayer(const std::shared_ptr<UIView>& view, std::size_t index)
{
    if (index + 1 < subviews_.size())
        layer()->insertSublayerBelow(view->layer(), subviews_[index + 1]->layer());
    else
        layer()->addSublayer(view->layer());
}

void UIView::removeFromSuperview()
{
    const auto before = superview();
    if (!before)
        return;
    const auto self = sharedFromThis(*this); // the superview may hold the last reference
    const auto oldWindow = window();
    const auto tint = tintColor();
    willMoveToSuperview(nullptr);
    if (oldWindow)
        tellWindow(nullptr, true);
    before->willRemoveSubview(self);
    std::erase(before->subviews_, self);
    superview_.reset();
    layer()->removeFromSuperlayer();
    before->setNeedsLayout();
    if (oldWindow)
        tellWindow(nullptr, false);
    didMoveToSuperview();
    if (safeArea_ != UIEdgeInsetsZero)
        updateSafeArea();
    if (!sameColor(tint, tintColor()))
        tellTint(true, true);
}

bool UIView::isDescendantOfView(const UIView& view) const
{
    if (this == &view)
        return true;
    const auto above = superview();
    return above && above->isDescendantOfView(view);
}

void UIView::tellWindow(const std::shared_ptr<UIWindow>& window, bool will)
{
    if (will)
        willMoveToWindow(window);
    else
        didMoveToWindow();
    if (const auto controller = viewController())
        controller->viewMovesToWindow(window, will);
    const auto views = subviews_;
    for (const auto& view : views)
        view->tellWindow(window, will);
}

std::shared_ptr<UIColor> UIView::tintColor() const
{
    std::shared_ptr<UIColor> color = tintColor_;
    for (auto above = superview(); above && !color; above = above->superview())
        color = above->tintColor_;
    if (!color)
        color = UIColor::systemBlueColor();
    if (tintAdjustmentMode() != UIViewTintAdjustmentModeDimmed)
        return color;
    return UIColor::colorWithWhite(luminance(color->cgColor()), color->cgColor().alpha);
}

void UIView::setTintColor(const std::shared_ptr<UIColor>& color)
{
    tintColor_ = color;
    tellTint(true, false);
}

UIViewTintAdjustmentMode UIView::tintAdjustmentMode() const
{
    auto mode = tintAdjustmentMode_;
    for (auto above = superview(); above && mode == UIViewTintAdjustmentModeAutomatic; above = above->superview())
        mode = above->tintAdjustmentMode_;
    return mode == UIViewTintAdjustmentModeAutomatic ? UIViewTintAdjustmentModeNormal : mode;
}

void UIView::setTintAdjustmentMode(UIViewTintAdjustmentMode mode)
{
    tintAdjustmentMode_ = mode;
    tellTint(false, true);
}

/// Goes down as far as somebody inherits what changed.
void UIView::tellTint(bool colorChanged, bool modeChanged)
{
    tintColorDidChange();
    const auto views = subviews_;
    for (const auto& view : views) {
        const bool color = colorChanged && !view->tintColor_;
        const bool mode = modeChanged && view->tintAdjustmentMode_ == UIViewTintAdjustmentModeAutomatic;
        if (color || mode)
            view->tellTint(color, mode);
    }
}

CALayer& UIView::coordinates(const std::shared_ptr<UIView>& view) const
{
    if (view)
        return *view->layer();
    auto outermost = const_cast<UIView&>(*this).layer(); // only read
    for (auto above = superview(); above; above = above->superview())
        outermost = above->layer();
    return *outermost;
}

CGPoint UIView::convertPointToView(CGPoint point, const std::shared_ptr<UIView>& view) const
{
    return layer()->convertPoint(point, sharedFromThis(coordinates(view)));
}

CGPoint UIView::convertPointFromView(CGPoint point, const std::shared_ptr<UIView>& view) const
{
    return coordinates(view).convertPoint(point, layer());
}

CGRect UIView::convertRectToView(CGRect rect, const std::shared_ptr<UIView>& view) const
{
    return layer()->convertRect(rect, sharedFromThis(coordinates(view)));
}

CGRect UIView::convertRectFromView(CGRect rect, const std::shared_ptr<UIView>& view) const
{
    return coordinates(view).convertRect(rect, layer());
}

}
