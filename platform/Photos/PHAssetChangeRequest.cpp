// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHAssetChangeRequest.h"

#include "platform/CoreLocation/CLLocation.h"
#include "platform/Foundation/NSDate.h"
#include "platform/Foundation/NSURL.h"
#include "platform/Photos/ChangeBlock.h"
#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHObject.h"

#include <utility>

namespace velmora {

namespace {

std::optional<CLLocationCoordinate2D> placeOf(const std::shared_ptr<CLLocation>& location)
{
    return location ? std::optional(location->coordinate()) : std::nullopt;
}

std::shared_ptr<PHAssetChangeRequest> creationFromFile(const std::shared_ptr<NSURL>& file)
{
    auto& block = ChangeBlock::current("PHAssetChangeRequest");
    if (!file)
        return nullptr;
    const auto identifier = NewIdentifier::of(block.store());
    AddAsset addition;
    addition.localIdentifier = identifier.text;
    addition.files = { { file->lastPathComponent(), nullptr, file->path(), false } };
    return make<PHAssetChangeRequest>(block.add(std::move(addition)), identifier.isKnown);
}

}

PHAssetChangeRequest::PHAssetChangeRequest(std::shared_ptr<AddAsset> addition, bool identifierIsKnown)
    : addition_(std::move(addition))
    , identifierIsKnown_(identifierIsKnown)
{
}

PHAssetChangeRequest::PHAssetChangeRequest(std::shared_ptr<EditAsset> edit)
    : edit_(std::move(edit))
{
}

const ClassInfo& PHAssetChangeRequest::staticClass()
{
    using Self = PHAssetChangeRequest;
    static constexpr auto methods = methodTable(method<&Self::placeholderForCreatedAsset>("placeholderForCreatedAsset"),
        method<&Self::setCreationDate>("setCreationDate:"), method<&Self::setLocation>("setLocation:"));
    static constexpr auto classMethods = methodTable(
        classMethod<&Self::creationRequestForAssetFromImageAtFileURL>("creationRequestForAssetFromImageAtFileURL:"),
        classMethod<&Self::creationRequestForAssetFromVideoAtFileURL>("creationRequestForAssetFromVideoAtFileURL:"),
        classMethod<&Self::changeRequestForAsset>("changeRequestForAsset:"),
        classMethod<&Self::deleteAssets>("deleteAssets:"));
    static const ClassInfo info { "Velmora.PHAssetChangeRequest", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<PHAssetChangeRequest> PHAssetChangeRequest::creationRequestForAssetFromImageAtFileURL(
    const std::shared_ptr<NSURL>& file)
{
    return creationFromFile(file);
}

std::shared_ptr<PHAssetChangeRequest> PHAssetChangeRequest::creationRequestForAssetFromVideoAtFileURL(
    const std::shared_ptr<NSURL>& file)
{
    return creationFromFile(file);
}

std::shared_ptr<PHAssetChangeRequest> PHAssetChangeRequest::changeRequestForAsset(const std::shared_ptr<PHAsset>& asset)
{
    auto& block = ChangeBlock::current("PHAssetChangeRequest");
    if (!asset)
        return nullptr;
    EditAsset edit;
    edit.localIdentifier = asset->localIdentifier();
    return make<PHAssetChangeRequest>(block.add(std::move(edit)));
}

void PHAssetChangeRequest::deleteAssets(const Assets& assets)
{
    auto& block = ChangeBlock::current("PHAssetChangeRequest");
    for (const auto& asset : assets)
        if (asset)
            block.add(RemoveAsset { asset->localIdentifier() });
}

std::shared_ptr<PHObjectPlaceholder> PHAssetChangeRequest::placeholderForCreatedAsset() const
{
    return addition_ && identifierIsKnown_ ? make<PHObjectPlaceholder>(addition_->localIdentifier) : nullptr;
}

void PHAssetChangeRequest::setCreationDate(const std::shared_ptr<NSDate>& date)
{
    if (!date)
        return;
    if (addition_)
        addition_->creationDate = date->timeIntervalSinceReferenceDate();
    if (edit_)
        edit_->creationDate = date->timeIntervalSinceReferenceDate();
}

void PHAssetChangeRequest::setLocation(const std::shared_ptr<CLLocation>& location)
{
    if (addition_)
        addition_->place = placeOf(location);
    if (edit_)
        edit_->place = placeOf(location);
}

}
