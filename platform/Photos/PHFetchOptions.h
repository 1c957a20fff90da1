// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace velmora {

class NSPredicate;
class NSSortDescriptor;

/// What a fetch leaves out, in which order it answers, and where it stops. A fetch takes a copy.
class VELMORA_EXPORT PHFetchOptions : public NSObject {
public:
    using SortDescriptors = std::vector<std::shared_ptr<NSSortDescriptor>>;

    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Over the object's own keys, such as "localizedTitle = %@".
    const std::shared_ptr<NSPredicate>& predicate() const { return predicate_; }
    void setPredicate(std::shared_ptr<NSPredicate> predicate);
    /// Assets by creationDate, modificationDate, mediaType, pixelWidth, pixelHeight, duration, localIdentifier;
    /// collections by localizedTitle, localIdentifier. A fetch with another key throws NSException.
    const SortDescriptors& sortDescriptors() const { return sortDescriptors_; }
    void setSortDescriptors(SortDescriptors descriptors);
    /// How many at most, after sorting; 0: all.
    std::size_t fetchLimit() const { return fetchLimit_; }
    void setFetchLimit(std::size_t limit) { fetchLimit_ = limit; }

private:
    std::shared_ptr<NSPredicate> predicate_;
    SortDescriptors sortDescriptors_;
    std::size_t fetchLimit_ = 0;
};

}
