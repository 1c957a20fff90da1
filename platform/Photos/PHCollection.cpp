// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHCollection.h"

#include "platform/Photos/PHCollectionList.h"
#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PhotoFetch.h"

#include <utility>

namespace velmora {

PHCollection::PHCollection(CollectionRecord record)
    : PHObject(record.localIdentifier)
    , record_(std::move(record))
{
}

const ClassInfo& PHCollection::staticClass()
{
    static constexpr auto methods = methodTable(method<&PHCollection::localizedTitle>("localizedTitle"));
    static constexpr auto classMethods = methodTable(
        classMethod<&PHCollection::fetchCollectionsInCollectionList>("fetchCollectionsInCollectionList:options:"));
    static const ClassInfo info { "Velmora.PHCollection", &PHObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<PHFetchResult> PHCollection::fetchCollectionsInCollectionList(
    const std::shared_ptr<PHCollectionList>& folder, const std::shared_ptr<PHFetchOptions>& options)
{
    CollectionQuery query;
    if (folder)
        query.folder = folder->localIdentifier();
    else
        query.identifiers.emplace();
    return std::make_shared<PHFetchResult>(PhotoFetch::of(std::move(query), options));
}

}
