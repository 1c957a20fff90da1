// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct spa_pod;

namespace velmora::drivers::pipewire {

/// What a control is for.
enum class Purpose : std::uint8_t {
    Exposure,
    AutoExposure,
    Gain,
    Focus,
    AutoFocus,
    Temperature,
    AutoWhiteBalance,
    Zoom,
    Bias,
};

/// One control of a node, which it told by a name: "Exposure Time, Absolute", "AnalogueGain", "Focus, Absolute" ...
struct Control {
    std::uint32_t id = 0; ///< of the property
    std::uint32_t type = 0; ///< SPA_TYPE_... of its value
    double usual = 0, least = 0, most = 0; ///< in the node's units
    double unit = 1; ///< our units (seconds, kelvin, stops) in one of the node's
    /// Of one that switches: the values for by hand and for automatic.
    double byHand = 0, automatic = 1;
};

/// The controls of a camera node that we know, and what they do in our units.
class Controls {
public:
    /// Takes what the node tells of one property, if its name is one that we know.
    void add(const spa_pod* propInfo);
    /// Takes the values in force.
    void read(const spa_pod* props);
    void clear();

    bool has(Purpose purpose) const { return all_.contains(purpose); }
    /// Fills in ranges and modes of a description.
    void describe(CaptureDeviceDescription& description) const;
    /// What must be set, in the node's units, so that `settings` take the place of `before`: what nobody changed stays
    /// as the camera has it. Without `before`, only what switches between automatic and by hand.
    std::map<std::uint32_t, double> changesFor(const CaptureSettings& settings, const CaptureSettings* before) const;
    /// Whether the node has told that these values are in force, or nothing at all of any of them.
    bool areInForce(const std::map<std::uint32_t, double>& values) const;
    bool tells() const { return !values_.empty(); }
    /// What is in force, of what the node tells.
    CaptureReadings readings() const;
    /// A Props object that sets these values. The memory is `memory`'s.
    const spa_pod* props(const std::map<std::uint32_t, double>& values, std::vector<std::uint8_t>& memory) const;

private:
    const Control* find(Purpose purpose) const;
    std::optional<double> valueOf(Purpose purpose) const; ///< in the node's units
    double inUnits(Purpose purpose, double value) const; ///< in ours
    double inNodes(Purpose purpose, double value) const; ///< in the node's, within its range

    std::map<Purpose, Control> all_;
    std::map<std::uint32_t, double> values_;
};

}
