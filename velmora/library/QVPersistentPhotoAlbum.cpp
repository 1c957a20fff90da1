// SPDX-License-Identifier: Apache-2.0
#include "velmora/library/QVPersistentPhotoAlbum.h"

#include "velmora/library/QVPersistentPhotoCollectionList.h"

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSPredicate.h"
#include "platform/Photos/PHAssetCollection.h"
#include "platform/Photos/PHAssetCollectionChangeRequest.h"
#include "platform/Photos/PHCollectionList.h"
#include "platform/Photos/PHCollectionListChangeRequest.h"
#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PHObject.h"
#include "platform/Photos/PHPhotoLibrary.h"

#include <utility>

namespace velmora {

namespace {

std::shared_ptr<PHAssetCollection> albumWithLocalIdentifier(const std::string& localIdentifier)
{
    return PHAssetCollection::fetchAssetCollectionsWithLocalIdentifiers({ localIdentifier }, nullptr)
        ->firstObjectAs<PHAssetCollection>();
}

}

QVPersistentPhotoAlbum::QVPersistentPhotoAlbum(std::string identifier, std::string localizedTitle)
    : QVPhotoLibraryPersistentObject(std::move(identifier), std::move(localizedTitle))
{
}

QVPersistentPhotoAlbum::QVPersistentPhotoAlbum(std::string identifier, std::string localizedTitle,
    const std::shared_ptr<QVPersistentPhotoCollectionList>& collectionList)
    : QVPhotoLibraryPersistentObject(std::move(identifier), std::move(localizedTitle))
    , folder_(collectionList)
{
}

const ClassInfo& QVPersistentPhotoAlbum::staticClass()
{
    using Self = QVPersistentPhotoAlbum;
    static constexpr auto methods
        = methodTable(method<&Self::exists>("exists"), method<&Self::assetCollectionObjc>("assetCollectionObjc"),
            method<&Self::existingAssetCollection>("existingAssetCollection"));
    static constexpr auto classMethods
        = methodTable(initialiser<Self, std::string, std::string>("initWithIdentifier:localizedTitle:"),
            initialiser<Self, std::string, std::string, const std::shared_ptr<QVPersistentPhotoCollectionList>&>(
                "initWithIdentifier:localizedTitle:collectionList:"));
    static const ClassInfo info { "Velmora.QVPersistentPhotoAlbum", &QVPhotoLibraryPersistentObject::staticClass(),
        methods, classMethods };
    return info;
}

void QVPersistentPhotoAlbum::didConstruct()
{
    QVPhotoLibraryPersistentObject::didConstruct();
    const auto folder = std::exchange(folder_, nullptr);
    if (!folder)
        return;
    try {
        putInto(*folder);
    } catch (const NSError& error) {
        NSLog(
            "[QVPersistentPhotoAlbum] Error creating collection, list, or associating collection with list: %@", error);
    }
}

void QVPersistentPhotoAlbum::putInto(const QVPersistentPhotoCollectionList& folder) const
{
    const auto list = folder.collectionList();
    if (!list)
        return;
    const auto album = assetCollection();
    if (!album || PHAssetCollection::fetchCollectionsInCollectionList(list, nullptr)->containsObject(album))
        return;
    PHPhotoLibrary::sharedPhotoLibrary()->performChangesAndWait([&] {
        if (const auto request = PHCollectionListChangeRequest::changeRequestForCollectionList(list))
            request->addChildCollections({ album });
    });
}

bool QVPersistentPhotoAlbum::exists() const
{
    return existingAssetCollection() != nullptr;
}

std::shared_ptr<PHAssetCollection> QVPersistentPhotoAlbum::existingAssetCollection() const
{
    if (const auto stored = storedLocalIdentifier())
        if (const auto album = albumWithLocalIdentifier(*stored))
            return album;

    const auto options = make<PHFetchOptions>();
    options->setPredicate(NSPredicate::predicateWithFormat("localizedTitle = %@", localizedTitle()));
    options->setFetchLimit(1);
    const auto album = PHAssetCollection::fetchAssetCollectionsWithType(
        PHAssetCollectionTypeAlbum, PHAssetCollectionSubtypeAlbumRegular, options)
                           ->firstObjectAs<PHAssetCollection>();
    if (album) // a stale identifier stays where nothing is found
        storeLocalIdentifier(album->localIdentifier());
    return album;
}

std::shared_ptr<PHAssetCollection> QVPersistentPhotoAlbum::assetCollection() const
{
    if (auto existing = existingAssetCollection())
        return existing;

    std::shared_ptr<PHObjectPlaceholder> placeholder;
    PHPhotoLibrary::sharedPhotoLibrary()->performChangesAndWait([&] {
        placeholder = PHAssetCollectionChangeRequest::creationRequestForAssetCollectionWithTitle(localizedTitle())
                          ->placeholderForCreatedAssetCollection();
    });
    if (!placeholder)
        return nullptr;
    storeLocalIdentifier(placeholder->localIdentifier());
    return albumWithLocalIdentifier(placeholder->localIdentifier());
}

std::shared_ptr<PHAssetCollection> QVPersistentPhotoAlbum::assetCollectionObjc() const
{
    try {
        return assetCollection();
    } catch (const NSError& error) {
        NSLog("[QVPersistentPhotoAlbum] Unable to get asset collection in Obj-C %@", error);
        return nullptr;
    }
}

}
