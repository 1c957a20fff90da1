// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHAssetCreationRequest.h"

#include "platform/Foundation/NSData.h"
#include "platform/Foundation/NSURL.h"
#include "platform/ImageIO/ImageHeader.h"
#include "platform/Photos/ChangeBlock.h"

#include <utility>

namespace velmora {

const ClassInfo& PHAssetResourceCreationOptions::staticClass()
{
    using Self = PHAssetResourceCreationOptions;
    static constexpr auto methods = methodTable(method<&Self::originalFilename>("originalFilename"),
        method<&Self::setOriginalFilename>("setOriginalFilename:"), method<&Self::shouldMoveFile>("shouldMoveFile"),
        method<&Self::setShouldMoveFile>("setShouldMoveFile:"));
    static constexpr auto classMethods = methodTable(initialiser<Self>("init"));
    static const ClassInfo info { "Velmora.PHAssetResourceCreationOptions", &NSObject::staticClass(), methods,
        classMethods };
    return info;
}

void PHAssetResourceCreationOptions::setOriginalFilename(std::string name)
{
    originalFilename_ = std::move(name);
}

std::shared_ptr<PHAssetCreationRequest> PHAssetCreationRequest::creationRequestForAsset()
{
    auto& block = ChangeBlock::current("PHAssetCreationRequest");
    const auto identifier = NewIdentifier::of(block.store());
    AddAsset addition;
    addition.localIdentifier = identifier.text;
    return make<PHAssetCreationRequest>(block.add(std::move(addition)), identifier.isKnown);
}

PHAssetCreationRequest::PHAssetCreationRequest(std::shared_ptr<AddAsset> addition, bool identifierIsKnown)
    : PHAssetChangeRequest(std::move(addition), identifierIsKnown)
{
}

const ClassInfo& PHAssetCreationRequest::staticClass()
{
    using Self = PHAssetCreationRequest;
    static constexpr auto methods
        = methodTable(method<&Self::addResourceWithTypeData>("addResourceWithType:data:options:"),
            method<&Self::addResourceWithTypeFileURL>("addResourceWithType:fileURL:options:"));
    static constexpr auto classMethods
        = methodTable(classMethod<&Self::creationRequestForAsset>("creationRequestForAsset"));
    static const ClassInfo info { "Velmora.PHAssetCreationRequest", &PHAssetChangeRequest::staticClass(), methods,
        classMethods };
    return info;
}

void PHAssetCreationRequest::addResourceWithTypeData(PHAssetResourceType type, const std::shared_ptr<NSData>& data,
    const std::shared_ptr<PHAssetResourceCreationOptions>& options)
{
    if (!data)
        return;
    auto name = options ? options->originalFilename() : std::string();
    if (name.empty()) {
        const bool isMovie = type == PHAssetResourceTypeVideo || type == PHAssetResourceTypePairedVideo;
        const auto ending = fileEndingFor(data->bytes());
        name = std::string("IMG") + (!ending.empty() ? ending : isMovie ? ".mov" : ".jpg");
    }
    addition()->files.push_back({ std::move(name), data, {}, false });
}

void PHAssetCreationRequest::addResourceWithTypeFileURL(PHAssetResourceType, const std::shared_ptr<NSURL>& file,
    const std::shared_ptr<PHAssetResourceCreationOptions>& options)
{
    if (!file)
        return;
    auto name = options ? options->originalFilename() : std::string();
    if (name.empty())
        name = file->lastPathComponent();
    addition()->files.push_back({ std::move(name), nullptr, file->path(), options && options->shouldMoveFile() });
}

}
