// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/ShootCommand.h"

#include "velmora/capture/QVCameraController.h"
#include "velmora/results/QVCaptureLocationInfo.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/CaptureDriver.h"

#include <chrono>
#include <optional>

#include "apps/camera/OpenCamera.h"
#include "apps/camera/PhotoAlbum.h"
#include "apps/camera/Refusal.h"
#include "apps/camera/storePhoto.h"
#include "apps/camera/takePhoto.h"

namespace velmora::camera {

namespace {

using Moment = TakenPhoto::Moment;

/// Set before main() runs.
const Moment begin = std::chrono::steady_clock::now();

double millisecondsAt(Moment moment)
{
    return std::chrono::duration<double, std::milli>(moment - begin).count();
}

const ArchiveDictionary& groupOf(const ArchiveDictionary& metadata, const char* name)
{
    static const ArchiveDictionary none;
    const auto group = valueIn<std::shared_ptr<NSDictionary>>(metadata, name);
    return group && *group ? (*group)->values() : none;
}

/// A number, or the first of several.
std::optional<double> numberIn(const ArchiveDictionary& dictionary, const char* key)
{
    if (const auto list = valueIn<std::shared_ptr<NSArray>>(dictionary, key);
        list && *list && !(*list)->values().empty())
        return valueIn<double>({ { key, (*list)->values().front() } }, key);
    return valueIn<double>(dictionary, key);
}

PhotoReport reportOf(const QVPhotoCaptureOutput& photo)
{
    PhotoReport report;
    report.secondsSince1970 = photo.creationDate()->timeIntervalSince1970();
    const auto& metadata = photo.exifDictionary();
    report.width = valueIn<std::int64_t>(metadata, "PixelWidth");
    report.height = valueIn<std::int64_t>(metadata, "PixelHeight");
    const auto& exif = groupOf(metadata, "{Exif}");
    report.iso = numberIn(exif, "ISOSpeedRatings");
    report.exposureSeconds = numberIn(exif, "ExposureTime");
    report.fNumber = numberIn(exif, "FNumber");
    report.flashFired = photo.flashFired();
    if (const auto info = photo.locationInfo()) {
        report.place = info->location()->coordinate();
        report.landmark = info->landmarkName();
    }
    return report;
}

}

ShootCommand::ShootCommand(const Options& options, Report& report, const Interruption& interruption)
    : options_(options)
    , report_(report)
    , interruption_(interruption)
    , folder_(PictureFolder::chosen(options.shoot.out, options.global.library))
{
}

ShootCommand::~ShootCommand() = default;

void ShootCommand::run()
{
    camera_ = std::make_unique<OpenCamera>(options_, interruption_, QVCameraCaptureIntentStillImage);
    const auto& controller = *camera_->controller();
    report_.setDriver(CaptureDriver::installed()->name());
    report_.setCamera(controller.currentVideoCaptureDevice()->uniqueID());
    report_.beginPhotos();
    choosePhotoSettings();
    if (options_.shoot.album)
        album_ = std::make_unique<PhotoAlbum>(*options_.shoot.album, std::nullopt);
    camera_->start();
    for (int i = 0; i < options_.shoot.count; ++i)
        store(takePhoto(*camera_, options_.shoot.live));
    camera_.reset();
}

void ShootCommand::choosePhotoSettings()
{
    const auto& shoot = options_.shoot;
    auto& controller = *camera_->controller();
    controller.prepareToCaptureStillImage();
    if (shoot.flash != AVCaptureFlashModeOff && !controller.isFlashModeSupported(shoot.flash))
        throw Refusal("The flash cannot be used", "this camera has none that does this", "use --flash off");
    controller.setFlashMode(shoot.flash);
    if (shoot.raw != QVRawCaptureModeNone && !controller.isRAWCaptureSupported())
        throw Refusal("No DNG can be made", "this camera gives no RAW pictures", "use --raw none, or another --lens");
    controller.setRawCaptureMode(shoot.raw);
    controller.setLivePhotoCaptureEnabled(shoot.live);
    if (shoot.live && !controller.isLivePhotoCaptureEnabled())
        throw Refusal("No live photo can be taken", "this camera does not support them", "leave --live out");
}

void ShootCommand::store(const TakenPhoto& shot)
{
    auto& photo = *shot.photo;
    auto report = reportOf(photo);
    for (const auto& path : album_ ? storePhoto(*album_, photo) : storePhoto(folder_, photo)) {
        report.bytes += std::filesystem::file_size(path);
        (path.extension() == ".jpg" ? report.jpg : path.extension() == ".dng" ? report.dng : report.movie) = path;
    }
    report.milliseconds = { millisecondsAt(shot.request), millisecondsAt(shot.exposure), millisecondsAt(shot.data),
        millisecondsAt(std::chrono::steady_clock::now()) };
    report_.add(report);
}

}
