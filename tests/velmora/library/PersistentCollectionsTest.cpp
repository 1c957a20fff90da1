// SPDX-License-Identifier: Apache-2.0
#include "velmora/library/QVPersistentPhotoAlbum.h"
#include "velmora/library/QVPersistentPhotoCollectionList.h"

#include "platform/Foundation/NSUserDefaults.h"
#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHAssetCollection.h"
#include "platform/Photos/PHAssetCollectionChangeRequest.h"
#include "platform/Photos/PHAssetCreationRequest.h"
#include "platform/Photos/PHCollectionList.h"
#include "platform/Photos/PHCollectionListChangeRequest.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PHPhotoLibrary.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/PhoneTest.h"

using namespace velmora;
using drivers::phone::Outcome;
using drivers::phone::PhoneDescription;
using drivers::phone::Step;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* albumKey = "Velmora.QVPersistentPhotoAlbum-Identifier-main";
constexpr const char* folderKey = "Velmora.QVPersistentPhotoCollectionList-Identifier-main";

PhoneDescription phoneWithLibrary()
{
    auto description = tests::smallPhone();
    description.library.albums = { "Holidays", "Roof", "Roof" };
    description.library.folders = { "Trips" };
    return description;
}

class PersistentCollections : public tests::PhoneTest {
protected:
    PersistentCollections()
        : PhoneTest(phoneWithLibrary())
    {
    }

    static std::optional<std::string> stored(const char* key)
    {
        return NSUserDefaults::standardUserDefaults()->stringForKey(key);
    }
    static void store(const std::string& value, const char* key)
    {
        NSUserDefaults::standardUserDefaults()->setObject(value, key);
    }
    static std::shared_ptr<PHFetchResult> albums()
    {
        return PHAssetCollection::fetchAssetCollectionsWithType(
            PHAssetCollectionTypeAlbum, PHAssetCollectionSubtypeAlbumRegular, nullptr);
    }
    static std::vector<std::string> titlesIn(const std::shared_ptr<PHCollectionList>& folder)
    {
        std::vector<std::string> titles;
        for (const auto& child : PHAssetCollection::fetchCollectionsInCollectionList(folder, nullptr)->objects())
            titles.push_back(std::dynamic_pointer_cast<PHCollection>(child)->localizedTitle());
        return titles;
    }
    std::size_t commits() const
    {
        std::size_t count = 0;
        for (const auto& entry : phone.journal())
            count += entry.what == "commit" ? 1 : 0;
        return count;
    }

    std::shared_ptr<QVPersistentPhotoAlbum> album = make<QVPersistentPhotoAlbum>("main", "Camera");
    std::shared_ptr<QVPersistentPhotoCollectionList> folder = make<QVPersistentPhotoCollectionList>("main", "Outings");
    tests::CapturedLog log;
};

class RoofAlbum final : public QVPersistentPhotoAlbum {
public:
    using QVPersistentPhotoAlbum::QVPersistentPhotoAlbum;
    static const ClassInfo& staticClass()
    {
        static const ClassInfo info { "Roofs.RoofAlbum", &QVPersistentPhotoAlbum::staticClass() };
        return info;
    }
    const ClassInfo& classInfo() const override { return staticClass(); }
};

}

TEST_F(PersistentCollections, TheFirstCallMakesTheAlbumAndRemembersIt)
{
    const auto made = album->assetCollection();
    ASSERT_TRUE(made);
    EXPECT_EQ(made->localizedTitle(), "Camera");
    EXPECT_EQ(stored(albumKey), made->localIdentifier());
    EXPECT_EQ(albums()->count(), 4U);
}

TEST_F(PersistentCollections, TheSecondCallMakesNothing)
{
    const auto first = album->assetCollection();
    const auto second = album->assetCollection();
    EXPECT_TRUE(second->isEqual(first.get()));
    EXPECT_EQ(commits(), 1U);
}

TEST_F(PersistentCollections, AnotherObjectWithTheSameIdentifierIsTheSameAlbum)
{
    const auto first = album->assetCollection();
    const auto other = make<QVPersistentPhotoAlbum>("main", "Another title")->assetCollection();
    EXPECT_EQ(other->localIdentifier(), first->localIdentifier());
}

TEST_F(PersistentCollections, AnAlbumAndAFolderWithOneIdentifierHaveTwoKeys)
{
    album->assetCollection();
    const auto made = folder->collectionList();
    EXPECT_EQ(stored(folderKey), made->localIdentifier());
    EXPECT_NE(stored(folderKey), stored(albumKey));
}

