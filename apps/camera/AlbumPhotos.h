// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Cancellable.h"
#include "platform/Foundation/NSError.h"
#include "platform/Photos/PHPhotoLibraryChangeObserver.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace velmora {
class PHAsset;
class PHAssetCollection;
class PHFetchResult;
}

namespace velmora::camera {

/// The photos and movies of one album, the newest first, as they come and go. Main thread only.
class AlbumPhotos final : public PHPhotoLibraryChangeObserver, public std::enable_shared_from_this<AlbumPhotos> {
public:
    static std::shared_ptr<AlbumPhotos> of(const std::shared_ptr<PHAssetCollection>& album);
    ~AlbumPhotos() override;

    const std::string& title() const { return title_; }
    std::size_t count() const;
    /// Nil beyond the last.
    std::shared_ptr<PHAsset> at(std::size_t index) const;
    std::optional<std::size_t> indexOf(const std::string& localIdentifier) const;

    /// Calls `changed` after others came or went, until the token ends.
    [[nodiscard]] Cancellable observe(std::function<void()> changed);
    /// Deletes it with its files. Calls `failed` later, if it fails.
    static void remove(const std::shared_ptr<PHAsset>& photo, std::function<void(const NSError&)> failed);

    void photoLibraryDidChange(const std::shared_ptr<PHChange>& change) override;

    struct Key {
        explicit Key() = default;
    };
    AlbumPhotos(Key, const std::shared_ptr<PHAssetCollection>& album);

private:
    const std::string title_;
    std::shared_ptr<PHFetchResult> photos_;
    std::map<std::uint64_t, std::function<void()>> observers_;
    std::uint64_t lastObserver_ = 0;
};

}
