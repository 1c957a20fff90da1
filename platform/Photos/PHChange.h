// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/Photos/PHFetchResultChangeDetails.h"
#include "platform/Photos/PhotoRecords.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmora {

class PHFetchResult;
class PhotoStore;

/// One change to the library, by this process or another. From any thread.
class VELMORA_EXPORT PHChange : public NSObject {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// What it means for a result; nil where it does not concern it. An object is inserted when this change created it,
    /// or added it to the collection that was fetched: what moves up because others went is not.
    std::shared_ptr<PHFetchResultChangeDetails> changeDetailsForFetchResult(
        const std::shared_ptr<PHFetchResult>& result) const;

    /// The store's changes after that number, oldest first. Where the store does not know them any more, one that has
    /// no steps: its details compare with a new fetch.
    static std::vector<std::shared_ptr<PHChange>> since(const PhotoStore& store, std::uint64_t number);
    std::uint64_t number() const { return change_.number; }

    struct Key {
        explicit Key() = default;
    };
    /// `known` is whether the steps of the change are.
    PHChange(Key, LibraryChange change, bool known);

private:
    friend struct ChangeOfResult;
    void readRecords(const PhotoStore& store);

    LibraryChange change_;
    bool known_;
    std::map<std::string, std::shared_ptr<class PHObject>> objects_; // those that it made, changed or moved
};

}
