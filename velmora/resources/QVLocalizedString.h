// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <optional>
#include <string>

namespace velmora {

/// The framework's text under `key` in the person's language; the key itself when no table has it, and nothing when
/// the framework's resources are not there.
VELMORA_EXPORT std::optional<std::string> QVLocalizedString(const std::string& key);

}
