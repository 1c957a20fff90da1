// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/CLLocation.h"
#include "platform/Foundation/NSDate.h"
#include "platform/Foundation/NSException.h"
#include "platform/Foundation/NSPredicate.h"
#include "platform/Foundation/NSSortDescriptor.h"
#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHAssetCollection.h"
#include "platform/Photos/PHAssetCollectionChangeRequest.h"
#include "platform/Photos/PHAssetCreationRequest.h"
#include "platform/Photos/PHChange.h"
#include "platform/Photos/PHCollectionList.h"
#include "platform/Photos/PHCollectionListChangeRequest.h"
#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/Photos/PHPhotoLibraryChangeObserver.h"

#include "tests/support/PhoneTest.h"

#include <algorithm>
#include <array>

using namespace velmora;
using drivers::phone::PhoneDescription;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Watcher final : public PHPhotoLibraryChangeObserver {
public:
    void photoLibraryDidChange(const std::shared_ptr<PHChange>& change) override
    {
        changes.push_back(change);
        queue = DispatchQueue::currentLabel();
        if (onChange)
            onChange();
    }
    std::vector<std::shared_ptr<PHChange>> changes;
    std::string queue;
    std::function<void()> onChange;
};

PhoneDescription phoneWithAlbums()
{
    auto description = tests::smallPhone();
    description.library.albums = { "Roof", "Cellar", "Attic" };
    description.library.folders = { "House" };
    description.library.albumInFolder = { { "Attic", "House" } };
    return description;
}

class PhotoLibrary : public tests::PhoneTest {
protected:
    PhotoLibrary()
        : PhoneTest(phoneWithAlbums())
    {
    }

    static void change(const Block& changes) { library()->performChangesAndWait(changes); }
    static std::shared_ptr<PHPhotoLibrary> library() { return PHPhotoLibrary::sharedPhotoLibrary(); }
    static std::shared_ptr<PHFetchOptions> newestFirst(std::size_t limit = 0)
    {
        auto options = make<PHFetchOptions>();
        options->setSortDescriptors({ NSSortDescriptor::sortDescriptorWithKey("creationDate", false) });
        options->setFetchLimit(limit);
        return options;
    }
    static std::shared_ptr<PHAssetCollection> album(const std::string& title)
    {
        const auto options = make<PHFetchOptions>();
        options->setPredicate(NSPredicate::predicateWithFormat("localizedTitle = %@", title));
        return PHAssetCollection::fetchAssetCollectionsWithType(
            PHAssetCollectionTypeAlbum, PHAssetCollectionSubtypeAny, options)
            ->firstObjectAs<PHAssetCollection>();
    }
    static std::shared_ptr<PHCollectionList> house()
    {
        return PHCollectionList::fetchCollectionListsWithType(
            PHCollectionListTypeFolder, PHCollectionListSubtypeRegularFolder, nullptr)
            ->firstObjectAs<PHCollectionList>();
    }
    static std::string addPhoto(double date)
    {
        std::string identifier;
        change([&] {
            const auto request = PHAssetCreationRequest::creationRequestForAsset();
            request->addResourceWithTypeData(
                PHAssetResourceTypePhoto, make<NSData>(std::vector<std::uint8_t> { 0xFF, 0xD8, 0xFF }), nullptr);
            request->setCreationDate(make<NSDate>(date));
            identifier = request->placeholderForCreatedAsset()->localIdentifier();
        });
        return identifier;
    }
    static std::shared_ptr<PHAsset> photo(const std::string& identifier)
    {
        return PHAsset::fetchAssetsWithLocalIdentifiers({ identifier }, nullptr)->firstObjectAs<PHAsset>();
    }
    static std::vector<std::string> identifiers(const std::shared_ptr<PHFetchResult>& result)
    {
        std::vector<std::string> all;
        for (const auto& object : result->objects())
            all.push_back(object->localIdentifier());
        return all;
    }
    static std::vector<std::string> titles(const std::shared_ptr<PHFetchResult>& result)
    {
        std::vector<std::string> all;
        for (const auto& object : result->objects())
            all.push_back(std::dynamic_pointer_cast<PHCollection>(object)->localizedTitle());
        return all;
    }
    std::shared_ptr<PHChange> lastChange()
    {
        clock.advance(0);
        return watcher->changes.empty() ? nullptr : watcher->changes.back();
    }

