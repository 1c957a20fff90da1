// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/ArchiveValue.h"

#include <string>

namespace velmora {

/// Property lists in their readable form (XML), for files that people look at: user defaults and information
/// dictionaries. Dates keep whole seconds, of the years 1933 to 2069.

/// Throws NSError (NSCocoaErrorDomain) for what such a list cannot hold: nil, an object of another class, a date
/// beyond, a text that is not UTF-8 or holds control characters.
std::string propertyListText(const ArchiveDictionary& values);

/// Throws NSError (NSCocoaErrorDomain) for anything else than a whole list, for a list that is no dictionary, and for
/// more than 200 levels.
ArchiveDictionary propertyListValues(const std::string& text);

/// The whole content of a file. Throws NSError (NSPOSIXErrorDomain) when it cannot be read; ENOENT when it is absent.
std::string contentOfFile(const std::string& path);

}
