// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Value.h"

#include "platform/Foundation/NSObject.h"

#include <cxxabi.h>

#include <cstdlib>

namespace velmora {

bool isNil(const Value& value)
{
    return !value.has_value() || value.type() == typeid(std::monostate);
}

WrongBox::WrongBox(std::string why)
    : why_(std::move(why))
{
}

namespace detail {

namespace {
std::string nameOf(const std::type_info& type)
{
    const std::unique_ptr<char, decltype(&std::free)> plain(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, nullptr), &std::free);
    return plain ? plain.get() : type.name();
}

std::string describeBox(const Value& value)
{
    if (isNil(value))
        return "nil";
    if (const auto* object = std::any_cast<std::shared_ptr<NSObject>>(&value))
        return "an object of the class " + std::string((*object)->classInfo().name);
    if (value.type() == typeid(std::string))
        return "a text";
    return "of the type " + nameOf(value.type());
}

/// Calls `use` with the number in `value`, of whichever type it is.
template <class Result, class Use> Result number(const Value& value, Use use)
{
    if (const auto* integer = std::any_cast<std::int64_t>(&value))
        return use(*integer);
    if (const auto* real = std::any_cast<double>(&value))
        return use(*real);
    if (const auto* flag = std::any_cast<bool>(&value))
        return use(*flag);
    if (const auto* plain = std::any_cast<int>(&value))
        return use(*plain);
    if (const auto* single = std::any_cast<float>(&value))
        return use(*single);
    if (const auto* positive = std::any_cast<unsigned>(&value))
        return use(*positive);
    if (const auto* large = std::any_cast<unsigned long>(&value))
        return use(*large);
    throw WrongBox(describeBox(value) + ", not a number");
}
}

bool boolean(const Value& value)
{
    return number<bool>(value, [](auto n) { return n != 0; });
}

std::int64_t integer(const Value& value)
{
    return number<std::int64_t>(value, [](auto n) -> std::int64_t {
        if constexpr (std::floating_point<decltype(n)>)
            if (!(n >= -9223372036854775808.0 && n < 9223372036854775808.0))
                throw WrongBox("a number that no integer holds");
        return static_cast<std::int64_t>(n);
    });
}

double real(const Value& value)
{
    return number<double>(value, [](auto n) { return static_cast<double>(n); });
}

std::shared_ptr<NSObject> object(const Value& value)
{
    if (isNil(value))
        return nullptr;
    if (const auto* found = std::any_cast<std::shared_ptr<NSObject>>(&value))
        return *found;
    throw WrongBox(describeBox(value) + ", not an object");
}

void throwWrongBox(const Value& given, const std::type_info& wanted)
{
    throw WrongBox(describeBox(given) + "; wanted is " + nameOf(wanted));
}

}

}
