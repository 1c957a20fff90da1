// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Photos/PhotoRecords.h"

#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velmora::drivers::photos {

/// Where the files of one asset lie: a folder below the library's ("" is its own), and their name without the ending.
struct AssetPlace {
    std::string folder, stem;
    auto operator<=>(const AssetPlace&) const = default;
};

/// A file as the file system knows it.
struct LibraryFile {
    std::string name;
    std::int64_t inode = 0, size = 0, modified = 0; ///< nanoseconds since 1970
    bool operator==(const LibraryFile&) const = default;
};

/// What belongs to one asset; the first is what is shown.
using FileGroup = std::vector<LibraryFile>;

/// What lies in the library, by place.
struct LibraryListing {
    std::map<AssetPlace, FileGroup> groups;
    std::vector<std::string> folders; ///< all of them, the library's own too
    std::vector<std::string> leftBehind; ///< what changes that were cut short left, relative to the library
};

/// Of a file that may belong to an asset; nothing for others.
std::optional<AssetPlace> placeOf(const std::string& folder, const std::string& name);
PHAssetMediaType mediaTypeOf(const std::string& name);
std::string pathIn(const std::string& root, const std::string& folder, const std::string& name);

LibraryListing listLibrary(const std::string& root);
/// The files of one asset, of those names; empty when none is there.
FileGroup listGroup(const std::string& root, const AssetPlace& place, const std::vector<std::string>& names);

/// The names of a group as one text, and back. A name holds no slash.
std::string joined(const FileGroup& group);
std::vector<std::string> split(const std::string& names);

/// New files that wait under hidden names until the change is sure. What was not published goes with this.
class ArrivingFiles {
public:
    /// Writes them, durably, into the library's own folder, under one name: the first one's, with "_2", "_3" ... where
    /// `isTaken` says so or files are there. Throws NSError.
    ArrivingFiles(std::string root, const std::vector<NewAssetFile>& files,
        const std::function<bool(const std::string& stem)>& isTaken);
    ~ArrivingFiles();
    ArrivingFiles(ArrivingFiles&&) noexcept = default;
    ArrivingFiles& operator=(ArrivingFiles&&) = delete;

    const std::string& stem() const { return stem_; }
    const FileGroup& group() const { return group_; } ///< by what is shown first
    /// Where the file that is shown lies before it is published.
    std::string hiddenPath() const;

    /// Puts them under their names; false where somebody took one meanwhile. Throws NSError.
    bool publish();
    void unpublish();
    /// The change is sure: they stay.
    void keep();

private:
    struct Arriving {
        std::string name, hidden; // paths
        int descriptor = -1; // holds the lock that says that this process is alive
        bool published = false;
    };
    bool create(const std::string& stem, const std::vector<NewAssetFile>& files);
    void write(Arriving& file, const NewAssetFile& content);
    void discard();

    std::string root_, stem_;
    std::vector<Arriving> files_;
    FileGroup group_;
    bool kept_ = false;
};

/// Files that wait under hidden names until their removal is sure; they come back when this ends before.
class LeavingFiles {
public:
    LeavingFiles() = default;
    ~LeavingFiles();
    LeavingFiles(LeavingFiles&&) noexcept = default;
    LeavingFiles& operator=(LeavingFiles&&) = delete;
    /// One that is gone already is none to complain of. Throws NSError.
    void hide(const std::string& path);
    bool isEmpty() const { return hidden_.empty(); }
    /// The change failed: they come back.
    void restore();
    /// The change is sure: they go.
    void remove();

private:
    struct Hidden {
        std::string path, hidden;
    };
    std::vector<Hidden> hidden_;
};

/// Finishes what a process that was killed began; `isKnown` says whether the library has an asset there. Only while
/// nobody changes the library.
void settle(const std::string& root, const std::string& leftBehind,
    const std::function<bool(const AssetPlace& place)>& isKnown);

/// The names in the folder are on the disk. Nothing where the file system cannot.
void synchronizeFolder(const std::string& folder);

}
