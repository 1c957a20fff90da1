// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSSortDescriptor.h"
#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHAssetCollection.h"
#include "platform/Photos/PHChange.h"
#include "platform/Photos/PHFetchOptions.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PHPhotoLibraryChangeObserver.h"

#include "drivers/photos/FolderPhotoStore.h"

#include <sys/wait.h>
#include <unistd.h>

#include <set>
#include <thread>

#include "tests/drivers/photos/StoredLibrary.h"

using namespace velmora;

namespace {

/// Follows an album as a screen does, and counts what was inserted.
class Follower final : public PHPhotoLibraryChangeObserver {
public:
    explicit Follower(std::shared_ptr<PHFetchResult> result)
        : result_(std::move(result))
    {
    }
    void photoLibraryDidChange(const std::shared_ptr<PHChange>& change) override
    {
        const std::lock_guard lock(mutex_);
        const auto details = change->changeDetailsForFetchResult(result_);
        if (!details)
            return;
        result_ = details->fetchResultAfterChanges();
        for (const auto index : details->insertedIndexes())
            inserted_.insert(result_->objectAtIndex(index)->localIdentifier());
        came_.notify_all();
    }
    bool waitFor(std::size_t count)
    {
        std::unique_lock lock(mutex_);
        return came_.wait_for(lock, std::chrono::seconds(60), [&] { return inserted_.size() >= count; });
    }
    std::set<std::string> inserted()
    {
        const std::lock_guard lock(mutex_);
        return inserted_;
    }

private:
    std::mutex mutex_;
    std::condition_variable came_;
    std::shared_ptr<PHFetchResult> result_;
    std::set<std::string> inserted_;
};

class SeveralProcesses : public tests::StoredLibrary {
protected:
    /// Another process; its end is 0 when `work` answered true.
    static pid_t start(const std::function<bool()>& work)
    {
        const pid_t child = fork();
        if (child == 0)
            _exit(work() ? 0 : 1);
        return child;
    }
    static bool succeeded(pid_t child)
    {
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    std::string path() const { return folder.file("library"); }
};

class SeveralProcessesThreads : public SeveralProcesses { };

}

TEST_F(SeveralProcesses, OneShootsTwoHundredPhotosAndTheOtherSeesEveryOne)
{
    store->commit({ AddCollection { "roof", "Roof", false } });
    store.reset();
    std::array<int, 2> ready {};
    ASSERT_EQ(pipe(ready.data()), 0);
    const pid_t shooting = start([&] {
        Store child(path());
        char go = 0;
        if (::read(ready[0], &go, 1) != 1) // the other watches
            return false;
        for (int i = 0; i < 200; ++i) {
            const auto photo = tests::newPhoto();
            child.commit({ photo, AddMember { "roof", photo.localIdentifier } });
        }
        return true;
    });

    const auto watching = std::make_shared<Store>(path());
    PhotoStore::install(watching);
    const auto album = PHAssetCollection::fetchAssetCollectionsWithLocalIdentifiers({ "roof" }, nullptr)
                           ->firstObjectAs<PHAssetCollection>();
    const auto follower = std::make_shared<Follower>(PHAsset::fetchAssetsInAssetCollection(album, nullptr));
    PHPhotoLibrary::sharedPhotoLibrary()->registerChangeObserver(follower);
    ASSERT_EQ(::write(ready[1], "g", 1), 1);
    EXPECT_TRUE(follower->waitFor(200));
    EXPECT_TRUE(succeeded(shooting));

    const auto inserted = follower->inserted();
    EXPECT_EQ(inserted.size(), 200U);
    AssetQuery query;
    query.album = "roof";
    for (const auto& asset : watching->assets(query)) {
        EXPECT_TRUE(inserted.contains(asset.localIdentifier));
        EXPECT_TRUE(std::filesystem::exists(asset.files.front()));
    }
    EXPECT_EQ(watching->assets({}).size(), 200U);
    PHPhotoLibrary::sharedPhotoLibrary()->unregisterChangeObserver(*follower);
    PhotoStore::install(nullptr);
    close(ready[0]);
    close(ready[1]);
}

TEST_F(SeveralProcesses, FourAddAtOnceAndNothingIsLost)
{
    store.reset();
    std::vector<pid_t> children;
    for (int i = 0; i < 4; ++i)
        children.push_back(start([&] {
            Store child(path());
            for (int photo = 0; photo < 25; ++photo)
                child.commit({ tests::newPhoto() });
            return child.assets({}).size() >= 25;
        }));
    for (const auto child : children)
        EXPECT_TRUE(succeeded(child));
    reopen();
    EXPECT_EQ(all().size(), 100U);
    EXPECT_EQ(filesThere().size(), 100U);
}

TEST_F(SeveralProcesses, AllOpenAFolderThatHasNoDatabaseYet)
{
    store.reset();
    for (int i = 0; i < 20; ++i)
        write(std::to_string(i) + ".jpg", tests::jpegOfSize(1, 1));
    std::vector<pid_t> children;
    for (int i = 0; i < 4; ++i)
        children.push_back(start([&] {
            Store child(path());
            child.synchronize();
            return child.assets({}).size() == 20;
        }));
    for (const auto child : children)
        EXPECT_TRUE(succeeded(child));
}

TEST_F(SeveralProcessesThreads, ThreadsAddReadAndWatchAtOnce)
{
    std::atomic<int> heard { 0 };
    const auto observation = store->observe([&] { ++heard; });
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            for (int photo = 0; photo < 20; ++photo) {
                add();
                (void)all();
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(all().size(), 60U);
    EXPECT_GE(heard.load(), 60);
}
