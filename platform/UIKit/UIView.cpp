// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIView.h"

#include "platform/CoreGraphics/CGContext.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/UIKit/ConstraintSolver.h"
#include "platform/UIKit/InterfaceValues.h"
#include "platform/UIKit/NSLayoutConstraint.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIGestureRecognizer.h"
#include "platform/UIKit/UIGraphics.h"
#include "platform/UIKit/UIInteraction.h"
#include "platform/UIKit/UILayoutGuide.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UITraitCollection.h"
#include "platform/UIKit/UIViewController.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace velmora {

namespace {

constexpr double leastVisibleAlpha = 0.01; // a view below it gets no touches

const char* gravityOf(UIViewContentMode mode)
{
    switch (mode) {
    case UIViewContentModeScaleAspectFit:
        return kCAGravityResizeAspect;
    case UIViewContentModeScaleAspectFill:
        return kCAGravityResizeAspectFill;
    case UIViewContentModeCenter:
        return kCAGravityCenter;
    case UIViewContentModeTop:
        return kCAGravityTop;
    case UIViewContentModeBottom:
        return kCAGravityBottom;
    case UIViewContentModeLeft:
        return kCAGravityLeft;
    case UIViewContentModeRight:
        return kCAGravityRight;
    case UIViewContentModeTopLeft:
        return kCAGravityTopLeft;
    case UIViewContentModeTopRight:
        return kCAGravityTopRight;
    case UIViewContentModeBottomLeft:
        return kCAGravityBottomLeft;
    case UIViewContentModeBottomRight:
        return kCAGravityBottomRight;
    case UIViewContentModeScaleToFill:
    case UIViewContentModeRedraw:
        break;
    }
    return kCAGravityResize;
}

}

/// What an interface file said; applied when the view has its layer.
struct UIView::Decoded {
    std::optional<CGRect> frame, bounds;
    std::shared_ptr<UIColor> backgroundColor, tintColor;
    std::optional<double> alpha, tag, contentMode, autoresizingMask;
    std::optional<bool> hidden, opaque, clipsToBounds, userInteractionEnabled;
};

UIView::UIView(CGRect frame)
    : initialFrame_(frame)
{
}

UIView::UIView(const NSCoder& coder)
    : decoded_(std::make_unique<Decoded>())
{
    decoded_->frame = decodedRect(coder, "frame");
    decoded_->bounds = decodedRect(coder, "bounds");
    decoded_->backgroundColor = decodedColor(coder, "backgroundColor");
    decoded_->tintColor = decodedColor(coder, "tintColor");
    decoded_->alpha = decodedNumber(coder, "alpha");
    decoded_->tag = decodedNumber(coder, "tag");
    decoded_->contentMode = decodedNumber(coder, "contentMode");
    decoded_->autoresizingMask = decodedNumber(coder, "autoresizingMask");
    decoded_->hidden = decodedFlag(coder, "hidden");
    decoded_->opaque = decodedFlag(coder, "opaque");
    decoded_->clipsToBounds = decodedFlag(coder, "clipsToBounds");
    decoded_->userInteractionEnabled = decodedFlag(coder, "userInteractionEnabled");
}

UIView::~UIView() = default;

