// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/camera/Options.h"

namespace velmora::camera {

class Report;

/// Tells the lens catalogue.
void listLenses(const Options& options, Report& report);

/// Tells every camera, and what became of the drivers.
void listDevices(const Options& options, Report& report);

}
