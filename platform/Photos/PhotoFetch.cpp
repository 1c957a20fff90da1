// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PhotoFetch.h"

#include "platform/Foundation/NSException.h"
#include "platform/Foundation/NSPredicate.h"
#include "platform/Foundation/NSSortDescriptor.h"
#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHAssetCollection.h"
#include "platform/Photos/PHCollectionList.h"
#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/Photos/PhotoStore.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace velmora {

namespace {

AssetSort::Key assetKey(const std::string& name)
{
    constexpr std::array<std::pair<std::string_view, AssetSort::Key>, 7> keys {
        { { "creationDate", AssetSort::CreationDate }, { "modificationDate", AssetSort::ModificationDate },
            { "mediaType", AssetSort::MediaType }, { "pixelWidth", AssetSort::PixelWidth },
            { "pixelHeight", AssetSort::PixelHeight }, { "duration", AssetSort::Duration },
            { "localIdentifier", AssetSort::LocalIdentifier } }
    };
    for (const auto& [known, key] : keys)
        if (known == name)
            return key;
    throw NSException(NSInvalidArgumentException,
        "[PHFetchOptions] Assets cannot be sorted by \"" + name
            + "\"; they can by creationDate, modificationDate, mediaType, pixelWidth, pixelHeight, duration and "
              "localIdentifier.");
}

PhotoFetch::CollectionSort collectionSort(const NSSortDescriptor& descriptor)
{
    if (descriptor.key() != "localizedTitle" && descriptor.key() != "localIdentifier")
        throw NSException(NSInvalidArgumentException,
            "[PHFetchOptions] Collections cannot be sorted by \"" + descriptor.key()
                + "\"; they can by localizedTitle and localIdentifier.");
    return { descriptor.key() == "localizedTitle", descriptor.ascending() };
}

template <class Records> PhotoFetch::Objects objectsFor(Records records)
{
    PhotoFetch::Objects objects;
    objects.reserve(records.size());
    for (auto& record : records)
        objects.push_back(objectFor(std::move(record)));
    return objects;
}

bool mayRead(const std::shared_ptr<PhotoStore>& store)
{
    if (!store)
        return false;
    const int status = store->authorizationStatus();
    return status == PHAuthorizationStatusAuthorized || status == PHAuthorizationStatusLimited;
}

}

std::shared_ptr<PHObject> objectFor(AssetRecord record)
{
    return std::make_shared<PHAsset>(std::move(record));
}

std::shared_ptr<PHObject> objectFor(CollectionRecord record)
{
    if (record.isFolder)
        return std::make_shared<PHCollectionList>(std::move(record));
    return std::make_shared<PHAssetCollection>(std::move(record));
}

std::shared_ptr<const PhotoFetch> PhotoFetch::of(AssetQuery query, const std::shared_ptr<PHFetchOptions>& options)
{
    auto fetch = std::make_shared<PhotoFetch>();
    if (options) {
        fetch->predicate = options->predicate();
        fetch->limit = options->fetchLimit();
        for (const auto& descriptor : options->sortDescriptors())
            query.sort.push_back({ assetKey(descriptor->key()), descriptor->ascending() });
        if (!fetch->predicate)
            query.limit = fetch->limit;
    }
    fetch->query = std::move(query);
    return fetch;
}

std::shared_ptr<const PhotoFetch> PhotoFetch::of(CollectionQuery query, const std::shared_ptr<PHFetchOptions>& options)
{
    auto fetch = std::make_shared<PhotoFetch>();
    fetch->query = std::move(query);
    if (options) {
        fetch->predicate = options->predicate();
        fetch->limit = options->fetchLimit();
        for (const auto& descriptor : options->sortDescriptors())
            fetch->collectionSort.push_back(velmora::collectionSort(*descriptor));
    }
    return fetch;
}

bool PhotoFetch::isBefore(const PHObject& a, const PHObject& b) const
{
    if (const auto* assets = std::get_if<AssetQuery>(&query))
        return velmora::isBefore(
            static_cast<const PHAsset&>(a).record(), static_cast<const PHAsset&>(b).record(), assets->sort);

    const auto &first = static_cast<const PHCollection&>(a).record(),
               &second = static_cast<const PHCollection&>(b).record();
    for (const auto& sort : collectionSort) {
        const int order
            = sort.byTitle ? first.title.compare(second.title) : first.localIdentifier.compare(second.localIdentifier);
        if (order != 0)
            return sort.ascending ? order < 0 : order > 0;
    }
    return collectionSort.empty() || collectionSort.front().ascending ? first.order < second.order
                                                                      : first.order > second.order;
}

bool PhotoFetch::passesPredicate(const PHObject& object) const
{
    return !predicate || predicate->evaluateWithObject(object);
}

PhotoFetch::Objects PhotoFetch::objects() const
{
    const auto store = PhotoStore::installed();
    if (!mayRead(store))
        return {};

    Objects found;
    if (const auto* assets = std::get_if<AssetQuery>(&query))
        found = objectsFor(store->assets(*assets));
    else {
        found = objectsFor(store->collections(std::get<CollectionQuery>(query)));
        if (!collectionSort.empty())
            std::sort(found.begin(), found.end(), [this](const auto& a, const auto& b) { return isBefore(*a, *b); });
    }
    if (predicate)
        std::erase_if(found, [this](const auto& object) { return !passesPredicate(*object); });
    if (limit != 0 && found.size() > limit)
        found.resize(limit);
    return found;
}

std::shared_ptr<PHFetchResult> collectionsByIdentifiers(
    bool folders, const std::vector<std::string>& identifiers, const std::shared_ptr<PHFetchOptions>& options)
{
    CollectionQuery query;
    query.areFolders = folders;
    query.identifiers = identifiers;
    return std::make_shared<PHFetchResult>(PhotoFetch::of(std::move(query), options));
}

std::shared_ptr<PHFetchResult> collectionsOfKind(
    bool folders, bool isKnown, const std::shared_ptr<PHFetchOptions>& options)
{
    CollectionQuery query;
    query.areFolders = folders;
    if (!isKnown)
        query.identifiers.emplace(); // none
    return std::make_shared<PHFetchResult>(PhotoFetch::of(std::move(query), options));
}

}
