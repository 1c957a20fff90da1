// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Photos/PHObject.h"
#include "platform/Photos/PhotoRecords.h"

#include <cstddef>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace velmora {

class NSPredicate;
class PHFetchOptions;
class PHFetchResult;

/// What a fetch asked for: the base of later change details. Does not change.
struct PhotoFetch {
    struct CollectionSort {
        bool byTitle = true, ascending = true;
    };
    using Objects = std::vector<std::shared_ptr<PHObject>>;

    std::variant<AssetQuery, CollectionQuery> query; // an asset query's limit is this one's, unless a predicate filters
    std::shared_ptr<NSPredicate> predicate;
    std::vector<CollectionSort> collectionSort;
    std::size_t limit = 0;

    /// Throws NSException (NSInvalidArgumentException) for a sort key that there is not.
    static std::shared_ptr<const PhotoFetch> of(AssetQuery query, const std::shared_ptr<PHFetchOptions>& options);
    static std::shared_ptr<const PhotoFetch> of(CollectionQuery query, const std::shared_ptr<PHFetchOptions>& options);

    /// As the library is now.
    Objects objects() const;
    /// Whether `a` stands before `b`; of one kind, the query's.
    bool isBefore(const PHObject& a, const PHObject& b) const;
    bool passesPredicate(const PHObject& object) const;
};

std::shared_ptr<PHObject> objectFor(AssetRecord record);
std::shared_ptr<PHObject> objectFor(CollectionRecord record);

std::shared_ptr<PHFetchResult> collectionsByIdentifiers(
    bool folders, const std::vector<std::string>& identifiers, const std::shared_ptr<PHFetchOptions>& options);
/// All albums or folders; none of a type that there is not.
std::shared_ptr<PHFetchResult> collectionsOfKind(
    bool folders, bool isKnown, const std::shared_ptr<PHFetchOptions>& options);

}
