// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/ArchiveValue.h"

#include "platform/Foundation/NSLog.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <type_traits>
#include <utility>

namespace velmora {

namespace {

/// The object in a value; null when it holds none.
const NSObject* borrowedObject(const ArchiveValue& value)
{
    return std::visit(
        [](const auto& held) -> const NSObject* {
            if constexpr (detail::isShared<std::remove_cvref_t<decltype(held)>>)
                return held.get();
            else
                return nullptr;
        },
        value);
}

std::string shortest(double number)
{
    std::array<char, 40> text {};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    return { text.data(), end };
}

}

NSArray::NSArray(std::vector<ArchiveValue> values)
    : values_(std::move(values))
{
}

const ClassInfo& NSArray::staticClass()
{
    static const ClassInfo info { "Velmora.NSArray", &NSObject::staticClass() };
    return info;
}

bool NSArray::isEqual(const NSObject* other) const
{
    const auto* array = dynamic_cast<const NSArray*>(other);
    return array
        && std::equal(values_.begin(), values_.end(), array->values_.begin(), array->values_.end(),
            [](const ArchiveValue& a, const ArchiveValue& b) { return velmora::isEqual(a, b); });
}

std::string NSArray::description() const
{
    std::string text = "(";
    for (const ArchiveValue& value : values_)
        text += (text.size() > 1 ? ", " : "") + velmora::description(value);
    return text + ")";
}

NSDictionary::NSDictionary(ArchiveDictionary values)
    : values_(std::move(values))
{
}

const ClassInfo& NSDictionary::staticClass()
{
    static const ClassInfo info { "Velmora.NSDictionary", &NSObject::staticClass() };
    return info;
}

bool NSDictionary::isEqual(const NSObject* other) const
{
    const auto* dictionary = dynamic_cast<const NSDictionary*>(other);
    return dictionary
        && std::equal(values_.begin(), values_.end(), dictionary->values_.begin(), dictionary->values_.end(),
            [](const auto& a, const auto& b) { return a.first == b.first && velmora::isEqual(a.second, b.second); });
}

std::string NSDictionary::description() const
{
    std::string text = "{";
    for (const auto& [key, value] : values_)
        text += (text.size() > 1 ? "; " : "") + key + " = " + velmora::description(value);
    return text + "}";
}

bool isNilValue(const ArchiveValue& value)
{
    return value.index() == 0 || (value.index() > 4 && !borrowedObject(value));
}

bool isEqual(const ArchiveValue& a, const ArchiveValue& b)
{
    if (isNilValue(a) || isNilValue(b))
        return isNilValue(a) && isNilValue(b);
    const NSObject* object = borrowedObject(a);
    const NSObject* other = borrowedObject(b);
    if (object || other)
        return object && other && object->isEqual(other);
    return a == b;
}

std::string description(const ArchiveValue& value)
{
    if (isNilValue(value))
        return std::string(nilDescription);
    if (const NSObject* object = borrowedObject(value))
        return object->description();
    if (const auto* number = std::get_if<double>(&value))
        return shortest(*number);
    if (const auto* text = std::get_if<std::string>(&value))
        return *text;
    if (const auto* flag = std::get_if<bool>(&value))
        return *flag ? "1" : "0";
    return std::to_string(std::get<std::int64_t>(value));
}

Value boxed(const ArchiveValue& value)
{
    return std::visit([](const auto& held) -> Value { return box(held); }, value);
}

ArchiveValue unboxed(const Value& value)
{
    if (const auto* flag = std::any_cast<bool>(&value))
        return *flag;
    if (const auto* whole = std::any_cast<std::int64_t>(&value))
        return *whole;
    if (const auto* number = std::any_cast<double>(&value))
        return *number;
    if (const auto* text = std::any_cast<std::string>(&value))
        return *text;
    const auto* held = std::any_cast<std::shared_ptr<NSObject>>(&value);
    if (!held || !*held)
        return {};
    if (auto data = std::dynamic_pointer_cast<NSData>(*held))
        return data;
    if (auto date = std::dynamic_pointer_cast<NSDate>(*held))
        return date;
    if (auto array = std::dynamic_pointer_cast<NSArray>(*held))
        return array;
    if (auto dictionary = std::dynamic_pointer_cast<NSDictionary>(*held))
        return dictionary;
    return *held;
}

}
