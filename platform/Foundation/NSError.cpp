// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSError.h"

#include <system_error>
#include <utility>

namespace velmora {

NSError::NSError(std::string domain, std::int64_t code, std::string localizedDescription)
    : domain_(std::move(domain))
    , code_(code)
    , localizedDescription_(std::move(localizedDescription))
{
    if (localizedDescription_.empty())
        localizedDescription_
            = "The operation couldn't be completed. (" + domain_ + " error " + std::to_string(code_) + ".)";
}

const ClassInfo& NSError::staticClass()
{
    static constexpr auto methods = methodTable(method<&NSError::domain>("domain"), method<&NSError::code>("code"),
        method<&NSError::localizedDescription>("localizedDescription"));
    static const ClassInfo info { "Velmora.NSError", &NSObject::staticClass(), methods };
    return info;
}

bool NSError::isEqual(const NSObject* other) const
{
    const auto* error = dynamic_cast<const NSError*>(other);
    return error && error->domain_ == domain_ && error->code_ == code_;
}

std::string NSError::description() const
{
    return "Error Domain=" + domain_ + " Code=" + std::to_string(code_) + " \"" + localizedDescription_ + "\"";
}

NSError errorFromErrno(int number, const std::string& what)
{
    return { NSPOSIXErrorDomain, number, what + ": " + std::generic_category().message(number) };
}

}
