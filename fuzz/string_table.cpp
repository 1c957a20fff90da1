// SPDX-License-Identifier: Apache-2.0
// String tables come from translators: whatever they hold, reading ends. What was read is written again, and reads as
// the same.
#include "platform/Foundation/StringTable.h"

#include <cstdlib>

namespace {

std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            result += '\\';
        result += c;
    }
    return result + "\"";
}

}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto table = velmora::StringTable::parse({ reinterpret_cast<const char*>(data), size });
    std::string written;
    for (const auto& [key, text] : table.texts)
        written += quoted(key) + " = " + quoted(text) + ";\n";
    const auto again = velmora::StringTable::parse(written);
    if (again.damage || again.texts != table.texts)
        std::abort();
    return 0;
}
