// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHAssetCollection.h"

#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PhotoFetch.h"

#include <utility>

namespace velmora {

PHAssetCollection::PHAssetCollection(CollectionRecord record)
    : PHCollection(std::move(record))
{
}

const ClassInfo& PHAssetCollection::staticClass()
{
    static constexpr auto classMethods
        = methodTable(classMethod<&PHAssetCollection::fetchAssetCollectionsWithLocalIdentifiers>(
                          "fetchAssetCollectionsWithLocalIdentifiers:options:"),
            classMethod<&PHAssetCollection::fetchAssetCollectionsWithType>(
                "fetchAssetCollectionsWithType:subtype:options:"));
    static const ClassInfo info { "Velmora.PHAssetCollection", &PHCollection::staticClass(), {}, classMethods };
    return info;
}

std::shared_ptr<PHFetchResult> PHAssetCollection::fetchAssetCollectionsWithLocalIdentifiers(
    const std::vector<std::string>& identifiers, const std::shared_ptr<PHFetchOptions>& options)
{
    return collectionsByIdentifiers(false, identifiers, options);
}

std::shared_ptr<PHFetchResult> PHAssetCollection::fetchAssetCollectionsWithType(
    PHAssetCollectionType type, PHAssetCollectionSubtype subtype, const std::shared_ptr<PHFetchOptions>& options)
{
    const bool isKnown = type == PHAssetCollectionTypeAlbum
        && (subtype == PHAssetCollectionSubtypeAlbumRegular || subtype == PHAssetCollectionSubtypeAny);
    return collectionsOfKind(false, isKnown, options);
}

}
