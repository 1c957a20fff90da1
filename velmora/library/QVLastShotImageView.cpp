// SPDX-License-Identifier: Apache-2.0
#include "velmora/library/QVLastShotImageView.h"

#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSSortDescriptor.h"
#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHAssetCollection.h"
#include "platform/Photos/PHChange.h"
#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PHFetchResultChangeDetails.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UITouch.h"

#include <utility>

namespace velmora {

namespace {

// Points.
constexpr double cornerRadius = 4, overhang = 2, border = 2, startAbove = 10;

// Seconds.
constexpr double newPhotoDelay = 0.25, slideTime = 0.5, slideDelay = 0.25;

/// The newest alone.
std::shared_ptr<PHFetchOptions> newest()
{
    const auto options = make<PHFetchOptions>();
    options->setSortDescriptors({ NSSortDescriptor::sortDescriptorWithKey("creationDate", false) });
    options->setFetchLimit(1);
    return options;
}

}

QVLastShotImageView::QVLastShotImageView(CGRect frame)
    : UIControl(frame)
{
}

QVLastShotImageView::QVLastShotImageView(const NSCoder& coder)
    : UIControl(coder)
{
}

QVLastShotImageView::~QVLastShotImageView()
{
    PHPhotoLibrary::sharedPhotoLibrary()->unregisterChangeObserver(*this);
}

const ClassInfo& QVLastShotImageView::staticClass()
{
    using Self = QVLastShotImageView;
    static constexpr auto methods = methodTable(method<&Self::monitoredAssetCollection>("monitoredAssetCollection"),
        method<&Self::setMonitoredAssetCollection>("setMonitoredAssetCollection:"),
        method<&Self::latestPhotoFetchResult>("latestPhotoFetchResult"),
        method<&Self::setLatestPhotoFetchResult>("setLatestPhotoFetchResult:"),
        method<&Self::insetToHidePhotoBorder>("insetToHidePhotoBorder"),
        method<&Self::setInsetToHidePhotoBorder>("setInsetToHidePhotoBorder:"),
        method<&Self::setImage>("setImage:animated:"), method<&Self::clearImageView>("clearImageView:"),
        method<&Self::touchesEnded>("touchesEnded:withEvent:"),
        method<&Self::photoLibraryDidChange>("photoLibraryDidChange:"), method<&Self::_pointSize>("_pointSize"));
    static constexpr auto classMethods = methodTable(initialiser<Self>("init"),
        initialiser<Self, CGRect>("initWithFrame:"), initialiser<Self, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.QVLastShotImageView", &UIControl::staticClass(), methods, classMethods };
    return info;
}

void QVLastShotImageView::didConstruct()
{
    UIControl::didConstruct();
    _initialize();
}

void QVLastShotImageView::_initialize()
{
    setClipsToBounds(true);
    layer()->setCornerRadius(cornerRadius);
    insetToHidePhotoBorder_ = true; // without its setter: the pictures are larger than the control here, not smaller
    const CGRect large
        = CGRectMake(-overhang, -overhang, frame().size.width + 2 * overhang, frame().size.height + 2 * overhang);
    for (auto* each : { &currentImageView_, &incomingImageView_ }) {
        *each = make<UIImageView>();
        (*each)->setFrame(large);
        (*each)->setClipsToBounds(true);
        (*each)->setContentMode(UIViewContentModeScaleAspectFill);
        (*each)->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
        addSubview(*each);
    }
    setLatestPhotoFetchResult(PHAsset::fetchAssetsWithMediaType(PHAssetMediaTypeImage, newest()));
}

CGSize QVLastShotImageView::_pointSize() const
{
    const double scale = UIScreen::mainScreen()->scale();
    const CGSize size = currentImageView_->bounds().size;
    return { scale * size.width, scale * size.height };
}

void QVLastShotImageView::setMonitoredAssetCollection(const std::shared_ptr<PHAssetCollection>& album)
{
    monitoredAssetCollection_ = album;
    setLatestPhotoFetchResult(album ? PHAsset::fetchAssetsInAssetCollection(album, newest()) : nullptr);
}

void QVLastShotImageView::setLatestPhotoFetchResult(const std::shared_ptr<PHFetchResult>& result)
{
    latestPhotoFetchResult_ = result;
    const auto library = PHPhotoLibrary::sharedPhotoLibrary();
    if (result)
        library->registerChangeObserver(weakFromThis(*this));
    else {
        library->unregisterChangeObserver(*this);
        if (activeImageRequestID_ != 0) {
            PHImageManager::defaultManager()->cancelImageRequest(activeImageRequestID_);
            activeImageRequestID_ = 0;
        }
    }
    const auto photo = result ? result->firstObjectAs<PHAsset>() : nullptr;
    if (!photo) {
        currentImageView_->setImage(nullptr);
        return;
    }
    activeImageRequestID_
        = request(photo, [weak = weakFromThis(*this)](const std::shared_ptr<UIImage>& image, const ArchiveDictionary&) {
              const auto self = weak.lock();
              if (self && self->activeImageRequestID_ != 0)
                  self->setImage(image, false);
          });
}

PHImageRequestID QVLastShotImageView::request(
    const std::shared_ptr<PHAsset>& photo, PHImageManager::ResultHandler handler) const
{
    return PHImageManager::defaultManager()->requestImageForAsset(
        photo, _pointSize(), PHImageContentModeAspectFill, nullptr, std::move(handler));
}

/// On a queue of the library's.
void QVLastShotImageView::photoLibraryDidChange(const std::shared_ptr<PHChange>& change)
{
    DispatchQueue::main().async([weak = weakFromThis(*this), change] {
        const auto self = weak.lock();
        if (!self || !self->latestPhotoFetchResult_)
            return;
        // A photo that was deleted stays in sight: only new ones count.
        const auto details = change->changeDetailsForFetchResult(self->latestPhotoFetchResult_);
        if (!details || details->insertedIndexes().empty())
            return;
        self->latestPhotoFetchResult_ = details->fetchResultAfterChanges();
        DispatchQueue::main().after(newPhotoDelay, [weak] {
            if (const auto alive = weak.lock())
                alive->showNewest();
        });
    });
}

void QVLastShotImageView::showNewest()
{
    const auto photo = latestPhotoFetchResult_ ? latestPhotoFetchResult_->lastObjectAs<PHAsset>() : nullptr;
    if (!photo)
        return;
    request(photo, [weak = weakFromThis(*this)](const std::shared_ptr<UIImage>& image, const ArchiveDictionary& info) {
        const auto degraded = valueIn<bool>(info, PHImageResultIsDegradedKey);
        const auto self = weak.lock();
        if (self && degraded && !*degraded)
            self->setImage(image, true);
    });
}

void QVLastShotImageView::setImage(const std::shared_ptr<UIImage>& image, bool animated)
{
    if (!animated) {
        currentImageView_->setImage(image);
        return;
    }
    const auto current = currentImageView_, incoming = incomingImageView_;
    incoming->setImage(image);
    incoming->setTransform(CGAffineTransform { 1, 0, 0, 1, 0, -startAbove - bounds().size.height });
    animateWithDuration(
        slideTime, slideDelay, UIViewAnimationOptionAllowUserInteraction,
        [incoming] { incoming->setTransform(CGAffineTransform {}); },
        [current, incoming](bool) {
            current->setImage(incoming->image());
            incoming->setImage(nullptr);
        });
}

void QVLastShotImageView::clearImageView(const std::shared_ptr<NSObject>&)
{
    currentImageView_->setImage(nullptr);
}

void QVLastShotImageView::setInsetToHidePhotoBorder(bool inset)
{
    insetToHidePhotoBorder_ = inset;
    const CGRect place = inset ? CGRectInset(bounds(), border, border) : bounds();
    currentImageView_->setFrame(place);
    incomingImageView_->setFrame(place);
}

/// The superclass does not hear of it.
void QVLastShotImageView::touchesEnded(const UITouches& touches, const std::shared_ptr<UIEvent>&)
{
    if (!touches.empty() && CGRectContainsPoint(bounds(), touches.front()->locationInView(this)))
        sendActionsForControlEvents(UIControlEventTouchUpInside);
}

}
