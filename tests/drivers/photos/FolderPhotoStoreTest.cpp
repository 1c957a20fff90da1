// SPDX-License-Identifier: Apache-2.0
#include "drivers/photos/FolderPhotoStore.h"

#include "platform/Foundation/NSSortDescriptor.h"
#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHChange.h"
#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"

#include "tests/support/CapturedLog.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "tests/drivers/photos/StoredLibrary.h"

using namespace velmora;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

class PhotoFolder : public tests::StoredLibrary {
protected:
    static std::int64_t codeOf(const std::function<void()>& refused)
    {
        try {
            refused();
        } catch (const NSError& error) {
            EXPECT_EQ(error.domain(), "PHPhotosErrorDomain");
            return error.code();
        }
        return 0;
    }
    AssetRecord only() const
    {
        const auto found = all();
        EXPECT_EQ(found.size(), 1U);
        return found.empty() ? AssetRecord {} : found.front();
    }
};

/// What it costs to be forbidden: root may write anywhere, so somebody else looks.
int asNobody(const std::function<void()>& look)
{
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0))
            _exit(99);
        look();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// No file may grow beyond this while it lives.
class FileSizeLimit {
public:
    explicit FileSizeLimit(std::uint64_t bytes)
        : signal_(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &before_);
        rlimit now = before_;
        now.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &now);
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, signal_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    void (*signal_)(int);
    rlimit before_ {};
};

}

TEST_F(PhotoFolder, AnAddedPhotoIsAFileAndARecord)
{
    auto step = tests::newPhoto("IMG_1.jpg");
    step.creationDate = 1234;
    step.place = CLLocationCoordinate2D { 35, -135 };
    const auto identifier = add(step);
    const auto asset = only();
    EXPECT_EQ(asset.localIdentifier, identifier);
    EXPECT_THAT(asset.files, ElementsAre(file("IMG_1.jpg")));
    EXPECT_EQ(tests::bytesOfFile(file("IMG_1.jpg")), tests::jpegOfSize(40, 30));
    EXPECT_EQ(asset.pixelWidth, 40);
    EXPECT_EQ(asset.pixelHeight, 30);
    EXPECT_EQ(asset.creationDate, 1234);
    EXPECT_EQ(asset.place->longitude, -135);
    EXPECT_EQ(asset.mediaType, PHAssetMediaTypeImage);
    EXPECT_THAT(filesThere(true), IsEmpty());
}

TEST_F(PhotoFolder, ItIsThereAfterTheNextStart)
{
    const auto album = addCollection("Roof");
    const auto identifier = add(tests::newPhoto(), album);
    reopen();
    ASSERT_EQ(inAlbum(album).size(), 1U);
    EXPECT_EQ(inAlbum(album).front().localIdentifier, identifier);
}

TEST_F(PhotoFolder, NamesThatAreTakenGetANumber)
{
    write("IMG.png", tests::jpegOfSize(1, 1));
    store->synchronize();
    add();
    add();
    EXPECT_THAT(filesThere(), ElementsAre("IMG.png", "IMG_2.jpg", "IMG_3.jpg"));
}

TEST_F(PhotoFolder, APhotoOfSeveralFilesIsOneAsset)
{
    auto step = tests::newPhoto("IMG_1.dng");
    step.files.push_back({ "IMG_1.mov", make<NSData>(std::vector<std::uint8_t> { 1 }), {}, false });
    step.files.push_back({ "IMG_1.jpg", make<NSData>(tests::jpegOfSize(80, 60)), {}, false });
    add(step);
    const auto asset = only();
    EXPECT_THAT(asset.files, ElementsAre(file("IMG_1.jpg"), file("IMG_1.dng"), file("IMG_1.mov")));
    EXPECT_EQ(asset.pixelWidth, 80);
}