TEST_F(PersistentCollections, ASubclassHasAKeyOfItsOwnName)
{
    const auto made = make<RoofAlbum>("main", "Camera")->assetCollection();
    EXPECT_EQ(stored("Roofs.RoofAlbum-Identifier-main"), made->localIdentifier());
    EXPECT_EQ(stored(albumKey), std::nullopt);
}

TEST_F(PersistentCollections, NothingExistsBeforeItWasMade)
{
    EXPECT_FALSE(album->exists());
    EXPECT_FALSE(folder->exists());
    EXPECT_EQ(commits(), 0U);
}

TEST_F(PersistentCollections, ADeletedAlbumIsMadeAgainAndRememberedInsteadOfTheOldOne)
{
    const auto first = album->assetCollection()->localIdentifier();
    phone.deleteAlbum("Camera");
    EXPECT_FALSE(album->exists());
    const auto second = album->assetCollection();
    EXPECT_NE(second->localIdentifier(), first);
    EXPECT_EQ(stored(albumKey), second->localIdentifier());
}

TEST_F(PersistentCollections, AnAlbumWithTheTitleIsAdopted)
{
    const auto holidays = make<QVPersistentPhotoAlbum>("main", "Holidays");
    const auto found = holidays->assetCollection();
    EXPECT_EQ(stored(albumKey), found->localIdentifier());
    EXPECT_EQ(commits(), 0U);
}

TEST_F(PersistentCollections, OfTwoAlbumsWithTheTitleTheFirstIsAdopted)
{
    const auto found = make<QVPersistentPhotoAlbum>("main", "Roof")->assetCollection();
    EXPECT_EQ(found->localIdentifier(), albums()->objectAtIndex(1)->localIdentifier());
}

TEST_F(PersistentCollections, ATitleInOtherLettersIsAnotherTitle)
{
    EXPECT_FALSE(make<QVPersistentPhotoAlbum>("main", "holidays")->exists());
}

TEST_F(PersistentCollections, AnAlbumWithAnotherTitleNowIsFoundByItsIdentifier)
{
    const auto made = album->assetCollection();
    phone.renameAlbum("Camera", "Last summer");
    const auto found = album->assetCollection();
    EXPECT_EQ(found->localIdentifier(), made->localIdentifier());
    EXPECT_EQ(found->localizedTitle(), "Last summer");
}

TEST_F(PersistentCollections, AFolderIsFoundByItsTitleToo)
{
    const auto trips = make<QVPersistentPhotoCollectionList>("main", "Trips");
    EXPECT_TRUE(trips->exists());
    EXPECT_EQ(stored(folderKey), trips->collectionList()->localIdentifier());
    EXPECT_EQ(commits(), 0U);
}

TEST_F(PersistentCollections, AFolderIsNoAlbum)
{
    EXPECT_FALSE(make<QVPersistentPhotoAlbum>("main", "Trips")->exists());
    EXPECT_FALSE(make<QVPersistentPhotoCollectionList>("main", "Holidays")->exists());
}

TEST_F(PersistentCollections, AStaleIdentifierStaysWhenTheTitleSearchFindsNothing)
{
    store("gone", albumKey);
    EXPECT_FALSE(album->exists());
    EXPECT_EQ(stored(albumKey), "gone");
}

TEST_F(PersistentCollections, ReadingExistsMayWriteTheDefaults)
{
    store("gone", albumKey);
    EXPECT_TRUE(make<QVPersistentPhotoAlbum>("main", "Holidays")->exists());
    EXPECT_EQ(stored(albumKey), albums()->firstObject()->localIdentifier());
}

TEST_F(PersistentCollections, AFetchThatFindsNothingAfterCreationAnswersNilAlthoughTheIdentifierWasStored)
{
    phone.fail({ .step = Step::FetchAfterChange, .outcome = Outcome::Nothing });
    EXPECT_EQ(album->assetCollection(), nullptr);
    EXPECT_EQ(stored(albumKey), albums()->lastObject()->localIdentifier());
}

