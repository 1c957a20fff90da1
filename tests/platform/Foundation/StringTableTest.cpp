// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/StringTable.h"

#include <gtest/gtest.h>

namespace velmora::tests {

namespace {

using Texts = std::map<std::string, std::string>;

/// The line and the reason of a table's damage; empty when it is whole.
std::string damage(std::string_view bytes)
{
    const auto found = StringTable::parse(bytes).damage;
    return found ? std::to_string(found->line) + ": " + found->why : std::string();
}

}

TEST(StringTable, ReadsEntriesBetweenComments)
{
    const StringTable table
        = StringTable::parse("/* one\n \"x\" = \"y\"; */\n\"a\" = \"b\"; // c\n  bare.key=\"d\";\"alone\";");
    EXPECT_EQ(table.texts, (Texts { { "a", "b" }, { "bare.key", "d" }, { "alone", "alone" } }));
    EXPECT_FALSE(table.damage);
}

TEST(StringTable, ReadsEscapes)
{
    const StringTable table = StringTable::parse(R"("k" = "a\n\t\"b\" \\ \' \u00e9 \U20AC \uD83D\uDCF7";)");
    EXPECT_EQ(table.texts.at("k"), "a\n\t\"b\" \\ ' \u00e9 \u20ac \U0001F4F7");
    EXPECT_EQ(StringTable::parse("k = \"\\uE000\\uD7FF\";").texts.at("k"), "\xEE\x80\x80\xED\x9F\xBF");
}

TEST(StringTable, ReadsUTF8WithAByteOrderMark)
{
    EXPECT_EQ(StringTable::parse("\xEF\xBB\xBF\"k\" = \"\u00fc\";").texts, (Texts { { "k", "\u00fc" } }));
}

TEST(StringTable, ReadsUTF16OfBothOrders)
{
    const std::string_view little("\xFF\xFE\"\0k\0\"\0=\0\"\0\xAC\x20\"\0;\0", 18);
    const std::string_view big("\xFE\xFF\0\"\0k\0\"\0=\0\"\x20\xAC\0\"\0;", 18);
    EXPECT_EQ(StringTable::parse(little).texts, (Texts { { "k", "\u20ac" } }));
    EXPECT_EQ(StringTable::parse(big).texts, (Texts { { "k", "\u20ac" } }));
}

TEST(StringTable, KeepsTheEntriesBeforeTheDamage)
{
    const StringTable table = StringTable::parse("\"a\" = \"b\";\n\"c\" = \"d\"\n\"e\" = \"f\";");
    EXPECT_EQ(table.texts, (Texts { { "a", "b" } }));
    ASSERT_TRUE(table.damage);
    EXPECT_EQ(table.damage->line, 3);
    EXPECT_EQ(table.damage->why, "the entry \"c\" does not end in \";\"");
}

TEST(StringTable, SaysWhatIsWrongInWhichLine)
{
    EXPECT_EQ(damage("\n\n\"a\" = ;"), "3: a text is expected");
    EXPECT_EQ(damage("\n= \"b\";"), "2: a key is expected");
    EXPECT_EQ(damage("\n\"a\" = \"b\n\n"), "2: a text that begins here does not end");
    EXPECT_EQ(damage("\n/* a\n\n"), "2: the comment that begins here does not end");
    EXPECT_EQ(damage("\"a\" = \"\\u12G4\";"), "1: \\U and \\u need four hexadecimal digits");
    EXPECT_EQ(damage("\"a\" = \"\\uD83D\";"), "1: half of a surrogate pair is missing");
    EXPECT_EQ(damage("\"a\" = \"\xFF\";"), "1: a character is not UTF-8");
}

TEST(StringTable, AnEmptyFileIsAnEmptyTable)
{
    EXPECT_TRUE(StringTable::parse("").texts.empty());
    EXPECT_EQ(damage(""), "");
}

TEST(StringTable, TheLastOfTwoEntriesCounts)
{
    EXPECT_EQ(StringTable::parse("\"a\" = \"b\";\"a\" = \"c\";").texts, (Texts { { "a", "c" } }));
}

}