TEST_F(PhotoFolder, AFileIsCopiedOrMovesIn)
{
    const auto stays = folder.write("stays.jpg", tests::jpegOfSize(1, 1)),
               leaves = folder.write("leaves.jpg", tests::jpegOfSize(1, 1));
    AddAsset copy, move;
    copy.localIdentifier = "copy";
    copy.files = { { "A.jpg", nullptr, stays, false } };
    move.localIdentifier = "move";
    move.files = { { "B.jpg", nullptr, leaves, true } };
    store->commit({ copy, move });
    EXPECT_THAT(filesThere(), ElementsAre("A.jpg", "B.jpg"));
    EXPECT_TRUE(std::filesystem::exists(stays));
    EXPECT_FALSE(std::filesystem::exists(leaves));
}

TEST_F(PhotoFolder, AFileThatIsNotThereOrIsNoPictureIsRefused)
{
    AddAsset missing, text, none;
    missing.localIdentifier = text.localIdentifier = none.localIdentifier = "x";
    missing.files = { { "A.jpg", nullptr, folder.file("nothing"), false } };
    text.files = { { "A.txt", make<NSData>(std::vector<std::uint8_t> { 1 }), {}, false } };
    EXPECT_EQ(codeOf([&] { store->commit({ missing }); }), PHPhotosErrorInvalidResource);
    EXPECT_EQ(codeOf([&] { store->commit({ text }); }), PHPhotosErrorInvalidResource);
    EXPECT_EQ(codeOf([&] { store->commit({ none }); }), PHPhotosErrorMissingResource);
    EXPECT_THAT(all(), IsEmpty());
    EXPECT_THAT(filesThere(), IsEmpty());
    EXPECT_THAT(filesThere(true), IsEmpty());
}

TEST_F(PhotoFolder, ANameCannotLeaveTheLibrary)
{
    add(tests::newPhoto("../../.evil.jpg"));
    EXPECT_THAT(filesThere(), ElementsAre("evil.jpg"));
}

TEST_F(PhotoFolder, AChangeIsAllOrNothing)
{
    const auto kept = add(tests::newPhoto("KEPT.jpg"));
    EXPECT_EQ(codeOf([&] {
        store->commit({ RemoveAsset { kept }, tests::newPhoto("NEW.jpg"), AddCollection { "c", "Roof", false },
            AddMember { "nobody", kept } });
    }),
        PHPhotosErrorIdentifierNotFound);
    EXPECT_EQ(only().localIdentifier, kept);
    EXPECT_THAT(store->collections({}), IsEmpty());
    EXPECT_THAT(filesThere(), ElementsAre("KEPT.jpg"));
    EXPECT_THAT(filesThere(true), IsEmpty());
}

TEST_F(PhotoFolder, ADeletedPhotoAndItsFilesAreGone)
{
    const auto album = addCollection("Roof");
    const auto identifier = add(tests::newPhoto(), album);
    store->commit({ RemoveAsset { identifier } });
    EXPECT_THAT(all(), IsEmpty());
    EXPECT_THAT(inAlbum(album), IsEmpty());
    EXPECT_THAT(filesThere(), IsEmpty());
    EXPECT_THAT(filesThere(true), IsEmpty());
}

TEST_F(PhotoFolder, QueriesSortAndCut)
{
    std::vector<std::string> identifiers;
    for (const double date : { 200.0, 300.0, 100.0, 300.0 }) {
        auto step = tests::newPhoto();
        step.creationDate = date;
        identifiers.push_back(add(step));
    }
    AssetQuery query;
    query.sort = { { AssetSort::CreationDate, false } };
    query.limit = 3;
    const auto found = store->assets(query);
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].localIdentifier, identifiers[3]); // the later added of one moment
    EXPECT_EQ(found[1].localIdentifier, identifiers[1]);
    EXPECT_EQ(found[2].localIdentifier, identifiers[0]);
    query.mediaType = PHAssetMediaTypeVideo;
    EXPECT_THAT(store->assets(query), IsEmpty());
}

TEST_F(PhotoFolder, AQueryByIdentifiersIsCutToo)
{
    AssetQuery query;
    query.identifiers = { add(), add(), add() };
    query.limit = 2;
    const auto found = store->assets(query);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].localIdentifier, query.identifiers->at(0));
    EXPECT_EQ(found[1].localIdentifier, query.identifiers->at(1));
}