const ClassInfo& UIView::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIView::layer>("layer"),
        method<&UIView::awakeFromNib>("awakeFromNib"),
        method<&UIView::prepareForInterfaceBuilder>("prepareForInterfaceBuilder"), method<&UIView::frame>("frame"),
        method<&UIView::setFrame>("setFrame:"), method<&UIView::bounds>("bounds"),
        method<&UIView::setBounds>("setBounds:"), method<&UIView::center>("center"),
        method<&UIView::setCenter>("setCenter:"), method<&UIView::transform>("transform"),
        method<&UIView::setTransform>("setTransform:"), method<&UIView::alpha>("alpha"),
        method<&UIView::setAlpha>("setAlpha:"), method<&UIView::isHidden>("isHidden"),
        method<&UIView::setHidden>("setHidden:"), method<&UIView::backgroundColor>("backgroundColor"),
        method<&UIView::setBackgroundColor>("setBackgroundColor:"), method<&UIView::isOpaque>("isOpaque"),
        method<&UIView::setOpaque>("setOpaque:"), method<&UIView::clipsToBounds>("clipsToBounds"),
        method<&UIView::setClipsToBounds>("setClipsToBounds:"), method<&UIView::contentMode>("contentMode"),
        method<&UIView::setContentMode>("setContentMode:"), method<&UIView::tag>("tag"),
        method<&UIView::setTag>("setTag:"), method<&UIView::viewWithTag>("viewWithTag:"),
        method<&UIView::superview>("superview"), method<&UIView::subviews>("subviews"),
        method<&UIView::window>("window"), method<&UIView::addSubview>("addSubview:"),
        method<&UIView::insertSubview>("insertSubview:atIndex:"),
        method<&UIView::insertSubviewBelow>("insertSubview:belowSubview:"),
        method<&UIView::insertSubviewAbove>("insertSubview:aboveSubview:"),
        method<&UIView::bringSubviewToFront>("bringSubviewToFront:"),
        method<&UIView::sendSubviewToBack>("sendSubviewToBack:"),
        method<&UIView::exchangeSubviews>("exchangeSubviewAtIndex:withSubviewAtIndex:"),
        method<&UIView::removeFromSuperview>("removeFromSuperview"),
        method<&UIView::isDescendantOfView>("isDescendantOfView:"),
        method<&UIView::willMoveToSuperview>("willMoveToSuperview:"),
        method<&UIView::didMoveToSuperview>("didMoveToSuperview"),
        method<&UIView::willMoveToWindow>("willMoveToWindow:"), method<&UIView::didMoveToWindow>("didMoveToWindow"),
        method<&UIView::didAddSubview>("didAddSubview:"), method<&UIView::willRemoveSubview>("willRemoveSubview:"),
        method<&UIView::autoresizingMask>("autoresizingMask"),
        method<&UIView::setAutoresizingMask>("setAutoresizingMask:"), method<&UIView::setNeedsLayout>("setNeedsLayout"),
        method<&UIView::layoutIfNeeded>("layoutIfNeeded"), method<&UIView::layoutSubviews>("layoutSubviews"),
        method<&UIView::sizeThatFits>("sizeThatFits:"), method<&UIView::sizeToFit>("sizeToFit"),
        method<&UIView::intrinsicContentSize>("intrinsicContentSize"),
        method<&UIView::translatesAutoresizingMaskIntoConstraints>("translatesAutoresizingMaskIntoConstraints"),
        method<&UIView::setTranslatesAutoresizingMaskIntoConstraints>("setTranslatesAutoresizingMaskIntoConstraints:"),
        method<&UIView::constraints>("constraints"), method<&UIView::addConstraint>("addConstraint:"),
        method<&UIView::addConstraints>("addConstraints:"), method<&UIView::removeConstraint>("removeConstraint:"),
        method<&UIView::safeAreaLayoutGuide>("safeAreaLayoutGuide"), method<&UIView::safeAreaInsets>("safeAreaInsets"),
        method<&UIView::safeAreaInsetsDidChange>("safeAreaInsetsDidChange"),
        method<&UIView::traitCollection>("traitCollection"), method<&UIView::setNeedsDisplay>("setNeedsDisplay"),
        method<&UIView::drawRect>("drawRect:"), method<&UIView::displayLayer>("displayLayer:"),
        method<&UIView::tintColor>("tintColor"), method<&UIView::setTintColor>("setTintColor:"),
        method<&UIView::tintAdjustmentMode>("tintAdjustmentMode"),
        method<&UIView::setTintAdjustmentMode>("setTintAdjustmentMode:"),
        method<&UIView::tintColorDidChange>("tintColorDidChange"),
        method<&UIView::convertPointToView>("convertPoint:toView:"),
        method<&UIView::convertPointFromView>("convertPoint:fromView:"),
        method<&UIView::convertRectToView>("convertRect:toView:"),
        method<&UIView::convertRectFromView>("convertRect:fromView:"),
        method<&UIView::isUserInteractionEnabled>("isUserInteractionEnabled"),
        method<&UIView::setUserInteractionEnabled>("setUserInteractionEnabled:"),
        method<&UIView::addGestureRecognizer>("addGestureRecognizer:"),
        method<&UIView::removeGestureRecognizer>("removeGestureRecognizer:"),
        method<&UIView::gestureRecognizers>("gestureRecognizers"), method<&UIView::addInteraction>("addInteraction:"),
        method<&UIView::removeInteraction>("removeInteraction:"), method<&UIView::interactions>("interactions"),
        method<&UIView::snapshotViewAfterScreenUpdates>("snapshotViewAfterScreenUpdates:"));
    static constexpr auto classMethods = methodTable(initialiser<UIView>("init"),
        initialiser<UIView, CGRect>("initWithFrame:"), initialiser<UIView, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.UIView", &UIResponder::staticClass(), methods, classMethods };
    return info;
}

