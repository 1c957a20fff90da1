// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <exception>
#include <string>

namespace velmora {

/// Why something did not work. A value: callbacks hand over std::optional<NSError>, operations throw it, and a
/// notification carries it as its object (a copy made by make<NSError>(error)).
class VELMORA_EXPORT NSError : public NSObject, public std::exception {
public:
    /// Without a text, the description is made of domain and code.
    NSError(std::string domain, std::int64_t code, std::string localizedDescription = {});

    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::string& domain() const { return domain_; }
    std::int64_t code() const { return code_; }
    /// What happened, why, and what would help, in one sentence for a person.
    const std::string& localizedDescription() const { return localizedDescription_; }

    /// Equal by domain and code.
    bool isEqual(const NSObject* other) const override;
    /// "Error Domain=DOMAIN Code=CODE \"TEXT\""
    std::string description() const override;
    const char* what() const noexcept override { return localizedDescription_.c_str(); }

private:
    std::string domain_;
    std::int64_t code_;
    std::string localizedDescription_;
};

/// Errors of the operating system; the code is errno.
inline constexpr const char* NSPOSIXErrorDomain = "NSPOSIXErrorDomain";
/// Errors of files, archives and property lists.
inline constexpr const char* NSCocoaErrorDomain = "NSCocoaErrorDomain";
/// The operating system refused `what`: text and code from errno.
VELMORA_EXPORT NSError errorFromErrno(int number, const std::string& what);

}
