// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/camera/Options.h"
#include "apps/camera/Report.h"

namespace velmora::camera {

class Interruption;

/// Takes photos one after the other and measures how long each step of each takes. On the main thread, whose run loop
/// it turns. Throws Refusal; what was measured before is told.
void measureLatency(const Options& options, Report& report, const Interruption& interruption);

}
