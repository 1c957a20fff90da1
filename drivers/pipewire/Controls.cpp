// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/Controls.h"

#include "drivers/pipewire/Pods.h"

#include <spa/param/props.h>

#include <algorithm>
#include <cmath>

namespace velmora::drivers::pipewire {

void addProperty(Controls& controls, const spa_pod* propInfo)
{
    const spa_pod_prop* id = spa_pod_find_prop(propInfo, nullptr, SPA_PROP_INFO_id);
    const spa_pod_prop* type = spa_pod_find_prop(propInfo, nullptr, SPA_PROP_INFO_type);
    cameras::Control control;
    if (!id || !type || spa_pod_get_id(&id->value, &control.id) < 0)
        return;
    auto kind = cameras::controlNamed(textOf(propInfo, SPA_PROP_INFO_description));
    if (!kind)
        kind = cameras::controlNamed(textOf(propInfo, SPA_PROP_INFO_name));
    std::uint32_t count = 0, choice = 0;
    const spa_pod* values = spa_pod_get_values(&type->value, &count, &choice);
    if (!kind || !values || count == 0)
        return;
    control.kind = *kind;
    control.type = values->type;
    control.isWhole = control.type == SPA_TYPE_Int || control.type == SPA_TYPE_Long;
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
        control.least = control.kind.byHand = 0;
        control.most = control.kind.automatic = 1;
    }
    controls.add(control);
}

void readProperties(Controls& controls, const spa_pod* props)
{
    if (!spa_pod_is_object_type(props, SPA_TYPE_OBJECT_Props))
        return;
    for (const auto& [purpose, control] : controls.all())
        if (const spa_pod_prop* property = spa_pod_find_prop(props, nullptr, control.id)) {
            const auto* body = reinterpret_cast<const std::uint8_t*>(&property->value) + sizeof(spa_pod);
            if (const auto number = numberIn(body, property->value.type))
                controls.read(control.id, *number);
        }
}

const spa_pod* propsFor(
    const Controls& controls, const std::map<std::uint32_t, double>& values, std::vector<std::uint8_t>& memory)
{
    constexpr std::size_t roomForEach = 64, roomForAll = 256; // bytes
    memory.assign(roomForAll + roomForEach * values.size(), 0);
    spa_pod_builder builder {};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    spa_pod_frame frame {};
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
    for (const auto& [purpose, control] : controls.all()) {
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
