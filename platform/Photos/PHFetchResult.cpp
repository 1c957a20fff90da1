// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHFetchResult.h"

#include "platform/Foundation/NSException.h"
#include "platform/Photos/PhotoFetch.h"

#include <utility>

namespace velmora {

PHFetchResult::PHFetchResult(std::shared_ptr<const PhotoFetch> fetch)
    : fetch_(std::move(fetch))
    , objects_(fetch_->objects())
{
}

PHFetchResult::PHFetchResult(std::shared_ptr<const PhotoFetch> fetch, Objects objects)
    : fetch_(std::move(fetch))
    , objects_(std::move(objects))
{
}

const ClassInfo& PHFetchResult::staticClass()
{
    using Self = PHFetchResult;
    static constexpr auto methods
        = methodTable(method<&Self::count>("count"), method<&Self::firstObject>("firstObject"),
            method<&Self::lastObject>("lastObject"), method<&Self::objectAtIndex>("objectAtIndex:"),
            method<&Self::containsObject>("containsObject:"), method<&Self::indexOfObject>("indexOfObject:"));
    static const ClassInfo info { "Velmora.PHFetchResult", &NSObject::staticClass(), methods };
    return info;
}

std::shared_ptr<PHObject> PHFetchResult::firstObject() const
{
    return objects_.empty() ? nullptr : objects_.front();
}

std::shared_ptr<PHObject> PHFetchResult::lastObject() const
{
    return objects_.empty() ? nullptr : objects_.back();
}

std::shared_ptr<PHObject> PHFetchResult::objectAtIndex(std::size_t index) const
{
    if (index >= objects_.size())
        throw NSException("NSRangeException",
            "[PHFetchResult objectAtIndex:] index " + std::to_string(index) + " is beyond its "
                + std::to_string(objects_.size()) + " objects.");
    return objects_[index];
}

std::optional<std::size_t> PHFetchResult::indexOfObject(const std::shared_ptr<PHObject>& object) const
{
    for (std::size_t i = 0; i < objects_.size(); ++i)
        if (object && objects_[i]->localIdentifier() == object->localIdentifier())
            return i;
    return std::nullopt;
}

}
