// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHAssetCollectionChangeRequest.h"

#include "platform/Photos/ChangeBlock.h"
#include "platform/Photos/PHAssetCollection.h"
#include "platform/Photos/PHObject.h"

#include <utility>

namespace velmora {

PHAssetCollectionChangeRequest::PHAssetCollectionChangeRequest(
    std::string album, std::shared_ptr<AddCollection> addition, bool identifierIsKnown)
    : album_(std::move(album))
    , addition_(std::move(addition))
    , identifierIsKnown_(identifierIsKnown)
{
}

const ClassInfo& PHAssetCollectionChangeRequest::staticClass()
{
    using Self = PHAssetCollectionChangeRequest;
    static constexpr auto methods
        = methodTable(method<&Self::placeholderForCreatedAssetCollection>("placeholderForCreatedAssetCollection"),
            method<&Self::setTitle>("setTitle:"), method<&Self::addAssets>("addAssets:"),
            method<&Self::removeAssets>("removeAssets:"));
    static constexpr auto classMethods = methodTable(
        classMethod<&Self::creationRequestForAssetCollectionWithTitle>("creationRequestForAssetCollectionWithTitle:"),
        classMethod<&Self::changeRequestForAssetCollection>("changeRequestForAssetCollection:"),
        classMethod<&Self::deleteAssetCollections>("deleteAssetCollections:"));
    static const ClassInfo info { "Velmora.PHAssetCollectionChangeRequest", &NSObject::staticClass(), methods,
        classMethods };
    return info;
}

std::shared_ptr<PHAssetCollectionChangeRequest>
PHAssetCollectionChangeRequest::creationRequestForAssetCollectionWithTitle(const std::string& title)
{
    auto& block = ChangeBlock::current("PHAssetCollectionChangeRequest");
    const auto identifier = NewIdentifier::of(block.store());
    auto addition = block.add(AddCollection { identifier.text, title, false });
    return make<PHAssetCollectionChangeRequest>(identifier.text, std::move(addition), identifier.isKnown);
}

std::shared_ptr<PHAssetCollectionChangeRequest> PHAssetCollectionChangeRequest::changeRequestForAssetCollection(
    const std::shared_ptr<PHAssetCollection>& album)
{
    ChangeBlock::current("PHAssetCollectionChangeRequest");
    if (!album)
        return nullptr;
    return make<PHAssetCollectionChangeRequest>(album->localIdentifier(), nullptr, false);
}

void PHAssetCollectionChangeRequest::deleteAssetCollections(
    const std::vector<std::shared_ptr<PHAssetCollection>>& albums)
{
    auto& block = ChangeBlock::current("PHAssetCollectionChangeRequest");
    for (const auto& album : albums)
        if (album)
            block.add(RemoveCollection { album->localIdentifier() });
}

std::shared_ptr<PHObjectPlaceholder> PHAssetCollectionChangeRequest::placeholderForCreatedAssetCollection() const
{
    return addition_ && identifierIsKnown_ ? make<PHObjectPlaceholder>(album_) : nullptr;
}

void PHAssetCollectionChangeRequest::setTitle(const std::string& title)
{
    ChangeBlock::current("PHAssetCollectionChangeRequest").add(RenameCollection { album_, title });
}

void PHAssetCollectionChangeRequest::addAssets(const std::vector<std::shared_ptr<PHObject>>& assets)
{
    auto& block = ChangeBlock::current("PHAssetCollectionChangeRequest");
    for (const auto& asset : assets)
        if (asset)
            block.add(AddMember { album_, asset->localIdentifier() });
}

void PHAssetCollectionChangeRequest::removeAssets(const std::vector<std::shared_ptr<PHObject>>& assets)
{
    auto& block = ChangeBlock::current("PHAssetCollectionChangeRequest");
    for (const auto& asset : assets)
        if (asset)
            block.add(RemoveMember { album_, asset->localIdentifier() });
}

}
