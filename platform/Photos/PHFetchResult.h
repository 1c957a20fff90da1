// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Photos/PHObject.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace velmora {

struct ChangeOfResult;
struct PhotoFetch;

/// What a fetch found: a snapshot that does not change, and what later change details begin from. From any thread.
class VELMORA_EXPORT PHFetchResult : public NSObject {
public:
    using Objects = std::vector<std::shared_ptr<PHObject>>;

    /// What the fetch finds now.
    explicit PHFetchResult(std::shared_ptr<const PhotoFetch> fetch);
    PHFetchResult(std::shared_ptr<const PhotoFetch> fetch, Objects objects);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    std::size_t count() const { return objects_.size(); }
    std::shared_ptr<PHObject> firstObject() const; ///< Nil when there is none.
    std::shared_ptr<PHObject> lastObject() const;
    /// The object as the class that the fetch was for; nil when it is none.
    template <class T> std::shared_ptr<T> firstObjectAs() const { return std::dynamic_pointer_cast<T>(firstObject()); }
    template <class T> std::shared_ptr<T> lastObjectAs() const { return std::dynamic_pointer_cast<T>(lastObject()); }
    /// Throws NSException ("NSRangeException") beyond the last.
    std::shared_ptr<PHObject> objectAtIndex(std::size_t index) const;
    /// By identifier.
    bool containsObject(const std::shared_ptr<PHObject>& object) const { return indexOfObject(object).has_value(); }
    std::optional<std::size_t> indexOfObject(const std::shared_ptr<PHObject>& object) const;

    Objects objects() const { return objects_; }
    const std::shared_ptr<const PhotoFetch>& fetch() const { return fetch_; }

private:
    friend struct ChangeOfResult;

    std::shared_ptr<const PhotoFetch> fetch_;
    Objects objects_;
};

}
