// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/ListCommands.h"

#include "velmora/model/QVLens.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/CaptureDriver.h"

#include <algorithm>

#include "apps/camera/CameraSource.h"
#include "apps/camera/Report.h"
#include "apps/camera/Words.h"

namespace velmora::camera {

namespace {

std::string positionOf(AVCaptureDevicePosition position)
{
    const auto word = wordFor(positionWords, position);
    return word.empty() ? "unspecified" : word;
}

/// The command line's word for a kind of camera, else the platform's own name.
std::string typeOf(const AVCaptureDevice& device)
{
    for (const auto& lens : QVLens::availableLenses())
        if (lens->captureDevice().get() == &device)
            return wordFor(lensWords, lens->lensType());
    return device.deviceType();
}

DeviceReport::Format reportOf(const AVCaptureDeviceFormat& format)
{
    DeviceReport::Format report;
    const auto size = format.formatDescription()->dimensions();
    const auto still = format.highResolutionStillImageDimensions();
    report.width = size.width;
    report.height = size.height;
    report.stillWidth = still.width;
    report.stillHeight = still.height;
    for (const auto& range : format.videoSupportedFrameRateRanges())
        report.frameRates.emplace_back(range->minFrameRate(), range->maxFrameRate());
    report.lowestISO = format.minISO();
    report.highestISO = format.maxISO();
    report.shortestExposure = CMTimeGetSeconds(format.minExposureDuration());
    report.longestExposure = CMTimeGetSeconds(format.maxExposureDuration());
    report.highestZoom = format.videoMaxZoomFactor();
    report.depth = !format.supportedDepthDataFormats().empty();
    return report;
}

std::vector<std::string> controlsOf(const AVCaptureDevice& device)
{
    const auto& description = device.deviceDescription();
    const auto hasMoreThanNone = [](const std::vector<int>& modes) {
        return std::any_of(modes.begin(), modes.end(), [](int mode) { return mode != 0; });
    };
    std::vector<std::string> controls;
    const auto add = [&](bool has, const char* name) {
        if (has)
            controls.emplace_back(name);
    };
    add(device.isFocusModeSupported(AVCaptureFocusModeLocked), "focus");
    add(device.isFocusPointOfInterestSupported(), "focus point");
    add(device.isExposureModeSupported(AVCaptureExposureModeCustom), "exposure");
    add(device.isExposurePointOfInterestSupported(), "exposure point");
    add(device.isWhiteBalanceModeSupported(AVCaptureWhiteBalanceModeLocked), "white balance");
    add(hasMoreThanNone(description.flashModes), "flash");
    add(device.isTorchModeSupported(AVCaptureTorchModeOn), "torch");
    add(hasMoreThanNone(description.stabilizationModes), "stabilization");
    add(device.isGeometricDistortionCorrectionSupported(), "distortion correction");
    add(!description.rawFormats.empty(), "RAW");
    add(description.livePhoto, "live photos");
    return controls;
}

DeviceReport reportOf(const AVCaptureDevice& device)
{
    DeviceReport report;
    report.identifier = device.uniqueID();
    report.name = device.localizedName();
    report.type = typeOf(device);
    report.position = positionOf(device.position());
    for (const auto& format : device.formats())
        report.formats.push_back(reportOf(*format));
    report.controls = controlsOf(device);
    report.lowestBias = device.minExposureTargetBias();
    report.highestBias = device.maxExposureTargetBias();
    return report;
}

void tellDriver(Report& report)
{
    if (const auto driver = CaptureDriver::installed())
        report.setDriver(driver->name());
}

}

void listLenses(const Options& options, Report& report)
{
    const CameraSource source(options);
    tellDriver(report);
    std::vector<LensReport> lenses;
    for (const auto& lens : QVLens::availableLenses())
        lenses.push_back({ positionOf(lens->position()), wordFor(lensWords, lens->lensType()), lens->lensType(),
            lens->attributes().contains(QVLens::LensAttributes::depthCapture) });
    report.tell(lenses);
}

void listDevices(const Options& options, Report& report)
{
    const CameraSource source(options, CameraSource::MayBeNone);
    tellDriver(report);
    std::vector<DeviceReport> devices;
    for (const auto& device : AVCaptureDevice::allDevices())
        if (device->hasMediaType(AVMediaTypeVideo))
            devices.push_back(reportOf(*device));
    report.tell(devices, drivers::installedDrivers());
}

}
