// SPDX-License-Identifier: Apache-2.0
#include "velmora/ui/QVViewfinderView.h"

#include "velmora/resources/QVLocalizedString.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/Foundation/NSString.h"
#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UILabel.h"

#include <utility>

namespace velmora {

namespace {

// Seconds.
constexpr double closingTime = 0.15, openingTime = 0.25;

constexpr double labelInset = 20, labelSize = 14; // points
constexpr int labelLines = 5;

bool isCameraDenied()
{
    const auto status = AVCaptureDevice::authorizationStatusForMediaType(AVMediaTypeVideo);
    return status == AVAuthorizationStatusRestricted || status == AVAuthorizationStatusDenied;
}

}

QVViewfinderView::QVViewfinderView(CGRect frame)
    : UIControl(frame)
{
}

QVViewfinderView::QVViewfinderView(const NSCoder& coder)
    : UIControl(coder)
{
}

const ClassInfo& QVViewfinderView::staticClass()
{
    using Self = QVViewfinderView;
    static constexpr auto methods
        = methodTable(method<&Self::isClosed>("isClosed"), method<overload<bool>(&Self::setClosed)>("setClosed:"),
            method<overload<bool, bool>(&Self::setClosed)>("setClosed:animated:"),
            method<&Self::setClosedAnimated>("setClosedAnimated:completion:"),
            method<&Self::_setClosed>("_setClosed:animated:completion:"), method<&Self::closureStyle>("closureStyle"),
            method<&Self::setClosureStyle>("setClosureStyle:"), method<&Self::videoPreviewLayer>("videoPreviewLayer"),
            method<&Self::setVideoPreviewLayer>("setVideoPreviewLayer:"), method<&Self::shutterColor>("shutterColor"),
            method<&Self::setShutterColor>("setShutterColor:"), method<&Self::overlays>("overlays"),
            method<&Self::setOverlays>("setOverlays:"), method<&Self::overlayColor>("overlayColor"),
            method<&Self::setOverlayColor>("setOverlayColor:"), method<&Self::overlayView>("overlayView"),
            method<&Self::setOverlayView>("setOverlayView:"), method<&Self::layoutSubviews>("layoutSubviews"),
            method<&Self::prepareForInterfaceBuilder>("prepareForInterfaceBuilder"));
    static constexpr auto classMethods = methodTable(initialiser<Self>("init"),
        initialiser<Self, CGRect>("initWithFrame:"), initialiser<Self, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.QVViewfinderView", &UIControl::staticClass(), methods, classMethods };
    return info;
}

void QVViewfinderView::setVideoPreviewLayer(const std::shared_ptr<AVCaptureVideoPreviewLayer>& preview)
{
    videoPreviewLayer_ = preview;
    if (preview) {
        preview->setFrame(bounds());
        layer()->insertSublayer(preview, 0);
    }
    if (!isCameraDenied()) {
        if (deniedCameraLabel_)
            deniedCameraLabel_->setHidden(true);
        return;
    }
    if (!deniedCameraLabel_)
        makeDeniedCameraLabel();
    deniedCameraLabel_->setHidden(false);
    setBackgroundColor(shutterColor_); // what was stored: without one the view has no background
}

void QVViewfinderView::makeDeniedCameraLabel()
{
    deniedCameraLabel_ = make<UILabel>(CGRectInset(bounds(), labelInset, labelInset));
    deniedCameraLabel_->setTextColor(UIColor::whiteColor());
    deniedCameraLabel_->setNumberOfLines(labelLines);
    deniedCameraLabel_->setFont(UIFont::systemFontOfSize(labelSize));
    deniedCameraLabel_->setTextAlignment(NSTextAlignmentCenter);
    deniedCameraLabel_->setAutoresizingMask(UIViewAutoresizingFlexibleLeftMargin | UIViewAutoresizingFlexibleRightMargin
        | UIViewAutoresizingFlexibleTopMargin | UIViewAutoresizingFlexibleBottomMargin);
    addSubview(deniedCameraLabel_);
    const auto format = QVLocalizedString("ACCESS_DENIED_MESSAGE_FORMAT"), camera = QVLocalizedString("CAMERA");
    if (format)
        deniedCameraLabel_->setText(stringWithRuntimeFormat(*format, { camera.value_or(""), camera.value_or("") }));
}

void QVViewfinderView::layoutSubviews()
{
    UIControl::layoutSubviews();
    if (const auto preview = videoPreviewLayer())
        preview->setFrame(bounds());
    if (overlayView_)
        overlayView_->setFrame(bounds());
    layOutShutter();
}

void QVViewfinderView::layOutShutter()
{
    if (!shutterLeadingView_ || !shutterTrailingView_)
        return;
    const bool covers = closed_ || isCameraDenied();
    const double width = bounds().size.width, height = bounds().size.height;
    CGRect leading, trailing;
    if (closureStyle_ == QVViewfinderClosureStyleTopBottom) {
        leading = CGRectMake(0, covers ? 0 : -height / 2, width, height / 2);
        trailing = CGRectMake(0, covers ? height / 2 : height, width, height / 2);
    } else if (closureStyle_ == QVViewfinderClosureStyleLeftRight) {
        leading = CGRectMake(covers ? 0 : -width / 2, 0, width / 2, height);
        trailing = CGRectMake(covers ? width / 2 : width, 0, width / 2, height);
    }
    shutterLeadingView_->setFrame(leading);
    shutterTrailingView_->setFrame(trailing);
}

void QVViewfinderView::makeShutter()
{
    for (auto* piece : { &shutterLeadingView_, &shutterTrailingView_ }) {
        *piece = make<UIView>(CGRectZero);
        (*piece)->setBackgroundColor(shutterColor());
        (*piece)->setHidden(true);
        (*piece)->setAutoresizingMask(UIViewAutoresizingNone);
        if (overlayView_)
            insertSubviewBelow(*piece, overlayView_);
        else
            addSubview(*piece);
    }
    setNeedsLayout();
}

void QVViewfinderView::hideShutter(bool hidden)
{
    shutterLeadingView_->setHidden(hidden);
    shutterTrailingView_->setHidden(hidden);
}

void QVViewfinderView::_setClosed(bool closed, bool animated, ClosedCompletion completion)
{
    if (!shutterLeadingView_ || !shutterTrailingView_)
        makeShutter();
    if (closed == closed_)
        return;
    layoutIfNeeded(); // where the animation begins
    closed_ = closed;
    setNeedsLayout();
    const auto self = sharedFromThis(*this);
    const auto layOut = [self] { self->layoutIfNeeded(); };
    if (closed) {
        hideShutter(false);
        if (animated)
            animateWithDuration(closingTime, 0, UIViewAnimationOptionCurveEaseIn, layOut, std::move(completion));
    } else if (animated) {
        animateWithDuration(openingTime, 0, UIViewAnimationOptionCurveEaseOut, layOut,
            [self, completion = std::move(completion)](bool finished) {
                self->hideShutter(true);
                if (completion)
                    completion(finished);
            });
    } else
        hideShutter(true);
}

std::shared_ptr<UIColor> QVViewfinderView::shutterColor() const
{
    return shutterColor_ ? shutterColor_ : UIColor::blackColor();
}

void QVViewfinderView::setShutterColor(const std::shared_ptr<UIColor>& color)
{
    shutterColor_ = color;
    for (const std::shared_ptr<UIView>& each :
        { shutterLeadingView_, shutterTrailingView_, std::static_pointer_cast<UIView>(deniedCameraLabel_) })
        if (each)
            each->setBackgroundColor(shutterColor());
}

void QVViewfinderView::setOverlays(QVViewfinderOverlays overlays)
{
    overlays_ = overlays;
    if (const auto view = std::dynamic_pointer_cast<QVViewfinderOverlayView>(overlayView_))
        view->setOverlays(overlays);
}

void QVViewfinderView::setOverlayColor(const std::shared_ptr<UIColor>& color)
{
    overlayColor_ = color;
    if (const auto view = std::dynamic_pointer_cast<QVViewfinderOverlayView>(overlayView_))
        view->setColor(color);
}

void QVViewfinderView::setOverlayView(const std::shared_ptr<UIView>& view)
{
    if (overlayView_)
        overlayView_->removeFromSuperview();
    overlayView_ = view;
    if (view)
        addSubview(view);
}

void QVViewfinderView::prepareForInterfaceBuilder()
{
    UIControl::prepareForInterfaceBuilder();
    setBackgroundColor(UIColor::blackColor());
}

}
