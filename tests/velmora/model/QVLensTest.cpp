// SPDX-License-Identifier: Apache-2.0
#include "velmora/model/QVLens.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/Foundation/NSException.h"

#include "drivers/phone/VirtualPhone.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace velmora::tests {

using namespace drivers::phone;
using Attributes = QVLens::LensAttributes;

namespace {

Camera camera(std::string id, std::string type, AVCaptureDevicePosition position, bool depth = false)
{
    Camera made;
    made.id = std::move(id);
    made.type = std::move(type);
    made.position = position;
    if (depth)
        made.formats.emplace_back().depth = { { 320, 240 } };
    return made;
}

PhoneDescription phoneWith(std::vector<Camera> cameras, SystemVersion version = {})
{
    PhoneDescription description;
    description.systemVersion = version;
    description.cameras = std::move(cameras);
    return description;
}

std::vector<std::string> ids(const QVLens::Lenses& lenses)
{
    std::vector<std::string> found;
    for (const auto& lens : lenses)
        found.push_back(lens->captureDevice()->uniqueID());
    return found;
}

constexpr auto back = AVCaptureDevicePositionBack;
constexpr auto front = AVCaptureDevicePositionFront;

PhoneDescription everyKind(SystemVersion version)
{
    return phoneWith({ camera("triple", AVCaptureDeviceTypeBuiltInTripleCamera, back),
                         camera("ultra", AVCaptureDeviceTypeBuiltInUltraWideCamera, back),
                         camera("dualwide", AVCaptureDeviceTypeBuiltInDualWideCamera, back),
                         camera("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera, back),
                         camera("tele", AVCaptureDeviceTypeBuiltInTelephotoCamera, back),
                         camera("dual", AVCaptureDeviceTypeBuiltInDualCamera, back, true),
                         camera("truedepth", AVCaptureDeviceTypeBuiltInTrueDepthCamera, front, true) },
        version);
}

}

TEST(LensCatalogue, FrontLensesComeFirstWhateverTheirTypes)
{
    const VirtualPhone phone(everyKind({ 17, 2 }));
    EXPECT_EQ(ids(QVLens::availableLenses()),
        (std::vector<std::string> { "truedepth", "wide", "tele", "dual", "triple", "dualwide", "ultra" }));
}

TEST(LensCatalogue, DualWideIsFourAndTripleIsFive)
{
    const VirtualPhone phone(everyKind({ 13, 0 }));
    std::vector<int> types;
    for (const auto& lens : QVLens::availableLenses())
        types.push_back(lens->lensType());
    EXPECT_EQ(types, (std::vector<int> { 3, 0, 1, 2, 5, 4, 6 }));
}

TEST(LensCatalogue, SystemsBeforeThirteenKnowFourTypes)
{
    const VirtualPhone phone(everyKind({ 12, 4 }));
    EXPECT_EQ(ids(QVLens::availableLenses()), (std::vector<std::string> { "truedepth", "wide", "tele", "dual" }));
}

TEST(LensCatalogue, SkipsDevicesOfUnknownTypes)
{
    const VirtualPhone phone(phoneWith(
        { camera("odd", "SomethingElse", back), camera("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera, back) }));
    EXPECT_EQ(ids(QVLens::availableLenses()), std::vector<std::string> { "wide" });
}

TEST(LensCatalogue, ThePositionIsTheDevicesOwn)
{
    Camera found = camera("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera, back);
    found.foundAt = front;
    const VirtualPhone phone(phoneWith({ found, camera("other", AVCaptureDeviceTypeBuiltInWideAngleCamera, back) }));

    const auto lenses = QVLens::availableLenses();
    ASSERT_EQ(ids(lenses), (std::vector<std::string> { "wide", "other" })); // listed where it was found
    EXPECT_EQ(lenses[0]->position(), back);
    EXPECT_FALSE(QVLens::hasAvailableLens(front));
}

TEST(LensCatalogue, IsNeverRefreshedAndItsLensesAreShared)
{
    VirtualPhone phone(everyKind({ 17, 2 }));
    const auto before = QVLens::availableLenses();
    phone.change([](PhoneDescription& description) { description.cameras.clear(); });
    EXPECT_EQ(QVLens::availableLenses(), before);
    EXPECT_EQ(QVLens::availableLenses(front).at(0), before[0]);
}

TEST(LensCatalogue, AnEmptyRequestMatchesEveryLens)
{
    const VirtualPhone phone(everyKind({ 17, 2 }));
    EXPECT_EQ(QVLens::availableLenses(Attributes {}), QVLens::availableLenses());
    EXPECT_TRUE(QVLens::hasAvailableLens(Attributes {}));
}

TEST(LensCatalogue, DepthIsAnyFormatWithDepth)
{
    const VirtualPhone phone(everyKind({ 17, 2 }));
    EXPECT_EQ(
        ids(QVLens::availableLenses(Attributes::depthCapture)), (std::vector<std::string> { "truedepth", "dual" }));
    EXPECT_EQ(ids(QVLens::availableLenses(Attributes::depthCapture, back)), std::vector<std::string> { "dual" });
    EXPECT_TRUE(QVLens::hasAvailableLens(Attributes::depthCapture, front));
}

TEST(LensCatalogue, ARequestForAnotherBitMatchesNothing)
{
    const VirtualPhone phone(everyKind({ 17, 2 }));
    EXPECT_TRUE(QVLens::availableLenses(Attributes(3)).empty());
    EXPECT_FALSE(QVLens::hasAvailableLens(Attributes(2)));
}

TEST(LensCatalogue, FiltersByPositionAttributesAndType)
{
    const VirtualPhone phone(everyKind({ 17, 2 }));
    EXPECT_EQ(ids(QVLens::availableLenses({}, back, QVLensTypeTelephoto)), std::vector<std::string> { "tele" });
    EXPECT_TRUE(QVLens::availableLenses({}, front, QVLensTypeTelephoto).empty());
    EXPECT_FALSE(QVLens::hasAvailableLens({}, front, QVLensTypeTelephoto));
    EXPECT_TRUE(QVLens::hasAvailableLens(Attributes::depthCapture, back, QVLensTypeDual));
    EXPECT_FALSE(QVLens::hasAvailableLens(Attributes::depthCapture, back, QVLensTypeWideAngle));
}

TEST(LensCatalogue, AssignedAttributesStay)
{
    const VirtualPhone phone(everyKind({ 17, 2 }));
    const auto wide = QVLens::availableLenses({}, back, QVLensTypeWideAngle).at(0);
    wide->setAttributes(Attributes(5));
    EXPECT_EQ(QVLens::availableLenses({}, back, QVLensTypeWideAngle).at(0)->attributes().rawValue, 5);
}

TEST(LensCatalogue, ACameraWithoutFormatsHasNoAttributes)
{
    Camera bare = camera("wide", AVCaptureDeviceTypeBuiltInWideAngleCamera, back);
    bare.formats.clear();
    const VirtualPhone phone(phoneWith({ bare }));
    EXPECT_TRUE(QVLens::availableLenses().at(0)->attributes().isEmpty());
}

TEST(LensCatalogue, IsEmptyWithoutCameras)
{
    const VirtualPhone phone(phoneWith({}));
    EXPECT_TRUE(QVLens::availableLenses().empty());
    EXPECT_FALSE(QVLens::hasAvailableLens(back));
}

TEST(LensCatalogue, IsReachedByItsThreeSelectors)
{
    const VirtualPhone phone(everyKind({ 17, 2 }));
    const ClassInfo& lens = QVLens::staticClass();
    const auto all = std::any_cast<QVLens::Lenses>(lens.performSelector("availableLenses"));
    EXPECT_EQ(all.size(), 7U);
    EXPECT_EQ(
        std::any_cast<QVLens::Lenses>(lens.performSelector("availableLensesInDevicePosition:", front)).size(), 1U);
    EXPECT_TRUE(std::any_cast<bool>(lens.performSelector("hasAvailableLensInDevicePosition:", back)));
    EXPECT_EQ(std::any_cast<std::int64_t>(all[0]->performSelector("position")), 2);
    EXPECT_EQ(std::any_cast<std::int64_t>(all[0]->performSelector("lensType")), 3);
    EXPECT_FALSE(all[0]->respondsToSelector("attributes"));
    EXPECT_FALSE(all[0]->respondsToSelector("captureDevice"));
}

TEST(LensCatalogueDeathTest, ThePlainInitialiserStopsTheProcess)
{
    EXPECT_DEATH(QVLens::staticClass().performSelector("init"), "Velmora\\.QVLens.*init\\(\\)");
}

TEST(LensCatalogueThreads, IsBuiltOnceForConcurrentFirstCalls)
{
    const VirtualPhone phone(everyKind({ 17, 2 }));
    std::vector<QVLens::Lenses> seen(8);
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    for (auto& lenses : seen)
        threads.emplace_back([&lenses] { lenses = QVLens::availableLenses(Attributes::depthCapture); });
    for (auto& thread : threads)
        thread.join();
    for (const auto& lenses : seen)
        EXPECT_EQ(lenses, seen[0]);
    EXPECT_EQ(seen[0].size(), 2U);
}

TEST(LensAttributes, HaveTheWholeSetAlgebra)
{
    constexpr Attributes a(6);
    constexpr Attributes b(3);
    EXPECT_EQ(a.unionWith(b).rawValue, 7);
    EXPECT_EQ(a.intersection(b).rawValue, 2);
    EXPECT_EQ(a.symmetricDifference(b).rawValue, 5);
    EXPECT_EQ(a.subtracting(b).rawValue, 4);
    EXPECT_TRUE(Attributes(2).isSubset(a));
    EXPECT_TRUE(a.isSuperset(Attributes(4)));
    EXPECT_TRUE(a.isSubset(a));
    EXPECT_FALSE(a.isStrictSubset(a));
    EXPECT_TRUE(Attributes(4).isStrictSubset(a));
    EXPECT_TRUE(a.isStrictSuperset(Attributes(2)));
    EXPECT_TRUE(a.isDisjoint(Attributes(9)));
    EXPECT_FALSE(a.isDisjoint(b));
    EXPECT_TRUE(Attributes {}.isEmpty());
    EXPECT_EQ((Attributes { Attributes(1), Attributes(8) }).rawValue, 9);
    EXPECT_EQ(Attributes::depthCapture.rawValue, 1);
}

TEST(LensAttributes, InsertTellsWhetherItAdded)
{
    Attributes set(2);
    EXPECT_EQ(set.insert(Attributes(4)), std::pair(true, Attributes(4)));
    EXPECT_EQ(set.insert(Attributes(4)), std::pair(false, Attributes(4)));
    EXPECT_EQ(set.rawValue, 6);
}

TEST(LensAttributes, RemoveAndUpdateAnswerWhatWasThere)
{
    Attributes set(6);
    EXPECT_EQ(set.remove(Attributes(2)), Attributes(2));
    EXPECT_EQ(set.remove(Attributes(2)), std::nullopt);
    EXPECT_EQ(set.update(Attributes(5)), Attributes(4));
    EXPECT_EQ(set.rawValue, 5);
    EXPECT_EQ(set.update(Attributes(8)), std::nullopt);
    EXPECT_EQ(set.rawValue, 13);
}

TEST(LensAttributes, KeepBitsWithoutAName)
{
    const Attributes set(std::int64_t { 1 } << 62);
    EXPECT_EQ(set.unionWith(Attributes::depthCapture).rawValue, (std::int64_t { 1 } << 62) + 1);
}

}
