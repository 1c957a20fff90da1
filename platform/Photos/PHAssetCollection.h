// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Photos/PHCollection.h"

#include <cstdint>
#include <limits>

namespace velmora {

enum PHAssetCollectionType : std::int64_t {
    PHAssetCollectionTypeAlbum = 1,
    PHAssetCollectionTypeSmartAlbum = 2,
};
enum PHAssetCollectionSubtype : std::int64_t {
    PHAssetCollectionSubtypeAlbumRegular = 2,
    PHAssetCollectionSubtypeAny = std::numeric_limits<std::int64_t>::max(),
};

/// An album of photos and movies.
class VELMORA_EXPORT PHAssetCollection : public PHCollection {
public:
    /// Unknown and deleted identifiers are left out.
    static std::shared_ptr<PHFetchResult> fetchAssetCollectionsWithLocalIdentifiers(
        const std::vector<std::string>& identifiers, const std::shared_ptr<PHFetchOptions>& options);
    /// In the order in which they were made. There are regular albums only: other types find nothing.
    static std::shared_ptr<PHFetchResult> fetchAssetCollectionsWithType(
        PHAssetCollectionType type, PHAssetCollectionSubtype subtype, const std::shared_ptr<PHFetchOptions>& options);

    explicit PHAssetCollection(CollectionRecord record);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
};

}
