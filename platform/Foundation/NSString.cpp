// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSString.h"

#include "platform/Foundation/NSLog.h"

#include <charconv>
#include <cstddef>

namespace velmora {

std::string stringWithRuntimeFormat(std::string_view format, const std::vector<std::string>& arguments)
{
    std::string result;
    std::size_t next = 0;
    const auto append = [&](std::size_t index) {
        result += index < arguments.size() ? std::string_view(arguments[index]) : nilDescription;
    };
    for (std::size_t i = 0; i < format.size(); ++i) {
        const std::string_view rest = format.substr(i);
        if (rest.starts_with("%%")) {
            result += '%';
            ++i;
        } else if (rest.starts_with("%@")) {
            append(next++);
            ++i;
        } else if (format[i] == '%') {
            std::size_t number = 0;
            const char* end = std::from_chars(rest.data() + 1, rest.data() + rest.size(), number).ptr;
            const auto length = static_cast<std::size_t>(end - rest.data());
            if (number == 0 || !rest.substr(length).starts_with("$@")) {
                result += '%';
                continue;
            }
            append(number - 1);
            i += length + 1;
        } else
            result += format[i];
    }
    return result;
}

}
