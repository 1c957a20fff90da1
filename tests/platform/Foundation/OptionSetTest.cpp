// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/OptionSet.h"

#include <gtest/gtest.h>

#include <concepts>
#include <cstdint>

namespace velmora::tests {

enum Topping : std::uint8_t { ToppingCheese = 1, ToppingOlives = 4, ToppingOnions = 128 };
enum Deep : std::int8_t { DeepAll = -1, DeepFirst = 1 };
enum Plain : std::uint8_t { PlainOne = 1 };

}

namespace velmora {
template <> inline constexpr bool isOptionSet<tests::Topping> = true;
template <> inline constexpr bool isOptionSet<tests::Deep> = true;
}

namespace velmora::tests {

TEST(OptionSets, CombineToTheirOwnType)
{
    const auto both = ToppingCheese | ToppingOlives;
    static_assert(std::same_as<decltype(both), const Topping>);
    EXPECT_EQ(raw(both), 5);
}

TEST(OptionSets, ContainMeansAll)
{
    constexpr Topping both = ToppingCheese | ToppingOlives;
    EXPECT_TRUE(contains(both, ToppingOlives));
    EXPECT_TRUE(contains(both, {}));
    EXPECT_FALSE(contains(both, ToppingOlives | ToppingOnions));
}

TEST(OptionSets, AComplementStaysWithinTheWidth)
{
    EXPECT_EQ(raw(~ToppingCheese), 254);
    EXPECT_EQ(raw(~DeepFirst), -2);
}

TEST(OptionSets, BitsWithoutANameSurvive)
{
    auto set = static_cast<Topping>(64);
    set |= ToppingCheese;
    EXPECT_EQ(raw(set), 65);
    set &= ~ToppingCheese;
    EXPECT_EQ(raw(set), 64);
}

TEST(OptionSets, OnlyDeclaredSetsHaveTheOperators)
{
    static_assert(Options<Topping>);
    static_assert(!Options<Plain>);
    static_assert(std::same_as<decltype(PlainOne | PlainOne), int>);
}

}
