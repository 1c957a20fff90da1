// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGAffineTransform.h"
#include "platform/Foundation/NSCoder.h"
#include "platform/QuartzCore/CALayer.h"
#include "platform/UIKit/UIGeometry.h"
#include "platform/UIKit/UIResponder.h"
#include "platform/UIKit/UIViewAnimation.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace velmora {

class NSLayoutConstraint;
class UIColor;
class UIGestureRecognizer;
class UIInteraction;
class UILayoutGuide;
class UITraitCollection;
class UIViewController;
class UIWindow;

/// How a view's content fills it.
enum UIViewContentMode : std::int64_t {
    UIViewContentModeScaleToFill = 0,
    UIViewContentModeScaleAspectFit = 1,
    UIViewContentModeScaleAspectFill = 2,
    UIViewContentModeRedraw = 3, ///< stretched, and drawn again when the size changes
    UIViewContentModeCenter = 4,
    UIViewContentModeTop = 5,
    UIViewContentModeBottom = 6,
    UIViewContentModeLeft = 7,
    UIViewContentModeRight = 8,
    UIViewContentModeTopLeft = 9,
    UIViewContentModeTopRight = 10,
    UIViewContentModeBottomLeft = 11,
    UIViewContentModeBottomRight = 12,
};

/// What gives way when the superview changes its size. Several along one axis share in proportion to what they have.
enum UIViewAutoresizing : std::uint64_t {
    UIViewAutoresizingNone = 0,
    UIViewAutoresizingFlexibleLeftMargin = 1,
    UIViewAutoresizingFlexibleWidth = 2,
    UIViewAutoresizingFlexibleRightMargin = 4,
    UIViewAutoresizingFlexibleTopMargin = 8,
    UIViewAutoresizingFlexibleHeight = 16,
    UIViewAutoresizingFlexibleBottomMargin = 32,
};
template <> inline constexpr bool isOptionSet<UIViewAutoresizing> = true;

enum UIViewTintAdjustmentMode : std::int64_t {
    UIViewTintAdjustmentModeAutomatic = 0, ///< the superview's
    UIViewTintAdjustmentModeNormal = 1,
    UIViewTintAdjustmentModeDimmed = 2, ///< the tint without its colour
};

/// A rectangle of the screen: draws, holds other views, and gets the touches that fall on it. Made by make<T>(...);
/// subclasses override didConstruct() to set themselves up, superclass first. Main thread only.
///
/// Geometry is the layer's: the frame is in the superview's coordinates and, with a transform, the upright rectangle
/// around the turned bounds; centre and bounds say where the view lies then. Model values change at once, also inside
/// an animation.
class VELMORA_EXPORT UIView : public UIResponder, public CALayerDelegate {
public:
    /// Points.
    explicit UIView(CGRect frame = CGRectZero);
    /// Reads "frame", "bounds", "backgroundColor", "tintColor", "alpha", "hidden", "opaque", "clipsToBounds", "tag",
    /// "contentMode", "autoresizingMask" and "userInteractionEnabled"; what is missing keeps its default. Texts are
    /// read as interface files write them: "{{0, 0}, {10, 20}}", "#RRGGBBAA", "0.5", "YES".
    explicit UIView(const NSCoder& coder);
    ~UIView() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::shared_ptr<CALayer>& layer() const;
    /// A subclass that wants another kind of layer makes it here.
    virtual std::shared_ptr<CALayer> makeLayer() const { return CALayer::layer(); }
    /// Called when an interface file was loaded and all its outlets are set.
    virtual void awakeFromNib() { }
    virtual void prepareForInterfaceBuilder() { }

    CGRect frame() const { return layer()->frame(); }
    virtual void setFrame(CGRect frame);
    CGRect bounds() const { return layer()->bounds(); }
    virtual void setBounds(CGRect bounds);
    CGPoint center() const { return layer()->position(); }
    virtual void setCenter(CGPoint center);
    CGAffineTransform transform() const { return layer()->affineTransform(); }
    virtual void setTransform(const CGAffineTransform& transform);