void UIView::didConstruct()
{
    UIResponder::didConstruct();
    layer()->setNeedsDisplay();
    const auto decoded = std::exchange(decoded_, nullptr);
    if (!decoded)
        return;
    if (decoded->frame)
        setFrame(*decoded->frame);
    if (decoded->bounds)
        setBounds(*decoded->bounds);
    if (decoded->backgroundColor)
        setBackgroundColor(decoded->backgroundColor);
    tintColor_ = decoded->tintColor;
    setAlpha(decoded->alpha.value_or(1));
    setHidden(decoded->hidden.value_or(false));
    setOpaque(decoded->opaque.value_or(false));
    setClipsToBounds(decoded->clipsToBounds.value_or(false));
    setUserInteractionEnabled(decoded->userInteractionEnabled.value_or(true));
    tag_ = static_cast<std::int64_t>(decoded->tag.value_or(0));
    setContentMode(static_cast<UIViewContentMode>(static_cast<std::int64_t>(decoded->contentMode.value_or(0))));
    autoresizingMask_
        = static_cast<UIViewAutoresizing>(static_cast<std::uint64_t>(decoded->autoresizingMask.value_or(0)));
}

const std::shared_ptr<CALayer>& UIView::layer() const
{
    if (layer_)
        return layer_;
    layer_ = makeLayer();
    layer_->setDelegate(weakFromThis(const_cast<UIView&>(*this))); // the layer asks its view for its content
    if (initialFrame_ != CGRectZero)
        layer_->setFrame(initialFrame_);
    return layer_;
}

void UIView::setFrame(CGRect frame)
{
    const CGSize before = bounds().size;
    const CGPoint from = center();
    layer()->setFrame(frame);
    if (bounds().size != before || center() != from)
        noteAnimatedChange();
    sizeChanged(before);
    placeDidChange();
}

void UIView::setBounds(CGRect bounds)
{
    const CGRect before = layer()->bounds();
    layer()->setBounds(bounds);
    if (bounds != before)
        noteAnimatedChange();
    sizeChanged(before.size);
    placeDidChange();
}

void UIView::setCenter(CGPoint center)
{
    if (center != layer()->position())
        noteAnimatedChange();
    layer()->setPosition(center);
    placeDidChange();
}

void UIView::setTransform(const CGAffineTransform& transform)
{
    if (transform != this->transform())
        noteAnimatedChange();
    layer()->setAffineTransform(transform);
}

void UIView::setAlpha(double alpha)
{
    if (alpha != this->alpha())
        noteAnimatedChange();
    layer()->setOpacity(std::clamp(alpha, 0.0, 1.0));
}

void UIView::setHidden(bool hidden)
{
    layer()->setHidden(hidden);
}

