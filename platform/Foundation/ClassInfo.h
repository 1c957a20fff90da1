// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"
#include "platform/Foundation/Value.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace velmora {

class NSObject;
struct ClassInfo;

template <class T, class... Args> std::shared_ptr<T> make(Args&&... arguments);

namespace detail {
/// The `count` bytes (at most 8) at `text` as a little-endian number, alike when compiling and when running.
constexpr std::uint64_t bytes(const char* text, std::size_t count)
{
    std::uint64_t word = 0;
    if (count == sizeof word && std::endian::native == std::endian::little && !std::is_constant_evaluated()) {
        std::memcpy(&word, text, sizeof word);
        return word;
    }
    for (std::size_t i = 0; i < count; ++i)
        word |= static_cast<std::uint64_t>(static_cast<std::uint8_t>(text[i])) << (8 * i);
    return word;
}
}

/// What the method tables are sorted by. Eight bytes at a time: names are long, and sends by name hash them.
constexpr std::uint32_t selectorHash(std::string_view selector)
{
    constexpr std::uint64_t factor = 0x9E3779B97F4A7C15U;
    std::uint64_t hash = selector.size() * factor;
    std::size_t at = 0;
    for (; at + 8 <= selector.size(); at += 8) {
        hash = (hash ^ detail::bytes(selector.data() + at, 8)) * factor;
        hash ^= hash >> 32;
    }
    hash = (hash ^ detail::bytes(selector.data() + at, selector.size() - at)) * factor;
    return static_cast<std::uint32_t>(hash >> 32);
}

/// The unboxed way to call a method: `TypedCall<R(Args...)>` behind its base.
struct TypedCallBase {
    const std::type_info* signature;
};
template <class Signature> struct TypedCall;
template <class R, class... Args> struct TypedCall<R(Args...)> : TypedCallBase {
    R (*call)(NSObject& receiver, Args... arguments);
};

/// A method of objects under its selector. The native member function is the real one.
struct Method {
    std::string_view selector;
    std::uint32_t hash = 0;
    Value (*invoke)(NSObject& receiver, std::span<const Value> arguments) = nullptr;
    const TypedCallBase* typed = nullptr;
};

/// A class operation or an initialiser; an initialiser answers a new object, or nil.
struct ClassMethod {
    std::string_view selector;
    std::uint32_t hash = 0;
    Value (*invoke)(const ClassInfo& receiver, std::span<const Value> arguments) = nullptr;
};

/// What is known of a class at run time. One constant for each class, in its source; subclasses point to it.
struct VELMORA_EXPORT ClassInfo {
    std::string_view name; ///< As archives and defaults spell it: "Velmora.QVCameraController".
    const ClassInfo* superclass = nullptr;
    std::span<const Method> methods {}; ///< Sorted by `methodTable` when compiling, like the class methods.
    std::span<const ClassMethod> classMethods {};

    /// Here, then along `superclass`; null when there is none.
    const Method* find(std::string_view selector) const;
    const ClassMethod* findClassMethod(std::string_view selector) const;
    bool isSubclassOf(const ClassInfo& other) const;

    /// Sends a class operation or an initialiser; throws NSException, naming class and selector, where there is none.
    Value send(std::string_view selector, std::span<const Value> arguments) const;
    template <class... Args> Value performSelector(std::string_view selector, Args&&... arguments) const
    {
        const std::array<Value, sizeof...(Args)> boxed { box(std::forward<Args>(arguments))... };
        return send(selector, boxed);
    }
};

/// Picks an overload by its parameters: `overload<bool, double>(&Class::set)`.
template <class... Args> struct Overload {
    template <class T, class R> consteval auto operator()(R (T::*member)(Args...)) const { return member; }
    template <class T, class R> consteval auto operator()(R (T::*member)(Args...) const) const { return member; }
    template <class R> consteval auto operator()(R (*function)(Args...)) const { return function; }
};
template <class... Args> inline constexpr Overload<Args...> overload {};