TEST_F(PhotoFolder, TheNewestOfAnAlbumFollowsAChangedDate)
{
    const auto album = addCollection("Roof");
    auto first = tests::newPhoto(), second = tests::newPhoto();
    first.creationDate = 100;
    second.creationDate = 200;
    add(first, album);
    add(second, album);
    store->commit({ EditAsset { first.localIdentifier, 300, {} } });
    AssetQuery newest;
    newest.album = album;
    newest.sort = { { AssetSort::CreationDate, false } };
    newest.limit = 1;
    EXPECT_EQ(store->assets(newest).front().localIdentifier, first.localIdentifier);
}

TEST_F(PhotoFolder, AlbumsAndFoldersAreMadeRenamedMovedAndRemoved)
{
    const auto album = addCollection("Roof"), house = addCollection("House", true), town = addCollection("Town", true);
    store->commit({ AddMember { house, album }, AddMember { town, house }, RenameCollection { album, "Attic" } });
    CollectionQuery inHouse;
    inHouse.folder = house;
    ASSERT_EQ(store->collections(inHouse).size(), 1U);
    EXPECT_EQ(store->collections(inHouse).front().title, "Attic");
    EXPECT_EQ(codeOf([&] { store->commit({ AddMember { house, town } }); }), PHPhotosErrorChangeNotSupported);
    EXPECT_TRUE(store->mayChange(house));
    store->commit({ RemoveCollection { house } });
    EXPECT_FALSE(store->mayChange(house));
    CollectionQuery byIdentifier;
    byIdentifier.identifiers = { album };
    EXPECT_EQ(store->collections(byIdentifier).front().parent, "");
}

TEST_F(PhotoFolder, AChangeTellsItsSteps)
{
    const auto before = store->newestChange();
    const auto album = addCollection("Roof");
    const auto photo = add(tests::newPhoto(), album);
    const auto changes = store->changesSince(before);
    ASSERT_TRUE(changes);
    ASSERT_EQ(changes->size(), 2U);
    EXPECT_THAT((*changes)[0].events, ElementsAre(LibraryEvent { LibraryEvent::CollectionAdded, album, "" }));
    EXPECT_THAT((*changes)[1].events,
        ElementsAre(LibraryEvent { LibraryEvent::AssetAdded, photo, "" },
            LibraryEvent { LibraryEvent::MemberAdded, photo, album }));
    EXPECT_EQ(store->newestChange(), changes->back().number);
    EXPECT_THAT(*store->changesSince(changes->back().number), IsEmpty());
    EXPECT_EQ(store->changesSince(changes->back().number + 1), std::nullopt);
}

TEST_F(PhotoFolder, WhoLooksAfterVeryManyChangesIsToldToFetchAgain)
{
    const auto before = store->newestChange();
    const auto album = addCollection("Roof");
    std::vector<PhotoStep> steps;
    for (int i = 0; i < 60000; ++i)
        steps.emplace_back(RenameCollection { album, std::to_string(i) });
    store->commit(steps);
    EXPECT_EQ(store->changesSince(before), std::nullopt);
}

TEST_F(PhotoFolder, ADeletedPhotoIsToldToHaveLeftItsAlbums)
{
    const auto roof = addCollection("Roof");
    const auto photo = add(tests::newPhoto(), roof);
    const auto before = store->newestChange();
    store->commit({ RemoveAsset { photo } });
    const auto changes = store->changesSince(before);
    ASSERT_TRUE(changes && changes->size() == 1);
    EXPECT_THAT(changes->front().events,
        ElementsAre(LibraryEvent { LibraryEvent::MemberRemoved, photo, roof },
            LibraryEvent { LibraryEvent::AssetRemoved, photo, {} }));
}

TEST_F(PhotoFolder, WhatIsInItsFolderAlreadyChangesNothing)
{
    const auto house = addCollection("House", true), roof = addCollection("Roof");
    store->commit({ AddMember { house, roof } });
    const auto before = store->newestChange();
    store->commit({ AddMember { house, roof } });
    EXPECT_EQ(store->newestChange(), before);
}

