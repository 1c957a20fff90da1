// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace velmora {

class PHFetchResult;

/// What a change means for one fetch result.
class VELMORA_EXPORT PHFetchResultChangeDetails : public NSObject {
public:
    using Indexes = std::vector<std::size_t>; ///< ascending

    struct Contents {
        std::shared_ptr<PHFetchResult> before, after;
        Indexes removed, inserted, changed;
        bool incremental = true;
    };
    explicit PHFetchResultChangeDetails(Contents contents);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::shared_ptr<PHFetchResult>& fetchResultBeforeChanges() const { return contents_.before; }
    /// The objects before without the removed ones, with the inserted ones, sorted, up to the fetch's limit.
    const std::shared_ptr<PHFetchResult>& fetchResultAfterChanges() const { return contents_.after; }
    /// False where the library could not follow: then the result was fetched again, and compared.
    bool hasIncrementalChanges() const { return contents_.incremental; }
    const Indexes& removedIndexes() const { return contents_.removed; } ///< before
    const Indexes& insertedIndexes() const { return contents_.inserted; } ///< after
    const Indexes& changedIndexes() const { return contents_.changed; } ///< after

private:
    Contents contents_;
};

}
