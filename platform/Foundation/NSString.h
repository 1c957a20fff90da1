// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <string>
#include <string_view>
#include <vector>

namespace velmora {

/// A format that is only known when the program runs, such as a translated one: %@ takes the next argument, %1$@ the
/// first, %% is a per cent sign. Arguments may be used again, in another order, or not at all; one that is not there
/// prints as "(null)". Anything else stands as it is.
VELMORA_EXPORT std::string stringWithRuntimeFormat(std::string_view format, const std::vector<std::string>& arguments);

}
