// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/photos/LibraryFiles.h"

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace velmora::drivers::photos {

/// What other programs did in the library's folder since the last look.
struct FolderNews {
    std::map<AssetPlace, std::set<std::string>> touched; ///< with the names that were
    bool lostTrack = false; ///< folders came or went, or there was too much: everything has to be looked at
    bool databaseWasTouched = false;
    bool isEmpty() const { return touched.empty() && !lostTrack && !databaseWasTouched; }
};

/// Watches folders, by the kernel's notifications. One thread waits; the rest from any.
class FolderWatch {
public:
    /// Throws NSError when the kernel has no more to give.
    FolderWatch(std::string root, std::string databaseName);
    ~FolderWatch();
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    /// Those that are watched already stay. Throws NSError.
    void watch(const std::vector<std::string>& folders);
    /// Blocks until something happened; false when it was stopped.
    bool wait(FolderNews& news);
    void stop();
    bool isStoppedWithin(int milliseconds) const; ///< Blocks until then.

private:
    void read(FolderNews& news);
    void note(std::uint32_t mask, const std::string& folder, const std::string& name, FolderNews& news) const;

    std::string root_, databaseName_;
    int notifications_ = -1, stopped_ = -1;
    std::mutex mutex_; // guards the folders
    std::map<int, std::string> folders_;
    std::set<std::uint32_t> halfMoves_; // files that left, whose arrival was not read yet
};

}
