// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHCollectionListChangeRequest.h"

#include "platform/Photos/ChangeBlock.h"
#include "platform/Photos/PHCollectionList.h"
#include "platform/Photos/PHObject.h"
#include "platform/Photos/PhotoStore.h"

#include <utility>

namespace velmora {

PHCollectionListChangeRequest::PHCollectionListChangeRequest(
    std::string folder, std::shared_ptr<AddCollection> addition, bool identifierIsKnown)
    : folder_(std::move(folder))
    , addition_(std::move(addition))
    , identifierIsKnown_(identifierIsKnown)
{
}

const ClassInfo& PHCollectionListChangeRequest::staticClass()
{
    using Self = PHCollectionListChangeRequest;
    static constexpr auto methods
        = methodTable(method<&Self::placeholderForCreatedCollectionList>("placeholderForCreatedCollectionList"),
            method<&Self::setTitle>("setTitle:"), method<&Self::addChildCollections>("addChildCollections:"),
            method<&Self::removeChildCollections>("removeChildCollections:"));
    static constexpr auto classMethods = methodTable(
        classMethod<&Self::creationRequestForCollectionListWithTitle>("creationRequestForCollectionListWithTitle:"),
        classMethod<&Self::changeRequestForCollectionList>("changeRequestForCollectionList:"),
        classMethod<&Self::deleteCollectionLists>("deleteCollectionLists:"));
    static const ClassInfo info { "Velmora.PHCollectionListChangeRequest", &NSObject::staticClass(), methods,
        classMethods };
    return info;
}

std::shared_ptr<PHCollectionListChangeRequest> PHCollectionListChangeRequest::creationRequestForCollectionListWithTitle(
    const std::string& title)
{
    auto& block = ChangeBlock::current("PHCollectionListChangeRequest");
    const auto identifier = NewIdentifier::of(block.store());
    auto addition = block.add(AddCollection { identifier.text, title, true });
    return make<PHCollectionListChangeRequest>(identifier.text, std::move(addition), identifier.isKnown);
}

std::shared_ptr<PHCollectionListChangeRequest> PHCollectionListChangeRequest::changeRequestForCollectionList(
    const std::shared_ptr<PHCollectionList>& folder)
{
    auto& block = ChangeBlock::current("PHCollectionListChangeRequest");
    // What may not be changed has no request; the change goes on without it.
    if (!folder || !block.store().mayChange(folder->localIdentifier()))
        return nullptr;
    return make<PHCollectionListChangeRequest>(folder->localIdentifier(), nullptr, false);
}

void PHCollectionListChangeRequest::deleteCollectionLists(const std::vector<std::shared_ptr<PHCollectionList>>& folders)
{
    auto& block = ChangeBlock::current("PHCollectionListChangeRequest");
    for (const auto& folder : folders)
        if (folder)
            block.add(RemoveCollection { folder->localIdentifier() });
}

std::shared_ptr<PHObjectPlaceholder> PHCollectionListChangeRequest::placeholderForCreatedCollectionList() const
{
    return addition_ && identifierIsKnown_ ? make<PHObjectPlaceholder>(folder_) : nullptr;
}

void PHCollectionListChangeRequest::setTitle(const std::string& title)
{
    ChangeBlock::current("PHCollectionListChangeRequest").add(RenameCollection { folder_, title });
}

void PHCollectionListChangeRequest::addChildCollections(const std::vector<std::shared_ptr<PHObject>>& collections)
{
    auto& block = ChangeBlock::current("PHCollectionListChangeRequest");
    for (const auto& collection : collections)
        if (collection)
            block.add(AddMember { folder_, collection->localIdentifier() });
}

void PHCollectionListChangeRequest::removeChildCollections(const std::vector<std::shared_ptr<PHObject>>& collections)
{
    auto& block = ChangeBlock::current("PHCollectionListChangeRequest");
    for (const auto& collection : collections)
        if (collection)
            block.add(RemoveMember { folder_, collection->localIdentifier() });
}

}
