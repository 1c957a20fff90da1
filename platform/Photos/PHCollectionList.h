// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Photos/PHCollection.h"

#include <cstdint>
#include <limits>

namespace velmora {

enum PHCollectionListType : std::int64_t {
    PHCollectionListTypeFolder = 2,
    PHCollectionListTypeSmartFolder = 3,
};
enum PHCollectionListSubtype : std::int64_t {
    PHCollectionListSubtypeRegularFolder = 100,
    PHCollectionListSubtypeAny = std::numeric_limits<std::int64_t>::max(),
};

/// A folder of albums and folders.
class VELMORA_EXPORT PHCollectionList : public PHCollection {
public:
    static std::shared_ptr<PHFetchResult> fetchCollectionListsWithLocalIdentifiers(
        const std::vector<std::string>& identifiers, const std::shared_ptr<PHFetchOptions>& options);
    /// There are regular folders only: other types find nothing.
    static std::shared_ptr<PHFetchResult> fetchCollectionListsWithType(
        PHCollectionListType type, PHCollectionListSubtype subtype, const std::shared_ptr<PHFetchOptions>& options);

    explicit PHCollectionList(CollectionRecord record);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
};

}
