// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

namespace velmora {

/// Something that a session takes pictures or sound from.
class VELMORA_EXPORT AVCaptureInput : public NSObject {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
};

}
