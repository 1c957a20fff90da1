// SPDX-License-Identifier: Apache-2.0
#include "drivers/photos/FolderPhotoStore.h"

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/Photos/RandomIdentifier.h"

#include "drivers/photos/Library.h"

#include <filesystem>
#include <mutex>
#include <utility>

namespace velmora::drivers::photos {

namespace {

std::string absolute(const std::string& folder)
{
    auto path = std::filesystem::absolute(folder).lexically_normal().string();
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

}

struct FolderPhotoStore::Opening {
    std::string folder;
    std::mutex mutex;
    std::shared_ptr<Library> library;
    bool complained = false;
};

FolderPhotoStore::FolderPhotoStore(std::string folder)
    : opening_(std::make_unique<Opening>())
{
    opening_->folder = absolute(folder);
}

FolderPhotoStore::~FolderPhotoStore()
{
    if (opening_->library)
        opening_->library->stop();
}

const std::string& FolderPhotoStore::folder() const
{
    return opening_->folder;
}

/// Throws NSError.
std::shared_ptr<Library> FolderPhotoStore::library() const
{
    const std::lock_guard lock(opening_->mutex);
    if (!opening_->library) {
        auto library = std::make_shared<Library>(opening_->folder);
        library->watch();
        opening_->library = std::move(library);
    }
    return opening_->library;
}

/// Empty where there is none: said once.
std::shared_ptr<Library> FolderPhotoStore::libraryToRead() const
{
    try {
        return library();
    } catch (const NSError& error) {
        const std::lock_guard lock(opening_->mutex);
        if (!std::exchange(opening_->complained, true))
            NSLog("[PhotoLibrary] %@", error.localizedDescription());
        return nullptr;
    }
}

void FolderPhotoStore::synchronize()
{
    library()->reconcileAll();
}

bool FolderPhotoStore::isReadOnly() const
{
    const auto library = libraryToRead();
    return !library || library->isReadOnly();
}

int FolderPhotoStore::authorizationStatus() const
{
    return PHAuthorizationStatusAuthorized; // the file system decides
}

void FolderPhotoStore::requestAuthorization(std::function<void(int)> answer)
{
    answer(authorizationStatus());
}

std::vector<AssetRecord> FolderPhotoStore::assets(const AssetQuery& query) const
{
    const auto library = libraryToRead();
    if (!library)
        return {};
    return library->read([&](LibraryRecords& records) { return records.assets(query); });
}

std::vector<CollectionRecord> FolderPhotoStore::collections(const CollectionQuery& query) const
{
    const auto library = libraryToRead();
    if (!library)
        return {};
    return library->read([&](LibraryRecords& records) { return records.collections(query); });
}

std::optional<std::string> FolderPhotoStore::newIdentifier()
{
    return randomIdentifier();
}

bool FolderPhotoStore::mayChange(const std::string& collection) const
{
    CollectionQuery query;
    query.identifiers = { collection };
    return !isReadOnly() && !collections(query).empty();
}

void FolderPhotoStore::commit(const std::vector<PhotoStep>& steps)
{
    library()->commit(steps);
}

std::uint64_t FolderPhotoStore::newestChange() const
{
    const auto library = libraryToRead();
    return library ? library->read([](LibraryRecords& records) { return records.newestChange(); }) : 0;
}

std::optional<std::vector<LibraryChange>> FolderPhotoStore::changesSince(std::uint64_t number) const
{
    const auto library = libraryToRead();
    if (!library)
        return std::vector<LibraryChange>();
    return library->read([&](LibraryRecords& records) { return records.changesSince(number); });
}

Cancellable FolderPhotoStore::observe(std::function<void()> changed)
{
    const auto library = libraryToRead();
    return library ? library->observe(std::move(changed)) : Cancellable();
}

}
