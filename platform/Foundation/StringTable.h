// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

/// The texts of a ".strings" file: `"key" = "text";` entries with /* */ and // comments, the escapes \n \t \r \" \uXXXX
/// and \UXXXX (UTF-16 units; a backslash before any other character stands for that character), in UTF-8 or, with a
/// byte order mark, in UTF-16. `"key";` alone is its own text.
struct VELMORA_EXPORT StringTable {
    struct Damage {
        std::int64_t line; ///< From 1.
        std::string why;
    };

    /// Reads up to the first damage; the entries before it count.
    static StringTable parse(std::string_view bytes);

    std::map<std::string, std::string> texts;
    std::optional<Damage> damage;
};

}