namespace detail {

[[noreturn]] VELMORA_EXPORT void throwWrongCount(std::size_t wanted, std::size_t given);
[[noreturn]] VELMORA_EXPORT void throwWrongArgument(std::size_t index, const WrongBox& why);
[[noreturn]] VELMORA_EXPORT void throwWrongResult(
    const ClassInfo& receiver, std::string_view selector, const WrongBox& why);
[[noreturn]] VELMORA_EXPORT void throwInheritedInitialiser(const ClassInfo& madeFor);
[[noreturn]] VELMORA_EXPORT void trapUnavailableInitialiser(std::string_view className, std::string_view initialiser);

template <class T> struct Unboxed { // owns what a parameter refers to, for the time of the call
    using Stored = std::remove_cvref_t<T>;
    static Stored of(const Value& value) { return unbox<Stored>(value); }
    static T pass(Stored& stored) { return static_cast<T&&>(stored); }
};
template <class T>
requires std::same_as<std::remove_cvref_t<T>, std::string_view>
struct Unboxed<T> {
    using Stored = std::string;
    static Stored of(const Value& value) { return unbox<std::string>(value); }
    static std::string_view pass(Stored& stored) { return stored; }
};
template <class T>
requires std::is_lvalue_reference_v<T> && std::is_polymorphic_v<std::remove_cvref_t<T>>
struct Unboxed<T> { // an object that is borrowed for the call
    using Stored = std::shared_ptr<std::remove_cvref_t<T>>;
    static Stored of(const Value& value)
    {
        auto object = unbox<Stored>(value);
        if (!object)
            throw WrongBox("nil, and the parameter is not optional");
        return object;
    }
    static T pass(Stored& stored) { return *stored; }
};

template <class T>
requires std::is_pointer_v<T> && std::is_polymorphic_v<std::remove_pointer_t<T>>
struct Unboxed<T> { // an object that is borrowed, or nil
    using Stored = std::shared_ptr<std::remove_pointer_t<T>>;
    static Stored of(const Value& value) { return unbox<Stored>(value); }
    static T pass(Stored& stored) { return stored.get(); }
};

/// How a typed call spells a parameter or a result: as a value, but a borrowed object as the reference that it is,
/// for a copy would slice it.
template <class T> struct Carried {
    using Type = std::remove_cvref_t<T>;
};
template <class T>
requires std::is_lvalue_reference_v<T> && std::is_polymorphic_v<std::remove_cvref_t<T>>
struct Carried<T> {
    using Type = T;
};

/// The receiver as the class that declares the member; an interface is found by its object.
template <class T> T& receiverAs(NSObject& receiver)
{
    if constexpr (std::derived_from<T, NSObject>)
        return static_cast<T&>(receiver);
    else
        return dynamic_cast<T&>(receiver);
}

template <class T> typename Unboxed<T>::Stored argument(std::span<const Value> arguments, std::size_t index)
{
    try {
        return Unboxed<T>::of(arguments[index]);
    } catch (const WrongBox& why) {
        throwWrongArgument(index, why);
    }
}

template <class... Args, class Use> Value withArguments(std::span<const Value> arguments, Use use)
{
    if (arguments.size() != sizeof...(Args))
        throwWrongCount(sizeof...(Args), arguments.size());

    return [&]<std::size_t... I>(std::index_sequence<I...>)
    {
        // Braces evaluate from left to right: the first wrong argument is the one that is named.
        std::tuple<typename Unboxed<Args>::Stored...> stored { argument<Args>(arguments, I)... };
        return use(Unboxed<Args>::pass(std::get<I>(stored))...);
    }
    (std::index_sequence_for<Args...> {});
}

template <class R, class Call> Value boxedResult(Call call)
{
    if constexpr (std::is_void_v<R>) {
        call();
        return std::monostate {};
    } else
        return box(call());
}

template <auto Member, class Type> struct MemberOf;
template <auto Member, class T, class R, class... Args> struct MemberOf<Member, R (T::*)(Args...)> {
    static Value invoke(NSObject& receiver, std::span<const Value> arguments)
    {
        return withArguments<Args...>(arguments, [&](Args... values) {
            return boxedResult<R>(
                [&]() -> R { return (receiverAs<T>(receiver).*Member)(std::forward<Args>(values)...); });
        });
    }
    static typename Carried<R>::Type call(NSObject& receiver, typename Carried<Args>::Type... values)
    {
        return (receiverAs<T>(receiver).*Member)(static_cast<Args&&>(values)...);
    }
    using Signature = typename Carried<R>::Type(typename Carried<Args>::Type...);
    static inline constexpr TypedCall<Signature> typed { { &typeid(Signature) }, &call };
};
template <auto Member, class T, class R, class... Args>
struct MemberOf<Member, R (T::*)(Args...) const> : MemberOf<Member, R (T::*)(Args...)> {
};
template <auto Member, class T, class R, class... Args>
struct MemberOf<Member, R (T::*)(Args...) noexcept> : MemberOf<Member, R (T::*)(Args...)> {
};
template <auto Member, class T, class R, class... Args>
struct MemberOf<Member, R (T::*)(Args...) const noexcept> : MemberOf<Member, R (T::*)(Args...)> {
};

template <auto Function, class Type> struct FunctionOf;
template <auto Function, class R, class... Args> struct FunctionOf<Function, R (*)(Args...)> {
    static Value invoke(const ClassInfo&, std::span<const Value> arguments)
    {
        return withArguments<Args...>(arguments, [](Args... values) {
            return boxedResult<R>([&]() -> R { return Function(std::forward<Args>(values)...); });
        });
    }
};
/// A class operation that wants to know the class it was sent to takes it first.
template <auto Function, class R, class... Args> struct FunctionOf<Function, R (*)(const ClassInfo&, Args...)> {
    static Value invoke(const ClassInfo& receiver, std::span<const Value> arguments)
    {
        return withArguments<Args...>(arguments, [&receiver](Args... values) {
            return boxedResult<R>([&]() -> R { return Function(receiver, std::forward<Args>(values)...); });
        });
    }
};

}

