// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/ClassInfo.h"

#include "platform/Foundation/NSException.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSObject.h"

#include <string>

namespace velmora {

namespace {

/// What a wrong call knows of itself before the class and the selector are added.
struct WrongCall {
    std::string why;
};

template <class Row> const Row* findRow(std::span<const Row> rows, std::string_view selector, std::uint32_t hash)
{
    auto row = std::lower_bound(
        rows.begin(), rows.end(), hash, [](const Row& a, std::uint32_t wanted) { return a.hash < wanted; });
    for (; row != rows.end() && row->hash == hash; ++row)
        if (row->selector == selector)
            return &*row;
    return nullptr;
}

[[noreturn]] void throwNotUnderstood(const ClassInfo& receiver, std::string_view selector, char kind)
{
    throw NSException(NSInvalidArgumentException,
        std::string(1, kind) + "[" + std::string(receiver.name) + " " + std::string(selector)
            + "]: the class has no such selector");
}

template <class Call>
[[gnu::always_inline]] inline Value sending(
    const ClassInfo& receiver, std::string_view selector, char kind, const Call& call)
{
    try {
        return call();
    } catch (const WrongCall& wrong) {
        throw NSException(NSInvalidArgumentException,
            std::string(1, kind) + "[" + std::string(receiver.name) + " " + std::string(selector) + "]: " + wrong.why);
    }
}

}

const Method* ClassInfo::find(std::string_view selector) const
{
    const std::uint32_t hash = selectorHash(selector);
    for (const ClassInfo* info = this; info; info = info->superclass)
        if (const Method* found = findRow(info->methods, selector, hash))
            return found;
    return nullptr;
}

const ClassMethod* ClassInfo::findClassMethod(std::string_view selector) const
{
    const std::uint32_t hash = selectorHash(selector);
    for (const ClassInfo* info = this; info; info = info->superclass)
        if (const ClassMethod* found = findRow(info->classMethods, selector, hash))
            return found;
    return nullptr;
}

bool ClassInfo::isSubclassOf(const ClassInfo& other) const
{
    for (const ClassInfo* info = this; info; info = info->superclass)
        if (info == &other)
            return true;
    return false;
}

Value ClassInfo::send(std::string_view selector, std::span<const Value> arguments) const
{
    const ClassMethod* found = findClassMethod(selector);
    if (!found)
        throwNotUnderstood(*this, selector, '+');
    return sending(*this, selector, '+', [&] { return found->invoke(*this, arguments); });
}

Value NSObject::send(std::string_view selector, std::span<const Value> arguments)
{
    const ClassInfo& receiver = classInfo();
    const Method* found = receiver.find(selector);
    if (!found)
        throwNotUnderstood(receiver, selector, '-');
    return sending(receiver, selector, '-', [&] { return found->invoke(*this, arguments); });
}

namespace detail {

void throwWrongCount(std::size_t wanted, std::size_t given)
{
    throw WrongCall { "takes " + std::to_string(wanted) + " arguments, was given " + std::to_string(given) };
}

void throwWrongArgument(std::size_t index, const WrongBox& why)
{
    throw WrongCall { "argument " + std::to_string(index + 1) + " is " + why.what() };
}

void throwWrongResult(const ClassInfo& receiver, std::string_view selector, const WrongBox& why)
{
    throw NSException(NSInvalidArgumentException,
        "-[" + std::string(receiver.name) + " " + std::string(selector) + "]: the result is " + why.what());
}

void throwInheritedInitialiser(const ClassInfo& madeFor)
{
    throw WrongCall { "the initialiser makes a " + std::string(madeFor.name) + "; the class must list its own" };
}

void trapUnavailableInitialiser(std::string_view className, std::string_view initialiser)
{
    fatalError(std::string(className) + ": unimplemented initialiser '" + std::string(initialiser) + "()'");
}

}

}
