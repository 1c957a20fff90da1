// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Selector.h"

#include "platform/Foundation/NSException.h"

#include <gtest/gtest.h>

#include "tests/platform/Foundation/Lamp.h"

namespace velmora::tests {

namespace {
/// What the send complains of; empty when it does not.
template <class... Args> std::string complaint(NSObject& receiver, std::string_view selector, Args&&... arguments)
{
    try {
        receiver.performSelector(selector, std::forward<Args>(arguments)...);
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
        return exception.reason();
    }
    return {};
}
}

TEST(Selectors, AnIntegerFitsAParameterOfDoubles)
{
    const auto lamp = make<Lamp>();
    lamp->performSelector("setBrightness:", 3);
    EXPECT_EQ(lamp->brightness(), 3.0);
}

TEST(Selectors, AnOverloadIsChosenByItsSelector)
{
    const auto lamp = make<Lamp>();
    lamp->performSelector("setBrightness:twice:", 1.5, true);
    EXPECT_EQ(lamp->brightness(), 3.0);
}

TEST(Selectors, AResultArrivesInTheBoxOfItsKind)
{
    const auto lamp = make<Lamp>(2);
    lamp->setName("hall");
    EXPECT_EQ(std::any_cast<double>(lamp->performSelector("brightness")), 2.0);
    EXPECT_EQ(std::any_cast<bool>(lamp->performSelector("isLit")), true);
    EXPECT_EQ(std::any_cast<std::int64_t>(lamp->performSelector("color")), 1);
    EXPECT_EQ(std::any_cast<std::string>(lamp->performSelector("name")), "hall");
}

TEST(Selectors, NothingIsAnsweredAsNil)
{
    const auto lamp = make<Lamp>();
    EXPECT_TRUE(isNil(lamp->performSelector("timeout")));
    EXPECT_TRUE(isNil(lamp->performSelector("neighbour")));
    EXPECT_TRUE(isNil(lamp->performSelector("setBrightness:", 1)));
}

TEST(Selectors, ARawNumberOutsideAnEnumerationPassesUnchanged)
{
    const auto lamp = make<Lamp>();
    lamp->performSelector("setColor:", 77);
    EXPECT_EQ(static_cast<int>(lamp->color()), 77);
}

TEST(Selectors, ATextLiteralFitsAParameterOfText)
{
    const auto lamp = make<Lamp>();
    lamp->performSelector("setName:", "porch");
    EXPECT_EQ(lamp->name(), "porch");
}

TEST(Selectors, ANullTextIsNil)
{
    const char* const none = nullptr;
    EXPECT_TRUE(isNil(box(none)));
}

TEST(Selectors, NilEmptiesOptionalsPointersAndFunctions)
{
    const auto lamp = make<Lamp>();
    lamp->setTimeout(4);
    lamp->performSelector("setTimeout:", nullptr);
    lamp->performSelector("setNeighbour:", nullptr);
    lamp->performSelector("report:", nullptr);
    EXPECT_EQ(lamp->timeout(), std::nullopt);
    EXPECT_EQ(lamp->neighbour(), nullptr);
}

TEST(Selectors, APointerToADerivedClassFitsItsSuperclass)
{
    const auto lamp = make<Lamp>();
    const auto night = make<NightLamp>(5);
    lamp->performSelector("setNeighbour:", night);
    EXPECT_EQ(lamp->neighbour(), night);
}

TEST(Selectors, ABorrowedObjectIsPassedByReferenceOrPointer)
{
    const auto lamp = make<Lamp>();
    NightLamp onTheStack(6);
    EXPECT_EQ(unbox<double>(lamp->performSelector("brightnessOf:", make<NightLamp>(5))), 5.0);
    EXPECT_EQ(unbox<double>(lamp->performSelector("brightnessOrZero:", &onTheStack)), 6.0);
    EXPECT_EQ(unbox<double>(lamp->performSelector("brightnessOrZero:", nullptr)), 0.0);
}

TEST(Selectors, AnErrorByValueIsAnObjectOfItsOwn)
{
    const auto lamp = make<Lamp>();
    EXPECT_EQ(unbox<std::string>(lamp->performSelector("codeOf:", NSError("Lamps", 12))), "12");
    EXPECT_EQ(unbox<std::string>(lamp->performSelector("codeOf:", make<NSError>("Lamps", 13))), "13");
    EXPECT_EQ(unbox<std::string>(lamp->performSelector("codeOf:", nullptr)), "no error");
    const NSError error("Lamps", 14);
    EXPECT_EQ(unbox<NSError>(box(error)).code(), 14);
}

TEST(Selectors, ACallbackIsBoxedAsThePublishedAlias)
{
    const auto lamp = make<Lamp>(7);
    double seen = 0;
    lamp->performSelector("report:", Lamp::Handler([&](double brightness) { seen = brightness; }));
    EXPECT_EQ(seen, 7.0);
}

TEST(Selectors, AMemberOfAnInterfaceIsFoundByTheObject)
{
    EXPECT_EQ(unbox<double>(make<NightLamp>()->performSelector("level")), 1.0);
}

TEST(Selectors, AnOverrideIsCalledThroughTheTableOfTheSuperclass)
{
    EXPECT_EQ(unbox<std::string>(make<NightLamp>()->performSelector("kind")), "night lamp");
}

TEST(Selectors, AnUnknownOneIsRefusedWithClassAndSelector)
{
    const auto lamp = make<Lamp>();
    EXPECT_FALSE(lamp->respondsToSelector("explode:"));
    EXPECT_EQ(complaint(*lamp, "explode:", 1), "-[Tests.Lamp explode:]: the class has no such selector");
}

TEST(Selectors, AWrongCountIsRefused)
{
    EXPECT_EQ(
        complaint(*make<Lamp>(), "setBrightness:"), "-[Tests.Lamp setBrightness:]: takes 1 arguments, was given 0");
}

TEST(Selectors, AWrongArgumentIsNamed)
{
    EXPECT_EQ(complaint(*make<Lamp>(), "setBrightness:twice:", 1, "yes"),
        "-[Tests.Lamp setBrightness:twice:]: argument 2 is a text, not a number");
    EXPECT_EQ(complaint(*make<Lamp>(), "setNeighbour:", make<NSError>("Lamps", 1)),
        "-[Tests.Lamp setNeighbour:]: argument 1 is an object of the class Velmora.NSError; wanted is "
        "velmora::tests::Lamp");
    EXPECT_EQ(complaint(*make<Lamp>(), "brightnessOf:", nullptr),
        "-[Tests.Lamp brightnessOf:]: argument 1 is nil, and the parameter is not optional");
}

TEST(Selectors, ATypedSendCallsTheMethod)
{
    const Selector<void(double)> setBrightness("setBrightness:");
    const Selector<double()> brightness("brightness");
    const auto lamp = make<Lamp>();
    setBrightness(*lamp, 4);
    EXPECT_EQ(brightness(*lamp), 4.0);
}

TEST(Selectors, ATypedSendFollowsTheClassOfEachReceiver)
{
    const Selector<std::string()> kind("kind");
    const auto lamp = make<Lamp>();
    const auto night = make<NightLamp>();
    EXPECT_EQ(kind(*lamp), "lamp");
    EXPECT_EQ(kind(*night), "night lamp");
    EXPECT_EQ(kind(*lamp), "lamp");
}

TEST(Selectors, ATypedSendTakesReferencesToValuesAsValuesAndToObjectsAsReferences)
{
    const Selector<void(std::string)> setName("setName:");
    const Selector<double(const Lamp&)> brightnessOf("brightnessOf:");
    const auto lamp = make<Lamp>();
    setName(*lamp, "stairs");
    EXPECT_EQ(lamp->name(), "stairs");
    EXPECT_EQ(brightnessOf(*lamp, NightLamp(9)), 9.0);
}

TEST(Selectors, ATypedSendWithAnotherSignatureGoesThroughBoxes)
{
    const Selector<std::int64_t(int)> setBrightness("setBrightness:");
    const Selector<int()> brightness("brightness");
    const auto lamp = make<Lamp>();
    EXPECT_THROW(setBrightness(*lamp, 8), NSException); // the result is nil, not a number
    EXPECT_EQ(brightness(*lamp), 8);
}

TEST(Selectors, ATypedSendToAClassWithoutItIsRefused)
{
    const Selector<double()> brightness("brightness");
    NSError error("Lamps", 1);
    EXPECT_THROW(brightness(error), NSException);
}
}
