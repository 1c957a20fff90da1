// SPDX-License-Identifier: Apache-2.0
#include "drivers/v4l2/DeviceControls.h"

#include "platform/Foundation/NSLog.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>

namespace velmora::drivers::v4l2 {

using cameras::Control;
using cameras::ControlKind;
using cameras::Purpose;

namespace {

struct Known {
    std::uint32_t id;
    ControlKind kind;
};
/// Where a device has two for one purpose, the first counts.
constexpr std::array known {
    Known { V4L2_CID_EXPOSURE_ABSOLUTE, { Purpose::Exposure, 1e-4 } }, // 100 microseconds
    Known { V4L2_CID_EXPOSURE_AUTO, { Purpose::AutoExposure, 1, V4L2_EXPOSURE_MANUAL, V4L2_EXPOSURE_AUTO } },
    Known { V4L2_CID_AUTO_EXPOSURE_BIAS, { Purpose::Bias, 1e-3 } },
    Known { V4L2_CID_ISO_SENSITIVITY, { Purpose::ISO, 1e-3 } },
    Known { V4L2_CID_ISO_SENSITIVITY_AUTO,
        { Purpose::AutoGain, 1, V4L2_ISO_SENSITIVITY_MANUAL, V4L2_ISO_SENSITIVITY_AUTO } },
    Known { V4L2_CID_GAIN, { Purpose::Gain } },
    Known { V4L2_CID_ANALOGUE_GAIN, { Purpose::Gain } },
    Known { V4L2_CID_AUTOGAIN, { Purpose::AutoGain } },
    Known { V4L2_CID_FOCUS_ABSOLUTE, { Purpose::Focus } },
    Known { V4L2_CID_FOCUS_AUTO, { Purpose::AutoFocus } },
    Known { V4L2_CID_WHITE_BALANCE_TEMPERATURE, { Purpose::Temperature } },
    Known { V4L2_CID_AUTO_WHITE_BALANCE, { Purpose::AutoWhiteBalance } },
    Known { V4L2_CID_ZOOM_ABSOLUTE, { Purpose::Zoom } },
};

constexpr std::uint32_t cannotBeSet = V4L2_CTRL_FLAG_DISABLED | V4L2_CTRL_FLAG_READ_ONLY;

bool isSwitch(Purpose purpose)
{
    return purpose == Purpose::AutoExposure || purpose == Purpose::AutoGain || purpose == Purpose::AutoFocus
        || purpose == Purpose::AutoWhiteBalance;
}

/// Many cameras have no wholly automatic exposure, but one whose aperture stays: the only way that most have.
void chooseAutomatic(ControlKind& kind, const KernelControl& control)
{
    for (const int mode : { V4L2_EXPOSURE_AUTO, V4L2_EXPOSURE_APERTURE_PRIORITY, V4L2_EXPOSURE_SHUTTER_PRIORITY })
        if (control.menu.contains(mode)) {
            kind.automatic = mode;
            return;
        }
}

}

std::optional<Control> controlOf(const KernelControl& control)
{
    const v4l2_queryctrl& query = control.query;
    const auto* found
        = std::find_if(known.begin(), known.end(), [&](const Known& each) { return each.id == query.id; });
    if (found == known.end() || (query.flags & cannotBeSet) != 0)
        return std::nullopt;
    Control result;
    result.id = query.id;
    result.type = query.type;
    result.kind = found->kind;
    result.isWhole = true;
    result.usual = query.default_value;
    result.least = query.minimum;
    result.most = query.maximum;
    if (result.kind.purpose == Purpose::AutoExposure)
        chooseAutomatic(result.kind, control);
    if (query.type != V4L2_CTRL_TYPE_INTEGER_MENU)
        return result;
    for (const auto& [index, value] : control.menu)
        result.entries[index] = static_cast<double>(value);
    if (result.entries.empty())
        return std::nullopt;
    const auto [least, most] = std::minmax_element(
        result.entries.begin(), result.entries.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    result.least = least->second;
    result.most = most->second;
    const auto usual = result.entries.find(query.default_value);
    result.usual = usual == result.entries.end() ? result.least : usual->second;
    return result;
}

std::vector<KernelControl> controlsIn(const Descriptor& device)
{
    std::vector<KernelControl> all;
    v4l2_queryctrl query {};
    query.id = V4L2_CTRL_FLAG_NEXT_CTRL;
    while (device.call(VIDIOC_QUERYCTRL, &query)) {
        KernelControl control { query, {} };
        const bool isNumbers = query.type == V4L2_CTRL_TYPE_INTEGER_MENU;
        if (isNumbers || query.type == V4L2_CTRL_TYPE_MENU)
            for (int i = std::max(query.minimum, 0); i <= query.maximum; ++i) {
                v4l2_querymenu entry {};
                entry.id = query.id;
                entry.index = static_cast<std::uint32_t>(i);
                if (device.call(VIDIOC_QUERYMENU, &entry))
                    control.menu[i] = isNumbers ? static_cast<std::int64_t>(entry.value) : i;
            }
        all.push_back(std::move(control));
        query.id |= V4L2_CTRL_FLAG_NEXT_CTRL;
    }
    return all;
}

cameras::Controls cameraControls(const std::vector<KernelControl>& all)
{
    cameras::Controls controls;
    for (const Known& each : known)
        for (const auto& control : all)
            if (control.query.id == each.id)
                if (const auto ours = controlOf(control))
                    controls.add(*ours);
    return controls;
}

bool readValues(const Descriptor& device, cameras::Controls& controls)
{
    bool changed = false;
    for (const auto& [purpose, control] : controls.all()) {
        v4l2_control value { control.id, 0 };
        if (!device.call(VIDIOC_G_CTRL, &value))
            continue;
        changed = changed || !controls.areInForce({ { control.id, value.value } }) || !controls.tells();
        controls.read(control.id, value.value);
    }
    return changed;
}

void setValues(
    const Descriptor& device, const cameras::Controls& controls, const std::map<std::uint32_t, double>& values)
{
    for (const bool switches : { true, false })
        for (const auto& [purpose, control] : controls.all()) {
            const auto found = values.find(control.id);
            if (found == values.end() || isSwitch(purpose) != switches)
                continue;
            v4l2_control value { control.id, static_cast<int>(std::lround(found->second)) };
            if (!device.call(VIDIOC_S_CTRL, &value))
                NSLog("[V4L2] The camera refuses %@ for its control %@: %@.", value.value, control.id,
                    std::strerror(errno));
        }
}

}
