// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/storePhoto.h"

#include "velmora/results/QVCaptureLocationInfo.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSURL.h"
#include "platform/ImageIO/ImageMetadata.h"

#include <unistd.h>

#include <memory>

#include "apps/camera/PhotoAlbum.h"
#include "apps/camera/PictureFolder.h"

namespace velmora::camera {

namespace {

/// The file with the place in it; a photo without its place is better than none.
std::shared_ptr<NSData> withPlace(const std::shared_ptr<NSData>& data, const QVPhotoCaptureOutput& photo)
{
    const auto info = photo.locationInfo();
    if (!data || !info)
        return data;
    try {
        return imageDataByAddingLocation(*data, *info->location(), info->placemark().get());
    } catch (const NSError& error) {
        NSLog("The place is not written into the photo: %@", error.localizedDescription());
        return data;
    }
}

std::vector<PhotoFile> filesOf(const QVPhotoCaptureOutput& photo)
{
    std::vector<PhotoFile> files;
    if (photo.jpgImageData())
        files.push_back({ ".jpg", photo.jpgImageData()->bytes(), {} });
    if (photo.dngImageData())
        files.push_back({ ".dng", photo.dngImageData()->bytes(), {} });
    if (photo.livePhotoMovieURL())
        files.push_back({ ".mov", {}, photo.livePhotoMovieURL()->path() });
    return files;
}

void addPlace(QVPhotoCaptureOutput& photo)
{
    photo.setJpgImageData(withPlace(photo.jpgImageData(), photo));
    photo.setDngImageData(withPlace(photo.dngImageData(), photo));
}

std::string nameOf(const QVPhotoCaptureOutput& photo)
{
    return photoNameForDate(photo.creationDate()->timeIntervalSince1970());
}

void removeMovie(const QVPhotoCaptureOutput& photo)
{
    if (const auto movie = photo.livePhotoMovieURL())
        unlink(movie->path().c_str());
}

}

std::vector<std::filesystem::path> storePhoto(const PictureFolder& folder, QVPhotoCaptureOutput& photo)
{
    addPlace(photo);
    const auto paths = folder.store(nameOf(photo), filesOf(photo));
    removeMovie(photo);
    return paths;
}

std::vector<std::filesystem::path> storePhoto(const PhotoAlbum& album, QVPhotoCaptureOutput& photo)
{
    addPlace(photo);
    const auto info = photo.locationInfo();
    const auto paths
        = album.store(nameOf(photo), filesOf(photo), photo.creationDate(), info ? info->location() : nullptr);
    removeMovie(photo);
    return paths;
}

}