TEST_F(PhotoFolder, WhoLooksAfterAThousandChangesIsToldThem)
{
    const auto album = addCollection("Roof");
    const auto before = store->newestChange();
    std::vector<PhotoStep> steps;
    for (int i = 0; i < 3000; ++i)
        steps.emplace_back(RenameCollection { album, std::to_string(i) });
    store->commit(steps);
    const auto changes = store->changesSince(before);
    ASSERT_TRUE(changes);
    ASSERT_EQ(changes->size(), 1U);
    EXPECT_EQ(changes->front().events.size(), 3000U);
}

TEST_F(PhotoFolder, WhereTheStepsAreNotKnownAnyMoreAResultIsComparedWithANewFetch)
{
    const auto shared = std::make_shared<Store>(folder.file("library"));
    PhotoStore::install(shared);
    const auto options = make<PHFetchOptions>();
    options->setSortDescriptors({ NSSortDescriptor::sortDescriptorWithKey("creationDate", false) });
    const auto step = tests::newPhoto();
    shared->commit({ step });
    const auto before = PHAsset::fetchAssetsWithOptions(options);
    shared->commit({ tests::newPhoto("B.jpg"), RemoveAsset { step.localIdentifier } });
    const auto changes = PHChange::since(*shared, 1000); // a number that never was
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes.front()->number(), shared->newestChange());
    const auto details = changes.front()->changeDetailsForFetchResult(before);
    EXPECT_FALSE(details->hasIncrementalChanges());
    EXPECT_THAT(details->insertedIndexes(), ElementsAre(0U));
    EXPECT_THAT(details->removedIndexes(), ElementsAre(0U));
    PhotoStore::install(nullptr);
}

TEST_F(PhotoFolder, APhotoOfAnotherProgramIsTakenUp)
{
    EXPECT_THAT(all(), IsEmpty());
    write("trip/OTHER.JPG", tests::jpegOfSize(64, 48));
    EXPECT_TRUE(waitUntil([this] { return all().size() == 1; }));
    EXPECT_EQ(only().pixelWidth, 64);
    EXPECT_THAT(only().files, ElementsAre(file("trip/OTHER.JPG")));
}

TEST_F(PhotoFolder, APhotoInAFolderThatWasJustMadeIsTakenUp)
{
    add();
    write("new/A.jpg", tests::jpegOfSize(64, 48));
    EXPECT_TRUE(waitUntil([this] { return all().size() == 2; }));
    write("new/B.jpg", tests::jpegOfSize(64, 48));
    EXPECT_TRUE(waitUntil([this] { return all().size() == 3; }));
}

TEST_F(PhotoFolder, APhotoThatIsTakenOutIsGoneFromItsAlbumToo)
{
    const auto album = addCollection("Roof");
    add(tests::newPhoto("A.jpg"), album);
    std::filesystem::remove(file("A.jpg"));
    EXPECT_TRUE(waitUntil([&] { return inAlbum(album).empty() && all().empty(); }));
}

TEST_F(PhotoFolder, ARenamedPhotoKeepsItsIdentifierAndItsAlbum)
{
    const auto album = addCollection("Roof");
    const auto identifier = add(tests::newPhoto("A.jpg"), album);
    std::filesystem::rename(file("A.jpg"), file("B.jpg"));
    EXPECT_TRUE(waitUntil([&] { return names() == std::vector<std::string> { "B.jpg" }; }));
    EXPECT_EQ(inAlbum(album).front().localIdentifier, identifier);
}

TEST_F(PhotoFolder, APhotoThatMovesWhileNobodyLooksKeepsItsIdentifier)
{
    const auto identifier = add(tests::newPhoto("A.jpg"));
    const auto other = add(tests::newPhoto("B.jpg"));
    store.reset();
    std::filesystem::create_directories(file("deep/er"));
    std::filesystem::rename(file("A.jpg"), file("deep/er/C.jpg"));
    std::filesystem::rename(file("B.jpg"), file("A.jpg"));
    reopen();
    store->synchronize();
    AssetQuery query;
    query.identifiers = { identifier, other };
    EXPECT_THAT(namesOf(store->assets(query)), ElementsAre("C.jpg", "A.jpg"));
    EXPECT_EQ(all().size(), 2U);
}

