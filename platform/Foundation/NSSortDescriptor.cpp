// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSSortDescriptor.h"

#include <utility>

namespace velmora {

NSSortDescriptor::NSSortDescriptor(std::string key, bool ascending)
    : key_(std::move(key))
    , ascending_(ascending)
{
}

std::shared_ptr<NSSortDescriptor> NSSortDescriptor::sortDescriptorWithKey(std::string key, bool ascending)
{
    return make<NSSortDescriptor>(std::move(key), ascending);
}

const ClassInfo& NSSortDescriptor::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&NSSortDescriptor::key>("key"), method<&NSSortDescriptor::ascending>("ascending"));
    static constexpr auto classMethods
        = methodTable(initialiser<NSSortDescriptor, std::string, bool>("initWithKey:ascending:"),
            classMethod<&NSSortDescriptor::sortDescriptorWithKey>("sortDescriptorWithKey:ascending:"));
    static const ClassInfo info { "Velmora.NSSortDescriptor", &NSObject::staticClass(), methods, classMethods };
    return info;
}

bool NSSortDescriptor::isEqual(const NSObject* other) const
{
    const auto* descriptor = dynamic_cast<const NSSortDescriptor*>(other);
    return descriptor && descriptor->key_ == key_ && descriptor->ascending_ == ascending_;
}

}
