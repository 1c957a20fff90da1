// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSPredicate.h"

#include "platform/Foundation/NSDate.h"
#include "platform/Foundation/NSException.h"

#include <gtest/gtest.h>

using namespace velmora;

namespace {

class Picture : public NSObject {
public:
    static const ClassInfo& staticClass()
    {
        static constexpr auto methods = methodTable(method<&Picture::title>("title"), method<&Picture::width>("width"),
            method<&Picture::date>("date"), method<&Picture::place>("place"));
        static const ClassInfo info { "Test.Picture", &NSObject::staticClass(), methods };
        return info;
    }
    const ClassInfo& classInfo() const override { return staticClass(); }
    std::string title() const { return "Roof at noon"; }
    int width() const { return 640; }
    std::shared_ptr<NSDate> date() const { return make<NSDate>(100); }
    std::optional<std::string> place() const { return std::nullopt; }
};

template <class... Args> bool holds(const char* format, const Args&... arguments)
{
    return NSPredicate::predicateWithFormat(format, arguments...)->evaluateWithObject(*make<Picture>());
}

}

TEST(Predicate, ComparesTextsByTheirExactBytes)
{
    EXPECT_TRUE(holds("title = %@", "Roof at noon"));
    EXPECT_TRUE(holds("title == 'Roof at noon'"));
    EXPECT_FALSE(holds("title = \"roof at noon\""));
    EXPECT_TRUE(holds("title != 'Roof'"));
    EXPECT_TRUE(holds("title BEGINSWITH 'Roof' AND title ENDSWITH 'noon' AND title contains ' at '"));
}

TEST(Predicate, ComparesNumbersAndDates)
{
    EXPECT_TRUE(holds("width >= 640 && width < 640.5"));
    EXPECT_FALSE(holds("width > 640 || width <= 639"));
    EXPECT_TRUE(holds("%@ < date", make<NSDate>(99)));
    EXPECT_TRUE(holds("%K <> -5", "width"));
}

TEST(Predicate, JoinsByPrecedenceAndParentheses)
{
    EXPECT_TRUE(holds("width = 640 OR width = 1 AND width = 2"));
    EXPECT_FALSE(holds("(width = 640 OR width = 1) AND width = 2"));
    EXPECT_TRUE(holds("NOT width = 1"));
    EXPECT_TRUE(holds("!(width = 1)"));
}

TEST(Predicate, NothingEqualsOnlyNothing)
{
    EXPECT_TRUE(holds("place = nil"));
    EXPECT_FALSE(holds("place = ''"));
    EXPECT_FALSE(holds("place < 5"));
    EXPECT_TRUE(holds("TRUE = 1"));
}

TEST(Predicate, AWrongFormatIsRefusedWithItsPlace)
{
    for (const char* format : { "", "title", "title =", "title = 'x", "(title = 'x'", "title = 'x' title", "= 5",
             "title = %@", "width ~ 5", "width = --5" })
        EXPECT_THROW(NSPredicate::predicateWithFormat(format), NSException) << format;
    EXPECT_THROW(NSPredicate::predicateWithFormat("width = 5", 5), NSException);
    EXPECT_THROW(NSPredicate::predicateWithFormat("%K = 5", 5), NSException);
    EXPECT_THROW(NSPredicate::predicateWithFormat(std::string(100000, '(')), NSException);
}

TEST(Predicate, AnUnknownKeyIsRefused)
{
    EXPECT_THROW(holds("colour = 5"), NSException);
}
