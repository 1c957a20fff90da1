// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PhotoRecords.h"

#include <algorithm>
#include <compare>

namespace velmora {

namespace {

std::partial_ordering compare(const AssetRecord& a, const AssetRecord& b, AssetSort::Key key)
{
    switch (key) {
    case AssetSort::CreationDate:
        return a.creationDate <=> b.creationDate;
    case AssetSort::ModificationDate:
        return a.modificationDate <=> b.modificationDate;
    case AssetSort::MediaType:
        return a.mediaType <=> b.mediaType;
    case AssetSort::PixelWidth:
        return a.pixelWidth <=> b.pixelWidth;
    case AssetSort::PixelHeight:
        return a.pixelHeight <=> b.pixelHeight;
    case AssetSort::Duration:
        return a.duration <=> b.duration;
    case AssetSort::LocalIdentifier:
        return a.localIdentifier.compare(b.localIdentifier) <=> 0;
    }
    return std::partial_ordering::equivalent;
}

bool isAmong(const std::string& identifier, const std::optional<std::vector<std::string>>& identifiers)
{
    return !identifiers || std::find(identifiers->begin(), identifiers->end(), identifier) != identifiers->end();
}

}

bool isBefore(const AssetRecord& a, const AssetRecord& b, std::span<const AssetSort> sort)
{
    for (const auto& each : sort)
        if (const auto order = compare(a, b, each.key); order != 0)
            return each.ascending ? order < 0 : order > 0;
    return sort.empty() || sort.front().ascending ? a.order < b.order : a.order > b.order;
}

bool matches(const AssetRecord& asset, const AssetQuery& query)
{
    return isAmong(asset.localIdentifier, query.identifiers)
        && (!query.mediaType || *query.mediaType == asset.mediaType);
}

bool matches(const CollectionRecord& collection, const CollectionQuery& query)
{
    return isAmong(collection.localIdentifier, query.identifiers)
        && (!query.folder || *query.folder == collection.parent)
        && (!query.areFolders || *query.areFolders == collection.isFolder);
}

}
