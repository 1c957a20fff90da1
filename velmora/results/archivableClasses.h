// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora {

/// Tells the unarchiver which classes archives of captures may hold. The framework calls it when it is loaded; again
/// does no harm.
VELMORA_EXPORT void registerArchivableClasses();

}
