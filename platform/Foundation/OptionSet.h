// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <type_traits>

namespace velmora {

/// An enumeration whose values are flags becomes a set by one line right after it:
/// `template <> inline constexpr bool isOptionSet<Name> = true;`. Bits without a name survive every operation.
template <class E> inline constexpr bool isOptionSet = false;
template <class E>
concept Options = std::is_enum_v<E> && isOptionSet<E>;

template <Options E> constexpr auto raw(E set)
{
    return static_cast<std::underlying_type_t<E>>(set);
}
template <Options E> constexpr E operator|(E a, E b)
{
    return static_cast<E>(raw(a) | raw(b));
}
template <Options E> constexpr E operator&(E a, E b)
{
    return static_cast<E>(raw(a) & raw(b));
}
template <Options E> constexpr E operator~(E a)
{
    return static_cast<E>(~raw(a));
}
template <Options E> constexpr E& operator|=(E& a, E b)
{
    return a = a | b;
}
template <Options E> constexpr E& operator&=(E& a, E b)
{
    return a = a & b;
}

/// True when `set` has all of `flags`.
template <Options E> constexpr bool contains(E set, std::type_identity_t<E> flags)
{
    return (set & flags) == flags;
}

}
