// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIView.h"

#include <cstdint>
#include <memory>

namespace velmora {

class UIPanGestureRecognizer;
class UIScrollView;

enum UIScrollViewContentInsetAdjustmentBehavior : std::int64_t {
    UIScrollViewContentInsetAdjustmentAutomatic = 0, ///< the safe area is added
    UIScrollViewContentInsetAdjustmentNever = 2,
};

/// Hears of scrolling. Main thread only.
class VELMORA_EXPORT UIScrollViewDelegate {
public:
    virtual ~UIScrollViewDelegate() = default;
    virtual void scrollViewDidScroll(UIScrollView&) { }
    virtual void scrollViewWillBeginDragging(UIScrollView&) { }
    virtual void scrollViewDidEndDragging(UIScrollView&, bool /*willDecelerate*/) { }
    virtual void scrollViewDidEndDecelerating(UIScrollView&) { }
};

/// Shows a part of a larger content, which a finger moves: its offset is the origin of its bounds. Lifted, the finger
/// leaves it rolling by the clock in force; pulled past its end, it resists, and it swings back when it is let go.
/// The key "contentOffset" is announced with every change. Main thread only.
class VELMORA_EXPORT UIScrollView : public UIView {
public:
    explicit UIScrollView(CGRect frame = CGRectZero);
    /// Reads nothing besides what views read.
    explicit UIScrollView(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Which of the content's points lies at the top left, in points.
    CGPoint contentOffset() const { return bounds().origin; }
    /// As it is given, also past the ends. What rolls stops.
    void setContentOffset(CGPoint offset);
    void setContentOffset(CGPoint offset, bool animated);
    CGSize contentSize() const { return contentSize_; }
    void setContentSize(CGSize size) { contentSize_ = size; }
    /// Room around the content.
    UIEdgeInsets contentInset() const { return contentInset_; }
    void setContentInset(UIEdgeInsets inset);
    UIScrollViewContentInsetAdjustmentBehavior contentInsetAdjustmentBehavior() const { return adjustment_; }
    void setContentInsetAdjustmentBehavior(UIScrollViewContentInsetAdjustmentBehavior behavior);
    /// With what the safe area adds.
    UIEdgeInsets adjustedContentInset() const;

    bool isScrollEnabled() const { return scrollEnabled_; }
    void setScrollEnabled(bool enabled);
    bool bounces() const { return bounces_; } ///< true at first; false stops it at its ends
    void setBounces(bool bounces) { bounces_ = bounces; }
    // A content that fits can be pulled all the same; false at first.
    bool alwaysBounceVertical() const { return alwaysVertical_; }
    void setAlwaysBounceVertical(bool always) { alwaysVertical_ = always; }
    bool alwaysBounceHorizontal() const { return alwaysHorizontal_; }
    void setAlwaysBounceHorizontal(bool always) { alwaysHorizontal_ = always; }
    /// What is left of the speed after a millisecond; 0.998 at first.
    double decelerationRate() const { return decelerationRate_; }
    void setDecelerationRate(double rate) { decelerationRate_ = rate; }

    bool isDragging() const { return dragging_; } ///< a finger moves it
    /// For whoever replays a pull: says that a finger moves it, or that none does any more.
    void setDragging(bool dragging) { dragging_ = dragging; }
    bool isDecelerating() const { return decelerating_; } ///< it rolls or swings back
    const std::shared_ptr<UIPanGestureRecognizer>& panGestureRecognizer() const { return pan_; }
    // Held weakly.
    std::shared_ptr<UIScrollViewDelegate> delegate() const { return delegate_.lock(); }
    void setDelegate(const std::weak_ptr<UIScrollViewDelegate>& delegate) { delegate_ = delegate; }

    void setBounds(CGRect bounds) override;
    void safeAreaInsetsDidChange() override;

protected:
    void didConstruct() override;

private:
    struct Range {
        double low, high;
    };
    void handlePan();
    void beginDragging();
    void drag();
    void endDragging();
    void stop();
    Range range(bool vertical) const;
    double resisting(double offset, bool vertical) const;
    void roll(CGPoint velocity);
    void scheduleStep();
    void step(double seconds);
    bool stepAxis(double& offset, double& velocity, double seconds, bool vertical) const;

    CGSize contentSize_;
    UIEdgeInsets contentInset_;
    UIScrollViewContentInsetAdjustmentBehavior adjustment_ = UIScrollViewContentInsetAdjustmentAutomatic;
    bool scrollEnabled_ = true, bounces_ = true, alwaysVertical_ = false, alwaysHorizontal_ = false;
    bool dragging_ = false, decelerating_ = false;
    double decelerationRate_ = 0.998;
    std::shared_ptr<UIPanGestureRecognizer> pan_;
    std::weak_ptr<UIScrollViewDelegate> delegate_;
    CGPoint dragStart_, velocity_; // the offset when the finger began; points a second of the offset
    double safeTop_ = 0; // of the last safe area
    std::uint64_t rolling_ = 0; // counts them: the steps of an older one are void
};

}
