// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHAsset.h"

#include "platform/Foundation/NSDate.h"
#include "platform/Photos/PHAssetCollection.h"
#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PhotoFetch.h"

#include <utility>

namespace velmora {

namespace {

std::shared_ptr<PHFetchResult> fetched(AssetQuery query, const std::shared_ptr<PHFetchOptions>& options)
{
    return std::make_shared<PHFetchResult>(PhotoFetch::of(std::move(query), options));
}

}

PHAsset::PHAsset(AssetRecord record)
    : PHObject(record.localIdentifier)
    , record_(std::move(record))
{
}

const ClassInfo& PHAsset::staticClass()
{
    static constexpr auto methods = methodTable(method<&PHAsset::mediaType>("mediaType"),
        method<&PHAsset::creationDate>("creationDate"), method<&PHAsset::modificationDate>("modificationDate"),
        method<&PHAsset::location>("location"), method<&PHAsset::pixelWidth>("pixelWidth"),
        method<&PHAsset::pixelHeight>("pixelHeight"), method<&PHAsset::duration>("duration"));
    static constexpr auto classMethods
        = methodTable(classMethod<&PHAsset::fetchAssetsWithMediaType>("fetchAssetsWithMediaType:options:"),
            classMethod<&PHAsset::fetchAssetsWithOptions>("fetchAssetsWithOptions:"),
            classMethod<&PHAsset::fetchAssetsInAssetCollection>("fetchAssetsInAssetCollection:options:"),
            classMethod<&PHAsset::fetchAssetsWithLocalIdentifiers>("fetchAssetsWithLocalIdentifiers:options:"));
    static const ClassInfo info { "Velmora.PHAsset", &PHObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<PHFetchResult> PHAsset::fetchAssetsWithMediaType(
    PHAssetMediaType mediaType, const std::shared_ptr<PHFetchOptions>& options)
{
    AssetQuery query;
    query.mediaType = mediaType;
    return fetched(std::move(query), options);
}

std::shared_ptr<PHFetchResult> PHAsset::fetchAssetsWithOptions(const std::shared_ptr<PHFetchOptions>& options)
{
    return fetched({}, options);
}

std::shared_ptr<PHFetchResult> PHAsset::fetchAssetsInAssetCollection(
    const std::shared_ptr<PHAssetCollection>& album, const std::shared_ptr<PHFetchOptions>& options)
{
    AssetQuery query;
    query.album = album ? album->localIdentifier() : std::string();
    return fetched(std::move(query), options);
}

std::shared_ptr<PHFetchResult> PHAsset::fetchAssetsWithLocalIdentifiers(
    const std::vector<std::string>& identifiers, const std::shared_ptr<PHFetchOptions>& options)
{
    AssetQuery query;
    query.identifiers = identifiers;
    return fetched(std::move(query), options);
}

std::shared_ptr<NSDate> PHAsset::creationDate() const
{
    return make<NSDate>(record_.creationDate);
}

std::shared_ptr<NSDate> PHAsset::modificationDate() const
{
    return make<NSDate>(record_.modificationDate);
}

std::shared_ptr<CLLocation> PHAsset::location() const
{
    return record_.place ? make<CLLocation>(record_.place->latitude, record_.place->longitude) : nullptr;
}

}
