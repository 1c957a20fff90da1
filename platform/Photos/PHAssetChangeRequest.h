// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/Photos/PhotoRecords.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora {

class NSData;
class NSDate;
class NSURL;
class PHAsset;
class PHObjectPlaceholder;

enum PHAssetResourceType : std::int64_t {
    PHAssetResourceTypePhoto = 1,
    PHAssetResourceTypeVideo = 2,
    PHAssetResourceTypeAlternatePhoto = 4, ///< the RAW picture beside a photo
    PHAssetResourceTypePairedVideo = 9, ///< the movie of a live photo
};

/// Asks for a new photo or movie, or for another date or place of one. Only inside a change block of the library:
/// elsewhere it throws NSException.
class VELMORA_EXPORT PHAssetChangeRequest : public NSObject {
public:
    using Assets = std::vector<std::shared_ptr<PHAsset>>;

    /// The file is copied into the library when the change is committed.
    static std::shared_ptr<PHAssetChangeRequest> creationRequestForAssetFromImageAtFileURL(
        const std::shared_ptr<NSURL>& file);
    static std::shared_ptr<PHAssetChangeRequest> creationRequestForAssetFromVideoAtFileURL(
        const std::shared_ptr<NSURL>& file);
    static std::shared_ptr<PHAssetChangeRequest> changeRequestForAsset(const std::shared_ptr<PHAsset>& asset);
    /// Their files go too. One that is gone already makes the change fail.
    static void deleteAssets(const Assets& assets);

    /// Of a new asset.
    explicit PHAssetChangeRequest(std::shared_ptr<AddAsset> addition, bool identifierIsKnown);
    explicit PHAssetChangeRequest(std::shared_ptr<EditAsset> edit);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Nil for a request that creates nothing, and where the library cannot tell beforehand.
    std::shared_ptr<PHObjectPlaceholder> placeholderForCreatedAsset() const;
    /// Otherwise, what the file says.
    void setCreationDate(const std::shared_ptr<NSDate>& date);
    /// Nil takes the place away. The file is not changed.
    void setLocation(const std::shared_ptr<CLLocation>& location);

protected:
    const std::shared_ptr<AddAsset>& addition() const { return addition_; }

private:
    std::shared_ptr<AddAsset> addition_;
    bool identifierIsKnown_ = false;
    std::shared_ptr<EditAsset> edit_;
};

}
