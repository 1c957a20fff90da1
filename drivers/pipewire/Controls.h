// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/CameraControls.h"

#include <cstdint>
#include <map>
#include <vector>

struct spa_pod;

namespace velmora::drivers::pipewire {

using cameras::Controls;

/// Takes what a node tells of one property, if its name is one that we know.
void addProperty(Controls& controls, const spa_pod* propInfo);
/// Takes the values in force.
void readProperties(Controls& controls, const spa_pod* props);
/// A Props object that sets these values. The memory is `memory`'s.
const spa_pod* propsFor(
    const Controls& controls, const std::map<std::uint32_t, double>& values, std::vector<std::uint8_t>& memory);

}
