// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/Controls.h"

#include "platform/AVFoundation/DaylightLocus.h"

#include "drivers/pipewire/Pods.h"

#include <spa/param/props.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <string_view>

namespace velmora::drivers::pipewire {

namespace {

constexpr int locked = 0, automaticOnce = 1, continuous = 2, custom = 3; // modes
constexpr std::int32_t fineTimescale = 1000000000;
constexpr float baseISO = 100; // of a gain of 1
constexpr float isoSteps = 4; // stops that a gain without a scale is spread over
constexpr double widestTemperature = 25000; // kelvin

struct Name {
    std::string_view text; ///< in lower case; how the control's name begins
    Purpose purpose;
    double unit = 1;
    double byHand = 0, automatic = 1;
};

/// The kernel's controls (whole names), libcamera's (one word), and plain ones with a unit in brackets. The first that
/// fits counts.
constexpr std::array names {
    Name { "exposure time, absolute", Purpose::Exposure, 1e-4 },
    Name { "exposure (absolute)", Purpose::Exposure, 1e-4 },
    Name { "exposure (ms)", Purpose::Exposure, 1e-3 },
    Name { "exposure (us)", Purpose::Exposure, 1e-6 },
    Name { "exposure (s)", Purpose::Exposure, 1 },
    Name { "exposuretime", Purpose::Exposure, 1e-6 },
    Name { "exposurevalue", Purpose::Bias, 1 },
    Name { "auto exposure, bias", Purpose::Bias, 1e-3 },
    Name { "exposure bias", Purpose::Bias, 1 },
    Name { "auto exposure", Purpose::AutoExposure, 1, 1, 3 }, // a menu: 1 manual, 3 aperture priority
    Name { "exposure, auto", Purpose::AutoExposure, 1, 1, 3 },
    Name { "aeenable", Purpose::AutoExposure },
    Name { "analoguegain", Purpose::Gain },
    Name { "analogue gain", Purpose::Gain },
    Name { "gain", Purpose::Gain },
    Name { "focus, automatic continuous", Purpose::AutoFocus },
    Name { "focus, auto", Purpose::AutoFocus },
    Name { "focus automatic", Purpose::AutoFocus },
    Name { "afmode", Purpose::AutoFocus, 1, 0, 2 }, // 0 manual, 1 on request, 2 continuous
    Name { "focus, absolute", Purpose::Focus },
    Name { "focus (absolute)", Purpose::Focus },
    Name { "lens position", Purpose::Focus },
    Name { "lensposition", Purpose::Focus },
    Name { "white balance temperature, auto", Purpose::AutoWhiteBalance },
    Name { "white balance, automatic", Purpose::AutoWhiteBalance },
    Name { "awbenable", Purpose::AutoWhiteBalance },
    Name { "white balance temperature", Purpose::Temperature },
    Name { "colourtemperature", Purpose::Temperature },
    Name { "zoom, absolute", Purpose::Zoom },
    Name { "zoom", Purpose::Zoom },
};

std::string lowerCase(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

const Name* known(const std::string& text)
{
    const std::string name = lowerCase(text);
    for (const Name& each : names)
        if (name.starts_with(each.text) && (name.size() == each.text.size() || name[each.text.size()] == ' '))
            return &each;
    return nullptr;
}

/// A gain is a factor when it begins at 1 or above and is no mere count of steps.
bool isFactor(const Control& control)
{
    return control.least >= 1 && (control.type == SPA_TYPE_Float || control.type == SPA_TYPE_Double);
}

}

void Controls::add(const spa_pod* propInfo)
{
    const spa_pod_prop* id = spa_pod_find_prop(propInfo, nullptr, SPA_PROP_INFO_id);
    const spa_pod_prop* type = spa_pod_find_prop(propInfo, nullptr, SPA_PROP_INFO_type);
    Control control;
    if (!id || !type || spa_pod_get_id(&id->value, &control.id) < 0)
        return;
    const Name* name = known(textOf(propInfo, SPA_PROP_INFO_description));
    if (!name)
        name = known(textOf(propInfo, SPA_PROP_INFO_name));
    if (!name || has(name->purpose))
        return;
    std::uint32_t count = 0, kind = 0;
    const spa_pod* values = spa_pod_get_values(&type->value, &count, &kind);
    if (!values || count == 0)
        return;
    control.type = values->type;
    control.unit = name->unit;
    control.byHand = name->byHand;
    control.automatic = name->automatic;
    std::vector<double> numbers;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(values) + sizeof(spa_pod);
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto number = numberIn(bytes + std::size_t { i } * values->size, values->type);
        if (!number)
            return;
        numbers.push_back(*number);
    }
    control.usual = numbers.front();
    control.least = *std::min_element(numbers.begin(), numbers.end());
    control.most = *std::max_element(numbers.begin(), numbers.end());
    if (control.type == SPA_TYPE_Bool) {
        control.least = control.byHand = 0;
        control.most = control.automatic = 1;
    }
    const bool switches = name->purpose == Purpose::AutoExposure || name->purpose == Purpose::AutoFocus
        || name->purpose == Purpose::AutoWhiteBalance;
    if (switches || control.least < control.most)
        all_[name->purpose] = control;
}

void Controls::read(const spa_pod* props)
{
    if (!spa_pod_is_object_type(props, SPA_TYPE_OBJECT_Props))
        return;
    for (const auto& [purpose, control] : all_)
        if (const spa_pod_prop* property = spa_pod_find_prop(props, nullptr, control.id)) {
            const auto* body = reinterpret_cast<const std::uint8_t*>(&property->value) + sizeof(spa_pod);
            if (const auto number = numberIn(body, property->value.type))
                values_[control.id] = *number;
        }
}

void Controls::clear()
{
    all_.clear();
    values_.clear();
}

const Control* Controls::find(Purpose purpose) const
{
    const auto found = all_.find(purpose);
    return found == all_.end() ? nullptr : &found->second;
}

std::optional<double> Controls::valueOf(Purpose purpose) const
{
    const Control* control = find(purpose);
    if (!control)
        return std::nullopt;
    const auto found = values_.find(control->id);
    return found == values_.end() ? std::nullopt : std::optional(found->second);
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
        return value * control.unit;
    }
}