TEST_F(PhotoFolder, PhotosThatChangeTheirNamesInACircleKeepTheirIdentifiers)
{
    const auto first = add(tests::newPhoto("A.jpg", 1)), second = add(tests::newPhoto("B.jpg", 2));
    store.reset();
    std::filesystem::rename(file("A.jpg"), file("x"));
    std::filesystem::rename(file("B.jpg"), file("A.jpg"));
    std::filesystem::rename(file("x"), file("B.jpg"));
    reopen();
    store->synchronize();
    AssetQuery query;
    query.identifiers = { first };
    EXPECT_THAT(namesOf(store->assets(query)), ElementsAre("B.jpg"));
    query.identifiers = { second };
    EXPECT_THAT(namesOf(store->assets(query)), ElementsAre("A.jpg"));
}

TEST_F(PhotoFolder, AFolderThatIsRenamedTakesItsPhotosAlong)
{
    write("old/A.jpg", tests::jpegOfSize(1, 1));
    store->synchronize();
    const auto identifier = only().localIdentifier;
    std::filesystem::rename(file("old"), file("new"));
    EXPECT_TRUE(waitUntil([&] { return only().files.front() == file("new/A.jpg"); }));
    EXPECT_EQ(only().localIdentifier, identifier);
}

TEST_F(PhotoFolder, APhotoThatIsEditedInPlaceKeepsItsIdentifier)
{
    const auto identifier = add(tests::newPhoto("A.jpg"));
    write("A.jpg", tests::jpegOfSize(200, 100));
    EXPECT_TRUE(waitUntil([&] { return only().pixelWidth == 200; }));
    EXPECT_EQ(only().localIdentifier, identifier);
    folder.write("library/.tmp", tests::jpegOfSize(300, 100));
    std::filesystem::rename(file(".tmp"), file("A.jpg"));
    EXPECT_TRUE(waitUntil([&] { return only().pixelWidth == 300; }));
    EXPECT_EQ(only().localIdentifier, identifier);
}

TEST_F(PhotoFolder, AChosenDateStaysWhateverTheFileSays)
{
    auto step = tests::newPhoto("A.jpg");
    step.creationDate = 77;
    add(step);
    write("A.jpg", tests::jpegOfSize(200, 100));
    EXPECT_TRUE(waitUntil([&] { return only().pixelWidth == 200; }));
    EXPECT_EQ(only().creationDate, 77);
}

TEST_F(PhotoFolder, AChosenPlaceStaysWhateverTheFileSays)
{
    auto step = tests::newPhoto("A.jpg");
    step.place = CLLocationCoordinate2D { 12, 34 };
    add(step);
    write("A.jpg", tests::jpegOfSize(200, 100));
    EXPECT_TRUE(waitUntil([&] { return only().pixelWidth == 200; }));
    ASSERT_TRUE(only().place);
    EXPECT_EQ(only().place->latitude, 12);
    EXPECT_EQ(only().place->longitude, 34);
}

TEST_F(PhotoFolder, AMovieThatComesLaterBelongsToItsPhoto)
{
    const auto identifier = add(tests::newPhoto("A.jpg"));
    write("A.mov", { 0, 0, 0, 8, 'f', 't', 'y', 'p' });
    EXPECT_TRUE(waitUntil([&] { return only().files.size() == 2; }));
    EXPECT_EQ(only().localIdentifier, identifier);
    EXPECT_THAT(only().files, ElementsAre(file("A.jpg"), file("A.mov")));
}

TEST_F(PhotoFolder, ARAWPictureThatComesLaterJoinsItsPhoto)
{
    const auto identifier = add(tests::newPhoto("A.dng"));
    write("A.jpg", tests::jpegOfSize(200, 100));
    EXPECT_TRUE(waitUntil([&] { return only().files.size() == 2; }));
    EXPECT_EQ(only().localIdentifier, identifier);
    EXPECT_EQ(only().files.front(), file("A.jpg"));
}

TEST_F(PhotoFolder, HiddenAndOtherFilesAreNoPhotos)
{
    write("notes.txt", { 1 });
    write(".hidden.jpg", tests::jpegOfSize(1, 1));
    write(".cache/A.jpg", tests::jpegOfSize(1, 1));
    std::filesystem::create_symlink("notes.txt", file("link.jpg"));
    store->synchronize();
    EXPECT_THAT(all(), IsEmpty());
}

