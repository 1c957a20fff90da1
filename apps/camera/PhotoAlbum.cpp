// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/PhotoAlbum.h"

#include "velmora/library/QVPersistentPhotoAlbum.h"
#include "velmora/library/QVPersistentPhotoCollectionList.h"

#include "platform/Foundation/NSData.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSSortDescriptor.h"
#include "platform/Foundation/NSURL.h"
#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHAssetCollection.h"
#include "platform/Photos/PHAssetCollectionChangeRequest.h"
#include "platform/Photos/PHAssetCreationRequest.h"
#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/Photos/PhotoStore.h"

#include "drivers/installDefaults.h"
#include "drivers/photos/FolderPhotoStore.h"

#include <algorithm>

#include "apps/camera/Refusal.h"

namespace velmora::camera {

namespace {

Refusal refused(const std::string& what, const NSError& error)
{
    return { what, asClause(error.localizedDescription()), "see to it, or choose another folder with --library DIR" };
}

/// Nobody sits before a program that asks for permission.
void checkPermission()
{
    if (PHPhotoLibrary::authorizationStatus() == PHAuthorizationStatusNotDetermined)
        throw Refusal("The photo library cannot be used",
            PhotoStore::installed() ? "nobody has allowed it yet" : "there is no pictures folder, for HOME is not set",
            "choose a folder with --library DIR, or say in the virtual phone's description that photos are authorised");
}

PHAssetResourceType typeOf(const std::string& ending)
{
    return ending == ".dng" ? PHAssetResourceTypeAlternatePhoto
        : ending == ".mov"  ? PHAssetResourceTypePairedVideo
                            : PHAssetResourceTypePhoto;
}

void addFile(PHAssetCreationRequest& request, const std::string& name, const PhotoFile& file)
{
    const auto options = make<PHAssetResourceCreationOptions>();
    options->setOriginalFilename(name + file.ending);
    if (file.file)
        request.addResourceWithTypeFileURL(typeOf(file.ending), NSURL::fileURLWithPath(file.file->string()), options);
    else
        request.addResourceWithTypeData(typeOf(file.ending),
            make<NSData>(std::vector<std::uint8_t>(file.bytes.begin(), file.bytes.end())), options);
}

}

void chooseLibrary(const GlobalOptions& options)
{
    if (options.library)
        PhotoStore::install(std::make_shared<drivers::photos::FolderPhotoStore>(options.library->string()));
}

PhotoAlbum::PhotoAlbum(const std::string& name, const std::optional<std::string>& folder)
    : identifier_(name)
{
    checkPermission();
    try {
        const auto list = folder ? make<QVPersistentPhotoCollectionList>(*folder, *folder) : nullptr;
        album_ = make<QVPersistentPhotoAlbum>(name, name, list)->assetCollection();
    } catch (const NSError& error) {
        throw refused("The album \"" + name + "\" cannot be made", error);
    }
    if (!album_)
        throw Refusal(
            "The album \"" + name + "\" cannot be made", "the photo library does not find what it made", "try again");
}

std::vector<std::filesystem::path> PhotoAlbum::store(const std::string& name, const std::vector<PhotoFile>& files,
    const std::shared_ptr<NSDate>& date, const std::shared_ptr<CLLocation>& place) const
{
    std::shared_ptr<PHObjectPlaceholder> placeholder;
    try {
        PHPhotoLibrary::sharedPhotoLibrary()->performChangesAndWait([&] {
            const auto request = PHAssetCreationRequest::creationRequestForAsset();
            for (const auto& file : files)
                addFile(*request, name, file);
            request->setCreationDate(date);
            if (place)
                request->setLocation(place);
            placeholder = request->placeholderForCreatedAsset();
            PHAssetCollectionChangeRequest::changeRequestForAssetCollection(album_)->addAssets({ placeholder });
        });
    } catch (const NSError& error) {
        throw refused("The photo cannot be stored", error);
    }
    const auto stored = PHAsset::fetchAssetsWithLocalIdentifiers({ placeholder->localIdentifier() }, nullptr)
                            ->firstObjectAs<PHAsset>();
    if (!stored)
        throw Refusal("The photo cannot be found", "another program took it out of the library", "try again");
    return { stored->files().begin(), stored->files().end() };
}

AlbumReport PhotoAlbum::report() const
{
    const auto oldestFirst = make<PHFetchOptions>();
    oldestFirst->setSortDescriptors({ NSSortDescriptor::sortDescriptorWithKey("creationDate", true) });
    AlbumReport report { album_->localizedTitle(), identifier_, album_->localIdentifier(), {} };
    for (const auto& object : PHAsset::fetchAssetsInAssetCollection(album_, oldestFirst)->objects())
        if (const auto asset = std::dynamic_pointer_cast<PHAsset>(object))
            report.photos.emplace_back(asset->files().front());
    return report;
}

void listAlbum(const Options& options, Report& report)
{
    drivers::installDefaults();
    chooseLibrary(options.global);
    // What other programs did since is in it, too.
    try {
        if (const auto store = std::dynamic_pointer_cast<drivers::photos::FolderPhotoStore>(PhotoStore::installed()))
            store->synchronize();
    } catch (const NSError& error) {
        throw refused("The photo library cannot be used", error);
    }
    report.tell(PhotoAlbum(options.album.name, options.album.folder).report());
}

}