    std::shared_ptr<Watcher> watcher = std::make_shared<Watcher>();
};

using Indexes = std::vector<std::size_t>;

}

TEST_F(PhotoLibrary, APhotoIsFoundByThePlaceholdersIdentifier)
{
    const auto identifier = addPhoto(100);
    ASSERT_TRUE(photo(identifier));
    EXPECT_EQ(photo(identifier)->creationDate()->timeIntervalSinceReferenceDate(), 100);
    EXPECT_EQ(photo(identifier)->mediaType(), PHAssetMediaTypeImage);
}

TEST_F(PhotoLibrary, FetchesAreInTheOrderOfAddingUnlessTheyAreSorted)
{
    const auto late = addPhoto(300), early = addPhoto(100), middle = addPhoto(200);
    EXPECT_THAT(identifiers(PHAsset::fetchAssetsWithMediaType(PHAssetMediaTypeImage, nullptr)),
        ElementsAre(late, early, middle));
    EXPECT_THAT(identifiers(PHAsset::fetchAssetsWithMediaType(PHAssetMediaTypeImage, newestFirst())),
        ElementsAre(late, middle, early));
    EXPECT_THAT(identifiers(PHAsset::fetchAssetsWithMediaType(PHAssetMediaTypeVideo, nullptr)), IsEmpty());
}

TEST_F(PhotoLibrary, TheLimitCutsAfterSorting)
{
    addPhoto(100);
    const auto newest = addPhoto(300);
    addPhoto(200);
    EXPECT_THAT(
        identifiers(PHAsset::fetchAssetsWithMediaType(PHAssetMediaTypeImage, newestFirst(1))), ElementsAre(newest));
}

TEST_F(PhotoLibrary, OfTwoPhotosOfOneMomentTheLaterAddedIsTheNewest)
{
    addPhoto(100);
    const auto second = addPhoto(100);
    EXPECT_EQ(PHAsset::fetchAssetsWithOptions(newestFirst(1))->firstObject()->localIdentifier(), second);
}

TEST_F(PhotoLibrary, APredicateFiltersBeforeTheLimit)
{
    addPhoto(300);
    const auto early = addPhoto(100);
    const auto options = newestFirst(1);
    options->setPredicate(NSPredicate::predicateWithFormat("creationDate < %@", make<NSDate>(200)));
    EXPECT_THAT(identifiers(PHAsset::fetchAssetsWithOptions(options)), ElementsAre(early));
}

TEST_F(PhotoLibrary, APredicateAndALimitLeaveNoMoreThanTheLimit)
{
    const auto options = make<PHFetchOptions>();
    options->setPredicate(NSPredicate::predicateWithFormat("localizedTitle != %@", std::string("Attic")));
    options->setFetchLimit(1);
    const auto found = PHAssetCollection::fetchAssetCollectionsWithType(
        PHAssetCollectionTypeAlbum, PHAssetCollectionSubtypeAny, options);
    EXPECT_THAT(titles(found), ElementsAre("Roof"));
}

TEST_F(PhotoLibrary, AlbumsAreSortedBothWaysAndByTheirIdentifiers)
{
    const auto sorted = [](const char* key, bool ascending) {
        const auto options = make<PHFetchOptions>();
        options->setSortDescriptors({ NSSortDescriptor::sortDescriptorWithKey(key, ascending) });
        return PHAssetCollection::fetchAssetCollectionsWithType(
            PHAssetCollectionTypeAlbum, PHAssetCollectionSubtypeAny, options);
    };
    EXPECT_THAT(titles(sorted("localizedTitle", false)), ElementsAre("Roof", "Cellar", "Attic"));
    auto expected = identifiers(sorted("localizedTitle", true));
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(identifiers(sorted("localIdentifier", true)), expected);
    std::reverse(expected.begin(), expected.end());
    EXPECT_EQ(identifiers(sorted("localIdentifier", false)), expected);
}