TEST_F(PersistentCollections, WithoutAPlaceholderNothingIsStored)
{
    phone.fail({ .step = Step::Placeholder, .outcome = Outcome::Nothing, .times = 2 });
    EXPECT_EQ(album->assetCollection(), nullptr);
    EXPECT_EQ(folder->collectionList(), nullptr);
    EXPECT_EQ(stored(albumKey), std::nullopt);
    EXPECT_EQ(stored(folderKey), std::nullopt);
    EXPECT_EQ(albums()->count(), 4U);
}

TEST_F(PersistentCollections, ARefusedChangeIsThrown)
{
    phone.fail({ .step = Step::LibraryChange, .error = NSError("Test", 5, "It is full."), .times = 2 });
    EXPECT_THROW(album->assetCollection(), NSError);
    EXPECT_THROW(folder->collectionList(), NSError);
    EXPECT_EQ(albums()->count(), 3U);
    EXPECT_EQ(stored(albumKey), std::nullopt);
}

TEST_F(PersistentCollections, TheSelectorsLogTheErrorAndAnswerNil)
{
    phone.fail({ .step = Step::LibraryChange, .error = NSError("Test", 5, "It is full."), .times = 1 });
    EXPECT_TRUE(isNil(album->performSelector("assetCollectionObjc")));
    EXPECT_THAT(log.lines(),
        ElementsAre("[QVPersistentPhotoAlbum] Unable to get asset collection in Obj-C Error Domain=Test Code=5 \"It is "
                    "full.\""));
}

TEST_F(PersistentCollections, TheFoldersMessageSaysAssetCollectionToo)
{
    phone.fail({ .step = Step::LibraryChange, .error = NSError("Test", 5, "It is full."), .times = 1 });
    EXPECT_EQ(folder->collectionListObjc(), nullptr);
    EXPECT_THAT(log.lines(),
        ElementsAre(
            "[QVPersistentPhotoCollectionList] Unable to get asset collection in Obj-C Error Domain=Test Code=5 "
            "\"It is full.\""));
}