double Controls::inNodes(Purpose purpose, double value) const
{
    const Control& control = all_.at(purpose);
    const double whole = control.most - control.least;
    double result = value / control.unit;
    if (purpose == Purpose::Gain)
        result = isFactor(control) ? value / baseISO : control.least + whole * std::log2(value / baseISO) / isoSteps;
    else if (purpose == Purpose::Focus)
        result = control.least + whole * (1 - value);
    else if (purpose == Purpose::Zoom)
        result = control.least > 0 ? value * control.least : control.least + value - 1;
    if (control.type == SPA_TYPE_Int || control.type == SPA_TYPE_Long)
        result = std::round(result);
    return std::clamp(result, control.least, control.most);
}

void Controls::describe(CaptureDeviceDescription& description) const
{
    // What cannot be set is done by the camera itself; what has no switch stays as it was set.
    const auto modes = [this](bool byHand, Purpose automatic, bool customToo) {
        std::vector<int> all;
        if (byHand)
            all.push_back(locked);
        if (!byHand || has(automatic))
            all.push_back(continuous);
        if (byHand && customToo)
            all.push_back(custom);
        return all;
    };
    description.exposureModes = modes(has(Purpose::Exposure) || has(Purpose::Gain), Purpose::AutoExposure, true);
    if (has(Purpose::Focus))
        description.focusModes = modes(true, Purpose::AutoFocus, false);
    description.whiteBalanceModes = modes(has(Purpose::Temperature), Purpose::AutoWhiteBalance, false);
    if (const Control* bias = find(Purpose::Bias)) {
        description.minExposureBias = static_cast<float>(bias->least * bias->unit);
        description.maxExposureBias = static_cast<float>(bias->most * bias->unit);
    }
    if (const Control* temperature = find(Purpose::Temperature))
        for (const double kelvin : { temperature->least, std::min(temperature->most, widestTemperature) }) {
            const auto gains = daylightGains({ static_cast<float>(kelvin * temperature->unit), 0 });
            description.maxWhiteBalanceGain
                = std::max({ description.maxWhiteBalanceGain, gains.redGain, gains.greenGain, gains.blueGain });
        }
    const auto seconds = [](double value) { return CMTimeMakeWithSeconds(value, fineTimescale); };
    for (CaptureFormat& format : description.formats) {
        if (const Control* exposure = find(Purpose::Exposure)) {
            format.minExposureDuration = seconds(std::max(exposure->least, 1e-3) * exposure->unit);
            format.maxExposureDuration = seconds(exposure->most * exposure->unit);
        }
        if (const Control* gain = find(Purpose::Gain)) {
            format.minISO = static_cast<float>(inUnits(Purpose::Gain, gain->least));
            format.maxISO = static_cast<float>(inUnits(Purpose::Gain, gain->most));
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
            changes[control->id] = inNodes(purpose, value);
    };
    const auto choose = [&](Purpose purpose, bool automatic) {
        if (const Control* control = find(purpose))
            changes[control->id] = automatic ? control->automatic : control->byHand;
    };
    if (!before || before->exposureMode != settings.exposureMode)
        choose(Purpose::AutoExposure, settings.exposureMode == automaticOnce || settings.exposureMode == continuous);
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
            set(Purpose::Gain, static_cast<double>(settings.ISO));
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
    const auto read = [this](Purpose purpose) {
        const auto value = valueOf(purpose);
        return value ? std::optional(inUnits(purpose, *value)) : std::nullopt;
    };
    const auto asFloat = [](const std::optional<double>& value) {
        return value ? std::optional(static_cast<float>(*value)) : std::nullopt;
    };
    all.ISO = asFloat(read(Purpose::Gain));
    all.lensPosition = asFloat(read(Purpose::Focus));
    all.exposureTargetBias = asFloat(read(Purpose::Bias));
    if (const auto exposure = read(Purpose::Exposure); exposure && *exposure > 0)
        all.exposureDuration = CMTimeMakeWithSeconds(*exposure, fineTimescale);
    if (const auto temperature = read(Purpose::Temperature))
        all.whiteBalanceGains = daylightGains({ static_cast<float>(*temperature), 0 });
    return all;
}

const spa_pod* Controls::props(const std::map<std::uint32_t, double>& values, std::vector<std::uint8_t>& memory) const
{
    constexpr std::size_t roomForEach = 64, roomForAll = 256; // bytes
    memory.assign(roomForAll + roomForEach * values.size(), 0);
    spa_pod_builder builder {};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    spa_pod_frame frame {};
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
    for (const auto& [purpose, control] : all_) {
        const auto found = values.find(control.id);
        if (found == values.end())
            continue;
        spa_pod_builder_prop(&builder, control.id, 0);
        const double value = found->second;
        switch (control.type) {
        case SPA_TYPE_Bool:
            spa_pod_builder_bool(&builder, value != 0);
            break;
        case SPA_TYPE_Int:
            spa_pod_builder_int(&builder, static_cast<std::int32_t>(std::lround(value)));
            break;
        case SPA_TYPE_Long:
            spa_pod_builder_long(&builder, std::lround(value));
            break;
        case SPA_TYPE_Double:
            spa_pod_builder_double(&builder, value);
            break;
        default:
            spa_pod_builder_float(&builder, static_cast<float>(value));
        }
    }
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
}

}
