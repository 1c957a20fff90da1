// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureSessionControlsDelegate.h"

#include <cstdint>

namespace velmora {

/// Told of what people do with the capture control that a camera controller installed. The callbacks of the session
/// come on the main queue.
class VELMORA_EXPORT QVCameraButtonControlsDelegate : public AVCaptureSessionControlsDelegate {
public:
    /// On the controller's session queue, from which the controller must not be reconfigured: that stops the process.
    virtual void controlDidSelectCaptureMenuIndex(std::int64_t /*index*/) { }
};

}
