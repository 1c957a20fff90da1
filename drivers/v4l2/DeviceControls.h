// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/CameraControls.h"
#include "drivers/v4l2/Descriptor.h"

#include <linux/videodev2.h>

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace velmora::drivers::v4l2 {

/// A control as the kernel describes it, and the entries of a menu.
struct KernelControl {
    v4l2_queryctrl query {};
    std::map<std::int64_t, std::int64_t> menu; ///< values by index; the index itself for entries that are words
};

/// What it is to a camera; nothing for one that we do not use, or that is disabled or only to be read.
VELMORA_EXPORT std::optional<cameras::Control> controlOf(const KernelControl& control);

/// All that a device has, whatever it is for.
std::vector<KernelControl> controlsIn(const Descriptor& device);
/// Those that a camera's settings use.
VELMORA_EXPORT cameras::Controls cameraControls(const std::vector<KernelControl>& all);
/// Reads what is in force into `controls`; whether that is other than before.
bool readValues(const Descriptor& device, cameras::Controls& controls);
/// Sets values, switches between automatic and by hand first: what is automatic takes no value.
void setValues(
    const Descriptor& device, const cameras::Controls& controls, const std::map<std::uint32_t, double>& values);

}
