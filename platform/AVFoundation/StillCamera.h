// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureDevice.h"

#include <memory>

namespace velmora {

/// The camera that a photo output was connected to last: what settings that belong to no output yet go by.
class StillCamera {
public:
    static std::shared_ptr<AVCaptureDevice> inUse(); ///< Empty without one.
    static void use(const std::shared_ptr<AVCaptureDevice>& camera);
};

}