TEST_F(PhotoFolder, ALinkIsCompleteFromTheBeginning)
{
    const auto outside = folder.write("outside.jpg", tests::jpegOfSize(10, 20));
    EXPECT_THAT(all(), IsEmpty());
    std::filesystem::create_hard_link(outside, file("A.jpg"));
    EXPECT_TRUE(waitUntil([&] { return all().size() == 1; }));
}

TEST_F(PhotoFolder, ADatabaseThatIsNoneIsSetAsideAndTheLibraryMadeAnew)
{
    add(tests::newPhoto("A.jpg"));
    store.reset();
    std::filesystem::remove(file(std::string(Store::databaseName) + "-wal"));
    write(Store::databaseName, std::vector<std::uint8_t>(5000, 'x'));
    tests::CapturedLog log;
    reopen();
    EXPECT_THAT(names(), ElementsAre("A.jpg"));
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.lines()[0], HasSubstr(".photos.sqlite.damaged"));
    EXPECT_TRUE(std::filesystem::exists(file(std::string(Store::databaseName) + ".damaged")));
}

TEST_F(PhotoFolder, DamageThatShowsLaterIsRepairedToo)
{
    for (int i = 0; i < 200; ++i)
        add();
    store.reset(); // closes the last connection: everything is in the one file now
    const auto database = file(Store::databaseName);
    const auto size = std::filesystem::file_size(database);
    {
        std::fstream stream(database, std::ios::in | std::ios::out | std::ios::binary);
        stream.seekp(4096);
        const std::string noise(size - 4096, '\x5A');
        stream.write(noise.data(), static_cast<std::streamsize>(noise.size()));
    }
    tests::CapturedLog log;
    reopen();
    EXPECT_EQ(all().size(), 200U);
    EXPECT_FALSE(add().empty());
    EXPECT_EQ(all().size(), 201U);
    EXPECT_THAT(log.lines(), testing::Contains(HasSubstr("is damaged")));
}

TEST_F(PhotoFolder, ADatabaseThatIsTakenAwayMeanwhileIsMadeAnew)
{
    add(tests::newPhoto("A.jpg"));
    for (const auto* ending : { "", "-wal", "-shm" })
        std::filesystem::remove(file(Store::databaseName + std::string(ending)));
    add(tests::newPhoto("B.jpg"));
    store->synchronize();
    EXPECT_THAT(names(), UnorderedElementsAre("A.jpg", "B.jpg"));
}

TEST_F(PhotoFolder, ALibraryOfANewerVersionIsLeftAlone)
{
    add();
    store.reset();
    ASSERT_EQ(std::system(("printf '\\000\\000\\000\\143' | dd of=" + file(Store::databaseName)
                  + " bs=1 seek=60 conv=notrunc 2>/dev/null")
                              .c_str()),
        0); // the version in the header
    tests::CapturedLog log;
    reopen();
    EXPECT_THAT(all(), IsEmpty());
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.lines()[0], HasSubstr("newer version"));
}

TEST_F(PhotoFolder, AFullDiskRefusesThePhotoAndKeepsTheRest)
{
    add(tests::newPhoto("A.jpg"));
    {
        const FileSizeLimit limit(300000);
        EXPECT_EQ(codeOf([&] { add(tests::newPhoto("BIG.jpg", 400000)); }), PHPhotosErrorNotEnoughSpace);
    }
    EXPECT_THAT(filesThere(), ElementsAre("A.jpg"));
    EXPECT_THAT(filesThere(true), IsEmpty());
    add(tests::newPhoto("B.jpg"));
    EXPECT_THAT(names(), ElementsAre("A.jpg", "B.jpg"));
}