void UIView::setBackgroundColor(const std::shared_ptr<UIColor>& color)
{
    backgroundColor_ = color;
    layer()->setBackgroundColor(color ? std::optional(color->cgColor()) : std::nullopt);
}

void UIView::setContentMode(UIViewContentMode mode)
{
    contentMode_ = mode;
    layer()->setContentsGravity(gravityOf(mode));
    layer()->setNeedsDisplayOnBoundsChange(mode == UIViewContentModeRedraw);
}

void UIView::sizeChanged(CGSize before)
{
    const CGSize after = bounds().size;
    if (before == after)
        return;
    if (contentMode_ == UIViewContentModeRedraw)
        drawsNothing_ = false;
    if (!autoresizesSubviews_)
        return;
    const auto views = subviews_;
    for (const auto& view : views)
        view->autoresize(before, after);
}

namespace {

/// One axis: place and length when the superview's length changes, by what of the two margins and the length gives way.
struct Span {
    double start, length;
};

Span resized(Span span, double before, double after, bool startGives, bool lengthGives, bool endGives)
{
    const std::array<double, 3> parts { span.start, span.length, before - span.start - span.length };
    const std::array<bool, 3> gives { startGives, lengthGives, endGives };
    double total = 0;
    int count = 0;
    for (std::size_t i = 0; i < 3; ++i)
        if (gives[i]) {
            total += parts[i];
            ++count;
        }
    if (count == 0)
        return span;
    const double change = after - before;
    const auto share = [&](std::size_t i) {
        return !gives[i] ? 0 : total > 0 ? change * parts[i] / total : change / count;
    };
    return { span.start + share(0), std::max(0.0, span.length + share(1)) };
}

}

void UIView::autoresize(CGSize before, CGSize after)
{
    const auto mask = autoresizingMask_;
    if (mask == UIViewAutoresizingNone || !translatesMask_)
        return;
    // Turned views keep their turn: what gives way is the rectangle that they have without it.
    const CGSize size = bounds().size;
    const CGPoint middle = center(), anchor = layer()->anchorPoint();
    const Span across = resized({ middle.x - anchor.x * size.width, size.width }, before.width, after.width,
        contains(mask, UIViewAutoresizingFlexibleLeftMargin), contains(mask, UIViewAutoresizingFlexibleWidth),
        contains(mask, UIViewAutoresizingFlexibleRightMargin));
    const Span down = resized({ middle.y - anchor.y * size.height, size.height }, before.height, after.height,
        contains(mask, UIViewAutoresizingFlexibleTopMargin), contains(mask, UIViewAutoresizingFlexibleHeight),
        contains(mask, UIViewAutoresizingFlexibleBottomMargin));
    setBounds({ bounds().origin, { across.length, down.length } });
    setCenter({ across.start + anchor.x * across.length, down.start + anchor.y * down.length });
}

CGSize UIView::sizeThatFits(CGSize) const
{
    return bounds().size;
}

void UIView::sizeToFit()
{
    const CGPoint origin = frame().origin;
    const CGSize fitting = sizeThatFits(bounds().size);
    setBounds({ bounds().origin, fitting });
    const CGRect now = frame();
    setCenter({ center().x + origin.x - now.origin.x, center().y + origin.y - now.origin.y });
}

void UIView::layoutSublayersOfLayer(const std::shared_ptr<CALayer>&)
{
    const auto controller = viewController();
    if (controller)
        controller->viewWillLayoutSubviews();
    solveConstraints(*this);
    layoutSubviews();
    if (controller)
        controller->viewDidLayoutSubviews();
}

void UIView::setTranslatesAutoresizingMaskIntoConstraints(bool translates)
{
    translatesMask_ = translates;
    if (const auto above = superview())
        above->setNeedsLayout();
}

void UIView::invalidateIntrinsicContentSize()
{
    if (translatesMask_)
        return;
    for (auto view = superview(); view; view = view->superview())
        view->setNeedsLayout();
}

