// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSError.h"

#include <cstdint>
#include <string>

namespace velmora::drivers::media {

/// Codes of NSCocoaErrorDomain that media files meet.
inline constexpr std::int64_t fileReadUnknown = 256, fileReadCorrupt = 259, fileReadTooLarge = 263,
                              fileWriteUnknown = 512;

/// `text` says what is wrong with the data and what would help.
inline NSError damaged(const std::string& text)
{
    return { NSCocoaErrorDomain, fileReadCorrupt, text };
}
inline NSError tooLarge(const std::string& text)
{
    return { NSCocoaErrorDomain, fileReadTooLarge, text };
}
inline NSError cannotWrite(const std::string& text)
{
    return { NSCocoaErrorDomain, fileWriteUnknown, text };
}

}
