// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSError.h"

#include <memory>
#include <optional>
#include <string>

#include "apps/camera/Options.h"
#include "apps/camera/PictureFolder.h"
#include "apps/camera/Report.h"

namespace velmora::camera {

class Interruption;
class OpenCamera;

/// Records one movie and stores it. On the main thread, whose run loop it turns.
class RecordCommand {
public:
    RecordCommand(const Options& options, Report& report, const Interruption& interruption);
    ~RecordCommand();

    /// Throws Refusal; what was recorded before is stored.
    void run();

private:
    struct Recording;

    void chooseFormat();
    std::shared_ptr<Recording> record();
    void store(const Recording& recording);
    std::string whyStopped(const Recording& recording) const;
    Refusal refusal(const Recording& recording) const;

    const Options& options_;
    Report& report_;
    const Interruption& interruption_;
    PictureFolder folder_;
    std::unique_ptr<OpenCamera> camera_;
    std::optional<std::filesystem::path> stored_;
};

}
