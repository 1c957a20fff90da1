// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHFetchResultChangeDetails.h"

#include "platform/Photos/PHFetchResult.h"

#include <utility>

namespace velmora {

PHFetchResultChangeDetails::PHFetchResultChangeDetails(Contents contents)
    : contents_(std::move(contents))
{
}

const ClassInfo& PHFetchResultChangeDetails::staticClass()
{
    using Self = PHFetchResultChangeDetails;
    static constexpr auto methods = methodTable(method<&Self::fetchResultBeforeChanges>("fetchResultBeforeChanges"),
        method<&Self::fetchResultAfterChanges>("fetchResultAfterChanges"),
        method<&Self::hasIncrementalChanges>("hasIncrementalChanges"), method<&Self::removedIndexes>("removedIndexes"),
        method<&Self::insertedIndexes>("insertedIndexes"), method<&Self::changedIndexes>("changedIndexes"));
    static const ClassInfo info { "Velmora.PHFetchResultChangeDetails", &NSObject::staticClass(), methods };
    return info;
}

}