TEST(AssetOrder, GoesByEveryKeyBothWays)
{
    // Each is first in one of the keys, and last or alike in all the others.
    struct Case {
        AssetSort::Key key;
        AssetRecord low, high;
    };
    std::vector<Case> cases(7);
    for (std::size_t i = 0; i < cases.size(); ++i)
        cases[i].key = static_cast<AssetSort::Key>(i);
    cases[0].high.creationDate = 1;
    cases[1].high.modificationDate = 1;
    cases[2].high.mediaType = PHAssetMediaTypeVideo;
    cases[3].high.pixelWidth = 1;
    cases[4].high.pixelHeight = 1;
    cases[5].high.duration = 1;
    cases[6].high.localIdentifier = "b";
    cases[6].low.localIdentifier = "a";
    for (auto& each : cases) {
        each.low.order = 2; // added later
        each.high.order = 1;
        const std::array up { AssetSort { each.key, true } }, down { AssetSort { each.key, false } };
        EXPECT_TRUE(isBefore(each.low, each.high, up)) << each.key;
        EXPECT_FALSE(isBefore(each.high, each.low, up)) << each.key;
        EXPECT_TRUE(isBefore(each.high, each.low, down)) << each.key;
        EXPECT_FALSE(isBefore(each.low, each.high, down)) << each.key;
    }
}

TEST_F(PhotoLibrary, LimitedAccessFindsWhatThereIs)
{
    addPhoto(100);
    phone.change([](PhoneDescription& description) { description.permissions.photos = 4; });
    EXPECT_EQ(PHAsset::fetchAssetsWithOptions(nullptr)->count(), 1U);
}

TEST_F(PhotoLibrary, AnUnknownSortKeyIsAnErrorOfWhoAsks)
{
    const auto options = make<PHFetchOptions>();
    options->setSortDescriptors({ NSSortDescriptor::sortDescriptorWithKey("colour", true) });
    EXPECT_THROW(PHAsset::fetchAssetsWithOptions(options), NSException);
    EXPECT_THROW(PHAssetCollection::fetchAssetCollectionsWithType(
                     PHAssetCollectionTypeAlbum, PHAssetCollectionSubtypeAny, options),
        NSException);
}

TEST_F(PhotoLibrary, AlbumsAreSortedByTheirTitles)
{
    const auto options = make<PHFetchOptions>();
    options->setSortDescriptors({ NSSortDescriptor::sortDescriptorWithKey("localizedTitle", true) });
    std::vector<std::string> titles;
    for (const auto& each : PHAssetCollection::fetchAssetCollectionsWithType(
             PHAssetCollectionTypeAlbum, PHAssetCollectionSubtypeAlbumRegular, options)
                                ->objects())
        titles.push_back(unbox<std::string>(each->valueForKey("localizedTitle")));
    EXPECT_THAT(titles, ElementsAre("Attic", "Cellar", "Roof"));
}

TEST_F(PhotoLibrary, OtherTypesOfCollectionsFindNothing)
{
    EXPECT_EQ(PHAssetCollection::fetchAssetCollectionsWithType(
                  PHAssetCollectionTypeSmartAlbum, PHAssetCollectionSubtypeAny, nullptr)
                  ->count(),
        0U);
    EXPECT_EQ(PHCollectionList::fetchCollectionListsWithType(
                  PHCollectionListTypeSmartFolder, PHCollectionListSubtypeAny, nullptr)
                  ->count(),
        0U);
    EXPECT_EQ(PHCollectionList::fetchCollectionListsWithType(
                  PHCollectionListTypeFolder, PHCollectionListSubtypeRegularFolder, nullptr)
                  ->count(),
        1U);
}

TEST_F(PhotoLibrary, ACollectionIsInOneFolderAtATime)
{
    const auto house = PHCollectionList::fetchCollectionListsWithType(
        PHCollectionListTypeFolder, PHCollectionListSubtypeAny, nullptr)
                           ->firstObjectAs<PHCollectionList>();
    EXPECT_TRUE(PHCollection::fetchCollectionsInCollectionList(house, nullptr)->containsObject(album("Attic")));
    change([&] {
        const auto second = PHCollectionListChangeRequest::creationRequestForCollectionListWithTitle("Second");
        second->addChildCollections({ album("Attic") });
    });
    EXPECT_EQ(PHCollection::fetchCollectionsInCollectionList(house, nullptr)->count(), 0U);
}

TEST_F(PhotoLibrary, AFolderCannotLieInItself)
{
    const auto house = PHCollectionList::fetchCollectionListsWithType(
        PHCollectionListTypeFolder, PHCollectionListSubtypeAny, nullptr)
                           ->firstObjectAs<PHCollectionList>();
    EXPECT_THROW(change([&] {
        PHCollectionListChangeRequest::changeRequestForCollectionList(house)->addChildCollections({ house });
    }),
        NSError);
}

