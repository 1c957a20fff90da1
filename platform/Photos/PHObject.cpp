// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHObject.h"

#include <utility>

namespace velmora {

PHObject::PHObject(std::string localIdentifier)
    : localIdentifier_(std::move(localIdentifier))
{
}

const ClassInfo& PHObject::staticClass()
{
    static constexpr auto methods = methodTable(method<&PHObject::localIdentifier>("localIdentifier"));
    static const ClassInfo info { "Velmora.PHObject", &NSObject::staticClass(), methods };
    return info;
}

bool PHObject::isEqual(const NSObject* other) const
{
    const auto* object = dynamic_cast<const PHObject*>(other);
    return object && object->localIdentifier_ == localIdentifier_;
}

std::string PHObject::description() const
{
    return NSObject::description() + ' ' + localIdentifier_;
}

PHObjectPlaceholder::PHObjectPlaceholder(std::string localIdentifier)
    : PHObject(std::move(localIdentifier))
{
}

const ClassInfo& PHObjectPlaceholder::staticClass()
{
    static const ClassInfo info { "Velmora.PHObjectPlaceholder", &PHObject::staticClass() };
    return info;
}

}
