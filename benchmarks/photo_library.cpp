// SPDX-License-Identifier: Apache-2.0

// The photo library against the same rows written and read by SQLite alone, with the same durability.

#include "platform/Foundation/NSData.h"
#include "platform/Foundation/NSSortDescriptor.h"
#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHAssetCollection.h"
#include "platform/Photos/PHChange.h"
#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PHImageManager.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/Photos/PHPhotoLibraryChangeObserver.h"
#include "platform/Photos/RandomIdentifier.h"

#include "drivers/media/install.h"
#include "drivers/photos/FolderPhotoStore.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>

using namespace velmora;
using drivers::photos::FolderPhotoStore;

namespace {

class Folder {
public:
    Folder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "velmora-bench-XXXXXX").string();
        path_ = mkdtemp(name.data());
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

std::shared_ptr<NSData> smallPhoto()
{
    std::vector<std::uint8_t> bytes { 0xFF, 0xD8, 0xFF, 0xC0, 0, 11, 8, 0, 30, 0, 40, 1, 1, 0x11, 0 };
    bytes.resize(4096);
    return make<NSData>(std::move(bytes));
}

AddAsset newPhoto(double date = 0)
{
    static const auto data = smallPhoto();
    AddAsset step;
    step.localIdentifier = randomIdentifier();
    step.creationDate = date;
    step.files = { { "IMG" + step.localIdentifier + ".jpg", data, {}, false } };
    return step;
}

/// SQLite alone: the tables that the same questions need.
class Raw {
public:
    explicit Raw(const std::string& file)
    {
        sqlite3_open(file.c_str(), &connection_);
        execute(
            "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
            "CREATE TABLE IF NOT EXISTS asset(id INTEGER PRIMARY KEY, identifier TEXT UNIQUE, folder TEXT, stem TEXT,"
            " names TEXT, inode INTEGER, size INTEGER, modified INTEGER, media INTEGER, created REAL, changed REAL,"
            " latitude REAL, longitude REAL, width INTEGER, height INTEGER, duration REAL, UNIQUE(folder, stem));"
            "CREATE INDEX IF NOT EXISTS asset_created ON asset(created);"
            "CREATE TABLE IF NOT EXISTS collection(id INTEGER PRIMARY KEY, identifier TEXT UNIQUE, title TEXT);"
            "CREATE TABLE IF NOT EXISTS member(collection INTEGER, created REAL, asset INTEGER,"
            " PRIMARY KEY(collection, created, asset)) WITHOUT ROWID;");
    }
    ~Raw()
    {
        for (auto* statement : { insert_, newest_, member_ })
            sqlite3_finalize(statement);
        sqlite3_close(connection_);
    }
    Raw(const Raw&) = delete;
    Raw& operator=(const Raw&) = delete;