TEST_F(PhotoLibrary, AResultIsASnapshot)
{
    addPhoto(100);
    const auto before = PHAsset::fetchAssetsWithOptions(nullptr);
    addPhoto(200);
    EXPECT_EQ(before->count(), 1U);
    EXPECT_EQ(before->firstObject(), before->lastObject());
    EXPECT_THROW(before->objectAtIndex(1), NSException);
}

TEST_F(PhotoLibrary, AChangeIsAllOrNothing)
{
    EXPECT_THROW(change([&] {
        PHAssetCollectionChangeRequest::creationRequestForAssetCollectionWithTitle("Garden");
        PHAssetCollectionChangeRequest::changeRequestForAssetCollection(album("Roof"))
            ->addAssets({ make<PHObjectPlaceholder>("nobody") });
    }),
        NSError);
    EXPECT_FALSE(album("Garden"));
}

TEST_F(PhotoLibrary, WhatABlockThrowsPassesAndChangesNothing)
{
    EXPECT_THROW(change([] {
        PHAssetCollectionChangeRequest::creationRequestForAssetCollectionWithTitle("Garden");
        throw std::runtime_error("no");
    }),
        std::runtime_error);
    EXPECT_FALSE(album("Garden"));
}

TEST_F(PhotoLibrary, RequestsOutsideAChangeBlockAreErrorsOfWhoAsks)
{
    EXPECT_THROW(PHAssetCollectionChangeRequest::creationRequestForAssetCollectionWithTitle("Garden"), NSException);
    EXPECT_THROW(PHAssetCreationRequest::creationRequestForAsset(), NSException);
    EXPECT_THROW(change([] { change([] {}); }), NSException);
}

TEST_F(PhotoLibrary, AnAsynchronousChangeAnswersOnItsQueue)
{
    bool succeeded = false;
    std::string queue;
    library()->performChanges(
        [] { PHAssetCollectionChangeRequest::creationRequestForAssetCollectionWithTitle("Garden"); },
        [&](bool success, const auto& error) {
            succeeded = success && !error;
            queue = DispatchQueue::currentLabel();
        });
    clock.advance(0);
    EXPECT_TRUE(succeeded);
    EXPECT_EQ(queue, "org.velmora.photoLibrary.changing");
    EXPECT_TRUE(album("Garden"));
}

TEST_F(PhotoLibrary, TheSelectorOfAChangeAnswersItsError)
{
    std::optional<NSError> error;
    phone.fail({ .step = drivers::phone::Step::LibraryChange });
    const auto result = library()->performSelector("performChangesAndWait:error:",
        Block([] { PHAssetCollectionChangeRequest::creationRequestForAssetCollectionWithTitle("Garden"); }),
        PHPhotoLibrary::Failed([&](const NSError& why) { error = why; }));
    EXPECT_FALSE(unbox<bool>(result));
    EXPECT_TRUE(error);
}

TEST_F(PhotoLibrary, WithoutPermissionNothingIsFoundAndNothingChanges)
{
    for (const int status : { 0, 1, 2 }) {
        phone.change([=](PhoneDescription& description) { description.permissions.photos = status; });
        EXPECT_FALSE(album("Roof"));
        EXPECT_THROW(addPhoto(1), NSError);
    }
    phone.change([](PhoneDescription& description) { description.permissions.photos = 4; });
    EXPECT_TRUE(album("Roof"));
    EXPECT_EQ(PHPhotoLibrary::authorizationStatus(), PHAuthorizationStatusLimited);
}

TEST_F(PhotoLibrary, AnUndecidedChangeWaitsForTheUser)
{
    phone.change([](PhoneDescription& description) { description.permissions.photos = 0; });
    DispatchQueue("user").after(
        5, [this] { phone.change([](PhoneDescription& description) { description.permissions.photos = 3; }); });
    EXPECT_TRUE(photo(addPhoto(1)));
}

TEST_F(PhotoLibrary, AQuestionIsAnsweredByTheUser)
{
    phone.change([](PhoneDescription& description) { description.permissions.photos = 0; });
    std::vector<PHAuthorizationStatus> answers;
    PHPhotoLibrary::requestAuthorization([&](PHAuthorizationStatus status) { answers.push_back(status); });
    clock.advance(1);
    EXPECT_THAT(answers, IsEmpty());
    phone.change([](PhoneDescription& description) { description.permissions.photos = 2; });
    clock.advance(0);
    EXPECT_THAT(answers, ElementsAre(PHAuthorizationStatusDenied));
}

