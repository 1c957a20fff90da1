// SPDX-License-Identifier: Apache-2.0
#include "velmora/library/QVPersistentPhotoCollectionList.h"

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSPredicate.h"
#include "platform/Photos/PHCollectionList.h"
#include "platform/Photos/PHCollectionListChangeRequest.h"
#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PHObject.h"
#include "platform/Photos/PHPhotoLibrary.h"

#include <utility>

namespace velmora {

namespace {

std::shared_ptr<PHCollectionList> folderWithLocalIdentifier(const std::string& localIdentifier)
{
    return PHCollectionList::fetchCollectionListsWithLocalIdentifiers({ localIdentifier }, nullptr)
        ->firstObjectAs<PHCollectionList>();
}

}

QVPersistentPhotoCollectionList::QVPersistentPhotoCollectionList(std::string identifier, std::string localizedTitle)
    : QVPhotoLibraryPersistentObject(std::move(identifier), std::move(localizedTitle))
{
}

const ClassInfo& QVPersistentPhotoCollectionList::staticClass()
{
    using Self = QVPersistentPhotoCollectionList;
    static constexpr auto methods
        = methodTable(method<&Self::exists>("exists"), method<&Self::collectionListObjc>("collectionListObjc"),
            method<&Self::existingCollectionList>("existingCollectionList"));
    static constexpr auto classMethods
        = methodTable(initialiser<Self, std::string, std::string>("initWithIdentifier:localizedTitle:"));
    static const ClassInfo info { "Velmora.QVPersistentPhotoCollectionList",
        &QVPhotoLibraryPersistentObject::staticClass(), methods, classMethods };
    return info;
}

bool QVPersistentPhotoCollectionList::exists() const
{
    return existingCollectionList() != nullptr;
}

std::shared_ptr<PHCollectionList> QVPersistentPhotoCollectionList::existingCollectionList() const
{
    if (const auto stored = storedLocalIdentifier())
        if (const auto folder = folderWithLocalIdentifier(*stored))
            return folder;

    const auto options = make<PHFetchOptions>();
    options->setPredicate(NSPredicate::predicateWithFormat("localizedTitle = %@", localizedTitle()));
    options->setFetchLimit(1);
    const auto folder = PHCollectionList::fetchCollectionListsWithType(
        PHCollectionListTypeFolder, PHCollectionListSubtypeRegularFolder, options)
                            ->firstObjectAs<PHCollectionList>();
    if (folder) // a stale identifier stays where nothing is found
        storeLocalIdentifier(folder->localIdentifier());
    return folder;
}

std::shared_ptr<PHCollectionList> QVPersistentPhotoCollectionList::collectionList() const
{
    if (auto existing = existingCollectionList())
        return existing;

    std::shared_ptr<PHObjectPlaceholder> placeholder;
    PHPhotoLibrary::sharedPhotoLibrary()->performChangesAndWait([&] {
        placeholder = PHCollectionListChangeRequest::creationRequestForCollectionListWithTitle(localizedTitle())
                          ->placeholderForCreatedCollectionList();
    });
    if (!placeholder)
        return nullptr;
    storeLocalIdentifier(placeholder->localIdentifier());
    return folderWithLocalIdentifier(placeholder->localIdentifier());
}

std::shared_ptr<PHCollectionList> QVPersistentPhotoCollectionList::collectionListObjc() const
{
    try {
        return collectionList();
    } catch (const NSError& error) {
        // "asset collection" for the folder too: whoever reads the log looks for this text.
        NSLog("[QVPersistentPhotoCollectionList] Unable to get asset collection in Obj-C %@", error);
        return nullptr;
    }
}

}
