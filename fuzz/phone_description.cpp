// SPDX-License-Identifier: Apache-2.0
// A description of a phone is a file that anybody may write: whatever it holds, reading ends in a description or in an
// NSError of one sentence that names the file.
#include "drivers/phone/PhoneDescription.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace velmora::drivers::phone;
    try {
        const PhoneDescription read = fromJSONText({ reinterpret_cast<const char*>(data), size }, "fuzz.json");
        for (const auto& camera : read.cameras)
            if (camera.id.empty() || (!camera.formats.empty() && camera.activeFormat >= camera.formats.size()))
                std::abort();
    } catch (const velmora::NSError& error) {
        if (error.localizedDescription().rfind("fuzz.json: ", 0) != 0)
            std::abort();
    }
    return 0;
}