TEST_F(PhotoLibrary, ObserversHearOnAQueueOfTheLibrary)
{
    library()->registerChangeObserver(watcher);
    addPhoto(100);
    EXPECT_THAT(watcher->changes, IsEmpty());
    EXPECT_TRUE(lastChange());
    EXPECT_EQ(watcher->queue, "org.velmora.photoLibrary");
}

TEST_F(PhotoLibrary, RegisteringAgainDoesNotMultiplyAndOneCallUnregisters)
{
    library()->registerChangeObserver(watcher);
    library()->registerChangeObserver(watcher);
    addPhoto(100);
    clock.advance(0);
    EXPECT_EQ(watcher->changes.size(), 1U);
    library()->unregisterChangeObserver(*watcher);
    addPhoto(200);
    clock.advance(0);
    EXPECT_EQ(watcher->changes.size(), 1U);
}

TEST_F(PhotoLibrary, AnObserverThatHasGoneIsNotHeld)
{
    library()->registerChangeObserver(watcher);
    const std::weak_ptr<Watcher> weak = watcher;
    watcher.reset();
    EXPECT_TRUE(weak.expired());
    addPhoto(100);
    clock.advance(0);
}

TEST_F(PhotoLibrary, AnObserverMayUnregisterAnotherWhileItHears)
{
    const auto other = std::make_shared<Watcher>();
    watcher->onChange = [&] { library()->unregisterChangeObserver(*other); };
    library()->registerChangeObserver(watcher);
    library()->registerChangeObserver(other);
    addPhoto(100);
    clock.advance(0);
    EXPECT_EQ(watcher->changes.size(), 1U);
    EXPECT_THAT(other->changes, IsEmpty());
}

TEST_F(PhotoLibrary, ANewPhotoIsInserted)
{
    library()->registerChangeObserver(watcher);
    addPhoto(100);
    const auto before = PHAsset::fetchAssetsWithMediaType(PHAssetMediaTypeImage, newestFirst());
    const auto newest = addPhoto(200);
    const auto details = lastChange()->changeDetailsForFetchResult(before);
    ASSERT_TRUE(details);
    EXPECT_EQ(details->insertedIndexes(), Indexes { 0 });
    EXPECT_THAT(details->removedIndexes(), IsEmpty());
    EXPECT_EQ(details->fetchResultBeforeChanges(), before);
    EXPECT_EQ(details->fetchResultAfterChanges()->firstObject()->localIdentifier(), newest);
    EXPECT_EQ(details->fetchResultAfterChanges()->count(), 2U);
}

TEST_F(PhotoLibrary, AResultOfOneGetsTheNewestAndLosesTheOld)
{
    library()->registerChangeObserver(watcher);
    addPhoto(100);
    const auto before = PHAsset::fetchAssetsWithMediaType(PHAssetMediaTypeImage, newestFirst(1));
    const auto newest = addPhoto(200);
    const auto details = lastChange()->changeDetailsForFetchResult(before);
    EXPECT_EQ(details->insertedIndexes(), Indexes { 0 });
    EXPECT_EQ(details->removedIndexes(), Indexes { 0 });
    EXPECT_THAT(identifiers(details->fetchResultAfterChanges()), ElementsAre(newest));
}

TEST_F(PhotoLibrary, DeletingTheNewestOfAResultOfOneListsNoInsertedIndex)
{
    library()->registerChangeObserver(watcher);
    addPhoto(100);
    const auto newest = addPhoto(200);
    const auto before = PHAsset::fetchAssetsWithMediaType(PHAssetMediaTypeImage, newestFirst(1));
    change([&] { PHAssetChangeRequest::deleteAssets({ photo(newest) }); });
    const auto details = lastChange()->changeDetailsForFetchResult(before);
    EXPECT_THAT(details->insertedIndexes(), IsEmpty());
    EXPECT_EQ(details->removedIndexes(), Indexes { 0 });
    EXPECT_EQ(details->fetchResultAfterChanges()->count(), 0U);
}

TEST_F(PhotoLibrary, AnOlderPhotoDoesNotConcernAResultOfTheNewest)
{
    library()->registerChangeObserver(watcher);
    addPhoto(200);
    const auto before = PHAsset::fetchAssetsWithMediaType(PHAssetMediaTypeImage, newestFirst(1));
    addPhoto(100);
    EXPECT_FALSE(lastChange()->changeDetailsForFetchResult(before));
}

