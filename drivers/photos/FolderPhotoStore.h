// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Photos/PhotoStore.h"

#include <memory>
#include <string>

namespace velmora::drivers::photos {

class Library;

/// A photo library that is a folder of picture files and, hidden beside them, one database: what they are, in which
/// albums they lie. Other programs may put files into the folder, take them out, rename and move them; several
/// processes may use it at once. An asset's files have one name with several endings. From any thread.
class VELMORA_EXPORT FolderPhotoStore : public PhotoStore {
public:
    /// The database's name in the library's folder.
    static constexpr const char* databaseName = ".photos.sqlite";

    /// The folder is made where it is missing; nothing is read before the first question. A database that is damaged is
    /// set aside, with a message, and made anew from the files. A folder that may only be read is shown from memory.
    explicit FolderPhotoStore(std::string folder);
    ~FolderPhotoStore() override;

    /// Opens the library now, and returns when everything that other programs did before this call is in it. Throws
    /// NSError when there is no such folder and none can be made.
    void synchronize();
    bool isReadOnly() const;
    const std::string& folder() const;

    int authorizationStatus() const override;
    void requestAuthorization(std::function<void(int)> answer) override;
    std::vector<AssetRecord> assets(const AssetQuery& query) const override;
    std::vector<CollectionRecord> collections(const CollectionQuery& query) const override;
    std::optional<std::string> newIdentifier() override;
    bool mayChange(const std::string& collection) const override;
    void commit(const std::vector<PhotoStep>& steps) override;
    std::uint64_t newestChange() const override;
    std::optional<std::vector<LibraryChange>> changesSince(std::uint64_t number) const override;
    Cancellable observe(std::function<void()> changed) override;

private:
    std::shared_ptr<Library> library() const; ///< Opened at the first question.
    std::shared_ptr<Library> libraryToRead() const;

    struct Opening;
    std::unique_ptr<Opening> opening_;
};

}
