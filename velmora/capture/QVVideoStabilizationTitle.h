// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/Foundation/Export.h"

#include <optional>
#include <string>

namespace velmora {

/// The name of a stabilisation mode, for people: off, standard and cinematic from the framework's strings, the other
/// modes from the application's. Nothing when the strings that hold it are not there.
VELMORA_EXPORT std::optional<std::string> QVCameraLocalizedTitleForVideoStabilizationMode(
    AVCaptureVideoStabilizationMode mode);

}
