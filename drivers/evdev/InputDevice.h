// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureButtonDriver.h"

#include <linux/input.h>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace velmora::drivers::evdev {

/// The codes in a bitmap as sysfs writes it: hexadecimal words of a `long` each, the highest first. Empty for anything
/// else.
std::set<std::uint16_t> codesIn(const std::string& bitmap);

/// One device of the kernel's input layer that has buttons for taking pictures. From one thread.
class InputDevice {
public:
    using Tell = std::function<void(const std::string& button, AVCaptureEventPhase phase)>;

    /// Empty when it has no such button, or may not be read. `typing`: space and return of a keyboard count too.
    static std::unique_ptr<InputDevice> open(const std::string& path, const std::string& capabilities, bool typing);
    ~InputDevice();
    InputDevice(const InputDevice&) = delete;
    InputDevice& operator=(const InputDevice&) = delete;

    int descriptor() const { return descriptor_; }
    /// Takes up what the device said. False when it is gone; what was pressed then is cancelled.
    bool read(const Tell& tell);

private:
    InputDevice(int descriptor, std::set<std::uint16_t> codes);
    void take(const input_event& event, const Tell& tell);
    void lookAgain(const Tell& tell);
    void set(std::uint16_t code, bool down, const Tell& tell);
    void cancel(const Tell& tell);

    const int descriptor_;
    const std::set<std::uint16_t> codes_; // that take pictures
    std::set<std::uint16_t> down_;
    std::map<std::string, ButtonPress> presses_; // by button
    std::set<std::string> pressed_; // told as begun, and not as over
};

}
