// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Photos/PHAssetChangeRequest.h"

#include <memory>
#include <string>

namespace velmora {

/// How a file goes into the library.
class VELMORA_EXPORT PHAssetResourceCreationOptions : public NSObject {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// What it is to be called in the library; empty: like its file, or after the moment.
    const std::string& originalFilename() const { return originalFilename_; }
    void setOriginalFilename(std::string name);
    /// The file moves instead of being copied.
    bool shouldMoveFile() const { return shouldMoveFile_; }
    void setShouldMoveFile(bool moves) { shouldMoveFile_ = moves; }

private:
    std::string originalFilename_;
    bool shouldMoveFile_ = false;
};

/// Asks for a new asset that is made of several files, which get one name: a photo, its RAW picture, its movie. Only
/// inside a change block.
class VELMORA_EXPORT PHAssetCreationRequest : public PHAssetChangeRequest {
public:
    static std::shared_ptr<PHAssetCreationRequest> creationRequestForAsset();

    PHAssetCreationRequest(std::shared_ptr<AddAsset> addition, bool identifierIsKnown);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// What the bytes are, JPEG, PNG, DNG, or a movie, is told by their beginning.
    void addResourceWithTypeData(PHAssetResourceType type, const std::shared_ptr<NSData>& data,
        const std::shared_ptr<PHAssetResourceCreationOptions>& options);
    void addResourceWithTypeFileURL(PHAssetResourceType type, const std::shared_ptr<NSURL>& file,
        const std::shared_ptr<PHAssetResourceCreationOptions>& options);
};

}