TEST_F(PhotoLibrary, AnOldPhotoThatIsAddedToTheAlbumIsInserted)
{
    library()->registerChangeObserver(watcher);
    const auto old = addPhoto(100);
    const auto before = PHAsset::fetchAssetsInAssetCollection(album("Roof"), newestFirst(1));
    const auto other = PHAsset::fetchAssetsInAssetCollection(album("Cellar"), newestFirst(1));
    const auto all = PHAsset::fetchAssetsWithOptions(nullptr);
    change([&] {
        PHAssetCollectionChangeRequest::changeRequestForAssetCollection(album("Roof"))->addAssets({ photo(old) });
    });
    const auto happened = lastChange();
    EXPECT_EQ(happened->changeDetailsForFetchResult(before)->insertedIndexes(), Indexes { 0 });
    EXPECT_FALSE(happened->changeDetailsForFetchResult(other));
    EXPECT_FALSE(happened->changeDetailsForFetchResult(all));
}

TEST_F(PhotoLibrary, APhotoThatLeavesTheAlbumIsRemovedAndStaysInTheLibrary)
{
    library()->registerChangeObserver(watcher);
    phone.addPhotos("Roof", 3);
    const auto before = PHAsset::fetchAssetsInAssetCollection(album("Roof"), newestFirst());
    change([&] {
        PHAssetCollectionChangeRequest::changeRequestForAssetCollection(album("Roof"))
            ->removeAssets({ before->objectAtIndex(1) });
    });
    const auto details = lastChange()->changeDetailsForFetchResult(before);
    EXPECT_EQ(details->removedIndexes(), Indexes { 1 });
    EXPECT_EQ(PHAsset::fetchAssetsWithOptions(nullptr)->count(), 3U);
}

TEST_F(PhotoLibrary, AChangedPhotoMovesToItsPlace)
{
    library()->registerChangeObserver(watcher);
    const auto first = addPhoto(100);
    addPhoto(200);
    const auto before = PHAsset::fetchAssetsWithOptions(newestFirst());
    change([&] { PHAssetChangeRequest::changeRequestForAsset(photo(first))->setCreationDate(make<NSDate>(300)); });
    const auto details = lastChange()->changeDetailsForFetchResult(before);
    EXPECT_EQ(details->changedIndexes(), Indexes { 0 });
    EXPECT_THAT(details->insertedIndexes(), IsEmpty());
    EXPECT_EQ(details->fetchResultAfterChanges()->firstObject()->localIdentifier(), first);
}

TEST_F(PhotoLibrary, APlaceIsGivenAndTakenAway)
{
    const auto identifier = addPhoto(100);
    change([&] {
        PHAssetChangeRequest::changeRequestForAsset(photo(identifier))->setLocation(make<CLLocation>(35, 135));
    });
    EXPECT_EQ(photo(identifier)->location()->coordinate().latitude, 35);
    change([&] { PHAssetChangeRequest::changeRequestForAsset(photo(identifier))->setLocation(nullptr); });
    EXPECT_FALSE(photo(identifier)->location());
}

TEST_F(PhotoLibrary, ADeletedAlbumEmptiesItsResult)
{
    library()->registerChangeObserver(watcher);
    phone.addPhotos("Roof", 2);
    const auto before = PHAsset::fetchAssetsInAssetCollection(album("Roof"), nullptr);
    phone.deleteAlbum("Roof");
    EXPECT_EQ(lastChange()->changeDetailsForFetchResult(before)->removedIndexes(), (Indexes { 0, 1 }));
}

TEST_F(PhotoLibrary, ARenamedAlbumIsChanged)
{
    library()->registerChangeObserver(watcher);
    const auto before = PHAssetCollection::fetchAssetCollectionsWithType(
        PHAssetCollectionTypeAlbum, PHAssetCollectionSubtypeAny, nullptr);
    phone.renameAlbum("Cellar", "Vault");
    const auto details = lastChange()->changeDetailsForFetchResult(before);
    EXPECT_EQ(details->changedIndexes(), Indexes { 1 });
    EXPECT_EQ(unbox<std::string>(details->fetchResultAfterChanges()->objectAtIndex(1)->valueForKey("localizedTitle")),
        "Vault");
}

