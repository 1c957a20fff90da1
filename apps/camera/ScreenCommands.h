// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/camera/Options.h"
#include "apps/camera/Report.h"

namespace velmora::camera {

class Interruption;

/// Shows the camera screen in a window until it is closed. On the main thread, whose run loop it turns. Throws Refusal.
void showScreen(const Options& options, Report& report, const Interruption& interruption);

/// Draws the camera screen of the virtual phone into a PNG, after a second and the touches of a script, on a clock of
/// its own: the same input makes the same bytes. Throws Refusal.
void takeSnapshot(const Options& options, Report& report);

}
