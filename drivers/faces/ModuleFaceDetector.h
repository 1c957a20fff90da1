// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/FaceDetector.h"

#include <mutex>
#include <string>

namespace velmora::drivers::faces {

/// The face detector of a module with a heavy library in it, which is opened when somebody first looks for faces.
class VELMORA_EXPORT ModuleFaceDetector final : public FaceDetector {
public:
    /// `module` is a shared object that exports velmoraMakeFaceDetector; `cascade` is the trained data that it reads.
    ModuleFaceDetector(std::string module, std::string cascade);

    /// Both files are there.
    bool isAvailable() const override;
    /// None, and one line of the log, when the module or its data cannot be read.
    std::vector<CGRect> facesIn(const GreyPicture& picture) override;

    bool isLoaded() const;

private:
    const std::string module_, cascade_;
    mutable std::mutex mutex_;
    bool tried_ = false;
    std::shared_ptr<FaceDetector> detector_;
};

}
