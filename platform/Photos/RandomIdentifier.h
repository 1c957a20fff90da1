// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <string>

namespace velmora {

/// A new identifier that nobody else has: "9F4B7A10-53C2-4E0B-8A6D-0123456789AB". For stores.
VELMORA_EXPORT std::string randomIdentifier();

}
