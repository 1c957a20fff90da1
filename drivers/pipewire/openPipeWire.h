// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"

#include "drivers/CameraLight.h"
#include "drivers/PictureCounts.h"

#include <memory>
#include <string>

namespace velmora::drivers::pipewire {

/// Which daemon, and how patient one is with it.
struct DaemonWish {
    std::string socket; ///< name or path; empty: as the environment says
    int fileDescriptor
        = -1; ///< a connection that is open already, taken over: a portal's. It is not renewed when lost.
    double answerWithin = 1; ///< seconds
    /// Seconds that a camera in use may be away, with its session interrupted, before it has failed.
    double returnWithin = 3;
    /// Seconds that a lost daemon may be away. Later it is looked for only when somebody asks for its devices.
    double daemonWithin = 30;
    std::string deviceTree = "/proc/device-tree"; ///< where the kernel says what machine this is
    cameras::KernelFolders folders; ///< where the lights beside its cameras are
};

using cameras::PictureCounts;

/// Cameras and microphones of a PipeWire daemon.
class VELMORA_EXPORT DaemonCapture : public CaptureDriver {
public:
    virtual PictureCounts pictureCounts() const = 0; ///< of all its cameras, since it was opened
    virtual bool isConnected() const = 0;
};

/// The library comes into the process here, not before. Throws NSError when the module is missing or no daemon answers.
VELMORA_EXPORT std::shared_ptr<DaemonCapture> openPipeWire(const DaemonWish& wish = {});

/// Where the module lies, beside this library; whether it is there.
VELMORA_EXPORT std::string moduleFile();
VELMORA_EXPORT bool isBuilt();

}
