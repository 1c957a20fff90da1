// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/PhotoGrid.h"

#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHImageManager.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIControl.h"
#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UINavigationController.h"
#include "platform/UIKit/UIScreen.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <utility>

#include "apps/camera/AlbumPhotos.h"
#include "apps/camera/Texts.h"

namespace velmora::camera {

namespace {

// Points.
constexpr double gap = 2, wantedSide = 110, margin = 16, symbolSize = 48, textSize = 15, durationSize = 11,
                 durationHeight = 18;
constexpr std::size_t fewestColumns = 3;

/// The places of the pictures in a grid of this width.
class Layout {
public:
    explicit Layout(double width);
    CGRect frameOf(std::size_t index) const;
    double height(std::size_t count) const;
    /// The first, and the one after the last, that are seen between two heights.
    std::pair<std::size_t, std::size_t> indexesBetween(double top, double bottom, std::size_t count) const;

private:
    std::size_t columns_;
    double side_;
};

Layout::Layout(double width)
    : columns_(std::max(fewestColumns, static_cast<std::size_t>((width + gap) / (wantedSide + gap))))
    , side_(std::max(1.0, (width - gap * static_cast<double>(columns_ - 1)) / static_cast<double>(columns_)))
{
}

CGRect Layout::frameOf(std::size_t index) const
{
    const auto step = side_ + gap;
    return CGRectMake(
        static_cast<double>(index % columns_) * step, static_cast<double>(index / columns_) * step, side_, side_);
}

double Layout::height(std::size_t count) const
{
    return count == 0 ? 0 : CGRectGetMaxY(frameOf(count - 1));
}

std::pair<std::size_t, std::size_t> Layout::indexesBetween(double top, double bottom, std::size_t count) const
{
    const auto rowAt = [&](double y) { return static_cast<std::size_t>(std::max(0.0, y) / (side_ + gap)); };
    return { std::min(count, rowAt(top) * columns_), std::min(count, (rowAt(bottom) + 1) * columns_) };
}

/// "1:05"
std::string clockText(double seconds)
{
    const auto whole = static_cast<long>(std::lround(seconds));
    std::array<char, 32> text {};
    std::snprintf(text.data(), text.size(), "%ld:%02ld", whole / 60, whole % 60);
    return text.data();
}

}

/// A small picture that can be tapped.
class PhotoGrid::Cell final : public UIControl {
public:
    Cell(std::shared_ptr<PHAsset> photo, std::function<void()> tapped)
        : photo_(std::move(photo))
        , tapped_(std::move(tapped))
    {
    }
    /// It was edited since.
    bool isOutOfDate(const PHAsset& photo) const
    {
        return photo.record().modificationDate != photo_->record().modificationDate;
    }
    ~Cell() override { PHImageManager::defaultManager()->cancelImageRequest(request_); }

    void layoutSubviews() override
    {
        UIControl::layoutSubviews();
        const CGSize size = bounds().size;
        picture_->setFrame(bounds());
        if (duration_)
            duration_->setFrame(CGRectMake(0, size.height - durationHeight, size.width - gap * 2, durationHeight));
        if (size != requestedFor_)
            request(size);
    }

protected:
    void didConstruct() override
    {
        UIControl::didConstruct();
        setBackgroundColor(UIColor::colorWithWhite(0.88));
        setClipsToBounds(true);
        picture_ = make<UIImageView>();
        picture_->setContentMode(UIViewContentModeScaleAspectFill);
        picture_->setClipsToBounds(true);
        addSubview(picture_);
        if (photo_->mediaType() == PHAssetMediaTypeVideo) {
            duration_ = make<UILabel>();
            duration_->setFont(UIFont::boldSystemFontOfSize(durationSize));
            duration_->setTextColor(UIColor::whiteColor());
            duration_->setTextAlignment(NSTextAlignmentRight);
            duration_->setText(clockText(photo_->duration()));
            addSubview(duration_);
        }
        action_ = addAction(UIControlEventTouchUpInside, tapped_);
    }
    void stateDidChange() override { picture_->setAlpha(isHighlighted() ? 0.6 : 1); }

private:
    void request(CGSize size)
    {
        requestedFor_ = size;
        PHImageManager::defaultManager()->cancelImageRequest(request_);
        const double scale = UIScreen::mainScreen()->scale();
        request_ = PHImageManager::defaultManager()->requestImageForAsset(photo_,
            { size.width * scale, size.height * scale }, PHImageContentModeAspectFill, nullptr,
            [weak = weakFromThis(*this)](const std::shared_ptr<UIImage>& image, const ArchiveDictionary&) {
                if (const auto self = weak.lock(); self && image)
                    self->picture_->setImage(image);
            });
    }

