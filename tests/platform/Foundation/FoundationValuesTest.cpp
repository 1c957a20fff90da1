// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/ArchiveValue.h"
#include "platform/Foundation/NSURL.h"

#include "tests/support/SteppedTest.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>

namespace velmora::tests {

using NSDateNow = SteppedTest;

TEST(NSData, IsEqualByContent)
{
    const NSData data { { 1, 2, 3 } };
    const NSData same { { 1, 2, 3 } };
    const NSData shorter { { 1, 2 } };

    EXPECT_TRUE(data.isEqual(&same));
    EXPECT_FALSE(data.isEqual(&shorter));
    EXPECT_FALSE(data.isEqual(nullptr));
}

TEST(NSData, DescribesItsLength)
{
    EXPECT_EQ(NSData({ 7, 7, 7 }).description(), "{length = 3}");
}

TEST(NSDate, DescribesTheMomentInUTC)
{
    EXPECT_EQ(NSDate(789015845).description(), "2026-01-02 03:04:05 +0000");
    EXPECT_EQ(NSDate(-0.5).description(), "2000-12-31 23:59:59 +0000");
}

TEST(NSDate, DescribesMomentsThatNoCalendarHas)
{
    EXPECT_EQ(NSDate(INFINITY).description(), "inf seconds since 2001-01-01 00:00:00 +0000");
}

TEST(NSDate, CountsFrom1970Too)
{
    EXPECT_EQ(NSDate(0).timeIntervalSince1970(), 978307200.0);
}

TEST_F(NSDateNow, FollowsTheClockInForce)
{
    clock.setAbsoluteTime(1000);
    EXPECT_EQ(NSDate::date()->timeIntervalSinceReferenceDate(), 1000);
}

TEST(NSURL, EscapesWhatAnAddressCannotHold)
{
    EXPECT_EQ(NSURL::fileURLWithPath("/a b/ü%#?.jpg")->absoluteString(), "file:///a%20b/%C3%BC%25%23%3F.jpg");
}

TEST(NSURL, NamesItsLastComponent)
{
    EXPECT_EQ(NSURL("/a/b.jpg").lastPathComponent(), "b.jpg");
    EXPECT_EQ(NSURL("/a/b/").lastPathComponent(), "b");
    EXPECT_EQ(NSURL("/").lastPathComponent(), "/");
}

TEST(NSURL, MakesARelativePathAbsolute)
{
    EXPECT_EQ(NSURL("x.jpg").path(), std::filesystem::current_path().string() + "/x.jpg");
}

TEST(TemporaryDirectory, IsMadeWhereTheEnvironmentSays)
{
    const char* given = std::getenv("TMPDIR");
    const std::string before = given ? given : "";
    const std::string folder = (std::filesystem::temp_directory_path() / "velmora-temporary-test").string();
    std::filesystem::remove_all(folder);

    setenv("TMPDIR", folder.c_str(), 1);
    EXPECT_EQ(NSTemporaryDirectory(), folder + "/");
    EXPECT_TRUE(std::filesystem::is_directory(folder));

    std::filesystem::remove_all(folder);
    given ? setenv("TMPDIR", before.c_str(), 1) : unsetenv("TMPDIR");
}

TEST(ArchiveValue, IsEqualByTypeAndContent)
{
    EXPECT_TRUE(isEqual(ArchiveValue(std::int64_t { 1 }), ArchiveValue(std::int64_t { 1 })));
    EXPECT_FALSE(isEqual(ArchiveValue(std::int64_t { 1 }), ArchiveValue(1.0)));
    EXPECT_TRUE(isEqual(ArchiveValue(), ArchiveValue(std::shared_ptr<NSDate>())));
}

TEST(ArchiveValue, ComparesNestedValuesByContent)
{
    const auto nested = [](double number) {
        return ArchiveValue(make<NSDictionary>(
            ArchiveDictionary { { "list", make<NSArray>(std::vector<ArchiveValue> { number, make<NSDate>(5.0) }) } }));
    };
    EXPECT_TRUE(isEqual(nested(0.5), nested(0.5)));
    EXPECT_FALSE(isEqual(nested(0.5), nested(0.25)));
}

TEST(ArchiveValue, DescribesEveryKind)
{
    const auto list = make<NSArray>(std::vector<ArchiveValue> { std::string("a"), true, 0.5, ArchiveValue() });
    const auto dictionary = make<NSDictionary>(ArchiveDictionary { { "b", std::int64_t { -2 } }, { "a", list } });
    EXPECT_EQ(description(ArchiveValue(dictionary)), "{a = (a, 1, 0.5, (null)); b = -2}");
}

TEST(ArchiveValue, ReadsAWholeNumberAsADouble)
{
    const ArchiveDictionary dictionary { { "n", std::int64_t { 3 } }, { "t", std::string("x") } };
    EXPECT_EQ(valueIn<double>(dictionary, "n"), 3.0);
    EXPECT_EQ(valueIn<double>(dictionary, "t"), std::nullopt);
    EXPECT_EQ(valueIn<std::string>(dictionary, "t"), "x");
}

}