/// A row of a method table; deduces class, result and arguments. The call is virtual where the member is.
template <auto Member> constexpr Method method(std::string_view selector)
{
    using Of = detail::MemberOf<Member, decltype(Member)>;
    if constexpr (requires { Of::typed; })
        return { selector, selectorHash(selector), &Of::invoke, &Of::typed };
    else
        return { selector, selectorHash(selector), &Of::invoke, nullptr };
}

/// An initialiser that calls make<T>(arguments...). A subclass lists it again, for only it knows what to make: one that
/// inherits the row answers with an NSException, not with an object of its superclass.
template <class T, class... Args> constexpr ClassMethod initialiser(std::string_view selector)
{
    return { selector, selectorHash(selector),
        [](const ClassInfo& receiver, std::span<const Value> arguments) -> Value {
            if (&receiver != &T::staticClass())
                detail::throwInheritedInitialiser(T::staticClass());
            return detail::withArguments<Args...>(
                arguments, [](Args... values) { return box(make<T>(std::forward<Args>(values)...)); });
        } };
}

/// A static function as class operation or as failable initialiser; it may take the receiving class first.
template <auto Function> constexpr ClassMethod classMethod(std::string_view selector)
{
    return { selector, selectorHash(selector), &detail::FunctionOf<Function, decltype(Function)>::invoke };
}

/// The initialiser that is not available: reached by name, it stops the process and names class and initialiser.
constexpr ClassMethod unavailableInitialiser()
{
    return { "init", selectorHash("init"), [](const ClassInfo& receiver, std::span<const Value>) -> Value {
                detail::trapUnavailableInitialiser(receiver.name, "init");
            } };
}

/// The table of a class, sorted when compiling; a selector that stands there twice does not compile.
template <class Row, class... Rows> consteval auto methodTable(Row first, Rows... rest)
{
    std::array<Row, sizeof...(Rows) + 1> rows { first, rest... };
    std::sort(rows.begin(), rows.end(),
        [](const Row& a, const Row& b) { return a.hash != b.hash ? a.hash < b.hash : a.selector < b.selector; });
    for (std::size_t i = 1; i < rows.size(); ++i)
        if (rows[i - 1].selector == rows[i].selector)
            throw "a selector stands twice in the table";
    return rows;
}

}