    const std::shared_ptr<PHAsset> photo_;
    const std::function<void()> tapped_;
    std::shared_ptr<UIImageView> picture_;
    std::shared_ptr<UILabel> duration_;
    CGSize requestedFor_;
    PHImageRequestID request_ = PHInvalidImageRequestID;
    Cancellable action_;
};

PhotoGrid::PhotoGrid(std::shared_ptr<AlbumPhotos> photos, PhotoPager::Share share)
    : photos_(std::move(photos))
    , share_(std::move(share))
{
}

void PhotoGrid::loadView()
{
    const auto root = make<UIView>(UIScreen::mainScreen()->bounds());
    root->setBackgroundColor(UIColor::whiteColor());
    setView(root);
    scroll_ = make<UIScrollView>(root->bounds());
    scroll_->setAlwaysBounceVertical(true); // a short grid can be pulled down too
    root->addSubview(scroll_);
    empty_ = make<UIView>();
    empty_->setUserInteractionEnabled(false);
    emptyPicture_ = make<UIImageView>(UIImage::systemImageNamed("photo"));
    emptyPicture_->setTintColor(UIColor::lightGrayColor());
    emptyPicture_->setContentMode(UIViewContentModeScaleAspectFit);
    emptyText_ = make<UILabel>();
    emptyText_->setFont(UIFont::systemFontOfSize(textSize));
    emptyText_->setTextColor(UIColor::grayColor());
    emptyText_->setTextAlignment(NSTextAlignmentCenter);
    emptyText_->setNumberOfLines(0);
    emptyText_->setText(textFor("NO_PHOTOS"));
    empty_->addSubview(emptyPicture_);
    empty_->addSubview(emptyText_);
    root->addSubview(empty_);
}

void PhotoGrid::viewDidLoad()
{
    UIViewController::viewDidLoad();
    setTitle(photos_->title());
    const auto self = std::static_pointer_cast<PhotoGrid>(sharedFromThis(*this));
    scroll_->setDelegate(self);
    observation_ = photos_->observe([this] { photosChanged(); });
}

void PhotoGrid::photosChanged()
{
    view()->setNeedsLayout();
}

void PhotoGrid::viewDidLayoutSubviews()
{
    UIViewController::viewDidLayoutSubviews();
    const CGSize size = view()->bounds().size;
    scroll_->setFrame(view()->bounds());
    scroll_->setContentSize({ size.width, Layout(size.width).height(photos_->count()) });
    empty_->setHidden(photos_->count() > 0);
    empty_->setFrame(CGRectInset(view()->bounds(), margin, 0));
    const CGSize inside = empty_->bounds().size;
    const double text = emptyText_->sizeThatFits(inside).height;
    const double top = (size.height - symbolSize - margin - text) / 2;
    emptyPicture_->setFrame(CGRectMake((inside.width - symbolSize) / 2, top, symbolSize, symbolSize));
    emptyText_->setFrame(CGRectMake(0, top + symbolSize + margin, inside.width, text));
    showCells();
}

void PhotoGrid::showCells()
{
    const CGRect seen = scroll_->bounds();
    const Layout layout(seen.size.width);
    const auto [first, last] = layout.indexesBetween(seen.origin.y, CGRectGetMaxY(seen), photos_->count());
    auto before = std::exchange(cells_, {});
    for (std::size_t i = first; i < last; ++i) {
        const auto photo = photos_->at(i);
        const auto& identifier = photo->localIdentifier();
        if (auto known = before.extract(identifier))
            cells_.insert(std::move(known));
        auto& cell = cells_[identifier];
        if (cell && cell->isOutOfDate(*photo))
            std::exchange(cell, nullptr)->removeFromSuperview();
        if (!cell) {
            cell = make<Cell>(photo, [this, identifier] { open(identifier); });
            scroll_->addSubview(cell);
        }
        cell->setFrame(layout.frameOf(i));
    }
    for (const auto& [identifier, cell] : before)
        cell->removeFromSuperview();
}

void PhotoGrid::open(const std::string& localIdentifier)
{
    const auto index = photos_->indexOf(localIdentifier);
    const auto navigation = navigationController();
    if (index && navigation && navigation->topViewController().get() == this)
        navigation->pushViewController(make<PhotoPager>(photos_, *index, share_), true);
}

}
