// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/DispatchQueue.h"
#include "platform/Photos/PhotoStore.h"

#include "drivers/phone/PhoneState.h"

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace velmora::drivers::phone {

/// A photo library in memory, with the phone's permission and faults. A phone on a running clock keeps its photos where
/// the machine does, in the store that was installed before it. From any thread.
class PhonePhotos final : public PhotoStore, public std::enable_shared_from_this<PhonePhotos> {
public:
    /// `before` may be empty: then the library is in memory, and holds what the description says.
    PhonePhotos(std::shared_ptr<PhoneState> state, std::shared_ptr<PhotoStore> before);

    int authorizationStatus() const override;
    /// Nobody answers for the user: a change of the description's permission does.
    void requestAuthorization(std::function<void(int)> answer) override;
    std::vector<AssetRecord> assets(const AssetQuery& query) const override;
    std::vector<CollectionRecord> collections(const CollectionQuery& query) const override;
    std::optional<std::string> newIdentifier() override;
    bool mayChange(const std::string& collection) const override;
    void commit(const std::vector<PhotoStep>& steps) override;
    std::uint64_t newestChange() const override;
    std::optional<std::vector<LibraryChange>> changesSince(std::uint64_t number) const override;
    Cancellable observe(std::function<void()> changed) override;
    std::optional<std::vector<Picture>> pictures(const AssetRecord& asset) override;

    void permissionChanged(int status);
    // What others do to the library in memory. Throws NSException (NSInvalidArgumentException) for an album that there
    // is not, and on a running clock, where the photos are the user's own.

    /// Each one second younger than the one before, the last of this moment; with an empty title in no album.
    void addPhotos(const std::string& album, std::size_t count);
    void deleteNewestPhotos(std::size_t count);
    void deleteAlbum(const std::string& title);
    void renameAlbum(const std::string& from, const std::string& to);
    void answerNextImage(std::vector<ImageAnswer> answers);

private:
    struct Content {
        std::vector<AssetRecord> assets;
        std::vector<CollectionRecord> collections;
        std::map<std::string, std::shared_ptr<NSData>> pictures; // of assets that came with one
        std::map<std::string, std::vector<std::string>> members; // of albums, in the order in which they came
        std::vector<LibraryEvent> events; // of the running change
        std::int64_t order = 0;
    };
    class Applying;

    std::string albumNamed(const std::string& title) const;
    void apply(const std::vector<PhotoStep>& steps);
    void fill(const LibraryContent& content);
    bool hasCommittedAndNobodyLooked() const;
    std::shared_ptr<const CGImage> pictureOf(const AssetRecord& asset) const;

    const std::shared_ptr<PhoneState> state_;
    const std::shared_ptr<PhotoStore> before_;
    const DispatchQueue queue_ { "org.velmora.phone.photos" };
    mutable std::mutex mutex_; // guards what follows
    Content content_;
    std::vector<LibraryChange> changes_;
    mutable bool hasCommitted_ = false; // and nobody has looked since
    std::deque<std::vector<ImageAnswer>> answers_;
    std::vector<std::function<void(int)>> questions_;
    std::map<int, std::function<void()>> observers_;
    int lastObserver_ = 0;
};

}