TEST_F(PhotoFolder, ADiskThatIsFullForTheDatabaseRefusesThePhotoToo)
{
    std::size_t stored = 0;
    add();
    const auto log = file(std::string(Store::databaseName) + "-wal");
    {
        const FileSizeLimit limit(std::filesystem::file_size(log) + 20000);
        const auto code = codeOf([&] {
            for (; stored < 1000; ++stored)
                add();
        });
        EXPECT_EQ(code, PHPhotosErrorNotEnoughSpace);
    }
    EXPECT_LT(stored, 1000U);
    EXPECT_EQ(all().size(), stored + 1);
    EXPECT_EQ(filesThere().size(), stored + 1);
    EXPECT_THAT(filesThere(true), IsEmpty());
    add();
    EXPECT_EQ(all().size(), stored + 2);
}

TEST_F(PhotoFolder, ALibraryThatMayOnlyBeReadIsShownAndRefusesChanges)
{
    const auto album = addCollection("Roof");
    const auto identifier = add(tests::newPhoto("A.jpg"), album);
    store.reset();
    write("B.jpg", tests::jpegOfSize(1, 1));
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(folder.file("library"), std::filesystem::perms(0555));
    EXPECT_EQ(asNobody([&] {
        Store readOnly(folder.file("library"));
        EXPECT_TRUE(readOnly.isReadOnly());
        AssetQuery query;
        query.album = album;
        EXPECT_THAT(namesOf(readOnly.assets(query)), ElementsAre("A.jpg"));
        EXPECT_EQ(readOnly.assets({}).size(), 2U);
        EXPECT_FALSE(readOnly.mayChange(album));
        EXPECT_EQ(codeOf([&] { readOnly.commit({ tests::newPhoto() }); }), PHPhotosErrorChangeNotSupported);
        EXPECT_EQ(codeOf([&] { readOnly.commit({ RemoveAsset { identifier } }); }), PHPhotosErrorChangeNotSupported);
    }),
        0);
    std::filesystem::permissions(folder.file("library"), std::filesystem::perms(0755));
    EXPECT_THAT(filesThere(), ElementsAre("A.jpg", "B.jpg"));
}

TEST_F(PhotoFolder, PhotosInAFolderThatMayOnlyBeReadAreShownWithoutADatabase)
{
    write("A.jpg", tests::jpegOfSize(1, 1));
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(folder.file("library"), std::filesystem::perms(0555));
    EXPECT_EQ(asNobody([&] {
        Store readOnly(folder.file("library"));
        EXPECT_EQ(readOnly.assets({}).size(), 1U);
    }),
        0);
    std::filesystem::permissions(folder.file("library"), std::filesystem::perms(0755));
}

TEST_F(PhotoFolder, WhereThereCanBeNoLibraryThatIsSaid)
{
    folder.write("file", std::vector<std::uint8_t> { 1 });
    Store nowhere(folder.file("file/library"));
    tests::CapturedLog log;
    EXPECT_THAT(nowhere.assets({}), IsEmpty());
    EXPECT_THAT(nowhere.collections({}), IsEmpty());
    EXPECT_EQ(codeOf([&] { nowhere.commit({ tests::newPhoto() }); }), PHPhotosErrorLibraryVolumeOffline);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.lines()[0], HasSubstr("There is no photo library at"));
}

TEST_F(PhotoFolder, NothingIsMadeBeforeSomebodyAsks)
{
    EXPECT_FALSE(std::filesystem::exists(folder.file("library")));
    EXPECT_EQ(store->authorizationStatus(), 3);
    EXPECT_FALSE(std::filesystem::exists(folder.file("library")));
}

TEST_F(PhotoFolder, HoldsAHundredThousandPhotos)
{
    for (int i = 0; i < 100000; ++i) {
        const auto name = file(std::to_string(i) + ".jpg");
        if (i % 10000 == 0) // a file system has a limit to the names of one file
            write(std::to_string(i) + ".jpg", tests::jpegOfSize(16, 16));
        else
            ASSERT_EQ(link(file(std::to_string(i - i % 10000) + ".jpg").c_str(), name.c_str()), 0);
    }
    store->synchronize();
    EXPECT_EQ(all().size(), 100000U);
    auto step = tests::newPhoto("NEW.jpg");
    step.creationDate = 1e10;
    const auto identifier = add(step);
    AssetQuery newest;
    newest.sort = { { AssetSort::CreationDate, false } };
    newest.limit = 1;
    EXPECT_EQ(store->assets(newest).front().localIdentifier, identifier);
}