TEST_F(PhotoLibrary, WhatLeavesAndComesBackInOneChangeStays)
{
    library()->registerChangeObserver(watcher);
    phone.addPhotos("Roof", 2);
    const auto roof = PHAsset::fetchAssetsInAssetCollection(album("Roof"), newestFirst());
    const auto newest = roof->firstObjectAs<PHAsset>();
    change([&] {
        const auto request = PHAssetCollectionChangeRequest::changeRequestForAssetCollection(album("Roof"));
        request->removeAssets({ newest });
        request->addAssets({ newest });
    });
    EXPECT_FALSE(lastChange()->changeDetailsForFetchResult(roof));
}

TEST_F(PhotoLibrary, WhatComesAndLeavesInOneChangeWasNeverThere)
{
    library()->registerChangeObserver(watcher);
    const auto one = photo(addPhoto(100));
    const auto roof = PHAsset::fetchAssetsInAssetCollection(album("Roof"), newestFirst());
    change([&] {
        const auto request = PHAssetCollectionChangeRequest::changeRequestForAssetCollection(album("Roof"));
        request->addAssets({ one });
        request->removeAssets({ one });
    });
    EXPECT_FALSE(lastChange()->changeDetailsForFetchResult(roof));
}

TEST_F(PhotoLibrary, WhatHappensInAnotherAlbumDoesNotConcernAResult)
{
    library()->registerChangeObserver(watcher);
    phone.addPhotos("Roof", 1);
    const auto roof = PHAsset::fetchAssetsInAssetCollection(album("Roof"), newestFirst());
    const auto one = roof->firstObjectAs<PHAsset>();
    change(
        [&] { PHAssetCollectionChangeRequest::changeRequestForAssetCollection(album("Cellar"))->addAssets({ one }); });
    EXPECT_FALSE(lastChange()->changeDetailsForFetchResult(roof));
    change([&] {
        PHAssetCollectionChangeRequest::changeRequestForAssetCollection(album("Cellar"))->removeAssets({ one });
    });
    EXPECT_FALSE(lastChange()->changeDetailsForFetchResult(roof));
    phone.deleteAlbum("Cellar");
    EXPECT_FALSE(lastChange()->changeDetailsForFetchResult(roof));
}

TEST_F(PhotoLibrary, ResultsOfOneKindOfPhotosGetOnlyThese)
{
    library()->registerChangeObserver(watcher);
    const auto movies = PHAsset::fetchAssetsWithMediaType(PHAssetMediaTypeVideo, newestFirst());
    addPhoto(100);
    EXPECT_FALSE(lastChange()->changeDetailsForFetchResult(movies));
}

TEST_F(PhotoLibrary, SeveralThatComeAtOnceComeInTheFetchsOrder)
{
    library()->registerChangeObserver(watcher);
    addPhoto(200);
    const auto before = PHAsset::fetchAssetsWithOptions(newestFirst());
    phone.addPhotos("", 5); // much younger, one second apart
    const auto details = lastChange()->changeDetailsForFetchResult(before);
    EXPECT_EQ(details->insertedIndexes(), (Indexes { 0, 1, 2, 3, 4 }));
    EXPECT_EQ(
        identifiers(details->fetchResultAfterChanges()), identifiers(PHAsset::fetchAssetsWithOptions(newestFirst())));
}

TEST_F(PhotoLibrary, ANewAlbumIsInsertedAmongAllAndInNoFolder)
{
    library()->registerChangeObserver(watcher);
    const auto all = PHAssetCollection::fetchAssetCollectionsWithType(
        PHAssetCollectionTypeAlbum, PHAssetCollectionSubtypeAny, nullptr);
    const auto inHouse = PHCollection::fetchCollectionsInCollectionList(house(), nullptr);
    const auto folders = PHCollectionList::fetchCollectionListsWithType(
        PHCollectionListTypeFolder, PHCollectionListSubtypeRegularFolder, nullptr);
    change([] { PHAssetCollectionChangeRequest::creationRequestForAssetCollectionWithTitle("Yard"); });
    const auto happened = lastChange();
    EXPECT_EQ(happened->changeDetailsForFetchResult(all)->insertedIndexes(), Indexes { 3 });
    EXPECT_FALSE(happened->changeDetailsForFetchResult(inHouse));
    EXPECT_FALSE(happened->changeDetailsForFetchResult(folders));
}