void UIView::addConstraint(const std::shared_ptr<NSLayoutConstraint>& constraint)
{
    if (!constraint || constraint->isActive())
        return;
    constraints_.push_back(constraint);
    constraint->setHost(weakFromThis(*this));
    // A size alone is held by its view and solved outside it.
    for (auto view = sharedFromThis(*this); view; view = view->superview())
        view->setNeedsLayout();
}

void UIView::addConstraints(const std::vector<std::shared_ptr<NSLayoutConstraint>>& constraints)
{
    for (const auto& constraint : constraints)
        addConstraint(constraint);
}

void UIView::removeConstraint(const std::shared_ptr<NSLayoutConstraint>& constraint)
{
    if (std::erase(constraints_, constraint) == 0)
        return;
    constraint->setHost({});
    setNeedsLayout();
}

std::shared_ptr<UILayoutGuide> UIView::safeAreaLayoutGuide()
{
    if (!safeAreaGuide_)
        safeAreaGuide_ = make<UILayoutGuide>(weakFromThis(*this));
    return safeAreaGuide_;
}

void UIView::placeDidChange()
{
    const auto above = superview();
    if (!above)
        return;
    if (above->safeArea_ != UIEdgeInsetsZero || safeArea_ != UIEdgeInsetsZero)
        updateSafeArea();
    above->subviewDidMove(*this);
}

UIEdgeInsets UIView::findSafeArea() const
{
    UIEdgeInsets found;
    if (const auto* window = dynamic_cast<const UIWindow*>(this)) {
        found = window->screenInsets();
    } else if (const auto above = superview(); above && above->safeArea_ != UIEdgeInsetsZero) {
        const UIEdgeInsets outer = above->safeArea_;
        const CGRect around = above->bounds(), here = convertRectToView(bounds(), above);
        const auto covered = [](double outside, double points, double most) {
            return outside > 0 ? std::clamp(points, 0.0, std::max(0.0, most)) : 0;
        };
        found.top = covered(outer.top, CGRectGetMinY(around) + outer.top - CGRectGetMinY(here), here.size.height);
        found.left = covered(outer.left, CGRectGetMinX(around) + outer.left - CGRectGetMinX(here), here.size.width);
        found.bottom
            = covered(outer.bottom, CGRectGetMaxY(here) - CGRectGetMaxY(around) + outer.bottom, here.size.height);
        found.right = covered(outer.right, CGRectGetMaxX(here) - CGRectGetMaxX(around) + outer.right, here.size.width);
    }
    if (const auto controller = viewController()) {
        const UIEdgeInsets more = controller->additionalSafeAreaInsets();
        found = { found.top + more.top, found.left + more.left, found.bottom + more.bottom, found.right + more.right };
    }
    return found;
}

namespace {

/// What differs by rounding alone is not told: whoever moves by it would move for ever.
bool isSame(const UIEdgeInsets& a, const UIEdgeInsets& b)
{
    constexpr double rounding = 1e-6; // points
    return std::abs(a.top - b.top) < rounding && std::abs(a.left - b.left) < rounding
        && std::abs(a.bottom - b.bottom) < rounding && std::abs(a.right - b.right) < rounding;
}

}

void UIView::updateSafeArea()
{
    const UIEdgeInsets before = safeArea_;
    if (const auto found = findSafeArea(); !isSame(found, before))
        safeArea_ = found;
    const auto views = subviews_;
    for (const auto& view : views)
        view->updateSafeArea();
    if (before == safeArea_)
        return;
    setNeedsLayout();
    safeAreaInsetsDidChange();
    if (const auto controller = viewController())
        controller->viewSafeAreaInsetsDidChange();
}

std::shared_ptr<UITraitCollection> UIView::traitCollection() const
{
    for (auto each = sharedFromThis(const_cast<UIView&>(*this)); each; each = each->superview()) // only read
        if (const auto controller = each->viewController())
            return controller->traitCollection();
    const auto window = this->window();
    const auto screen = UIScreen::mainScreen();
    const CGSize size = window ? window->bounds().size : screen->bounds().size;
    return UITraitCollection::forSize(size.width, size.height, screen->scale());
}

