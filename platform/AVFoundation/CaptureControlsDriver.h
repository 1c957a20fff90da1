// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <memory>
#include <vector>

namespace velmora {

class AVCaptureControl;
class AVCaptureSession;

/// Where people find a session's controls: a camera button that one can slide on, or a menu on the screen. One is
/// installed for the process; without one, no session supports controls. Called from any thread.
class VELMORA_EXPORT CaptureControlsDriver {
public:
    virtual ~CaptureControlsDriver() = default;
    /// Asked afresh each time.
    virtual bool supportsControls() const { return true; }
    /// Controls of others, which a new session has from the beginning.
    virtual std::vector<std::shared_ptr<AVCaptureControl>> controlsOfOthers() const { return {}; }
    virtual bool canAddControl(const AVCaptureControl&) { return true; }
    /// The session has other controls now; it answers which. People's selections go to the controls, and what becomes
    /// visible to the session, from any thread.
    virtual void controlsChanged(const std::shared_ptr<AVCaptureSession>& session) = 0;

    static std::shared_ptr<CaptureControlsDriver> installed(); ///< Empty when there is none.
    static void install(std::shared_ptr<CaptureControlsDriver> driver);
};

}
