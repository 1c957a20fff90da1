// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHCollectionList.h"

#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PhotoFetch.h"

#include <utility>

namespace velmora {

PHCollectionList::PHCollectionList(CollectionRecord record)
    : PHCollection(std::move(record))
{
}

const ClassInfo& PHCollectionList::staticClass()
{
    static constexpr auto classMethods = methodTable(
        classMethod<&PHCollectionList::fetchCollectionListsWithLocalIdentifiers>(
            "fetchCollectionListsWithLocalIdentifiers:options:"),
        classMethod<&PHCollectionList::fetchCollectionListsWithType>("fetchCollectionListsWithType:subtype:options:"));
    static const ClassInfo info { "Velmora.PHCollectionList", &PHCollection::staticClass(), {}, classMethods };
    return info;
}

std::shared_ptr<PHFetchResult> PHCollectionList::fetchCollectionListsWithLocalIdentifiers(
    const std::vector<std::string>& identifiers, const std::shared_ptr<PHFetchOptions>& options)
{
    return collectionsByIdentifiers(true, identifiers, options);
}

std::shared_ptr<PHFetchResult> PHCollectionList::fetchCollectionListsWithType(
    PHCollectionListType type, PHCollectionListSubtype subtype, const std::shared_ptr<PHFetchOptions>& options)
{
    const bool isKnown = type == PHCollectionListTypeFolder
        && (subtype == PHCollectionListSubtypeRegularFolder || subtype == PHCollectionListSubtypeAny);
    return collectionsOfKind(true, isKnown, options);
}

}
