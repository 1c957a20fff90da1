// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <cstdint>

namespace velmora {

/// What a shot turned out to be, as far as is known at that moment. Immutable.
class VELMORA_EXPORT AVCaptureResolvedPhotoSettings : public NSObject {
public:
    AVCaptureResolvedPhotoSettings(std::int64_t uniqueID, bool flashEnabled);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    std::int64_t uniqueID() const { return uniqueID_; } ///< of the settings that were given
    bool isFlashEnabled() const { return flashEnabled_; } ///< the flash as it fired

private:
    std::int64_t uniqueID_;
    bool flashEnabled_;
};

}
