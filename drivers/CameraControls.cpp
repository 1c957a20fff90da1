// SPDX-License-Identifier: Apache-2.0
#include "drivers/CameraControls.h"

#include "platform/AVFoundation/DaylightLocus.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <string_view>

namespace velmora::drivers::cameras {

namespace {

constexpr int locked = 0, automaticOnce = 1, continuous = 2, custom = 3; // modes
constexpr std::int32_t fineTimescale = 1000000000;
constexpr float baseISO = 100; // of a gain of 1
constexpr float isoSteps = 4; // stops that a gain without a scale is spread over
constexpr double widestTemperature = 25000; // kelvin

struct Name {
    std::string_view text; ///< in lower case; how the control's name begins
    ControlKind kind;
};

/// The kernel's controls (whole names), libcamera's (one word), and plain ones with a unit in brackets. The first
/// that fits counts.
constexpr std::array names {
    Name { "exposure time, absolute", { Purpose::Exposure, 1e-4 } },
    Name { "exposure (absolute)", { Purpose::Exposure, 1e-4 } },
    Name { "exposure (ms)", { Purpose::Exposure, 1e-3 } },
    Name { "exposure (us)", { Purpose::Exposure, 1e-6 } },
    Name { "exposure (s)", { Purpose::Exposure, 1 } },
    Name { "exposuretime", { Purpose::Exposure, 1e-6 } },
    Name { "exposurevalue", { Purpose::Bias, 1 } },
    Name { "auto exposure, bias", { Purpose::Bias, 1e-3 } },
    Name { "exposure bias", { Purpose::Bias, 1 } },
    Name { "auto exposure", { Purpose::AutoExposure, 1, 1, 3 } }, // a menu: 1 manual, 3 aperture priority
    Name { "exposure, auto", { Purpose::AutoExposure, 1, 1, 3 } },
    Name { "aeenable", { Purpose::AutoExposure } },
    Name { "gain, automatic", { Purpose::AutoGain } },
    Name { "analoguegain", { Purpose::Gain } },
    Name { "analogue gain", { Purpose::Gain } },
    Name { "gain", { Purpose::Gain } },
    Name { "focus, automatic continuous", { Purpose::AutoFocus } },
    Name { "focus, auto", { Purpose::AutoFocus } },
    Name { "focus automatic", { Purpose::AutoFocus } },
    Name { "afmode", { Purpose::AutoFocus, 1, 0, 2 } }, // 0 manual, 1 on request, 2 continuous
    Name { "focus, absolute", { Purpose::Focus } },
    Name { "focus (absolute)", { Purpose::Focus } },
    Name { "lens position", { Purpose::Focus } },
    Name { "lensposition", { Purpose::Focus } },
    Name { "white balance temperature, auto", { Purpose::AutoWhiteBalance } },
    Name { "white balance, automatic", { Purpose::AutoWhiteBalance } },
    Name { "awbenable", { Purpose::AutoWhiteBalance } },
    Name { "white balance temperature", { Purpose::Temperature } },
    Name { "colourtemperature", { Purpose::Temperature } },
    Name { "zoom, absolute", { Purpose::Zoom } },
    Name { "zoom", { Purpose::Zoom } },
};

std::string lowerCase(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

/// A gain is a factor when it begins at 1 or above and is no mere count of steps.
bool isFactor(const Control& control)
{
    return control.least >= 1 && !control.isWhole;
}

bool isSwitch(Purpose purpose)
{
    return purpose == Purpose::AutoExposure || purpose == Purpose::AutoGain || purpose == Purpose::AutoFocus
        || purpose == Purpose::AutoWhiteBalance;
}

}

std::optional<ControlKind> controlNamed(const std::string& name)
{
    const std::string text = lowerCase(name);
    for (const Name& each : names)
        if (text.starts_with(each.text) && (text.size() == each.text.size() || text[each.text.size()] == ' '))
            return each.kind;
    return std::nullopt;
}

void Controls::add(const Control& control)
{
    if (isSwitch(control.kind.purpose) || control.least < control.most)
        all_.try_emplace(control.kind.purpose, control);
}

void Controls::read(std::uint32_t id, double value)
{
    if (std::any_of(all_.begin(), all_.end(), [id](const auto& each) { return each.second.id == id; }))
        values_[id] = value;
}

const Control* Controls::find(Purpose purpose) const
{
    const auto found = all_.find(purpose);
    return found == all_.end() ? nullptr : &found->second;
}

std::optional<double> Controls::valueOf(Purpose purpose) const
{
    const Control* control = find(purpose);
    const auto found = control ? values_.find(control->id) : values_.end();
    if (found == values_.end())
        return std::nullopt;
    if (control->entries.empty())
        return inUnits(purpose, found->second);
    const auto entry = control->entries.find(std::llround(found->second));
    return entry == control->entries.end() ? std::nullopt : std::optional(inUnits(purpose, entry->second));
}

double Controls::inUnits(Purpose purpose, double value) const
{
    const Control& control = all_.at(purpose);
    const double part = (value - control.least) / (control.most - control.least);
    switch (purpose) {
    case Purpose::Gain:
        return baseISO * (isFactor(control) ? value : std::exp2(isoSteps * part));
    case Purpose::Focus: // a nearer focus is a greater number, for the kernel and for libcamera
        return 1 - part;
    case Purpose::Zoom:
        return control.least > 0 ? value / control.least : 1 + value - control.least;
    default:
        return value * control.kind.unit;
    }
}

double Controls::inCameras(Purpose purpose, double value) const
{
    const Control& control = all_.at(purpose);
    const double whole = control.most - control.least;
    double result = value / control.kind.unit;
    if (purpose == Purpose::Gain)
        result = isFactor(control) ? value / baseISO : control.least + whole * std::log2(value / baseISO) / isoSteps;
    else if (purpose == Purpose::Focus)
        result = control.least + whole * (1 - value);
    else if (purpose == Purpose::Zoom)
        result = control.least > 0 ? value * control.least : control.least + value - 1;
    if (!control.entries.empty()) {
        const auto nearest
            = std::min_element(control.entries.begin(), control.entries.end(), [result](const auto& a, const auto& b) {
                  return std::abs(a.second - result) < std::abs(b.second - result);
              });
        return static_cast<double>(nearest->first);
    }
    if (control.isWhole)
        result = std::round(result);
    return std::clamp(result, control.least, control.most);
}

void Controls::describe(CaptureDeviceDescription& description) const
{
    // What cannot be set is done by the camera itself; what has no switch stays as it was set.
    const auto modes = [](bool byHand, bool automatic, bool customToo) {
        std::vector<int> all;
        if (byHand)
            all.push_back(locked);
        if (!byHand || automatic)
            all.push_back(continuous);
        if (byHand && customToo)
            all.push_back(custom);
        return all;
    };
    description.exposureModes = modes(
        has(Purpose::Exposure) || has(sensitivity()), has(Purpose::AutoExposure) || has(Purpose::AutoGain), true);
    if (has(Purpose::Focus))
        description.focusModes = modes(true, has(Purpose::AutoFocus), false);
    description.whiteBalanceModes = modes(has(Purpose::Temperature), has(Purpose::AutoWhiteBalance), false);
    if (const Control* bias = find(Purpose::Bias)) {
        description.minExposureBias = static_cast<float>(bias->least * bias->kind.unit);
        description.maxExposureBias = static_cast<float>(bias->most * bias->kind.unit);
    }
    if (const Control* temperature = find(Purpose::Temperature))
        for (const double kelvin : { temperature->least, std::min(temperature->most, widestTemperature) }) {
            const auto gains = daylightGains({ static_cast<float>(kelvin * temperature->kind.unit), 0 });
            description.maxWhiteBalanceGain
                = std::max({ description.maxWhiteBalanceGain, gains.redGain, gains.greenGain, gains.blueGain });
        }
    const auto seconds = [](double value) { return CMTimeMakeWithSeconds(value, fineTimescale); };
    for (CaptureFormat& format : description.formats) {
        if (const Control* exposure = find(Purpose::Exposure)) {
            format.minExposureDuration = seconds(std::max(exposure->least, 1e-3) * exposure->kind.unit);
            format.maxExposureDuration = seconds(exposure->most * exposure->kind.unit);
        }
        if (const Control* gain = find(sensitivity())) {
            format.minISO = static_cast<float>(inUnits(sensitivity(), gain->least));
            format.maxISO = static_cast<float>(inUnits(sensitivity(), gain->most));
        }
        if (const Control* zoom = find(Purpose::Zoom))
            format.maxZoomFactor = inUnits(Purpose::Zoom, zoom->most);
    }
}

std::map<std::uint32_t, double> Controls::changesFor(
    const CaptureSettings& settings, const CaptureSettings* before) const
{
    std::map<std::uint32_t, double> changes;
    const auto set = [&](Purpose purpose, double value) {
        if (const Control* control = find(purpose))
            changes[control->id] = inCameras(purpose, value);
    };
    const auto choose = [&](Purpose purpose, bool automatic) {
        if (const Control* control = find(purpose))
            changes[control->id] = automatic ? control->kind.automatic : control->kind.byHand;
    };
    if (!before || before->exposureMode != settings.exposureMode)
        for (const Purpose purpose : { Purpose::AutoExposure, Purpose::AutoGain })
            choose(purpose, settings.exposureMode == automaticOnce || settings.exposureMode == continuous);
    if (!before || before->focusMode != settings.focusMode)
        choose(Purpose::AutoFocus, settings.focusMode != locked);
    if (!before || before->whiteBalanceMode != settings.whiteBalanceMode)
        choose(Purpose::AutoWhiteBalance, settings.whiteBalanceMode != locked);
    if (!before)
        return changes;

    if (settings.exposureMode == custom) {
        const bool becameCustom = before->exposureMode != custom;
        const double seconds = CMTimeGetSeconds(settings.exposureDuration);
        if (seconds > 0 && (becameCustom || CMTimeGetSeconds(before->exposureDuration) != seconds))
            set(Purpose::Exposure, seconds);
        if (settings.ISO > 0 && (becameCustom || before->ISO != settings.ISO))
            set(sensitivity(), static_cast<double>(settings.ISO));
    }
    if (before->exposureTargetBias != settings.exposureTargetBias)
        set(Purpose::Bias, static_cast<double>(settings.exposureTargetBias));
    if (settings.focusMode == locked && (before->focusMode != locked || before->lensPosition != settings.lensPosition))
        set(Purpose::Focus, static_cast<double>(settings.lensPosition));
    if (settings.whiteBalanceMode == locked
        && (before->whiteBalanceMode != locked || !(before->whiteBalanceGains == settings.whiteBalanceGains)))
        if (const auto values = temperatureAndTint(settings.whiteBalanceGains, daylightGains))
            set(Purpose::Temperature, static_cast<double>(values->temperature));
    if (before->zoomFactor != settings.zoomFactor)
        set(Purpose::Zoom, settings.zoomFactor);
    return changes;
}

bool Controls::areInForce(const std::map<std::uint32_t, double>& values) const
{
    return std::all_of(values.begin(), values.end(), [this](const auto& each) {
        const auto now = values_.find(each.first);
        constexpr double rounding = 1e-3; // of the value
        return now == values_.end()
            || std::abs(now->second - each.second) <= std::max(1e-6, rounding * std::abs(each.second));
    });
}

CaptureReadings Controls::readings() const
{
    CaptureReadings all;
    const auto read = [this](Purpose purpose) { return valueOf(purpose); };
    const auto asFloat = [](const std::optional<double>& value) {
        return value ? std::optional(static_cast<float>(*value)) : std::nullopt;
    };
    all.ISO = asFloat(read(sensitivity()));
    all.lensPosition = asFloat(read(Purpose::Focus));
    all.exposureTargetBias = asFloat(read(Purpose::Bias));
    if (const auto exposure = read(Purpose::Exposure); exposure && *exposure > 0)
        all.exposureDuration = CMTimeMakeWithSeconds(*exposure, fineTimescale);
    if (const auto temperature = read(Purpose::Temperature))
        all.whiteBalanceGains = daylightGains({ static_cast<float>(*temperature), 0 });
    return all;
}

}
