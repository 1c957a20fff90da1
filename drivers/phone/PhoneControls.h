// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureControlsDriver.h"

#include "drivers/phone/PhoneState.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace velmora::drivers::phone {

/// The phone's camera button: it shows the controls of the session that changed them last.
class PhoneControls final : public CaptureControlsDriver {
public:
    explicit PhoneControls(std::shared_ptr<PhoneState> state);

    bool supportsControls() const override;
    std::vector<std::shared_ptr<AVCaptureControl>> controlsOfOthers() const override;
    bool canAddControl(const AVCaptureControl& control) override;
    void controlsChanged(const std::shared_ptr<AVCaptureSession>& session) override;

    // What the test asks for.
    void select(std::size_t control, std::int64_t index) const;
    void show(bool active, bool fullScreen);

private:
    std::shared_ptr<AVCaptureSession> session() const;

    const std::shared_ptr<PhoneState> state_;
    mutable std::mutex mutex_;
    std::weak_ptr<AVCaptureSession> session_;
    bool active_ = false, fullScreen_ = false;
};

}