void UIView::setNeedsDisplay()
{
    drawsNothing_ = false;
    layer()->setNeedsDisplay();
}

void UIView::drawRect(CGRect)
{
    drawsNothing_ = true;
}

bool UIView::drawsLayer(const std::shared_ptr<CALayer>& layer)
{
    return !drawsNothing_ && !layer->contents(); // a picture that somebody gave the layer stays
}

void UIView::drawLayer(const std::shared_ptr<CALayer>&, CGContext& context)
{
    UIGraphicsPushContext(context);
    drawRect(bounds());
    UIGraphicsPopContext();
    // A subclass may have called this class's drawRect and drawn all the same.
    drawsNothing_ = drawsNothing_ && context.isEmpty();
}

std::shared_ptr<UIView> UIView::hitTest(CGPoint point, const UIEvent* event)
{
    if (!userInteractionEnabled_ || untouchable_ > 0 || isHidden() || alpha() < leastVisibleAlpha
        || !pointInside(point, event))
        return nullptr;
    const auto self = sharedFromThis(*this);
    const auto views = subviews_;
    for (auto view = views.rbegin(); view != views.rend(); ++view)
        if (auto hit = (*view)->hitTest((*view)->convertPointFromView(point, self), event))
            return hit;
    return self;
}

bool UIView::pointInside(CGPoint point, const UIEvent*) const
{
    return CGRectContainsPoint(bounds(), point);
}

void UIView::addGestureRecognizer(const std::shared_ptr<UIGestureRecognizer>& recognizer)
{
    if (!recognizer || recognizer->view().get() == this)
        return;
    if (const auto before = recognizer->view())
        before->removeGestureRecognizer(recognizer);
    recognizers_.push_back(recognizer);
    recognizer->setView(weakFromThis(*this));
}

void UIView::removeGestureRecognizer(const std::shared_ptr<UIGestureRecognizer>& recognizer)
{
    if (std::erase(recognizers_, recognizer) != 0)
        recognizer->setView({});
}

void UIView::addInteraction(const std::shared_ptr<UIInteraction>& interaction)
{
    const auto self = sharedFromThis(*this);
    if (!interaction || interaction->view() == self)
        return;
    if (const auto before = interaction->view())
        before->removeInteraction(interaction);
    interaction->willMoveToView(self);
    interactions_.push_back(interaction);
    interaction->didMoveToView(self);
}

void UIView::removeInteraction(const std::shared_ptr<UIInteraction>& interaction)
{
    if (std::find(interactions_.begin(), interactions_.end(), interaction) == interactions_.end())
        return;
    interaction->willMoveToView(nullptr);
    std::erase(interactions_, interaction);
    interaction->didMoveToView(nullptr);
}

std::shared_ptr<UIResponder> UIView::nextResponder() const
{
    if (auto controller = viewController())
        return controller;
    return superview();
}

std::shared_ptr<UIView> UIView::snapshotViewAfterScreenUpdates(bool afterUpdates)
{
    auto snapshot = make<UISnapshotView>(CGRect { {}, bounds().size }, afterUpdates);
    const double scale = layer()->contentsScale();
    snapshot->layer()->setContents(layer()->image(scale, afterUpdates));
    snapshot->layer()->setContentsScale(scale);
    return snapshot;
}

UISnapshotView::UISnapshotView(CGRect frame, bool afterScreenUpdates)
    : UIView(frame)
    , afterScreenUpdates_(afterScreenUpdates)
{
}

const ClassInfo& UISnapshotView::staticClass()
{
    static constexpr auto methods = methodTable(method<&UISnapshotView::isAfterScreenUpdates>("isAfterScreenUpdates"));
    static const ClassInfo info { "Velmora.UISnapshotView", &UIView::staticClass(), methods };
    return info;
}

}
