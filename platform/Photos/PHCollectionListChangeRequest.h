// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/Photos/PhotoRecords.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora {

class PHCollectionList;
class PHObject;
class PHObjectPlaceholder;

/// Asks for a new folder, or for other contents of one. Only inside a change block of the library: elsewhere it throws
/// NSException.
class VELMORA_EXPORT PHCollectionListChangeRequest : public NSObject {
public:
    static std::shared_ptr<PHCollectionListChangeRequest> creationRequestForCollectionListWithTitle(
        const std::string& title);
    /// Nil without a folder, and for one that is not there or may not be changed.
    static std::shared_ptr<PHCollectionListChangeRequest> changeRequestForCollectionList(
        const std::shared_ptr<PHCollectionList>& folder);
    /// What they hold stays, outside any folder.
    static void deleteCollectionLists(const std::vector<std::shared_ptr<PHCollectionList>>& folders);

    PHCollectionListChangeRequest(std::string folder, std::shared_ptr<AddCollection> addition, bool identifierIsKnown);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Nil for a request that creates nothing, and where the library cannot tell beforehand.
    std::shared_ptr<PHObjectPlaceholder> placeholderForCreatedCollectionList() const;
    void setTitle(const std::string& title);
    /// Albums and folders, or placeholders of those that the same change creates. Each is in one folder at a time. A
    /// folder that would lie in itself makes the change fail.
    void addChildCollections(const std::vector<std::shared_ptr<PHObject>>& collections);
    void removeChildCollections(const std::vector<std::shared_ptr<PHObject>>& collections);

private:
    std::string folder_;
    std::shared_ptr<AddCollection> addition_;
    bool identifierIsKnown_;
};

}
