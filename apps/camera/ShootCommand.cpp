// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/ShootCommand.h"

#include "velmora/capture/QVCameraController.h"
#include "velmora/results/QVCaptureLocationInfo.h"
#include "velmora/results/QVLocationProvider.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/Foundation/NSNotificationCenter.h"
#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/NSURL.h"
#include "platform/ImageIO/ImageMetadata.h"

#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <optional>

#include "apps/camera/CameraSource.h"
#include "apps/camera/Interruption.h"
#include "apps/camera/Refusal.h"

namespace velmora::camera {

namespace {

// Seconds.
constexpr double longestShot = 30;
constexpr double longestWaitForPlace = 3;

struct NamedLens {
    QVLensType type;
    const char* word;
};
constexpr std::array namedLenses { NamedLens { QVLensTypeWideAngle, "wide" }, NamedLens { QVLensTypeTelephoto, "tele" },
    NamedLens { QVLensTypeUltraWide, "ultrawide" }, NamedLens { QVLensTypeDual, "dual" },
    NamedLens { QVLensTypeDualWide, "dualwide" }, NamedLens { QVLensTypeTriple, "triple" },
    NamedLens { QVLensTypeTrueDepth, "truedepth" } };

using Moment = std::chrono::steady_clock::time_point;

/// Set before main() runs.
const Moment begin = std::chrono::steady_clock::now();

double millisecondsAt(Moment moment)
{
    return std::chrono::duration<double, std::milli>(moment - begin).count();
}

std::string nameOf(QVLensType type)
{
    for (const auto& lens : namedLenses)
        if (lens.type == type)
            return lens.word;
    return {};
}

std::string nameOf(AVCaptureDevicePosition position)
{
    return position == AVCaptureDevicePositionFront ? "front" : "back";
}

std::string lensesOf(const QVCameraController& controller)
{
    std::string words;
    for (const auto& lens : namedLenses)
        if (controller.hasLensTypeInCurrentDevicePosition(lens.type))
            words += (words.empty() ? "" : ", ") + std::string(lens.word);
    return words;
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

/// What went wrong with the session; on the main thread.
struct ShootCommand::Failure {
    std::optional<NSError> error;
};

struct ShootCommand::Shot {
    std::shared_ptr<QVPhotoCaptureOutput> photo;
    std::optional<NSError> error;
    bool finished = false;
    Moment request, exposure, data;
};

ShootCommand::ShootCommand(const Options& options, Report& report, const Interruption& interruption)
    : options_(options)
    , report_(report)
    , interruption_(interruption)
    , folder_(options.shoot.out        ? *options.shoot.out
              : options.global.library ? *options.global.library
                                       : PictureFolder::ofUser())
{
}

ShootCommand::~ShootCommand() = default;

void ShootCommand::run()
{
    source_ = std::make_unique<CameraSource>(options_);
    openCamera();
    chooseLens();
    choosePhotoSettings();
    startSession();
    for (int i = 0; i < options_.shoot.count; ++i)
        store(takePhoto());
    if (options_.camera.torch)
        controller_->setTorchOn(false);
    controller_->stopSession();
    controller_.reset();
}

void ShootCommand::openCamera()
{
    failure_ = std::make_shared<Failure>();
    failureObservation_ = NSNotificationCenter::defaultCenter().addObserver(
        kQVCaptureSessionErrorOccurredNotification, nullptr, [failure = failure_](const NSNotification& notification) {
            if (const auto error = std::dynamic_pointer_cast<const NSError>(notification.object))
                DispatchQueue::main().async([failure, error] { failure->error = *error; });
        });
    controller_ = make<QVCameraController>(options_.camera.position);
    const auto device = controller_->currentVideoCaptureDevice();
    if (device && device->position() == options_.camera.position)
        return;
    const auto other = device ? device : AVCaptureDevice::defaultDeviceWithMediaType(AVMediaTypeVideo);
    if (!other)
        throw Refusal("There is no camera", "this phone has none", "use another --phone");
    throw Refusal("There is no " + nameOf(options_.camera.position) + " camera", "this phone has none there",
        "use --position " + nameOf(other->position()));
}

void ShootCommand::chooseLens()
{
    const auto lens = options_.camera.lens;
    if (!controller_->hasLensTypeInCurrentDevicePosition(lens))
        throw Refusal("There is no " + nameOf(lens) + " camera at the " + nameOf(options_.camera.position),
            "this phone has none there", "use --lens with one of: " + lensesOf(*controller_));
    controller_->setLensType(lens);
    report_.setCamera(CaptureDriver::installed()->name(), controller_->currentVideoCaptureDevice()->uniqueID());
}

void ShootCommand::choosePhotoSettings()
{
    const auto& shoot = options_.shoot;
    controller_->prepareToCaptureStillImage();
    if (shoot.flash != AVCaptureFlashModeOff && !controller_->isFlashModeSupported(shoot.flash))
        throw Refusal("The flash cannot be used", "this camera has none that does this", "use --flash off");
    controller_->setFlashMode(shoot.flash);
    if (shoot.raw != QVRawCaptureModeNone && !controller_->isRAWCaptureSupported())
        throw Refusal("No DNG can be made", "this camera gives no RAW pictures", "use --raw none, or another --lens");
    controller_->setRawCaptureMode(shoot.raw);
    controller_->setLivePhotoCaptureEnabled(shoot.live);
    if (shoot.live && !controller_->isLivePhotoCaptureEnabled())
        throw Refusal("No live photo can be taken", "this camera does not support them", "leave --live out");
    if (options_.camera.torch && !controller_->hasTorch())
        throw Refusal("The torch cannot be lit", "this camera has none", "use --torch off");
}

void ShootCommand::startSession()
{
    if (AVCaptureDevice::authorizationStatusForMediaType(AVMediaTypeVideo) != AVAuthorizationStatusAuthorized)
        throw Refusal("The camera may not be used", "permission is missing", "grant it, and try again");
    controller_->startSession();
    if (!controller_->isSessionRunning()) {
        NSRunLoop::mainRunLoop().turn(); // brings the reason
        throw Refusal("The camera does not start", reason({}, "it gave no reason"), "try another --lens or --phone");
    }
    if (options_.camera.torch)
        controller_->setTorchOn(true);
    // The first reading of the sensors comes too late for the first photo.
    if (options_.camera.orientation)
        controller_->setDeviceOrientation(*options_.camera.orientation);
    if (source_->hasPlace())
        waitForPlace();
}

void ShootCommand::waitForPlace()
{
    const auto& provider = controller_->locationProvider();
    const auto isNamed = [&] { return provider->currentLocation() && provider->currentLandmarkName(); };
    if (!turnUntil(isNamed, longestWaitForPlace))
        NSLog("No name was found for the place within %i s", static_cast<int>(longestWaitForPlace));
}

ShootCommand::Shot ShootCommand::takePhoto()
{
    // A late answer finds the shot still there.
    const auto shot = std::make_shared<Shot>();
    shot->request = shot->exposure = std::chrono::steady_clock::now();
    const auto began = [shot] {
        DispatchQueue::main().async([shot, now = std::chrono::steady_clock::now()] { shot->exposure = now; });
    };
    const auto finished = [shot](std::shared_ptr<QVPhotoCaptureOutput> photo, std::optional<NSError> error) {
        DispatchQueue::main().async(
            [shot, photo = std::move(photo), error = std::move(error), now = std::chrono::steady_clock::now()] {
                shot->photo = photo;
                shot->error = error;
                shot->data = now;
                shot->finished = true;
            });
    };
    const bool started = options_.shoot.live ? controller_->captureLivePhoto(began, finished)
                                             : controller_->captureStillImage(began, finished);
    if (!started)
        throw Refusal("No photo was taken", reason({}, "the camera stopped"), "try again");
    if (!turnUntil([&] { return shot->finished || failure_->error; }, longestShot))
        throw Refusal("No photo was taken", "the camera did not answer within 30 s", "try again");
    if (!shot->photo)
        throw Refusal(
            "No photo was taken", reason(shot->error, "the camera gave neither a picture nor a reason"), "try again");
    return *shot;
}

void ShootCommand::store(const Shot& shot)
{
    auto& photo = *shot.photo;
    auto report = reportOf(photo);
    photo.setJpgImageData(withPlace(photo.jpgImageData(), photo));
    photo.setDngImageData(withPlace(photo.dngImageData(), photo));
    for (const auto& path : folder_.store(photoNameForDate(report.secondsSince1970), filesOf(photo))) {
        report.bytes += std::filesystem::file_size(path);
        (path.extension() == ".jpg" ? report.jpg : path.extension() == ".dng" ? report.dng : report.movie) = path;
    }
    report.milliseconds = { millisecondsAt(shot.request), millisecondsAt(shot.exposure), millisecondsAt(shot.data),
        millisecondsAt(std::chrono::steady_clock::now()) };
    if (const auto movie = photo.livePhotoMovieURL())
        unlink(movie->path().c_str());
    report_.add(report);
}

std::string ShootCommand::reason(const std::optional<NSError>& error, const char* otherwise) const
{
    if (failure_->error)
        return asClause(failure_->error->localizedDescription());
    return error ? asClause(error->localizedDescription()) : otherwise;
}

bool ShootCommand::turnUntil(const std::function<bool()>& done, double seconds) const
{
    using namespace std::chrono;
    const auto end = steady_clock::now() + duration<double>(seconds);
    while (!done()) {
        if (interruption_.signal() != 0)
            throw Refusal("Stopped", "a signal came", "start again to go on", ExitBySignal + interruption_.signal());
        const auto left = duration<double>(end - steady_clock::now()).count();
        if (left <= 0)
            return false;
        NSRunLoop::mainRunLoop().turn(left);
    }
    return true;
}

}
