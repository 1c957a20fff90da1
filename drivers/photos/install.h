// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora::drivers::photos {

/// Puts the library in the user's pictures folder in force. Nothing is opened or made before somebody asks for it.
/// Answers whether there is such a folder: not without HOME.
VELMORA_EXPORT bool install();

}
