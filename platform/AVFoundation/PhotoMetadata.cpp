// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/PhotoMetadata.h"

#include "platform/Foundation/Clock.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace velmora {

namespace {

constexpr const char* software = "Velmora 0.1.0";

// Values of EXIF 2.32.
constexpr std::int64_t flashFiredBit = 0x01, flashAlwaysBits = 0x08, flashNeverBits = 0x10, flashAutoBits = 0x18,
                       flashAbsentBit = 0x20;
constexpr std::int64_t exposureAuto = 0, exposureManual = 1;
constexpr std::int64_t programManual = 1, programNormal = 2;
constexpr std::int64_t whiteBalanceAuto = 0, whiteBalanceManual = 1;

struct LocalTime {
    std::string date; ///< "2026:01:02 03:04:05"
    std::string offset; ///< "+01:00"
    std::string milliseconds; ///< "042"
};

LocalTime localTime(double sinceReferenceDate)
{
    const double seconds = sinceReferenceDate + NSTimeIntervalSince1970;
    const double whole = std::floor(seconds);
    const auto moment = static_cast<std::time_t>(whole);
    std::tm parts {};
    localtime_r(&moment, &parts);
    std::array<char, 32> date {}, offset {}, milliseconds {};
    std::strftime(date.data(), date.size(), "%Y:%m:%d %H:%M:%S", &parts);
    std::strftime(offset.data(), offset.size(), "%z", &parts); // "+0100"
    std::snprintf(milliseconds.data(), milliseconds.size(), "%03d", static_cast<int>((seconds - whole) * 1000));
    std::string zone = offset.data();
    if (zone.size() == 5)
        zone.insert(3, ":");
    return { date.data(), zone, milliseconds.data() };
}

std::int64_t flashBits(const PhotoCircumstances& photo)
{
    const auto& modes = photo.device.flashModes;
    if (std::none_of(modes.begin(), modes.end(), [](int mode) { return mode != AVCaptureFlashModeOff; }))
        return flashAbsentBit;
    const std::int64_t fired = photo.exposure.flashFired ? flashFiredBit : 0;
    switch (photo.flashMode) {
    case AVCaptureFlashModeOn:
        return fired | flashAlwaysBits;
    case AVCaptureFlashModeAuto:
        return fired | flashAutoBits;
    default:
        return fired | flashNeverBits;
    }
}

std::string lensModel(const CaptureDeviceDescription& device)
{
    if (!device.lensModel.empty())
        return device.lensModel;
    std::string text = device.model.empty() ? device.name : device.model;
    if (device.position != AVCaptureDevicePositionUnspecified)
        text += device.position == AVCaptureDevicePositionFront ? " front camera" : " back camera";
    std::array<char, 64> optics {};
    if (device.focalLength > 0 && device.aperture > 0)
        std::snprintf(optics.data(), optics.size(), " %gmm f/%g", static_cast<double>(device.focalLength),
            static_cast<double>(device.aperture));
    return text + optics.data();
}

ArchiveDictionary tiff(const PhotoCircumstances& photo, const LocalTime& time)
{
    const auto& device = photo.device;
    return { { "Make", device.make.empty() ? std::string("Velmora") : device.make },
        { "Model", device.model.empty() ? device.name : device.model }, { "Software", std::string(software) },
        { "DateTime", time.date }, { "Orientation", exifOrientation(photo.orientation) } };
}

void addOptics(ArchiveDictionary& exif, const PhotoCircumstances& photo)
{
    const auto& device = photo.device;
    exif["LensModel"] = lensModel(device);
    if (device.aperture > 0)
        exif["FNumber"] = static_cast<double>(device.aperture);
    if (device.focalLength > 0)
        exif["FocalLength"] = static_cast<double>(device.focalLength);
    if (device.focalLengthIn35mm > 0)
        exif["FocalLenIn35mmFilm"]
            = std::int64_t { std::llround(static_cast<double>(device.focalLengthIn35mm) * photo.exposure.zoomFactor) };
    if (photo.exposure.zoomFactor > 1)
        exif["DigitalZoomRatio"] = photo.exposure.zoomFactor;
}

void addExposure(ArchiveDictionary& exif, const PhotoCircumstances& photo)
{
    const auto& exposure = photo.exposure;
    if (const double seconds = CMTimeGetSeconds(exposure.duration); seconds > 0)
        exif["ExposureTime"] = seconds;
    if (std::isfinite(exposure.ISO) && exposure.ISO > 0)
        exif["ISOSpeedRatings"]
            = make<NSArray>(std::vector<ArchiveValue> { std::int64_t { std::lround(exposure.ISO) } });
    exif["ExposureBiasValue"] = static_cast<double>(exposure.bias);
    const bool custom = photo.settings.exposureMode == AVCaptureExposureModeCustom;
    exif["ExposureMode"] = custom ? exposureManual : exposureAuto;
    exif["ExposureProgram"] = custom ? programManual : programNormal;
    const bool lockedBalance = photo.settings.whiteBalanceMode == AVCaptureWhiteBalanceModeLocked;
    exif["WhiteBalance"] = lockedBalance ? whiteBalanceManual : whiteBalanceAuto;
    exif["Flash"] = flashBits(photo);
}

}

ArchiveDictionary photoMetadata(const PhotoCircumstances& photo)
{
    const LocalTime time = localTime(photo.exposure.date);
    const std::int64_t width = photo.dimensions.width, height = photo.dimensions.height;
    ArchiveDictionary exif { { "DateTimeOriginal", time.date }, { "DateTimeDigitized", time.date },
        { "OffsetTime", time.offset }, { "OffsetTimeOriginal", time.offset }, { "OffsetTimeDigitized", time.offset },
        { "SubsecTimeOriginal", time.milliseconds }, { "SubsecTimeDigitized", time.milliseconds },
        { "PixelXDimension", width }, { "PixelYDimension", height } };
    addOptics(exif, photo);
    addExposure(exif, photo);
    return { { "Orientation", exifOrientation(photo.orientation) }, { "PixelWidth", width }, { "PixelHeight", height },
        { "{TIFF}", make<NSDictionary>(tiff(photo, time)) }, { "{Exif}", make<NSDictionary>(std::move(exif)) } };
}

}
