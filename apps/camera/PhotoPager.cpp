// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/PhotoPager.h"

#include "platform/Photos/PHAsset.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UINavigationBar.h"
#include "platform/UIKit/UINavigationController.h"
#include "platform/UIKit/UIPanGestureRecognizer.h"
#include "platform/UIKit/UIScreen.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "apps/camera/AlbumPhotos.h"
#include "apps/camera/PictureView.h"
#include "apps/camera/Sheet.h"
#include "apps/camera/Texts.h"

namespace velmora::camera {

namespace {

constexpr double gap = 20, barHeight = 50; // points
constexpr double turnsFrom = 1.0 / 3, flick = 300; // of the width, points a second
constexpr double resistance = 0.3; // beside the first and the last photo
constexpr double turnTime = 0.25; // seconds

}

PhotoPager::PhotoPager(std::shared_ptr<AlbumPhotos> photos, std::size_t index, Share share)
    : photos_(std::move(photos))
    , share_(std::move(share))
    , index_(index)
{
}

const ClassInfo& PhotoPager::staticClass()
{
    static constexpr auto methods = methodTable(method<&PhotoPager::handlePan>("_handlePan"));
    static const ClassInfo info { "VelmoraCamera.PhotoPager", &UIViewController::staticClass(), methods, {} };
    return info;
}

std::shared_ptr<PHAsset> PhotoPager::current() const
{
    return photos_->at(index_);
}

void PhotoPager::loadView()
{
    const auto root = make<UIView>(UIScreen::mainScreen()->bounds());
    root->setBackgroundColor(UIColor::blackColor());
    root->setClipsToBounds(true);
    setView(root);
    strip_ = make<UIView>(root->bounds());
    root->addSubview(strip_);
    bar_ = make<UIView>();
    bar_->setBackgroundColor(UIColor::colorWithWhite(0.97));
    root->addSubview(bar_);
    shareButton_ = addButton("square.and.arrow.up", [this] { this->share(); });
    deleteButton_ = addButton("trash", [this] { askToDelete(); });
    pan_ = make<UIPanGestureRecognizer>(weakFromThis(*this), "_handlePan");
    pan_->setMaximumNumberOfTouches(1); // two enlarge
    root->addGestureRecognizer(pan_);
}

std::shared_ptr<UIButton> PhotoPager::addButton(const std::string& symbol, std::function<void()> action)
{
    auto button = make<UIButton>(CGRectZero, UIButtonTypeSystem);
    button->setImage(UIImage::systemImageNamed(symbol), UIControlStateNormal);
    observations_.push_back(button->addAction(UIControlEventTouchUpInside, std::move(action)));
    bar_->addSubview(button);
    return button;
}

void PhotoPager::viewDidLoad()
{
    UIViewController::viewDidLoad();
    observations_.push_back(photos_->observe([this] { photosChanged(); }));
    show();
}

/// The photo that is seen stays in sight while others come and go. When it went itself, the next one takes its place.
void PhotoPager::photosChanged()
{
    if (const auto index = photos_->indexOf(shown_))
        index_ = *index;
    else if (photos_->count() > 0)
        index_ = std::min(index_, photos_->count() - 1);
    else if (const auto navigation = navigationController()) {
        navigation->popViewControllerAnimated(true);
        return;
    }
    show();
}

/// Between the bars.
CGRect PhotoPager::pageArea()
{
    const UIEdgeInsets safe = view()->safeAreaInsets();
    return UIEdgeInsetsInsetRect(view()->bounds(), { safe.top, 0, barHeight + safe.bottom, 0 });
}

/// So many points to the right of where the photo at the index is seen.
void PhotoPager::placeStrip(double x)
{
    strip_->setFrame(CGRectOffset(pageArea(), x, 0));
}

std::shared_ptr<PictureView> PhotoPager::pageFor(std::size_t index)
{
    const auto photo = photos_->at(index);
    auto& page = pages_[photo->localIdentifier()];
    if (page && page->isOutOfDate(*photo))
        std::exchange(page, nullptr)->removeFromSuperview();
    if (!page) {
        page = make<PictureView>(photo);
        strip_->addSubview(page);
    }
    return page;
}

void PhotoPager::show()
{
    const auto photo = current();
    if (!photo)
        return;
    if (std::exchange(shown_, photo->localIdentifier()) != photo->localIdentifier())
        for (const auto& [identifier, page] : pages_)
            page->showWhole();
    setTitle(std::to_string(index_ + 1) + " / " + std::to_string(photos_->count()));
    if (const auto navigation = navigationController(); navigation && navigation->topViewController().get() == this)
        navigation->navigationBar()->setTitle(title());
    const CGSize size = pageArea().size;
    placeStrip(0);
    auto before = std::exchange(pages_, {});
    for (std::size_t i = index_ > 0 ? index_ - 1 : 0; i <= index_ + 1 && i < photos_->count(); ++i) {
        const auto identifier = photos_->at(i)->localIdentifier();
        if (auto known = before.extract(identifier))
            pages_.insert(std::move(known));
        const double place = (static_cast<double>(i) - static_cast<double>(index_)) * (size.width + gap);
        pageFor(i)->setFrame(CGRectMake(place, 0, size.width, size.height));
    }
    for (const auto& [identifier, page] : before)
        page->removeFromSuperview();
}

void PhotoPager::viewDidLayoutSubviews()
{
    UIViewController::viewDidLayoutSubviews();
    const CGSize size = view()->bounds().size;
    const double below = view()->safeAreaInsets().bottom;
    bar_->setFrame(CGRectMake(0, size.height - barHeight - below, size.width, barHeight + below));
    shareButton_->setFrame(CGRectMake(0, 0, 64, barHeight));
    deleteButton_->setFrame(CGRectMake(size.width - 64, 0, 64, barHeight));
    if (!pan_ || pan_->state() == UIGestureRecognizerStatePossible)
        show();
}

void PhotoPager::viewSafeAreaInsetsDidChange()
{
    UIViewController::viewSafeAreaInsetsDidChange();
    view()->setNeedsLayout();
}

void PhotoPager::handlePan()
{
    switch (pan_->state()) {
    case UIGestureRecognizerStateBegan:
        beginPan();
        break;
    case UIGestureRecognizerStateChanged:
        pan();
        break;
    case UIGestureRecognizerStateEnded:
    case UIGestureRecognizerStateCancelled:
        endPan();
        break;
    case UIGestureRecognizerStatePossible:
    case UIGestureRecognizerStateFailed:
        break;
    }
}

void PhotoPager::beginPan()
{
    const auto page = pages_.find(shown_);
    movesPicture_ = page != pages_.end() && page->second->isEnlarged();
    // A strip that is still on its way goes on from where it is seen.
    stripBefore_ = strip_->layer()->presentationLayer()->frame().origin.x;
    pan_->setTranslation(CGPointZero, view());
}

void PhotoPager::pan()
{
    const CGPoint moved = pan_->translationInView(view());
    if (movesPicture_) {
        pages_.at(shown_)->moveBy(moved);
        pan_->setTranslation(CGPointZero, view());
        return;
    }
    double x = stripBefore_ + moved.x;
    if ((x > 0 && index_ == 0) || (x < 0 && index_ + 1 >= photos_->count()))
        x *= resistance;
    placeStrip(x);
}

void PhotoPager::endPan()
{
    if (std::exchange(movesPicture_, false))
        return;
    const double x = strip_->frame().origin.x, speed = pan_->velocityInView(view()).x;
    const bool cancelled = pan_->state() == UIGestureRecognizerStateCancelled;
    const bool far = std::abs(x) > turnsFrom * view()->bounds().size.width;
    // A flick back takes the way back.
    const bool turns = !cancelled && (std::abs(speed) > flick ? (speed < 0) == (x < 0) : far);
    if (turns && x < 0 && index_ + 1 < photos_->count())
        settle(1);
    else if (turns && x > 0 && index_ > 0)
        settle(-1);
    else
        settle(0);
}

/// The strip comes to rest at the page that is so many further.
void PhotoPager::settle(std::ptrdiff_t pages)
{
    const double x = strip_->frame().origin.x;
    const double width = pageArea().size.width;
    index_ = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(index_) + pages);
    show();
    placeStrip(x + static_cast<double>(pages) * (width + gap));
    UIView::animateWithDuration(turnTime, 0, UIViewAnimationOptionAllowUserInteraction, [&] { placeStrip(0); });
}

void PhotoPager::share()
{
    const auto photo = current();
    if (!photo)
        return;
    share_(photo->files());
    std::string message = textFor("PHOTO_PATH") + "\n";
    for (const auto& file : photo->files())
        message += "\n" + file;
    Sheet::present(*this, message, std::nullopt, textFor("CLOSE"));
}

void PhotoPager::askToDelete()
{
    const auto photo = current();
    if (!photo)
        return;
    const auto failed
        = [weak = std::weak_ptr(std::static_pointer_cast<PhotoPager>(sharedFromThis(*this)))](const NSError& error) {
              if (const auto self = weak.lock())
                  self->tell(error);
          };
    Sheet::present(*this, textFor("DELETE_QUESTION"),
        Sheet::Action { textFor("DELETE_PHOTO"), [photo, failed] { AlbumPhotos::remove(photo, failed); } },
        textFor("CANCEL"));
}

void PhotoPager::tell(const NSError& error)
{
    Sheet::present(*this, error.localizedDescription(), std::nullopt, textFor("CLOSE"));
}

}