TEST_F(PhotoLibrary, AnAlbumThatMovesIsRemovedFromOneFolderAndInsertedInTheOther)
{
    change([] { PHCollectionListChangeRequest::creationRequestForCollectionListWithTitle("Shed"); });
    const auto folders = PHCollectionList::fetchCollectionListsWithType(
        PHCollectionListTypeFolder, PHCollectionListSubtypeRegularFolder, nullptr);
    const auto shed = folders->lastObjectAs<PHCollectionList>();
    const auto inHouse = PHCollection::fetchCollectionsInCollectionList(house(), nullptr);
    const auto inShed = PHCollection::fetchCollectionsInCollectionList(shed, nullptr);
    clock.advance(0);
    library()->registerChangeObserver(watcher);
    change([&] {
        PHCollectionListChangeRequest::changeRequestForCollectionList(shed)->addChildCollections({ album("Attic") });
    });
    const auto happened = lastChange();
    EXPECT_EQ(happened->changeDetailsForFetchResult(inHouse)->removedIndexes(), Indexes { 0 });
    EXPECT_EQ(happened->changeDetailsForFetchResult(inShed)->insertedIndexes(), Indexes { 0 });
    EXPECT_EQ(happened->changeDetailsForFetchResult(folders)->changedIndexes(), (Indexes { 0, 1 }));
}

TEST_F(PhotoLibrary, AnAlbumWhoseNewTitleDoesNotPassLeavesTheResult)
{
    library()->registerChangeObserver(watcher);
    const auto options = make<PHFetchOptions>();
    options->setPredicate(NSPredicate::predicateWithFormat("localizedTitle = %@", std::string("Cellar")));
    const auto cellars = PHAssetCollection::fetchAssetCollectionsWithType(
        PHAssetCollectionTypeAlbum, PHAssetCollectionSubtypeAny, options);
    phone.renameAlbum("Cellar", "Vault");
    EXPECT_EQ(lastChange()->changeDetailsForFetchResult(cellars)->removedIndexes(), Indexes { 0 });
    change([] { PHAssetCollectionChangeRequest::creationRequestForAssetCollectionWithTitle("Cellar too"); });
    EXPECT_FALSE(lastChange()->changeDetailsForFetchResult(cellars));
}

TEST_F(PhotoLibrary, PhotosThatDoNotPassThePredicateDoNotComeIn)
{
    library()->registerChangeObserver(watcher);
    const auto options = newestFirst();
    options->setPredicate(NSPredicate::predicateWithFormat("localIdentifier = %@", std::string("another")));
    const auto others = PHAsset::fetchAssetsWithOptions(options);
    addPhoto(100);
    EXPECT_FALSE(lastChange()->changeDetailsForFetchResult(others));
}

TEST_F(PhotoLibrary, AChangeIsToldAsItWasAlsoWhenMoreHasHappenedSince)
{
    library()->registerChangeObserver(watcher);
    const auto inHouse = PHCollection::fetchCollectionsInCollectionList(house(), nullptr);
    const auto move = [&](bool in) {
        change([&] {
            const auto request = PHCollectionListChangeRequest::changeRequestForCollectionList(house());
            in ? request->addChildCollections({ album("Roof") }) : request->removeChildCollections({ album("Roof") });
        });
    };
    move(true);
    move(false);
    (void)lastChange();
    ASSERT_EQ(watcher->changes.size(), 2U);
    const auto first = watcher->changes[0]->changeDetailsForFetchResult(inHouse);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->insertedIndexes(), Indexes { 0 }); // before Attic, which was made later
    EXPECT_EQ(watcher->changes[1]->changeDetailsForFetchResult(first->fetchResultAfterChanges())->removedIndexes(),
        Indexes { 0 });
}

TEST_F(PhotoLibrary, APhoneDescriptionInJSONSaysWhoMaySeeThePhotos)
{
    const auto description = drivers::phone::fromJSONText(
        R"({ "cameras": [], "permissions": { "photos": "limited" },
             "library": { "albums": ["A", "B"], "folders": ["F"], "albumInFolder": { "B": "F" } } })",
        "test");
    EXPECT_EQ(description.permissions.photos, 4);
    EXPECT_THAT(description.library.albums, ElementsAre("A", "B"));
    EXPECT_EQ(description.library.albumInFolder.at("B"), "F");
}
