// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSObject.h"

#include "platform/Foundation/NSException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/platform/Foundation/Lamp.h"

namespace velmora::tests {

namespace {

class Base : public NSObject {
public:
    std::vector<std::string> steps { "Base" };
    bool couldShare = false;

protected:
    void didConstruct() override
    {
        NSObject::didConstruct();
        steps.emplace_back("Base::didConstruct");
        couldShare = sharedFromThis(*this).get() == this;
    }
};

class Derived : public Base {
public:
    Derived() { steps.emplace_back("Derived"); }

protected:
    void didConstruct() override
    {
        Base::didConstruct();
        steps.emplace_back("Derived::didConstruct");
    }
};

}

TEST(Objects, AreConstructedWholeBeforeTheyRegisterAnywhere)
{
    const auto object = make<Derived>();
    const std::vector<std::string> expected { "Base", "Derived", "Base::didConstruct", "Derived::didConstruct" };
    EXPECT_EQ(object->steps, expected);
    EXPECT_TRUE(object->couldShare);
}

TEST(Objects, KnowTheirClassAndItsSuperclasses)
{
    const auto night = make<NightLamp>();
    EXPECT_EQ(night->classInfo().name, "Tests.NightLamp");
    EXPECT_TRUE(night->isKindOfClass(Lamp::staticClass()));
    EXPECT_TRUE(night->isKindOfClass(NSObject::staticClass()));
    EXPECT_FALSE(make<Lamp>()->isKindOfClass(NightLamp::staticClass()));
}

TEST(Objects, DescribeThemselvesByClassAndAddress)
{
    const auto lamp = make<Lamp>();
    EXPECT_THAT(lamp->description(), testing::MatchesRegex("<Tests\\.Lamp: 0x[0-9a-f]+>"));
}

TEST(Objects, AreEqualToThemselvesOnly)
{
    const auto lamp = make<Lamp>();
    const auto other = make<Lamp>();
    EXPECT_TRUE(lamp->isEqual(lamp.get()));
    EXPECT_FALSE(lamp->isEqual(other.get()));
    EXPECT_FALSE(lamp->isEqual(nullptr));
}

TEST(Objects, ACopyIsUnobservedAndAnObjectOfItsOwn)
{
    auto original = make<NSError>("Lamps", 1);
    int changes = 0;
    const auto token = original->observe("code", NSKeyValueObservingOptionNew, [&](const auto&) { ++changes; });
    const auto copy = make<NSError>(*original);
    copy->willChangeValueForKey("code");
    copy->didChangeValueForKey("code");
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(sharedFromThis(*copy), copy);
}

TEST(Objects, AreReadAndWrittenByKey)
{
    const auto lamp = make<Lamp>();
    lamp->setValueForKey(2.5, "brightness");
    EXPECT_EQ(unbox<double>(lamp->valueForKey("brightness")), 2.5);
    EXPECT_EQ(unbox<bool>(lamp->valueForKey("lit")), true); // by isLit
}

TEST(Objects, RefuseAKeyThatTheyDoNotHave)
{
    try {
        make<Lamp>()->valueForKey("voltage");
        FAIL() << "the key was accepted";
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), "NSUnknownKeyException");
        EXPECT_EQ(exception.reason(), "Tests.Lamp has no key \"voltage\"");
    }
    EXPECT_THROW(make<Lamp>()->setValueForKey(1, "lit"), NSException);
}

TEST(Objects, AreMadeByAnInitialiserSentToTheirClass)
{
    const auto lamp = unbox<std::shared_ptr<Lamp>>(Lamp::staticClass().performSelector("initWithBrightness:", 3));
    EXPECT_EQ(lamp->brightness(), 3.0);
}

TEST(Objects, AnInheritedInitialiserDoesNotMakeAnObjectOfTheSuperclass)
{
    try {
        NightLamp::staticClass().performSelector("initWithBrightness:", 3);
        FAIL() << "an object was made";
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.reason(),
            "+[Tests.NightLamp initWithBrightness:]: the initialiser makes a Tests.Lamp; the class must list its own");
    }
}

TEST(ObjectsDeathTest, AnUnavailableInitialiserStopsTheProcessWithItsClass)
{
    EXPECT_DEATH(Lamp::staticClass().performSelector("init"), "Tests\\.Lamp: unimplemented initialiser 'init\\(\\)'");
    EXPECT_DEATH(NightLamp::staticClass().performSelector("init"), "Tests\\.NightLamp.*'init\\(\\)'");
}

}
