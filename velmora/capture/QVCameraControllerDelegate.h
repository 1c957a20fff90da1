// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <optional>

namespace velmora {

/// What a camera controller asks its application.
class VELMORA_EXPORT QVCameraControllerDelegate {
public:
    virtual ~QVCameraControllerDelegate() = default;

    /// Asked when a delayed stop is due, on the thread that asked for the stop. Nothing: the delegate does not
    /// implement it, and the camera keeps running, as it does for NO.
    virtual std::optional<bool> shouldStopSession() { return std::nullopt; }
};

}