    double alpha() const { return layer()->opacity(); } ///< 0 to 1; with all that is inside
    virtual void setAlpha(double alpha);
    bool isHidden() const { return layer()->isHidden(); }
    virtual void setHidden(bool hidden);
    const std::shared_ptr<UIColor>& backgroundColor() const { return backgroundColor_; } ///< nil: none
    virtual void setBackgroundColor(const std::shared_ptr<UIColor>& color);
    bool isOpaque() const { return layer()->isOpaque(); }
    void setOpaque(bool opaque) { layer()->setOpaque(opaque); }
    bool clipsToBounds() const { return layer()->masksToBounds(); }
    void setClipsToBounds(bool clips) { layer()->setMasksToBounds(clips); }
    UIViewContentMode contentMode() const { return contentMode_; }
    void setContentMode(UIViewContentMode mode);
    std::int64_t tag() const { return tag_; }
    void setTag(std::int64_t tag) { tag_ = tag; }
    /// The view itself or the first one inside with this tag, depth first; empty without one.
    std::shared_ptr<UIView> viewWithTag(std::int64_t tag);

    // The hierarchy. Layers follow the views' order; a layer of another owner may lie between them. A view that has
    // another superview leaves it. NSException for a view that would hold itself.
    std::shared_ptr<UIView> superview() const { return superview_.lock(); }
    const std::vector<std::shared_ptr<UIView>>& subviews() const { return subviews_; } ///< from the back to the front
    virtual std::shared_ptr<UIWindow> window() const;
    void addSubview(const std::shared_ptr<UIView>& view);
    /// An index beyond the end is the front.
    void insertSubview(const std::shared_ptr<UIView>& view, std::size_t index);
    /// At the back or the front where `sibling` is no subview.
    void insertSubviewBelow(const std::shared_ptr<UIView>& view, const std::shared_ptr<UIView>& sibling);
    void insertSubviewAbove(const std::shared_ptr<UIView>& view, const std::shared_ptr<UIView>& sibling);
    void bringSubviewToFront(const std::shared_ptr<UIView>& view);
    void sendSubviewToBack(const std::shared_ptr<UIView>& view);
    void exchangeSubviews(std::size_t index, std::size_t other);
    void removeFromSuperview();
    /// The view itself counts.
    bool isDescendantOfView(const UIView& view) const;
    virtual void willMoveToSuperview(const std::shared_ptr<UIView>&) { }
    virtual void didMoveToSuperview() { }
    virtual void willMoveToWindow(const std::shared_ptr<UIWindow>&) { }
    virtual void didMoveToWindow() { }
    virtual void didAddSubview(const std::shared_ptr<UIView>&) { }
    virtual void willRemoveSubview(const std::shared_ptr<UIView>&) { }
    /// Its frame, bounds or centre was set, by whomever.
    virtual void subviewDidMove(const UIView&) { }

    // Layout. A changed size moves the subviews by their masks and marks the view.
    UIViewAutoresizing autoresizingMask() const { return autoresizingMask_; }
    void setAutoresizingMask(UIViewAutoresizing mask) { autoresizingMask_ = mask; }
    bool autoresizesSubviews() const { return autoresizesSubviews_; } ///< true at first
    void setAutoresizesSubviews(bool resizes) { autoresizesSubviews_ = resizes; }
    void setNeedsLayout() { layer()->setNeedsLayout(); }
    /// The view and all below it that are marked, from the top down.
    void layoutIfNeeded() { layer()->layoutIfNeeded(); }
    virtual void layoutSubviews() { }
    /// The size that fits the content best within `size`; the present one as it is.
    virtual CGSize sizeThatFits(CGSize size) const;
    /// Takes the size that fits; the origin of the frame stays.
    void sizeToFit();
    /// Negative where the content says nothing.
    virtual CGSize intrinsicContentSize() const { return { UIViewNoIntrinsicMetric, UIViewNoIntrinsicMetric }; }
    static constexpr double UIViewNoIntrinsicMetric = -1;
    /// It is another one now: constraints that go by it are solved again.
    void invalidateIntrinsicContentSize();
    /// False lets constraints place the view instead of its frame and its mask; true at first.
    bool translatesAutoresizingMaskIntoConstraints() const { return translatesMask_; }
    void setTranslatesAutoresizingMaskIntoConstraints(bool translates);
    const std::vector<std::shared_ptr<NSLayoutConstraint>>& constraints() const { return constraints_; } ///< held here
    void addConstraint(const std::shared_ptr<NSLayoutConstraint>& constraint);
    void addConstraints(const std::vector<std::shared_ptr<NSLayoutConstraint>>& constraints);
    void removeConstraint(const std::shared_ptr<NSLayoutConstraint>& constraint);
    std::shared_ptr<UILayoutGuide> safeAreaLayoutGuide();
    /// What bars and rounded corners of the screen may cover; in the view's own coordinates.
    UIEdgeInsets safeAreaInsets() const { return safeArea_; }
    virtual void safeAreaInsetsDidChange() { }
    virtual std::shared_ptr<UITraitCollection> traitCollection() const;

