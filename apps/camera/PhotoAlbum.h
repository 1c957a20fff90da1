// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/CLLocation.h"
#include "platform/Foundation/NSDate.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/camera/Options.h"
#include "apps/camera/PictureFolder.h"
#include "apps/camera/Report.h"

namespace velmora {
class PHAssetCollection;
}

namespace velmora::camera {

/// Puts the library that the options name in force, if they do. Before a virtual phone is made, which stands before it.
void chooseLibrary(const GlobalOptions& options);

/// An album of the photo library, found or made.
class PhotoAlbum {
public:
    /// Throws Refusal.
    PhotoAlbum(const std::string& name, const std::optional<std::string>& folder);

    /// Stores the files of one photo, and answers where they lie, in their order. Throws Refusal; then none is left.
    std::vector<std::filesystem::path> store(const std::string& name, const std::vector<PhotoFile>& files,
        const std::shared_ptr<NSDate>& date, const std::shared_ptr<CLLocation>& place) const;
    const std::shared_ptr<PHAssetCollection>& collection() const { return album_; }
    /// What it holds, oldest first.
    AlbumReport report() const;

private:
    std::string identifier_;
    std::shared_ptr<PHAssetCollection> album_;
};

/// Finds or makes an album and tells what it holds.
void listAlbum(const Options& options, Report& report);

}
