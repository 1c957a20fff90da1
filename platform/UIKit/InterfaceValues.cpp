// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/InterfaceValues.h"

#include "platform/Foundation/NSException.h"
#include "platform/UIKit/UIColor.h"

#include <array>
#include <charconv>
#include <string>

namespace velmora {

namespace {

[[noreturn]] void refuse(std::string_view key, const std::string& text, const char* wanted)
{
    throw NSException(NSInvalidArgumentException,
        "\"" + text + "\" under \"" + std::string(key) + "\" is not " + wanted + " of an interface file");
}

/// The next number at or behind `from`, which moves past it.
bool takeNumber(const char*& from, const char* end, double& number)
{
    while (from < end && *from != '-' && *from != '.' && (*from < '0' || *from > '9'))
        ++from;
    const auto [after, error] = std::from_chars(from, end, number);
    from = after;
    return error == std::errc();
}

const std::string* text(const ArchiveValue& value)
{
    return std::get_if<std::string>(&value);
}

}

std::optional<double> decodedNumber(const NSCoder& coder, std::string_view key)
{
    const ArchiveValue value = coder.decodeObjectForKey(key);
    if (const auto* number = std::get_if<double>(&value))
        return *number;
    if (const auto* number = std::get_if<std::int64_t>(&value))
        return static_cast<double>(*number);
    if (!text(value))
        return std::nullopt;
    double number = 0;
    const char *from = text(value)->data(), *end = from + text(value)->size();
    const auto [after, error] = std::from_chars(from, end, number);
    if (error != std::errc() || after != end)
        refuse(key, *text(value), "a number");
    return number;
}

std::optional<bool> decodedFlag(const NSCoder& coder, std::string_view key)
{
    const ArchiveValue value = coder.decodeObjectForKey(key);
    if (const auto* flag = std::get_if<bool>(&value))
        return *flag;
    if (!text(value))
        return std::nullopt;
    if (*text(value) != "YES" && *text(value) != "NO")
        refuse(key, *text(value), "YES or NO");
    return *text(value) == "YES";
}

std::optional<CGRect> decodedRect(const NSCoder& coder, std::string_view key)
{
    const ArchiveValue value = coder.decodeObjectForKey(key);
    if (!text(value))
        return std::nullopt;
    std::array<double, 4> numbers {};
    const char *from = text(value)->data(), *end = from + text(value)->size();
    for (double& number : numbers)
        if (!takeNumber(from, end, number))
            refuse(key, *text(value), "a rectangle \"{{x, y}, {width, height}}\"");
    return CGRectMake(numbers[0], numbers[1], numbers[2], numbers[3]);
}

std::shared_ptr<UIColor> decodedColor(const NSCoder& coder, std::string_view key)
{
    const ArchiveValue value = coder.decodeObjectForKey(key);
    if (auto color = objectIn<UIColor>(value))
        return color;
    if (!text(value))
        return nullptr;
    std::uint32_t bits = 0;
    const bool hasAlpha = text(value)->size() == 9;
    const char *from = text(value)->data() + 1, *end = text(value)->data() + text(value)->size();
    if ((!hasAlpha && text(value)->size() != 7) || text(value)->front() != '#')
        refuse(key, *text(value), "a colour \"#RRGGBB\" or \"#RRGGBBAA\"");
    const auto [after, error] = std::from_chars(from, end, bits, 16);
    if (error != std::errc() || after != end)
        refuse(key, *text(value), "a colour \"#RRGGBB\" or \"#RRGGBBAA\"");
    if (!hasAlpha)
        bits = bits << 8 | 0xFFU;
    const auto part = [bits](int shift) { return static_cast<double>(bits >> shift & 0xFFU) / 255; };
    return UIColor::colorWithRed(part(24), part(16), part(8), part(0));
}

std::optional<std::string> decodedText(const NSCoder& coder, std::string_view key)
{
    return decoded<std::string>(coder, key);
}

}
