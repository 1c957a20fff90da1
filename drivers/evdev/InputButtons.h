// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureButtonDriver.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace velmora::drivers::evdev {

class InputDevice;

/// Where the kernel shows its input devices, and what counts.
struct Places {
    std::string devices = "/dev/input", classes = "/sys/class/input";
    bool typing = false; ///< Space and return of keyboards count too: for a machine without windows to type into.
};

/// Camera and volume buttons of the housing, of remote releases and of keyboards, as the kernel tells of them; devices
/// that are plugged in later too. A device that may not be read is left out. Nothing is open, and no thread runs, while
/// nobody listens.
class VELMORA_EXPORT InputButtons final : public CaptureButtonDriver {
public:
    explicit InputButtons(Places places);
    ~InputButtons() override;

    /// `pressed` is called on the driver's own thread, and must not call this.
    void setPressed(Pressed pressed) override;

    /// Whether one of the devices that are there now has such a button and may be read.
    static bool canRead(const Places& places);

private:
    void run(int stopped, int news, const Pressed& pressed);

    const Places places_;
    std::mutex mutex_; // the thread's beginning and end
    std::thread thread_;
    int stopped_ = -1;
};

}
