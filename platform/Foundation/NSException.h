// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <exception>
#include <string>

namespace velmora {

/// An error of the programmer who calls. Applications do not catch it in the ordinary course of things.
class VELMORA_EXPORT NSException : public std::exception {
public:
    NSException(std::string name, std::string reason);

    const std::string& name() const { return name_; }
    const std::string& reason() const { return reason_; }
    const char* what() const noexcept override { return text_.c_str(); }

private:
    std::string name_, reason_, text_;
};

inline constexpr const char* NSInvalidArgumentException = "NSInvalidArgumentException";

}
