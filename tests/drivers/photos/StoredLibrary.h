// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSData.h"
#include "platform/Foundation/NSError.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/Photos/RandomIdentifier.h"

#include "drivers/photos/FolderPhotoStore.h"

#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace velmora::tests {

/// The beginning of a JPEG, as far as a library looks at it; `filler` bytes follow.
inline std::vector<std::uint8_t> jpegOfSize(int width, int height, std::size_t filler = 0)
{
    std::vector<std::uint8_t> bytes { 0xFF, 0xD8, 0xFF, 0xC0, 0, 11, 8, static_cast<std::uint8_t>(height >> 8),
        static_cast<std::uint8_t>(height), static_cast<std::uint8_t>(width >> 8), static_cast<std::uint8_t>(width), 1,
        1, 0x11, 0 };
    bytes.resize(bytes.size() + filler);
    return bytes;
}

/// Steps that add one photo, with its identifier.
inline AddAsset newPhoto(const std::string& name = "IMG.jpg", std::size_t filler = 0)
{
    AddAsset step;
    step.localIdentifier = randomIdentifier();
    step.files = { { name, make<NSData>(jpegOfSize(40, 30, filler)), {}, false } };
    return step;
}

/// A library in a folder of its own; it is opened by the first question.
class StoredLibrary : public testing::Test {
protected:
    using Store = drivers::photos::FolderPhotoStore;

    std::string file(const std::string& name) const { return folder.file("library/" + name); }
    void write(const std::string& name, const std::vector<std::uint8_t>& bytes) const
    {
        std::filesystem::create_directories(std::filesystem::path(file(name)).parent_path());
        folder.write("library/" + name, bytes);
    }
    std::string add(AddAsset step = newPhoto(), const std::string& album = {}) const
    {
        std::vector<PhotoStep> steps { step };
        if (!album.empty())
            steps.emplace_back(AddMember { album, step.localIdentifier });
        store->commit(steps);
        return step.localIdentifier;
    }
    std::string addCollection(const std::string& title, bool isFolder = false) const
    {
        const auto identifier = randomIdentifier();
        store->commit({ AddCollection { identifier, title, isFolder } });
        return identifier;
    }
    std::vector<AssetRecord> all() const { return store->assets({}); }
    std::vector<std::string> names() const { return namesOf(all()); }
    static std::vector<std::string> namesOf(const std::vector<AssetRecord>& assets)
    {
        std::vector<std::string> found;
        for (const auto& asset : assets)
            found.push_back(std::filesystem::path(asset.files.front()).filename());
        return found;
    }
    std::vector<AssetRecord> inAlbum(const std::string& album) const
    {
        AssetQuery query;
        query.album = album;
        return store->assets(query);
    }
    /// What a person sees in the folder, and with dots what they do not.
    std::vector<std::string> filesThere(bool hidden = false) const
    {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.file("library"))) {
            const auto name = entry.path().filename().string();
            if (entry.is_regular_file() && (name.front() == '.') == hidden && !name.starts_with(Store::databaseName))
                found.push_back(name);
        }
        std::sort(found.begin(), found.end());
        return found;
    }
    void reopen()
    {
        store.reset();
        store = std::make_unique<Store>(folder.file("library"));
    }
    /// Waits for the library's word, not for time; false when it never becomes true.
    bool waitUntil(const std::function<bool()>& becomesTrue) const
    {
        struct News {
            std::mutex mutex;
            std::condition_variable came;
            int count = 0;
        };
        const auto news = std::make_shared<News>();
        const auto observation = store->observe([news] {
            const std::lock_guard lock(news->mutex);
            ++news->count;
            news->came.notify_one();
        });
        for (int seen = 0; !becomesTrue(); ++seen) {
            std::unique_lock lock(news->mutex);
            if (!news->came.wait_for(lock, std::chrono::seconds(20), [&] { return news->count > seen; }))
                return false;
            seen = news->count - 1;
        }
        return true;
    }

    TemporaryFolder folder;
    std::unique_ptr<Store> store = std::make_unique<Store>(folder.file("library"));
};

}
