// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/PictureView.h"

#include "platform/Photos/PHAsset.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIPinchGestureRecognizer.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UITapGestureRecognizer.h"

#include <algorithm>
#include <utility>

#include "apps/camera/Texts.h"

namespace velmora::camera {

namespace {

constexpr double tapZoom = 2.5, leastLargestZoom = 4, smallestWhilePinching = 0.6;
constexpr double zoomTime = 0.25; // seconds

/// Where a picture is shown that is `zoom` times as large as it fits, with its middle `shift` away from the view's.
CGRect pictureFrame(CGSize view, CGSize picture, double zoom, CGPoint shift)
{
    if (picture.width <= 0 || picture.height <= 0)
        return CGRectZero;
    const double scale = zoom * std::min(view.width / picture.width, view.height / picture.height);
    const double width = picture.width * scale, height = picture.height * scale;
    return CGRectMake((view.width - width) / 2 + shift.x, (view.height - height) / 2 + shift.y, width, height);
}

/// The shift nearest to `wanted` that leaves no gap beside a picture that could fill it.
CGPoint permittedShift(CGSize view, CGSize picture, double zoom, CGPoint wanted)
{
    const CGSize shown = pictureFrame(view, picture, zoom, CGPointZero).size;
    const double across = std::max(0.0, (shown.width - view.width) / 2);
    const double down = std::max(0.0, (shown.height - view.height) / 2);
    return { std::clamp(wanted.x, -across, across), std::clamp(wanted.y, -down, down) };
}

}

PictureView::PictureView(std::shared_ptr<PHAsset> photo)
    : photo_(std::move(photo))
    , picture_ { static_cast<double>(photo_->pixelWidth()), static_cast<double>(photo_->pixelHeight()) }
{
}

PictureView::~PictureView()
{
    for (const auto request : { forScreen_, whole_ })
        PHImageManager::defaultManager()->cancelImageRequest(request);
}

const ClassInfo& PictureView::staticClass()
{
    static constexpr auto methods = methodTable(
        method<&PictureView::handlePinch>("_handlePinch"), method<&PictureView::handleDoubleTap>("_handleDoubleTap"));
    static const ClassInfo info { "VelmoraCamera.PictureView", &UIView::staticClass(), methods, {} };
    return info;
}

void PictureView::didConstruct()
{
    UIView::didConstruct();
    setClipsToBounds(true);
    setMultipleTouchEnabled(true);
    image_ = make<UIImageView>();
    image_->setContentMode(UIViewContentModeScaleToFill);
    addSubview(image_);
    unreadable_ = make<UILabel>();
    unreadable_->setText(textFor("PHOTO_UNREADABLE"));
    unreadable_->setTextColor(UIColor::lightGrayColor());
    unreadable_->setTextAlignment(NSTextAlignmentCenter);
    unreadable_->setNumberOfLines(0);
    unreadable_->setHidden(true);
    addSubview(unreadable_);
    pinch_ = make<UIPinchGestureRecognizer>(weakFromThis(*this), "_handlePinch");
    addGestureRecognizer(pinch_);
    doubleTap_ = make<UITapGestureRecognizer>(weakFromThis(*this), "_handleDoubleTap");
    doubleTap_->setNumberOfTapsRequired(2);
    addGestureRecognizer(doubleTap_);
}

bool PictureView::isOutOfDate(const PHAsset& photo) const
{
    return photo.record().modificationDate != photo_->record().modificationDate;
}

/// Up to two points of the screen for each pixel, and some way for small pictures too.
double PictureView::largestZoom() const
{
    const double fits = pictureFrame(bounds().size, picture_, 1, CGPointZero).size.width;
    return fits > 0 ? std::max(leastLargestZoom, 2 * picture_.width / fits) : leastLargestZoom;
}

void PictureView::place()
{
    image_->setFrame(pictureFrame(bounds().size, picture_, zoom_, shift_));
}

void PictureView::layoutSubviews()
{
    UIView::layoutSubviews();
    shift_ = permittedShift(bounds().size, picture_, zoom_, shift_);
    place();
    unreadable_->setFrame(bounds());
    requestForScreen();
}

void PictureView::didMoveToWindow()
{
    UIView::didMoveToWindow();
    setNeedsLayout();
}

void PictureView::moveBy(CGPoint distance)
{
    shift_ = permittedShift(bounds().size, picture_, zoom_, { shift_.x + distance.x, shift_.y + distance.y });
    place();
}

void PictureView::showWhole()
{
    zoom_ = 1;
    shift_ = CGPointZero;
    place();
}

/// What lies at `fixed` stays there, as far as there is no gap beside the picture.
void PictureView::zoomTo(double zoom, CGPoint fixed)
{
    const CGSize size = bounds().size;
    const CGPoint from { fixed.x - size.width / 2, fixed.y - size.height / 2 };
    const double factor = zoom / zoom_;
    const CGPoint shift { from.x - (from.x - shift_.x) * factor, from.y - (from.y - shift_.y) * factor };
    zoom_ = zoom;
    shift_ = permittedShift(size, picture_, zoom, shift);
    place();
    if (isEnlarged())
        requestWhole();
}

void PictureView::handlePinch()
{
    const CGPoint at = pinch_->locationInView(sharedFromThis(*this));
    switch (pinch_->state()) {
    case UIGestureRecognizerStateBegan:
        pinchedAt_ = at;
        [[fallthrough]];
    case UIGestureRecognizerStateChanged:
        moveBy({ at.x - pinchedAt_.x, at.y - pinchedAt_.y });
        pinchedAt_ = at;
        zoomTo(std::clamp(zoom_ * pinch_->scale(), smallestWhilePinching, largestZoom()), at);
        pinch_->setScale(1);
        break;
    case UIGestureRecognizerStateEnded:
    case UIGestureRecognizerStateCancelled:
        if (zoom_ < 1)
            animateWithDuration(zoomTime, [this] { showWhole(); });
        break;
    case UIGestureRecognizerStatePossible:
    case UIGestureRecognizerStateFailed:
        break;
    }
}

void PictureView::handleDoubleTap()
{
    animateWithDuration(zoomTime, [this] {
        if (isEnlarged())
            showWhole();
        else
            zoomTo(std::min(tapZoom, largestZoom()), doubleTap_->locationInView(sharedFromThis(*this)));
    });
}

void PictureView::requestForScreen()
{
    const CGSize size = bounds().size;
    if (!window() || size.width <= 0 || size == requestedFor_)
        return;
    requestedFor_ = size;
    const double scale = UIScreen::mainScreen()->scale();
    PHImageManager::defaultManager()->cancelImageRequest(forScreen_);
    request({ size.width * scale, size.height * scale }, forScreen_);
}

void PictureView::requestWhole()
{
    if (whole_ == PHInvalidImageRequestID)
        request(PHImageManagerMaximumSize, whole_);
}

void PictureView::request(CGSize pixels, PHImageRequestID& active)
{
    const bool isWhole = &active == &whole_;
    active = PHImageManager::defaultManager()->requestImageForAsset(photo_, pixels, PHImageContentModeAspectFit,
        nullptr,
        [weak = weakFromThis(*this), isWhole](const std::shared_ptr<UIImage>& image, const ArchiveDictionary& info) {
            const auto self = weak.lock();
            if (!self)
                return;
            const bool isDegraded = valueIn<bool>(info, PHImageResultIsDegradedKey).value_or(false);
            // Neither a sharper picture nor none gives way to what comes in between.
            const auto shown = self->image_->image();
            if (image && (!shown || image->size().width > shown->size().width || (!isDegraded && !isWhole))) {
                if (self->picture_.width <= 0)
                    self->picture_ = image->size();
                self->image_->setImage(image);
                self->place();
            }
            self->unreadable_->setHidden(isDegraded || self->image_->image() != nullptr);
        });
}

}