    // Drawing.
    void setNeedsDisplay();
    /// Draws into the current context (UIGraphicsGetCurrentContext), in the view's coordinates; `rect` is the bounds.
    virtual void drawRect(CGRect rect);
    /// A subclass that overrides this and answers true sets up its layer here, and drawRect is not called.
    bool displayLayer(const std::shared_ptr<CALayer>&) override { return false; }

    // Tint. Empty hands the superview's on.
    std::shared_ptr<UIColor> tintColor() const;
    virtual void setTintColor(const std::shared_ptr<UIColor>& color);
    /// What applies here: normal or dimmed.
    UIViewTintAdjustmentMode tintAdjustmentMode() const;
    virtual void setTintAdjustmentMode(UIViewTintAdjustmentMode mode);
    /// What tintColor() answers may have changed: set here or above, dimmed, or the view joined another tree.
    virtual void tintColorDidChange() { }

    // Coordinates; a null view is the window. Without a window both views' outermost superviews coincide.
    CGPoint convertPointToView(CGPoint point, const std::shared_ptr<UIView>& view) const;
    CGPoint convertPointFromView(CGPoint point, const std::shared_ptr<UIView>& view) const;
    CGRect convertRectToView(CGRect rect, const std::shared_ptr<UIView>& view) const;
    CGRect convertRectFromView(CGRect rect, const std::shared_ptr<UIView>& view) const;

    // Touches.
    bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
    void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }
    /// False lets only the first finger through.
    bool isMultipleTouchEnabled() const { return multipleTouchEnabled_; }
    void setMultipleTouchEnabled(bool enabled) { multipleTouchEnabled_ = enabled; }
    /// The deepest view at `point`, in the view's coordinates; nothing hidden, (nearly) transparent or without user
    /// interaction. `event` may be null.
    virtual std::shared_ptr<UIView> hitTest(CGPoint point, const UIEvent* event);
    virtual bool pointInside(CGPoint point, const UIEvent* event) const;
    /// False: touches on it reach nobody.
    virtual bool acceptsTouches() const { return true; }
    void addGestureRecognizer(const std::shared_ptr<UIGestureRecognizer>& recognizer);
    void removeGestureRecognizer(const std::shared_ptr<UIGestureRecognizer>& recognizer);
    const std::vector<std::shared_ptr<UIGestureRecognizer>>& gestureRecognizers() const { return recognizers_; }
    /// Asked of the view that was touched, also for recognisers of its superviews.
    virtual bool gestureRecognizerShouldBegin(UIGestureRecognizer&) { return true; }
    void addInteraction(const std::shared_ptr<UIInteraction>& interaction);
    void removeInteraction(const std::shared_ptr<UIInteraction>& interaction);
    const std::vector<std::shared_ptr<UIInteraction>>& interactions() const { return interactions_; }
    std::shared_ptr<UIResponder> nextResponder() const override;
    void touchesBegan(const UITouches&, const std::shared_ptr<UIEvent>&) override { }
    void touchesMoved(const UITouches&, const std::shared_ptr<UIEvent>&) override { }
    void touchesEnded(const UITouches&, const std::shared_ptr<UIEvent>&) override { }
    void touchesCancelled(const UITouches&, const std::shared_ptr<UIEvent>&) override { }

    /// A new view of the same size that shows a picture of this one: as it is now, or laid out and drawn again before.
    std::shared_ptr<UIView> snapshotViewAfterScreenUpdates(bool afterUpdates);

    // Animation. `animations` runs at once, and what it changes on views and layers goes to the new values in time.
    // `completion` (may be empty) is called once, on the main queue, never inline, after delay and duration; with false
    // when a later animation of the same property, or the removal of the view, interrupted it. Seconds; a duration of 0
    // applies the changes at once. A block inside a block takes the outer one's duration and curve unless its options
    // say otherwise.
    using Animations = std::function<void()>;
    using AnimationCompletion = std::function<void(bool finished)>;
    static void animateWithDuration(double duration, const Animations& animations, AnimationCompletion completion = {});
    static void animateWithDuration(double duration, double delay, UIViewAnimationOptions options,
        const Animations& animations, AnimationCompletion completion = {});
    /// `damping`: 1 does not swing over, lower ratios do. `velocity`: distances a second.
    static void animateWithDuration(double duration, double delay, double damping, double velocity,
        UIViewAnimationOptions options, const Animations& animations, AnimationCompletion completion = {});
    static void performWithoutAnimation(const Animations& changes);
    static bool areAnimationsEnabled();
    /// While they are not, blocks apply their changes at once.
    static void setAnimationsEnabled(bool enabled);
    /// Of the innermost block that is running its changes; empty outside any.
    static std::optional<UIViewAnimation> currentAnimation();

    // For controllers and windows.
    std::shared_ptr<UIViewController> viewController() const { return controller_.lock(); } ///< whose view it is
    void setViewController(const std::weak_ptr<UIViewController>& controller) { controller_ = controller; }
    /// Finds the safe areas of the view and of those in it anew, and tells those that have another one.
    void updateSafeArea();

    // For layers.
    bool drawsLayer(const std::shared_ptr<CALayer>& layer) override;
    void drawLayer(const std::shared_ptr<CALayer>& layer, CGContext& context) override;
    void layoutSublayersOfLayer(const std::shared_ptr<CALayer>& layer) override;

