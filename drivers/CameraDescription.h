// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"

#include "drivers/CameraControls.h"
#include "drivers/CameraOffers.h"
#include "drivers/KnownPhones.h"

#include <string>
#include <vector>

namespace velmora::drivers::cameras {

/// What is known of a camera beside its formats and controls.
struct CameraNames {
    std::string identity, name, make, model; ///< an empty name is the identity, an empty model the name
};

/// What a camera tells, in the words of the framework. One that tells no exposure counts as exposing for a frame.
VELMORA_EXPORT CaptureDeviceDescription describe(
    const CameraNames& names, const Placement& placement, const std::vector<Offer>& offers, const Controls& controls);
/// The settings of a camera that nobody has touched.
VELMORA_EXPORT CaptureSettings settingsAsDescribed(const CaptureDeviceDescription& description);

}
