// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velmora::drivers::cameras {

/// What a control is for.
enum class Purpose : std::uint8_t {
    Exposure,
    AutoExposure,
    Gain,
    ISO,
    AutoGain,
    Focus,
    AutoFocus,
    Temperature,
    AutoWhiteBalance,
    Zoom,
    Bias,
};

/// What is known of a control by its name, or by its number: the unit, and the values of a switch.
struct ControlKind {
    Purpose purpose {};
    double unit = 1; ///< our units (seconds, kelvin, stops) in one of the camera's
    double byHand = 0, automatic = 1; ///< of one that switches
};

/// One control of a camera.
struct Control {
    ControlKind kind;
    std::uint32_t id = 0; ///< by which the camera knows it
    std::uint32_t type = 0; ///< of its value, as the camera's family counts them
    bool isWhole = false; ///< it takes whole numbers only
    double usual = 0, least = 0, most = 0; ///< in the camera's units
    /// Of one whose values are a list: what the entries stand for, in the camera's units, by their number, which is
    /// what the camera takes and tells.
    std::map<std::int64_t, double> entries;
};

/// The kernel's names ("Exposure Time, Absolute"), libcamera's ("AnalogueGain") and plain ones with a unit in brackets.
VELMORA_EXPORT std::optional<ControlKind> controlNamed(const std::string& name);

/// The controls of a camera that we know, and what they do in our units.
class VELMORA_EXPORT Controls {
public:
    /// Leaves out what can have one value only, and a second one for the same purpose.
    void add(const Control& control);
    /// A value in force, as the camera tells it; of a control that nobody added it says nothing.
    void read(std::uint32_t id, double value);

    const std::map<Purpose, Control>& all() const { return all_; }
    bool has(Purpose purpose) const { return all_.contains(purpose); }
    /// Fills in ranges and modes of a description.
    void describe(CaptureDeviceDescription& description) const;
    /// What must be set, as the camera takes it, so that `settings` take the place of `before`: what nobody changed
    /// stays as the camera has it. Without `before`, only what switches between automatic and by hand.
    std::map<std::uint32_t, double> changesFor(const CaptureSettings& settings, const CaptureSettings* before) const;
    /// Whether the camera has told that these values are in force, or nothing at all of any of them.
    bool areInForce(const std::map<std::uint32_t, double>& values) const;
    bool tells() const { return !values_.empty(); }
    /// What is in force, of what the camera tells.
    CaptureReadings readings() const;

private:
    const Control* find(Purpose purpose) const;
    Purpose sensitivity() const { return has(Purpose::ISO) ? Purpose::ISO : Purpose::Gain; }
    std::optional<double> valueOf(Purpose purpose) const; ///< in our units
    double inUnits(Purpose purpose, double value) const; ///< the camera's in ours
    double inCameras(Purpose purpose, double value) const; ///< ours as the camera takes it, within its range

    std::map<Purpose, Control> all_;
    std::map<std::uint32_t, double> values_;
};

}
