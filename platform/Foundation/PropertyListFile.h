// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/ArchiveValue.h"

#include <string>
#include <string_view>

namespace velmora {

/// Property lists in their readable form, for files that people look at: user defaults and information dictionaries.
/// Dates keep whole seconds.

/// Throws NSError (NSCocoaErrorDomain) when a value has no place in a property list: nil, or an object of another
/// class.
std::string propertyListText(const ArchiveDictionary& values);

/// Reads the readable form and the binary one. Throws NSError (NSCocoaErrorDomain) for anything else, for a list that
/// is no dictionary, and for more than 200 levels.
ArchiveDictionary propertyListValues(std::string_view bytes);

/// The whole content of a file. Throws NSError (NSPOSIXErrorDomain) when it cannot be read or is larger than 64 MB.
std::string contentOfFile(const std::string& path);

}
