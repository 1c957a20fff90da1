// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <spa/param/format.h>
#include <spa/pod/builder.h>
#include <spa/pod/iter.h>
#include <spa/utils/type.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace velmora::drivers::pipewire {

/// The values of a property: the default first, then the others, or the ends of a range.
template <class T> struct Choice {
    std::uint32_t kind = SPA_CHOICE_None; ///< SPA_CHOICE_...
    std::vector<T> values;
    bool isRange() const { return (kind == SPA_CHOICE_Range || kind == SPA_CHOICE_Step) && values.size() >= 3; }
};

namespace detail {
template <class T> constexpr std::uint32_t podType = SPA_TYPE_None;
template <> inline constexpr std::uint32_t podType<std::uint32_t> = SPA_TYPE_Id;
template <> inline constexpr std::uint32_t podType<spa_rectangle> = SPA_TYPE_Rectangle;
template <> inline constexpr std::uint32_t podType<spa_fraction> = SPA_TYPE_Fraction;
}

/// Empty when the property is missing or of another type.
template <class T> Choice<T> choiceOf(const spa_pod* object, std::uint32_t key)
{
    Choice<T> result;
    const spa_pod_prop* property = spa_pod_find_prop(object, nullptr, key);
    if (!property)
        return result;
    std::uint32_t count = 0;
    const spa_pod* values = spa_pod_get_values(&property->value, &count, &result.kind);
    if (!values || values->type != detail::podType<T> || values->size < sizeof(T))
        return result;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(values) + sizeof(spa_pod);
    result.values.resize(count);
    for (std::uint32_t i = 0; i < count; ++i)
        std::memcpy(&result.values[i], bytes + std::size_t { i } * values->size, sizeof(T));
    return result;
}

/// A number of whatever type; a yes is 1.
inline std::optional<double> numberIn(const void* body, std::uint32_t type)
{
    const auto as = [body](auto value) {
        std::memcpy(&value, body, sizeof value);
        return static_cast<double>(value);
    };
    switch (type) {
    case SPA_TYPE_Bool:
    case SPA_TYPE_Int:
        return as(std::int32_t {});
    case SPA_TYPE_Id:
        return as(std::uint32_t {});
    case SPA_TYPE_Long:
        return as(std::int64_t {});
    case SPA_TYPE_Float:
        return as(float {});
    case SPA_TYPE_Double:
        return as(double {});
    default:
        return std::nullopt;
    }
}

inline std::string textOf(const spa_pod* object, std::uint32_t key)
{
    const spa_pod_prop* property = spa_pod_find_prop(object, nullptr, key);
    const char* text = nullptr;
    return property && spa_pod_get_string(&property->value, &text) == 0 && text ? text : "";
}

/// Room for one object that is sent.
class PodBuilder {
public:
    PodBuilder() { spa_pod_builder_init(&builder_, memory_.data(), static_cast<std::uint32_t>(memory_.size())); }
    PodBuilder(const PodBuilder&) = delete;
    PodBuilder& operator=(const PodBuilder&) = delete;

    void begin(std::uint32_t type, std::uint32_t id) { spa_pod_builder_push_object(&builder_, &frame_, type, id); }
    const spa_pod* end() { return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder_, &frame_)); }
    spa_pod_builder* key(std::uint32_t key)
    {
        spa_pod_builder_prop(&builder_, key, 0);
        return &builder_;
    }
    void id(std::uint32_t key, std::uint32_t value) { spa_pod_builder_id(this->key(key), value); }
    void integer(std::uint32_t key, std::int32_t value) { spa_pod_builder_int(this->key(key), value); }
    void size(std::uint32_t key, std::uint32_t width, std::uint32_t height)
    {
        spa_pod_builder_rectangle(this->key(key), width, height);
    }
    void fraction(std::uint32_t key, std::uint32_t num, std::uint32_t denom)
    {
        spa_pod_builder_fraction(this->key(key), num, denom);
    }
    void range(std::uint32_t key, std::int32_t usual, std::int32_t least, std::int32_t most)
    {
        choice(key, SPA_CHOICE_Range, [&] {
            for (const std::int32_t value : { usual, least, most })
                spa_pod_builder_int(&builder_, value);
        });
    }
    void flags(std::uint32_t key, std::int32_t value)
    {
        choice(key, SPA_CHOICE_Flags, [&] { spa_pod_builder_int(&builder_, value); });
    }
    void anyOf(std::uint32_t key, const std::vector<std::uint32_t>& ids)
    {
        choice(key, SPA_CHOICE_Enum, [&] {
            spa_pod_builder_id(&builder_, ids.front());
            for (const std::uint32_t each : ids)
                spa_pod_builder_id(&builder_, each);
        });
    }

private:
    template <class Fill> void choice(std::uint32_t key, std::uint32_t kind, Fill fill)
    {
        spa_pod_frame inner {};
        spa_pod_builder_prop(&builder_, key, 0);
        spa_pod_builder_push_choice(&builder_, &inner, kind, 0);
        fill();
        spa_pod_builder_pop(&builder_, &inner);
    }

    std::array<std::uint8_t, 2048> memory_ {};
    spa_pod_builder builder_ {};
    spa_pod_frame frame_ {};
};

}