TEST_F(PersistentCollections, TheSelectorsAnswerWhatIsThere)
{
    EXPECT_EQ(album->assetCollectionObjc()->localizedTitle(), "Camera");
    EXPECT_EQ(folder->collectionListObjc()->localizedTitle(), "Outings");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(PersistentCollections, WithoutPermissionTheChangeFailsAndNothingIsFound)
{
    phone.change([](PhoneDescription& description) { description.permissions.photos = 2; });
    EXPECT_FALSE(make<QVPersistentPhotoAlbum>("main", "Holidays")->exists());
    try {
        album->assetCollection();
        ADD_FAILURE() << "made without permission";
    } catch (const NSError& error) {
        EXPECT_EQ(error.domain(), "PHPhotosErrorDomain");
        EXPECT_EQ(error.code(), 3311);
    }
    EXPECT_EQ(commits(), 0U);
}

TEST_F(PersistentCollections, AnAlbumIsPutIntoItsFolder)
{
    const auto inFolder = make<QVPersistentPhotoAlbum>("main", "Camera", folder);
    EXPECT_THAT(titlesIn(folder->collectionList()), ElementsAre("Camera"));
    EXPECT_EQ(inFolder->identifier(), "main");
    EXPECT_EQ(inFolder->localizedTitle(), "Camera");
    EXPECT_EQ(commits(), 3U); // the folder, the album, the one in the other
}

TEST_F(PersistentCollections, AnAlbumInItsFolderIsNotAddedAgain)
{
    make<QVPersistentPhotoAlbum>("main", "Camera", folder);
    make<QVPersistentPhotoAlbum>("main", "Camera", folder);
    EXPECT_THAT(titlesIn(folder->collectionList()), ElementsAre("Camera"));
    EXPECT_EQ(commits(), 3U);
}

TEST_F(PersistentCollections, WithoutAFolderChangeRequestTheAlbumStaysOutside)
{
    phone.fail({ .step = Step::FolderChangeRequest, .outcome = Outcome::Nothing });
    make<QVPersistentPhotoAlbum>("main", "Camera", folder);
    EXPECT_THAT(titlesIn(folder->collectionList()), IsEmpty());
    EXPECT_TRUE(album->exists());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(PersistentCollections, TheAlbumInFolderInitialiserNeverFails)
{
    phone.fail({ .step = Step::LibraryChange, .error = NSError("Test", 5, "It is full.") });
    const auto inFolder = make<QVPersistentPhotoAlbum>("main", "Camera", folder);
    EXPECT_TRUE(inFolder);
    EXPECT_FALSE(inFolder->exists());
    EXPECT_THAT(log.lines(),
        ElementsAre("[QVPersistentPhotoAlbum] Error creating collection, list, or associating collection with list: "
                    "Error Domain=Test Code=5 \"It is full.\""));
}

TEST_F(PersistentCollections, ANilFolderEndsTheInitialiserSilently)
{
    phone.fail({ .step = Step::Placeholder, .outcome = Outcome::Nothing });
    EXPECT_TRUE((make<QVPersistentPhotoAlbum>("main", "Camera", folder)));
    EXPECT_FALSE(album->exists());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(PersistentCollections, ANilAlbumEndsTheInitialiserSilently)
{
    phone.fail({ .step = Step::Placeholder, .outcome = Outcome::Nothing, .call = 2 });
    make<QVPersistentPhotoAlbum>("main", "Camera", folder);
    EXPECT_THAT(titlesIn(folder->collectionList()), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(PersistentCollections, TheInitialisersAreReachedBySelector)
{
    const auto& type = QVPersistentPhotoAlbum::staticClass();
    const auto made = unbox<std::shared_ptr<QVPersistentPhotoAlbum>>(
        type.performSelector("initWithIdentifier:localizedTitle:collectionList:", "main", "Camera", folder));
    EXPECT_TRUE(made->exists());
    EXPECT_EQ(unbox<std::string>(made->performSelector("storedPHObjectIdentifierDefaultsKey")), albumKey);
    EXPECT_EQ(unbox<bool>(made->performSelector("exists")), true);
}

TEST_F(PersistentCollections, TheCleanUpRemovesKeysThatBeginLikeAnAlbumsDescription)
{
    store("1", "<Velmora.QVPersistentPhotoAlbum: 0x1>-Identifier-main");
    store("2", "<Velmora.QVPersistentPhotoAlbum: 0x2>-Identifier-main");
    store("3", "<Velmora.QVPersistentPhotoAlbumX");
    QVPhotoLibraryPersistentObject::fixDefaultsKeys();
    EXPECT_THAT(log.lines(), ElementsAre("[QVPhotoLibraryPersistence] Fix: deleted 3 bogus QV keys"));
    EXPECT_THAT(NSUserDefaults::standardUserDefaults()->dictionaryRepresentation(), IsEmpty());
}

TEST_F(PersistentCollections, TheCleanUpLeavesFolderKeysAndGoodOnes)
{
    store("1", "<Velmora.QVPersistentPhotoCollectionList: 0x1>-Identifier-main");
    store("2", albumKey);
    store("3", "x<Velmora.QVPersistentPhotoAlbum");
    QVPersistentPhotoAlbum::staticClass().performSelector("fixDefaultsKeys");
    EXPECT_EQ(NSUserDefaults::standardUserDefaults()->dictionaryRepresentation().size(), 3U);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(PersistentCollections, TheCleanUpCountsASingleKeyToo)
{
    store("1", "<Velmora.QVPersistentPhotoAlbum");
    QVPhotoLibraryPersistentObject::fixDefaultsKeys();
    EXPECT_THAT(log.lines(), ElementsAre("[QVPhotoLibraryPersistence] Fix: deleted 1 bogus QV keys"));
}

TEST(PersistentCollectionsDeathTest, ThePlainInitialiserStopsTheProcess)
{
    EXPECT_DEATH(
        QVPersistentPhotoAlbum::staticClass().performSelector("init"), "Velmora.QVPersistentPhotoAlbum.*init\\(\\)");
}

TEST_F(PersistentCollections, APhotoForAnAlbumThatWasDeletedIsAnErrorAndNothingIsStored)
{
    const auto made = album->assetCollection();
    phone.deleteAlbum("Camera");
    const auto add = [&] {
        PHPhotoLibrary::sharedPhotoLibrary()->performChangesAndWait([&] {
            const auto photo = PHAssetCreationRequest::creationRequestForAsset();
            photo->addResourceWithTypeData(
                PHAssetResourceTypePhoto, make<NSData>(std::vector<std::uint8_t> { 0xFF, 0xD8, 0xFF }), nullptr);
            PHAssetCollectionChangeRequest::changeRequestForAssetCollection(made)->addAssets(
                { photo->placeholderForCreatedAsset() });
        });
    };
    EXPECT_THROW(add(), NSError);
    EXPECT_EQ(PHAsset::fetchAssetsWithOptions(nullptr)->count(), 0U);
}
