// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/Foundation/Export.h"
#include "platform/Foundation/NSError.h"

#include <memory>
#include <optional>
#include <string>

namespace velmora::drivers::cameras {

/// Where the kernel shows its devices; a test's own folders.
struct KernelFolders {
    std::string devices = "/dev", system = "/sys";
};

/// The light beside a camera: a lamp that stays on, and a flash. Used from one thread at a time.
class VELMORA_EXPORT Light {
public:
    virtual ~Light() = default;
    virtual std::string name() const = 0; ///< for the log
    /// An error when the kernel refuses.
    virtual std::optional<NSError> setTorch(bool on) = 0;
    /// Lights up for a picture, for as long as the lamp is allowed to, until `endFlash`. A lamp without a flash of its
    /// own shines as a torch.
    virtual std::optional<NSError> beginFlash() = 0;
    /// As it was before.
    virtual void endFlash() = 0;
};

/// The light at a camera's side: one of the kernel's LEDs (class "leds", whose function is "flash" or "torch"), else
/// one of V4L2's flash devices. A light counts as being at the back unless its name says "front". Null when there is
/// none, or none that this user may switch: the log says how that is mended.
VELMORA_EXPORT std::shared_ptr<Light> findLight(const KernelFolders& folders, AVCaptureDevicePosition position);

}
