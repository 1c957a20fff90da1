// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureButtonDriver.h"

#include <mutex>
#include <utility>

namespace velmora::drivers::phone {

/// The phone's camera key.
class PhoneButtons final : public CaptureButtonDriver {
public:
    void setPressed(Pressed pressed) override
    {
        const std::lock_guard lock(mutex_);
        pressed_ = std::move(pressed);
    }
    void press(int phase) const
    {
        Pressed pressed;
        {
            const std::lock_guard lock(mutex_);
            pressed = pressed_;
        }
        if (pressed)
            pressed("Camera", static_cast<AVCaptureEventPhase>(phase));
    }

private:
    mutable std::mutex mutex_;
    Pressed pressed_;
};

}
