// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/AlbumPhotos.h"

#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSSortDescriptor.h"
#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHAssetChangeRequest.h"
#include "platform/Photos/PHAssetCollection.h"
#include "platform/Photos/PHChange.h"
#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PHPhotoLibrary.h"

#include <utility>

namespace velmora::camera {

std::shared_ptr<AlbumPhotos> AlbumPhotos::of(const std::shared_ptr<PHAssetCollection>& album)
{
    auto photos = std::make_shared<AlbumPhotos>(Key {}, album);
    PHPhotoLibrary::sharedPhotoLibrary()->registerChangeObserver(photos);
    return photos;
}

AlbumPhotos::AlbumPhotos(Key, const std::shared_ptr<PHAssetCollection>& album)
    : title_(album->localizedTitle())
{
    const auto newestFirst = make<PHFetchOptions>();
    newestFirst->setSortDescriptors({ NSSortDescriptor::sortDescriptorWithKey("creationDate", false) });
    photos_ = PHAsset::fetchAssetsInAssetCollection(album, newestFirst);
}

AlbumPhotos::~AlbumPhotos()
{
    PHPhotoLibrary::sharedPhotoLibrary()->unregisterChangeObserver(*this);
}

std::size_t AlbumPhotos::count() const
{
    return photos_->count();
}

std::shared_ptr<PHAsset> AlbumPhotos::at(std::size_t index) const
{
    return index < count() ? std::dynamic_pointer_cast<PHAsset>(photos_->objectAtIndex(index)) : nullptr;
}

std::optional<std::size_t> AlbumPhotos::indexOf(const std::string& localIdentifier) const
{
    for (std::size_t i = 0; i < count(); ++i)
        if (photos_->objectAtIndex(i)->localIdentifier() == localIdentifier)
            return i;
    return std::nullopt;
}

Cancellable AlbumPhotos::observe(std::function<void()> changed)
{
    const auto id = ++lastObserver_;
    observers_.emplace(id, std::move(changed));
    return Cancellable([weak = weak_from_this(), id] {
        if (const auto self = weak.lock())
            self->observers_.erase(id);
    });
}

void AlbumPhotos::remove(const std::shared_ptr<PHAsset>& photo, std::function<void(const NSError&)> failed)
{
    PHPhotoLibrary::sharedPhotoLibrary()->performChanges([photo] { PHAssetChangeRequest::deleteAssets({ photo }); },
        [failed = std::move(failed)](bool, const std::optional<NSError>& error) {
            if (error)
                DispatchQueue::main().async([failed, error = *error] { failed(error); });
        });
}

/// On a queue of the library's.
void AlbumPhotos::photoLibraryDidChange(const std::shared_ptr<PHChange>& change)
{
    DispatchQueue::main().async([weak = weak_from_this(), change] {
        const auto self = weak.lock();
        const auto details = self ? change->changeDetailsForFetchResult(self->photos_) : nullptr;
        if (!details)
            return;
        self->photos_ = details->fetchResultAfterChanges();
        const auto observers = self->observers_; // one may end its observation meanwhile
        for (const auto& [id, changed] : observers)
            if (self->observers_.contains(id))
                changed();
    });
}

}
