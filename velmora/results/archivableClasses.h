// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

namespace velmora {

/// Tells the unarchiver which classes archives of captures may hold. The framework calls it when a controller or a
/// record is made, and unarchiveObject<QVPhotoCaptureOutput>() does; an application calls it that reads records by
/// other means before any of that. Again does no harm.
VELMORA_EXPORT void registerArchivableClasses();

}
