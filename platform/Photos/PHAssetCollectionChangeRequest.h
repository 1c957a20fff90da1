// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/Photos/PhotoRecords.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora {

class PHAssetCollection;
class PHObject;
class PHObjectPlaceholder;

/// Asks for a new album, or for other contents of one. Only inside a change block of the library: elsewhere it throws
/// NSException.
class VELMORA_EXPORT PHAssetCollectionChangeRequest : public NSObject {
public:
    static std::shared_ptr<PHAssetCollectionChangeRequest> creationRequestForAssetCollectionWithTitle(
        const std::string& title);
    /// Nil without an album. One that was deleted makes the change fail.
    static std::shared_ptr<PHAssetCollectionChangeRequest> changeRequestForAssetCollection(
        const std::shared_ptr<PHAssetCollection>& album);
    /// What they hold stays in the library.
    static void deleteAssetCollections(const std::vector<std::shared_ptr<PHAssetCollection>>& albums);

    PHAssetCollectionChangeRequest(std::string album, std::shared_ptr<AddCollection> addition, bool identifierIsKnown);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Nil for a request that creates nothing, and where the library cannot tell beforehand.
    std::shared_ptr<PHObjectPlaceholder> placeholderForCreatedAssetCollection() const;
    void setTitle(const std::string& title);
    /// Assets, or placeholders of those that the same change creates. One that is in the album stays where it is.
    void addAssets(const std::vector<std::shared_ptr<PHObject>>& assets);
    void removeAssets(const std::vector<std::shared_ptr<PHObject>>& assets);

private:
    std::string album_;
    std::shared_ptr<AddCollection> addition_;
    bool identifierIsKnown_;
};

}
