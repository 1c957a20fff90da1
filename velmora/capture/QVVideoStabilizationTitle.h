// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/Foundation/Export.h"

#include <string>

namespace velmora {

/// The name of a stabilisation mode, for people: off, standard and cinematic from the framework's strings, the other
/// modes from the application's.
VELMORA_EXPORT std::string QVCameraLocalizedTitleForVideoStabilizationMode(AVCaptureVideoStabilizationMode mode);

}
