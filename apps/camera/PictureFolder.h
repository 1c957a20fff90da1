// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace velmora::camera {

/// One of the files that make a photo: bytes, or a finished file that moves in.
struct PhotoFile {
    std::string ending; ///< ".jpg"
    std::span<const std::uint8_t> bytes;
    std::optional<std::filesystem::path> file;
};

/// "IMG_YYYYMMDD_HHMMSS", "VID_YYYYMMDD_HHMMSS" in local time.
std::string photoNameForDate(double secondsSince1970);
std::string movieNameForDate(double secondsSince1970);

/// Where photos are kept as plain files.
class PictureFolder {
public:
    /// The user's pictures folder (XDG user directories, else ~/Pictures) and "Camera" in it.
    static std::filesystem::path ofUser();
    /// The folder of --out, else that of --library, else the user's.
    static std::filesystem::path chosen(
        const std::optional<std::filesystem::path>& out, const std::optional<std::filesystem::path>& library);

    /// Makes the folder when it is missing. Throws Refusal when nothing can be written there.
    explicit PictureFolder(const std::filesystem::path& folder);

    /// Stores the files of one photo under one name, with "_2", "_3" ... when it is taken, and answers their paths in
    /// order. Each appears when it is complete, and none is replaced. Throws Refusal; then none of them is left.
    std::vector<std::filesystem::path> store(const std::string& name, const std::vector<PhotoFile>& files) const;

private:
    std::filesystem::path folder_; // absolute
};

}
