// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSString.h"

#include "platform/Foundation/NSLocale.h"

#include <gtest/gtest.h>

namespace velmora::tests {

namespace {

std::string uppercase(const std::string& text, const std::string& language)
{
    return uppercaseStringWithLocale(text, NSLocale({ language }));
}

}

TEST(RuntimeFormat, TakesArgumentsInOrder)
{
    EXPECT_EQ(stringWithRuntimeFormat("%@ and %@: 100 %%", { "a", "b" }), "a and b: 100 %");
}

TEST(RuntimeFormat, TakesNumberedArgumentsInAnyOrder)
{
    EXPECT_EQ(stringWithRuntimeFormat("%2$@ %1$@ %2$@", { "a", "b" }), "b a b");
}

TEST(RuntimeFormat, NeedNotUseAllArguments)
{
    EXPECT_EQ(stringWithRuntimeFormat("%@", { "a", "b" }), "a");
    EXPECT_EQ(stringWithRuntimeFormat("none", { "a" }), "none");
}

TEST(RuntimeFormat, NeverReadsBeyondTheArguments)
{
    EXPECT_EQ(stringWithRuntimeFormat("%@ %@ %7$@ %99999999999999999999$@", { "a" }),
        "a (null) (null) %99999999999999999999$@");
}

TEST(RuntimeFormat, LeavesOtherConversionsAsTheyStand)
{
    EXPECT_EQ(stringWithRuntimeFormat("%s %d %n %0$@ %", { "a" }), "%s %d %n %0$@ %");
}

TEST(RuntimeFormat, DoesNotLookForConversionsInArguments)
{
    EXPECT_EQ(stringWithRuntimeFormat("%@ %@", { "%@", "x" }), "%@ x");
}

TEST(Uppercase, CoversLatinGreekAndCyrillic)
{
    EXPECT_EQ(uppercase("zur\u00fcck \u00e0 \u03b1\u03c2 \u0434\u0451", "en"),
        "ZUR\u00dcCK \u00c0 \u0391\u03a3 \u0414\u0401");
}

TEST(Uppercase, WritesSharpSAndLigaturesAsSeveralLetters)
{
    EXPECT_EQ(uppercase("stra\u00dfe \ufb01x", "de"), "STRASSE FIX");
}

TEST(Uppercase, KeepsTheDotInTurkishAndAzerbaijani)
{
    EXPECT_EQ(uppercase("i\u0131", "tr_TR.UTF-8"), "\u0130I");
    EXPECT_EQ(uppercase("i", "az"), "\u0130");
    EXPECT_EQ(uppercase("i\u0131", "en"), "II");
}

TEST(Uppercase, LeavesWhatHasNoCapitals)
{
    EXPECT_EQ(uppercase("\u30ab\u30e1\u30e9 1!", "ja"), "\u30ab\u30e1\u30e9 1!");
}

}
