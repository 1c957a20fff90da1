// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <vector>

namespace velmora {
class QVPhotoCaptureOutput;
}

namespace velmora::camera {

class PhotoAlbum;
class PictureFolder;

/// Puts the photo's place into its files and stores them, in the order JPEG, DNG, movie, under the name of its time. A
/// live photo's movie moves. Throws Refusal; then none of them is stored.
std::vector<std::filesystem::path> storePhoto(const PictureFolder& folder, QVPhotoCaptureOutput& photo);
/// The same, into an album of the photo library.
std::vector<std::filesystem::path> storePhoto(const PhotoAlbum& album, QVPhotoCaptureOutput& photo);

}