    void execute(const char* sql) { sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr); }
    void addRow(double date)
    {
        const auto identifier = randomIdentifier();
        auto* statement = prepared(insert_,
            "INSERT INTO asset(identifier, folder, stem, names, inode, size, modified, media, created, changed, width,"
            " height, duration) VALUES(?1, '', ?1, ?1, 1, 2, 3, 1, ?2, ?2, 40, 30, 0)");
        sqlite3_bind_text(statement, 1, identifier.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_double(statement, 2, date);
        step(statement);
    }
    void addMember(double date)
    {
        auto* statement = prepared(member_, "INSERT INTO member VALUES(1, ?, last_insert_rowid())");
        sqlite3_bind_double(statement, 1, date);
        step(statement);
    }
    std::string newest(const std::string& album)
    {
        auto* statement = prepared(newest_,
            "SELECT a.* FROM collection c CROSS JOIN member m ON m.collection = c.id CROSS JOIN asset a ON a.id = "
            "m.asset"
            " WHERE c.identifier = ? ORDER BY m.created DESC LIMIT 1");
        sqlite3_bind_text(statement, 1, album.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_step(statement);
        std::string identifier(reinterpret_cast<const char*>(sqlite3_column_text(statement, 1)));
        sqlite3_reset(statement);
        return identifier;
    }

private:
    sqlite3_stmt* prepared(sqlite3_stmt*& statement, const char* sql)
    {
        if (!statement)
            sqlite3_prepare_v3(connection_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
        return statement;
    }
    static void step(sqlite3_stmt* statement)
    {
        sqlite3_step(statement);
        sqlite3_reset(statement);
    }

    sqlite3* connection_ = nullptr;
    sqlite3_stmt *insert_ = nullptr, *newest_ = nullptr, *member_ = nullptr;
};

/// A file as a careful program writes it.
void writeFile(const Folder& folder, const NSData& data)
{
    const auto name = randomIdentifier();
    const int descriptor = open(folder.file("." + name).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    (void)!write(descriptor, data.bytes().data(), data.length());
    fsync(descriptor);
    close(descriptor);
    rename(folder.file("." + name).c_str(), folder.file(name + ".jpg").c_str());
    const int directory = open(folder.file("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    fsync(directory);
    close(directory);
}

void addRaw(benchmark::State& state)
{
    const Folder folder;
    Raw raw(folder.file("raw.sqlite"));
    const auto data = smallPhoto();
    for (auto unused : state) {
        (void)unused;
        writeFile(folder, *data);
        raw.addRow(1);
    }
}
BENCHMARK(addRaw)->Name("add/file and row alone")->Unit(benchmark::kMicrosecond)->UseRealTime();

void add(benchmark::State& state)
{
    const Folder folder;
    FolderPhotoStore store(folder.file("library"));
    for (auto unused : state) {
        (void)unused;
        store.commit({ newPhoto() });
    }
}
BENCHMARK(add)->Name("add/library")->Unit(benchmark::kMicrosecond)->UseRealTime();

constexpr int batch = 1000;

void editBatchRaw(benchmark::State& state)
{
    const Folder folder;
    Raw raw(folder.file("raw.sqlite"));
    for (auto unused : state) {
        (void)unused;
        raw.execute("BEGIN IMMEDIATE");
        for (int i = 0; i < batch; ++i)
            raw.addRow(i);
        raw.execute("COMMIT");
    }
    state.SetItemsProcessed(state.iterations() * batch);
}
BENCHMARK(editBatchRaw)->Name("1000 rows in one change/SQLite")->Unit(benchmark::kMicrosecond)->UseRealTime();

void editBatch(benchmark::State& state)
{
    const Folder folder;
    FolderPhotoStore store(folder.file("library"));
    for (auto unused : state) {
        (void)unused;
        std::vector<PhotoStep> steps;
        steps.reserve(batch);
        for (int i = 0; i < batch; ++i)
            steps.emplace_back(AddCollection { randomIdentifier(), "Roof", false });
        store.commit(steps);
    }
    state.SetItemsProcessed(state.iterations() * batch);
}
BENCHMARK(editBatch)->Name("1000 rows in one change/library")->Unit(benchmark::kMicrosecond)->UseRealTime();

/// A library of links to one file, all in one album; SQLite alone with as many rows.
struct Large {
    explicit Large(int count)
        : raw(folder.file("raw.sqlite"))
    {
        std::filesystem::create_directory(folder.file("library"));
        const auto data = smallPhoto();
        for (int i = 0; i < count; ++i) {
            const auto name = folder.file("library/" + std::to_string(i) + ".jpg");
            if (i % 10000 == 0) {
                const int descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
                (void)!write(descriptor, data->bytes().data(), data->length());
                close(descriptor);
            } else
                (void)!link(folder.file("library/" + std::to_string(i - i % 10000) + ".jpg").c_str(), name.c_str());
        }
        FolderPhotoStore store(folder.file("library"));
        std::vector<PhotoStep> steps { AddCollection { "album", "Roof", false } };
        double date = 0;
        for (const auto& asset : store.assets({})) {
            steps.emplace_back(EditAsset { asset.localIdentifier, ++date, {} });
            steps.emplace_back(AddMember { "album", asset.localIdentifier });
        }
        store.commit(steps);

        raw.execute("BEGIN; INSERT INTO collection VALUES(1, 'album', 'Roof')");
        for (int i = 0; i < count; ++i) {
            raw.addRow(i);
            raw.addMember(i);
        }
        raw.execute("COMMIT");
    }
    static Large& of(int count)
    {
        static std::map<int, std::unique_ptr<Large>> all;
        auto& large = all[count];
        if (!large)
            large = std::make_unique<Large>(count);
        return *large;
    }

    Folder folder;
    Raw raw;
};

void newestRaw(benchmark::State& state)
{
    auto& large = Large::of(static_cast<int>(state.range(0)));
    for (auto unused : state) {
        (void)unused;
        benchmark::DoNotOptimize(large.raw.newest("album"));
    }
}
BENCHMARK(newestRaw)->Name("newest of album/SQLite")->Arg(1000)->Arg(10000)->Arg(100000);

void newest(benchmark::State& state)
{
    auto& large = Large::of(static_cast<int>(state.range(0)));
    FolderPhotoStore store(large.folder.file("library"));
    store.synchronize();
    AssetQuery query;
    query.album = "album";
    query.sort = { { AssetSort::CreationDate, false } };
    query.limit = 1;
    for (auto unused : state) {
        (void)unused;
        benchmark::DoNotOptimize(store.assets(query));
    }
}
BENCHMARK(newest)->Name("newest of album/store")->Arg(1000)->Arg(10000)->Arg(100000);

void newestFetched(benchmark::State& state)
{
    auto& large = Large::of(static_cast<int>(state.range(0)));
    const auto store = std::make_shared<FolderPhotoStore>(large.folder.file("library"));
    store->synchronize();
    PhotoStore::install(store);
    const auto album = PHAssetCollection::fetchAssetCollectionsWithLocalIdentifiers({ "album" }, nullptr)
                           ->firstObjectAs<PHAssetCollection>();
    const auto options = make<PHFetchOptions>();
    options->setSortDescriptors({ NSSortDescriptor::sortDescriptorWithKey("creationDate", false) });
    options->setFetchLimit(1);
    for (auto unused : state) {
        (void)unused;
        benchmark::DoNotOptimize(PHAsset::fetchAssetsInAssetCollection(album, options)->firstObject());
    }
    PhotoStore::install(nullptr);
}
BENCHMARK(newestFetched)->Name("newest of album/fetch")->Arg(1000)->Arg(10000)->Arg(100000);

void openRaw(benchmark::State& state)
{
    auto& large = Large::of(static_cast<int>(state.range(0)));
    for (auto unused : state) {
        (void)unused;
        Raw raw(large.folder.file("raw.sqlite"));
        benchmark::DoNotOptimize(raw.newest("album"));
    }
}
BENCHMARK(openRaw)->Name("open and find the newest/SQLite")->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

void openLibrary(benchmark::State& state)
{
    auto& large = Large::of(static_cast<int>(state.range(0)));
    AssetQuery query;
    query.album = "album";
    query.sort = { { AssetSort::CreationDate, false } };
    query.limit = 1;
    for (auto unused : state) {
        (void)unused;
        const auto begin = std::chrono::steady_clock::now();
        FolderPhotoStore store(large.folder.file("library"));
        benchmark::DoNotOptimize(store.assets(query));
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    } // it ends before its first look at the folder, which begins a moment later in the background
}
BENCHMARK(openLibrary)
    ->Name("open and find the newest/library")
    ->Arg(1000)
    ->Arg(100000)
    ->Unit(benchmark::kMicrosecond)
    ->UseManualTime();

class Hearing final : public PHPhotoLibraryChangeObserver {
public:
    void photoLibraryDidChange(const std::shared_ptr<PHChange>& change) override
    {
        (void)change->changeDetailsForFetchResult(result);
        const std::lock_guard lock(mutex_);
        ++count_;
        came_.notify_one();
    }
    void waitFor(int count)
    {
        std::unique_lock lock(mutex_);
        came_.wait(lock, [&] { return count_ >= count; });
    }
    std::shared_ptr<PHFetchResult> result;

private:
    std::mutex mutex_;
    std::condition_variable came_;
    int count_ = 0;
};

void observe(benchmark::State& state)
{
    const Folder folder;
    const auto store = std::make_shared<FolderPhotoStore>(folder.file("library"));
    PhotoStore::install(store);
    const auto hearing = std::make_shared<Hearing>();
    const auto options = make<PHFetchOptions>();
    options->setFetchLimit(1);
    hearing->result = PHAsset::fetchAssetsWithMediaType(PHAssetMediaTypeImage, options);
    PHPhotoLibrary::sharedPhotoLibrary()->registerChangeObserver(hearing);
    int count = 0;
    for (auto unused : state) {
        (void)unused;
        store->commit({ newPhoto() });
        const auto begin = std::chrono::steady_clock::now();
        hearing->waitFor(++count);
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    }
    PHPhotoLibrary::sharedPhotoLibrary()->unregisterChangeObserver(*hearing);
    PhotoStore::install(nullptr);
}
BENCHMARK(observe)->Name("observer after commit")->Unit(benchmark::kMicrosecond)->UseManualTime();

/// 256 pixels of a photo of 12 megapixels: made, or taken from the desktop's thumbnails.
void thumbnail(benchmark::State& state)
{
    const Folder folder;
    setenv("XDG_CACHE_HOME", folder.file("cache").c_str(), 1);
    drivers::media::install();
    AssetRecord record;
    record.files = { VELMORA_FOOTAGE };
    const auto asset = make<PHAsset>(record);
    const auto options = make<PHImageRequestOptions>();
    options->setSynchronous(true);
    for (auto unused : state) {
        (void)unused;
        if (state.range(0) == 0) {
            state.PauseTiming();
            std::filesystem::remove_all(folder.file("cache"));
            state.ResumeTiming();
        }
        PHImageManager::defaultManager()->requestImageForAsset(asset, { 256, 256 }, PHImageContentModeAspectFill,
            options, [](const auto& image, const auto&) { benchmark::DoNotOptimize(image); });
    }
}
BENCHMARK(thumbnail)->Name("thumbnail/made")->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(thumbnail)->Name("thumbnail/kept")->Arg(1)->Unit(benchmark::kMillisecond);

}
