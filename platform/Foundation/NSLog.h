// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <array>
#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace velmora {

/// What %@ prints of nothing.
inline constexpr std::string_view nilDescription = "(null)";

namespace detail {
/// The shortest decimal number that reads back as this one: "0.5", "3".
VELMORA_EXPORT std::string shortestDecimal(double number);
}

/// What %@ prints: the description of objects and of values that have a description(value), texts as they are,
/// numbers in decimal, "(null)" for nothing.
template <class T> std::string describe(const T& value)
{
    if constexpr (std::convertible_to<const T&, const char*>) {
        const char* text = value;
        return text ? std::string(text) : std::string(nilDescription);
    } else if constexpr (std::convertible_to<const T&, std::string_view>)
        return std::string(std::string_view(value));
    else if constexpr (std::derived_from<T, NSObject>)
        return value.description();
    else if constexpr (std::same_as<T, std::nullptr_t> || std::same_as<T, std::nullopt_t>)
        return std::string(nilDescription);
    else if constexpr (std::same_as<T, bool>)
        return value ? "1" : "0";
    else if constexpr (std::is_enum_v<T>)
        return std::to_string(static_cast<std::int64_t>(value));
    else if constexpr (std::integral<T>)
        return std::to_string(value);
    else if constexpr (std::floating_point<T>)
        return detail::shortestDecimal(static_cast<double>(value));
    else if constexpr (requires { value.lock(); })
        return describe(value.lock());
    else if constexpr (requires { description(value); })
        return description(value);
    else
        return value ? describe(*value) : std::string(nilDescription);
}

/// One argument of a format: a number in both readings, or a text.
struct FormatArgument {
    template <class T> static FormatArgument of(const T& value)
    {
        if constexpr (std::is_enum_v<T>)
            return { static_cast<std::int64_t>(value), static_cast<double>(static_cast<std::int64_t>(value)), {} };
        else if constexpr (std::integral<T>)
            return { static_cast<std::int64_t>(value), static_cast<double>(value), {} };
        else if constexpr (std::floating_point<T>)
            return { 0, static_cast<double>(value), {} };
        else
            return {};
    }
    std::int64_t integer = 0;
    double real = 0;
    std::string text;
};

/// A format that was checked when compiling: %@ takes anything with a description, %i and %li a whole number or an
/// enumeration (%i prints it cut to 32 bits, signed), %f a floating-point number (six decimals), %% is a per cent sign.
template <class... Args> class LogFormat {
public:
    template <std::size_t N>
    consteval LogFormat(const char (&text)[N])
        : text_(text, N - 1)
    {
        constexpr bool whole[] { (std::integral<Args> || std::is_enum_v<Args>)..., false };
        constexpr bool floating[] { std::floating_point<Args>..., false };
        std::size_t count = 0;
        for (std::size_t i = 0; i + 1 < N; ++i) {
            if (text[i] != '%')
                continue;
            const char kind = text[++i];
            if (kind == '%')
                continue;
            if (count == sizeof...(Args))
                throw "the format has more conversions than there are arguments";
            if (kind == 'l' ? text[++i] != 'i' : kind != '@' && kind != 'i' && kind != 'f')
                throw "the format knows %@, %i, %li, %f and %%";
            if ((kind == 'i' || kind == 'l') && !whole[count])
                throw "%i and %li print whole numbers";
            if (kind == 'f' && !floating[count])
                throw "%f prints floating-point numbers";
            ++count;
        }
        if (count != sizeof...(Args))
            throw "the format has fewer conversions than there are arguments";
    }
    constexpr std::string_view text() const { return text_; }

private:
    std::string_view text_;
};

namespace detail {
/// Only %@ asks for a description; the others never pay for one.
using Describer = std::string (*)(const void*);
struct LogArgument {
    const void* value;
    Describer describer;
    FormatArgument number;
};
VELMORA_EXPORT std::string format(std::string_view text, std::span<const LogArgument> arguments);
VELMORA_EXPORT void log(std::string line);

template <class... Args> std::string formatted(std::string_view text, const Args&... args)
{
    const std::array<LogArgument, sizeof...(Args)> arguments { LogArgument { &args,
        [](const void* value) { return describe(*static_cast<const Args*>(value)); }, FormatArgument::of(args) }... };
    return format(text, arguments);
}
}

/// One line on the log, from any thread. Computed texts go through "%@": the format is always a literal.
template <class... Args> void NSLog(LogFormat<std::type_identity_t<Args>...> format, const Args&... args)
{
    detail::log(detail::formatted(format.text(), args...));
}

/// The formatted text.
template <class... Args>
std::string stringWithFormat(LogFormat<std::type_identity_t<Args>...> format, const Args&... args)
{
    return detail::formatted(format.text(), args...);
}

/// Receives every line of the log, one at a time, from the threads that write them.
using LogSink = std::function<void(const std::string&)>;
/// Replaces where lines go; an empty sink is the default: stderr, or the journal when stderr is it. `VELMORA_LOG`
/// quiet writes nothing there, verbose adds the time and the queue. Answers the sink before.
VELMORA_EXPORT LogSink setLogSink(LogSink sink);

/// What the environment asks for, until a program chooses.
enum class LogLevel : std::uint8_t { Quiet, Normal, Verbose };
VELMORA_EXPORT void setLogLevel(LogLevel level);

/// An error of the programmer that cannot be answered: logs the reason and stops the process.
[[noreturn]] VELMORA_EXPORT void fatalError(const std::string& reason);

}
