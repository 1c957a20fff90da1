// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "apps/camera/Options.h"
#include "apps/camera/Report.h"

namespace velmora::camera {

class Interruption;
class OpenCamera;

/// Hands frames to a processor and measures how old they are there. On the main thread, whose run loop it turns.
class FramesCommand {
public:
    FramesCommand(const Options& options, Report& report, const Interruption& interruption);
    ~FramesCommand();

    /// Throws Refusal; what came before is told.
    void run();

private:
    const Options& options_;
    Report& report_;
    const Interruption& interruption_;
    std::unique_ptr<OpenCamera> camera_;
};

}
