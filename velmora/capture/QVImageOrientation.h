// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"
#include "platform/UIKit/UIOrientation.h"

#include <cstdint>

namespace velmora {

/// The EXIF orientation (1 to 8) of an image orientation; 0, and a line on the log, for an unknown one.
VELMORA_EXPORT std::int32_t QVGetEXIFOrientationForUIImageOrientation(UIImageOrientation orientation);

/// The image orientation of an EXIF orientation (1 to 8); up, and a line on the log, for an unknown one.
VELMORA_EXPORT UIImageOrientation QVGetImageOrientationForEXIFOrientation(std::int32_t orientation);

}
