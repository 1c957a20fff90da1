// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <any>
#include <concepts>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <variant>

namespace velmora {

class NSObject;

/// A boxed argument or result: numbers and enumerations as bool, int64 or double; text as std::string; objects as
/// std::shared_ptr<NSObject>, a copy of those that are handed over by value (NSError); nil (nullptr, nullopt, an empty
/// pointer or function) as std::monostate; a callback as exactly the std::function alias that the class publishes;
/// everything else as it is.
using Value = std::any;

/// True for nil: a box of std::monostate, and an empty box.
VELMORA_EXPORT bool isNil(const Value& value);

/// Thrown by `unbox`; a send turns it into an NSException that names class, selector and argument.
class VELMORA_EXPORT WrongBox : public std::exception {
public:
    explicit WrongBox(std::string why);
    /// What was given and what would have fitted.
    const char* what() const noexcept override { return why_.c_str(); }

private:
    std::string why_;
};

namespace detail {
template <class T> inline constexpr bool isOptional = false;
template <class T> inline constexpr bool isOptional<std::optional<T>> = true;
template <class T> inline constexpr bool isShared = false;
template <class T> inline constexpr bool isShared<std::shared_ptr<T>> = true;
template <class T> inline constexpr bool isWeak = false;
template <class T> inline constexpr bool isWeak<std::weak_ptr<T>> = true;
template <class T> inline constexpr bool isFunction = false;
template <class R, class... A> inline constexpr bool isFunction<std::function<R(A...)>> = true;

VELMORA_EXPORT bool boolean(const Value& value);
VELMORA_EXPORT std::int64_t integer(const Value& value);
VELMORA_EXPORT double real(const Value& value);
VELMORA_EXPORT std::shared_ptr<NSObject> object(const Value& value); ///< Empty for nil.
[[noreturn]] VELMORA_EXPORT void throwWrongBox(const Value& given, const std::type_info& wanted);

template <class T>
concept Object = std::is_class_v<T> && std::derived_from<T, NSObject>;

/// An object that is only borrowed: its own shared pointer; without one (on the stack, or ending) one that owns
/// nothing.
template <Object T> std::shared_ptr<NSObject> borrowed(const T& object)
{
    T& plain = const_cast<T&>(object); // boxes do not know const
    if (std::shared_ptr<NSObject> shared = plain.weak_from_this().lock())
        return shared;
    return std::shared_ptr<NSObject>(std::shared_ptr<T>(), &plain);
}
}

template <class T> Value box(T&& given)
{
    using U = std::remove_cvref_t<T>;
    if constexpr (std::same_as<U, Value>)
        return std::forward<T>(given);
    else if constexpr (std::same_as<U, std::nullptr_t> || std::same_as<U, std::nullopt_t>)
        return std::monostate {};
    else if constexpr (std::same_as<U, bool>)
        return given;
    else if constexpr (std::is_enum_v<U> || std::integral<U>)
        return static_cast<std::int64_t>(given);
    else if constexpr (std::floating_point<U>)
        return static_cast<double>(given);
    else if constexpr (std::same_as<U, std::string>)
        return Value(std::forward<T>(given));
    else if constexpr (std::convertible_to<T, const char*>) {
        const char* text = given;
        return text ? Value(std::string(text)) : Value(std::monostate {});
    } else if constexpr (std::convertible_to<T, std::string_view>)
        return std::string(std::string_view(given));
    else if constexpr (detail::isOptional<U>)
        return given ? box(*std::forward<T>(given)) : Value(std::monostate {});
    else if constexpr (detail::isWeak<U>)
        return box(given.lock());
    else if constexpr (detail::isShared<U>) {
        using Element = typename U::element_type;
        if (!given)
            return std::monostate {};
        if constexpr (std::convertible_to<std::remove_const_t<Element>*, NSObject*>)
            return std::shared_ptr<NSObject>(std::const_pointer_cast<std::remove_const_t<Element>>(given));
        else if constexpr (std::is_polymorphic_v<Element>) {
            // An interface: most of those who implement one are objects too, and travel as such.
            if (auto object
                = std::dynamic_pointer_cast<NSObject>(std::const_pointer_cast<std::remove_const_t<Element>>(given)))
                return object;
            return Value(std::forward<T>(given));
        } else
            return Value(std::forward<T>(given));
    } else if constexpr (std::is_pointer_v<U> && detail::Object<std::remove_cv_t<std::remove_pointer_t<U>>>)
        return given ? Value(detail::borrowed(*given)) : Value(std::monostate {});
    else if constexpr (detail::Object<U> && std::is_lvalue_reference_v<T>) {
        if constexpr (std::copy_constructible<U>)
            if (given.weak_from_this().expired())
                return std::shared_ptr<NSObject>(std::make_shared<U>(given)); // may be kept longer than the original
        return detail::borrowed(given);
    } else if constexpr (detail::Object<U>)
        return std::shared_ptr<NSObject>(std::make_shared<U>(std::forward<T>(given)));
    else if constexpr (detail::isFunction<U>)
        return given ? Value(std::forward<T>(given)) : Value(std::monostate {});
    else
        return Value(std::forward<T>(given));
}

/// The value as a T; throws WrongBox when it holds something that is none.
template <class T> T unbox(const Value& value)
{
    if constexpr (std::same_as<T, Value>)
        return value;
    else if constexpr (std::same_as<T, bool>) {
        const auto* exact = std::any_cast<bool>(&value);
        return exact ? *exact : detail::boolean(value);
    } else if constexpr (std::is_enum_v<T> || std::integral<T>) {
        const auto* exact = std::any_cast<std::int64_t>(&value);
        return static_cast<T>(exact ? *exact : detail::integer(value)); // outside an enumeration it passes unchanged
    } else if constexpr (std::floating_point<T>) {
        const auto* exact = std::any_cast<double>(&value);
        return static_cast<T>(exact ? *exact : detail::real(value));
    } else if constexpr (detail::isOptional<T>)
        return isNil(value) ? T() : T(unbox<typename T::value_type>(value));
    else if constexpr (detail::isWeak<T>)
        return unbox<std::shared_ptr<typename T::element_type>>(value);
    else if constexpr (detail::isShared<T>) {
        if (isNil(value))
            return nullptr;
        if (const auto* exact = std::any_cast<T>(&value))
            return *exact;
        if constexpr (std::is_const_v<typename T::element_type>)
            if (const auto* exact
                = std::any_cast<std::shared_ptr<std::remove_const_t<typename T::element_type>>>(&value))
                return *exact;
        if constexpr (std::is_polymorphic_v<typename T::element_type>)
            if (auto found = std::dynamic_pointer_cast<typename T::element_type>(detail::object(value)))
                return found;
        detail::throwWrongBox(value, typeid(typename T::element_type));
    } else {
        if constexpr (detail::isFunction<T>)
            if (isNil(value))
                return nullptr;
        if (const auto* exact = std::any_cast<T>(&value))
            return *exact;
        if constexpr (detail::Object<T>)
            if (const auto* found = dynamic_cast<const T*>(detail::object(value).get()))
                return *found;
        detail::throwWrongBox(value, typeid(T));
    }
}

}
