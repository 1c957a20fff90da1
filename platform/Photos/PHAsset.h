// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Photos/PHObject.h"
#include "platform/Photos/PhotoRecords.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora {

class NSDate;
class PHAssetCollection;
class PHFetchOptions;
class PHFetchResult;

/// One photo or movie of the library. Without access to the library, fetches find nothing.
class VELMORA_EXPORT PHAsset : public PHObject {
public:
    /// All of one kind, in the order in which they were added unless the options say more.
    static std::shared_ptr<PHFetchResult> fetchAssetsWithMediaType(
        PHAssetMediaType mediaType, const std::shared_ptr<PHFetchOptions>& options);
    static std::shared_ptr<PHFetchResult> fetchAssetsWithOptions(const std::shared_ptr<PHFetchOptions>& options);
    /// Those of one album; none when it was deleted.
    static std::shared_ptr<PHFetchResult> fetchAssetsInAssetCollection(
        const std::shared_ptr<PHAssetCollection>& album, const std::shared_ptr<PHFetchOptions>& options);
    /// Unknown and deleted identifiers are left out.
    static std::shared_ptr<PHFetchResult> fetchAssetsWithLocalIdentifiers(
        const std::vector<std::string>& identifiers, const std::shared_ptr<PHFetchOptions>& options);

    explicit PHAsset(AssetRecord record);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    PHAssetMediaType mediaType() const { return record_.mediaType; }
    std::shared_ptr<NSDate> creationDate() const;
    std::shared_ptr<NSDate> modificationDate() const;
    std::shared_ptr<CLLocation> location() const; ///< Nil where it is not known.
    std::int64_t pixelWidth() const { return record_.pixelWidth; } ///< as it is shown; 0: not known
    std::int64_t pixelHeight() const { return record_.pixelHeight; }
    double duration() const { return record_.duration; } ///< seconds, of a movie

    /// The files that it is made of, with their full paths; the first is what is shown.
    const std::vector<std::string>& files() const { return record_.files; }
    const AssetRecord& record() const { return record_; }

private:
    AssetRecord record_;
};

}
