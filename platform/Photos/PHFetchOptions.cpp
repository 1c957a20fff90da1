// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHFetchOptions.h"

#include "platform/Foundation/NSPredicate.h"
#include "platform/Foundation/NSSortDescriptor.h"

#include <utility>

namespace velmora {

const ClassInfo& PHFetchOptions::staticClass()
{
    using Self = PHFetchOptions;
    static constexpr auto methods
        = methodTable(method<&Self::predicate>("predicate"), method<&Self::setPredicate>("setPredicate:"),
            method<&Self::sortDescriptors>("sortDescriptors"), method<&Self::setSortDescriptors>("setSortDescriptors:"),
            method<&Self::fetchLimit>("fetchLimit"), method<&Self::setFetchLimit>("setFetchLimit:"));
    static constexpr auto classMethods = methodTable(initialiser<Self>("init"));
    static const ClassInfo info { "Velmora.PHFetchOptions", &NSObject::staticClass(), methods, classMethods };
    return info;
}

void PHFetchOptions::setPredicate(std::shared_ptr<NSPredicate> predicate)
{
    predicate_ = std::move(predicate);
}

void PHFetchOptions::setSortDescriptors(SortDescriptors descriptors)
{
    sortDescriptors_ = std::move(descriptors);
}

}
