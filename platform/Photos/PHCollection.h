// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Photos/PHObject.h"
#include "platform/Photos/PhotoRecords.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora {

class PHCollectionList;
class PHFetchOptions;
class PHFetchResult;

/// An album or a folder.
class VELMORA_EXPORT PHCollection : public PHObject {
public:
    /// The albums and folders in a folder.
    static std::shared_ptr<PHFetchResult> fetchCollectionsInCollectionList(
        const std::shared_ptr<PHCollectionList>& folder, const std::shared_ptr<PHFetchOptions>& options);

    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::string& localizedTitle() const { return record_.title; }
    const CollectionRecord& record() const { return record_; }

protected:
    explicit PHCollection(CollectionRecord record);

private:
    CollectionRecord record_;
};

}