protected:
    void didConstruct() override;

private:
    struct Decoded;
    using Place = std::function<std::size_t(const std::vector<std::shared_ptr<UIView>>&)>;
    void insert(const std::shared_ptr<UIView>& view, const Place& place);
    void placeLayer(const std::shared_ptr<UIView>& view, std::size_t index);
    void tellWindow(const std::shared_ptr<UIWindow>& window, bool will);
    void tellTint(bool colorChanged, bool modeChanged);
    void sizeChanged(CGSize before);
    void placeDidChange();
    void noteAnimatedChange();
    static void animate(const UIViewAnimation& animation, const Animations& changes, AnimationCompletion completion);
    UIEdgeInsets findSafeArea() const;
    void autoresize(CGSize before, CGSize after);
    CALayer& coordinates(const std::shared_ptr<UIView>& view) const;

    mutable std::shared_ptr<CALayer> layer_;
    CGRect initialFrame_;
    std::unique_ptr<Decoded> decoded_; // until it is constructed
    std::weak_ptr<UIView> superview_;
    std::weak_ptr<UIViewController> controller_;
    UIEdgeInsets safeArea_;
    std::vector<std::shared_ptr<UIView>> subviews_;
    std::shared_ptr<UIColor> backgroundColor_, tintColor_;
    UIViewTintAdjustmentMode tintAdjustmentMode_ = UIViewTintAdjustmentModeAutomatic;
    UIViewContentMode contentMode_ = UIViewContentModeScaleToFill;
    UIViewAutoresizing autoresizingMask_ = UIViewAutoresizingNone;
    bool autoresizesSubviews_ = true, userInteractionEnabled_ = true, multipleTouchEnabled_ = false;
    bool translatesMask_ = true;
    int untouchable_ = 0; // animations that do not allow touches
    bool drawsNothing_ = false; // found out by the first drawing
    std::int64_t tag_ = 0;
    std::vector<std::shared_ptr<NSLayoutConstraint>> constraints_;
    std::shared_ptr<UILayoutGuide> safeAreaGuide_;
    std::vector<std::shared_ptr<UIGestureRecognizer>> recognizers_;
    std::vector<std::shared_ptr<UIInteraction>> interactions_;
};

/// The picture that snapshotViewAfterScreenUpdates answers.
class VELMORA_EXPORT UISnapshotView final : public UIView {
public:
    UISnapshotView(CGRect frame, bool afterScreenUpdates);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
    /// Whether it was taken after layout and drawing.
    bool isAfterScreenUpdates() const { return afterScreenUpdates_; }
    bool displayLayer(const std::shared_ptr<CALayer>&) override { return true; } // it keeps its picture

private:
    const bool afterScreenUpdates_;
};

}
