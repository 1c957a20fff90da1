// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/capture/QVRawCaptureMode.h"
#include "velmora/model/QVLensType.h"

#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/CoreLocation/CLLocation.h"
#include "platform/CoreMedia/CMTime.h"
#include "platform/Foundation/NSLog.h"
#include "platform/UIKit/UIOrientation.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace velmora::camera {

enum class CameraDriver : std::uint8_t { Automatic, Virtual, PipeWire, V4L2 };

/// What stands for every command.
struct GlobalOptions {
    CameraDriver driver = CameraDriver::Automatic;
    std::optional<std::string> phone; ///< a built-in name, or a file
    std::optional<std::string> footage;
    std::optional<CLLocationCoordinate2D> at;
    std::optional<std::filesystem::path> library;
    bool json = false;
    LogLevel log = LogLevel::Normal;

    /// Somebody who describes the virtual phone wants it.
    bool describesPhone() const { return phone || footage || at; }
};

/// Which camera, and how it is set.
struct CameraOptions {
    AVCaptureDevicePosition position = AVCaptureDevicePositionBack;
    QVLensType lens = QVLensTypeWideAngle;
    bool torch = false;
    /// Automatic, and the whole picture, without a value.
    std::optional<double> zoom, iso, bias, temperature, focus; ///< factor, ISO, stops, kelvin, 0 near to 1 far
    std::optional<CMTime> shutter;
    std::optional<UIDeviceOrientation> orientation; ///< how the phone is held; its own sensors tell otherwise
};

struct ShootOptions {
    int count = 1;
    std::optional<std::filesystem::path> out;
    std::optional<std::string> album;
    QVRawCaptureMode raw = QVRawCaptureModeNone;
    AVCaptureFlashMode flash = AVCaptureFlashModeOff;
    bool live = false;
};

/// Pixels each way.
struct PictureSize {
    std::int32_t width = 0, height = 0;
};

struct RecordOptions {
    double seconds = 10;
    std::optional<double> limit; ///< seconds, of the recording itself
    std::uint32_t framesPerSecond = 30;
    std::optional<PictureSize> size; ///< otherwise what the camera prefers for movies
    bool audio = false;
    std::optional<std::filesystem::path> out;
};

struct FramesOptions {
    int count = 300;
};

struct LatencyOptions {
    int count = 20;
    std::optional<std::filesystem::path> out; ///< otherwise the photos are not kept
};

struct AlbumOptions {
    std::string name;
    std::optional<std::string> folder;
};

struct ScreenOptions {
    std::string album = "Velmora"; ///< where photos go, and what the browser shows
};

struct SnapshotOptions {
    std::optional<std::filesystem::path> png;
    PictureSize size { 390, 844 }; ///< points
    double scale = 2; ///< pixels for a point
    std::optional<std::string> script;
};

enum class Command : std::uint8_t { Screen, Snapshot, Shoot, Record, Frames, Latency, Lenses, Devices, Album };

struct Options {
    Command command = Command::Screen;
    GlobalOptions global;
    CameraOptions camera;
    ShootOptions shoot;
    RecordOptions record;
    FramesOptions frames;
    LatencyOptions latency;
    AlbumOptions album;
    ScreenOptions screen;
    SnapshotOptions snapshot;
};

}
