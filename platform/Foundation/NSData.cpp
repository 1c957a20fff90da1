// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSData.h"

#include <algorithm>
#include <utility>

namespace velmora {

NSData::NSData(std::vector<std::uint8_t> bytes)
    : bytes_(std::move(bytes))
{
}

const ClassInfo& NSData::staticClass()
{
    static constexpr auto methods = methodTable(method<&NSData::length>("length"));
    static const ClassInfo info { "Velmora.NSData", &NSObject::staticClass(), methods };
    return info;
}

bool NSData::isEqual(const NSObject* other) const
{
    const auto* data = dynamic_cast<const NSData*>(other);
    return data && (data == this || data->bytes_ == bytes_);
}

std::string NSData::description() const
{
    return "{length = " + std::to_string(bytes_.size()) + "}";
}

}
