// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

namespace velmora {

/// Something that a session offers on the device's camera button or its menu. Its kinds are subclasses.
class VELMORA_EXPORT AVCaptureControl : public NSObject {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Whether a person can operate it; it can from the beginning. Observable.
    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled);

protected:
    AVCaptureControl() = default;

private:
    std::atomic<bool> enabled_ { true };
};

}
