// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/CoreMedia/CMSampleBuffer.h"
#include "platform/CoreMedia/CMTime.h"
#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/Cancellable.h"
#include "platform/Foundation/NSError.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora {

struct CaptureFrameRateRange {
    double minFrameRate = 1, maxFrameRate = 30; ///< frames a second
    CMTime minFrameDuration, maxFrameDuration; ///< the timescale is the device's own
};

struct CaptureFormat {
    CMVideoDimensions dimensions, highResolutionStill; ///< pixels
    std::vector<CaptureFrameRateRange> frameRates; ///< in the device's order
    std::vector<CMVideoDimensions> depth; ///< empty: no depth
    CMTime minExposureDuration, maxExposureDuration;
    float minISO = 0, maxISO = 0;
    double maxZoomFactor = 1;
};

/// What a device is; it does not change while the device is plugged in.
struct CaptureDeviceDescription {
    std::string uniqueID; ///< the same for the same device after unplugging and after a restart
    std::string name, make, model; ///< for people and for metadata
    std::string mediaType = AVMediaTypeVideo;
    std::string deviceType; ///< AVCaptureDeviceType..., or any other text
    AVCaptureDevicePosition position = AVCaptureDevicePositionUnspecified;
    std::optional<AVCaptureDevicePosition> foundAt; ///< where discovery finds it, when it differs from `position`
    std::vector<CaptureFormat> formats; ///< in the device's order; may be empty
    std::size_t activeFormat = 0;
    /// The presets that the device can do, with the format that each selects, if it selects one. Empty: all of them,
    /// and none selects a format.
    std::map<std::string, std::optional<std::size_t>> presets;
    std::vector<int> flashModes, torchModes, focusModes, exposureModes, whiteBalanceModes, stabilizationModes;
    std::vector<std::uint32_t> rawFormats, previewFormats; ///< four-character codes, the preferred first
    std::vector<std::string> metadataTypes; ///< what it can find in the picture: AVMetadataObjectTypeFace
    bool focusPoint = false, exposurePoint = false, distortionCorrection = false, portraitMatte = false,
         livePhoto = false;
    float minExposureBias = 0, maxExposureBias = 0; ///< stops
    float maxWhiteBalanceGain = 1, aperture = 0; ///< f-number
    float focalLength = 0, focalLengthIn35mm = 0; ///< millimetres; 0 is unknown
    std::string lensModel;
    /// Degrees clockwise that the sensor's picture must be turned to stand upright when the device is held upright: 0,
    /// 90, 180 or 270.
    int sensorRotation = 90;
};

/// All that a caller can set on a device. The service keeps it and its rules; the driver gets all of it at each change.
struct CaptureSettings {
    std::size_t activeFormat = 0;
    CMTime minFrameDuration, maxFrameDuration;
    int focusMode = 0, exposureMode = 0, whiteBalanceMode = 0, torchMode = 0;
    double focusPointX = 0.5, focusPointY = 0.5, exposurePointX = 0.5,
           exposurePointY = 0.5; ///< 0 to 1, sensor's picture
    float lensPosition = 0.5F; ///< 0 nearest to 1 farthest; for locked focus
    CMTime exposureDuration; ///< for custom exposure
    float ISO = 0; ///< for custom exposure
    float exposureTargetBias = 0; ///< stops
    AVCaptureWhiteBalanceGains whiteBalanceGains; ///< for locked white balance
    double zoomFactor = 1;
    bool distortionCorrection = false;
};

/// What a device reports of itself; every member that is present may have changed.
struct CaptureReadings {
    std::optional<float> ISO, lensPosition, exposureTargetOffset, exposureTargetBias;
    std::optional<CMTime> exposureDuration;
    std::optional<AVCaptureWhiteBalanceGains> whiteBalanceGains;
    std::optional<bool> adjustingFocus, adjustingExposure, adjustingWhiteBalance;
};

/// What the picture was taken with.
struct ExposureInfo {
    CMTime duration;
    float ISO = 0, bias = 0; ///< bias in stops
    AVCaptureWhiteBalanceGains gains;
    bool flashFired = false;
    double date = 0; ///< seconds since the reference date, when the exposure began
    CMTime presentationTime; ///< the same moment by the clock in force, as frames carry it
    double zoomFactor = 1;
};

/// A picture as the sensor read it: one Bayer plane, linear, 16 bits a sample.
struct RawImage {
    std::shared_ptr<CVPixelBuffer> samples;
    std::array<std::uint8_t, 4> pattern { 2, 1, 1, 0 }; ///< of a 2x2 tile, row by row: 0 red, 1 green, 2 blue
    std::uint16_t blackLevel = 0, whiteLevel = 16383;
    std::array<double, 9> colorMatrix {}; ///< from XYZ (D65) to the sensor's channels, row by row
    std::array<double, 3> asShotNeutral { 1, 1, 1 }; ///< what a grey surface reads, green is 1
    double baselineExposure = 0; ///< stops
};

struct CapturedStill {
    std::shared_ptr<CVPixelBuffer> pixels; ///< '420f', in the sensor's orientation; empty for a RAW picture
    std::optional<RawImage> raw;
    std::shared_ptr<CVPixelBuffer> preview; ///< when one was asked for
    ExposureInfo exposure;
};

struct StillRequest {
    bool processed = true; ///< a picture for an ordinary file
    std::optional<std::uint32_t> rawFormat {}; ///< a RAW picture too, or alone
    int flashMode = 0;
    std::optional<std::uint32_t> previewFormat {};
    std::int32_t previewWidth = 0; ///< pixels; the height follows the picture's shape
    bool livePhoto = false; ///< the service writes the movie; the driver only paces the callbacks
};

/// What happens to one request for a still, in order, from any one thread at a time.
struct StillEvents {
    std::function<void(bool flash)> shutter;
    /// A picture, or none; an error, or none.
    std::function<void(std::optional<CapturedStill>, std::optional<NSError>)> processed, raw;
    /// The movie of a live photo may end now, well or with an error.
    std::function<void(std::optional<NSError>)> movie;
    std::function<void(bool flash, std::optional<NSError>)> done;
};

struct StreamRequest {
    std::uint32_t pixelFormat = kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;
    int stabilizationMode = 0;
};

/// A rectangle in the sensor's picture, 0 to 1, and what was found there.
struct CaptureMetadataObject {
    std::string type;
    double x = 0, y = 0, width = 0, height = 0;
    double time = 0; ///< seconds, by the clock in force
    std::int64_t faceID = 0; ///< of a face: the same while it stays in the picture
};

/// What a device tells by itself, on any thread.
struct CaptureDeviceEvents {
    std::function<void(const CaptureReadings&)> readingsChanged;
    std::function<void(const NSError&)> failed; ///< unplugged, or broken: nothing more will come
    std::function<void(std::vector<CaptureMetadataObject>)> metadata;
    std::function<void(std::optional<NSError>)> interrupted; ///< somebody else took it
    std::function<void()> interruptionEnded;
};

/// One camera or microphone, held by the one AVCaptureDevice that stands for it.
class VELMORA_EXPORT CaptureDeviceDriver {
public:
    virtual ~CaptureDeviceDriver() = default;
    /// Where the device has not changed, the same as before.
    virtual CaptureDeviceDescription description() const = 0;
    virtual void setEvents(CaptureDeviceEvents events) = 0;

    /// What an input gets when it is made: whether there is one, and an error; both and neither are possible.
    virtual std::pair<bool, std::optional<NSError>> open() = 0;
    /// Locks are counted by the service; the driver hears of the first and the last.
    virtual std::optional<NSError> lock() = 0;
    virtual void unlock() = 0;
    /// `what` names the change for the log of the device ("ISO 200"); what the service changes by itself (the format of
    /// a preset, the steps of a zoom) begins with "auto " and needs no lock. Before the first call the device is as
    /// described, in its most automatic modes, at the first frame rate of its format. Calls `tookEffect`, when given,
    /// with the time of the first frame that shows it, once, or never when the device never obeys.
    virtual void apply(const CaptureSettings& settings, const std::string& what, std::function<void(CMTime)> tookEffect)
        = 0;

    /// Frames, or sound, arrive on the driver's thread until `stop`, which returns after the last one.
    virtual std::optional<NSError> start(
        const StreamRequest& request, std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver)
        = 0;
    virtual void stop() = 0;
    /// Only while started. Answers through the events, done last, also when it is stopped or fails meanwhile.
    virtual void captureStill(const StillRequest& request, StillEvents events) = 0;

    /// Gains for a temperature and the way back, as the sensor is built; the service falls back on daylight.
    virtual std::optional<AVCaptureWhiteBalanceGains> gains(const AVCaptureWhiteBalanceTemperatureAndTintValues&) const
    {
        return std::nullopt;
    }
};

/// A family of devices: the virtual phone, a daemon's, the kernel's. One is installed for the process.
class VELMORA_EXPORT CaptureDriver {
public:
    virtual ~CaptureDriver() = default;
    virtual std::string name() const = 0; ///< "virtual", "pipewire", "v4l2"
    /// All cameras and microphones that are there now, in the driver's order. The same object for the same device.
    virtual std::vector<std::shared_ptr<CaptureDeviceDriver>> devices() = 0;
    /// The one to take when nobody asked for a certain one; empty when there is none.
    virtual std::shared_ptr<CaptureDeviceDriver> defaultDevice(const std::string& mediaType) = 0;
    /// 0 not determined, 1 restricted, 2 denied, 3 authorised; read afresh at every question.
    virtual AVAuthorizationStatus authorizationStatus(const std::string& mediaType) = 0;
    virtual void requestAccess(const std::string& mediaType, std::function<void(bool)> answer) = 0;

    /// A whole session's refusals and failures; an ordinary driver has none of its own.
    virtual bool canAddInput(const std::string& /*uniqueID*/, const std::string& /*preset*/) { return true; }
    virtual bool canSetPreset(const std::string& /*preset*/) { return true; }
    /// Nothing: the session starts now. A delay in seconds, or never for a negative one.
    virtual std::optional<double> startDelay() { return std::nullopt; }
    /// Whether an output of this kind ("video", "audio", "photo", "movie", "metadata") can be made.
    virtual bool canCreateOutput(const std::string& /*kind*/) { return true; }
    /// The media types of a photo output's connections, in order, with a camera in the session.
    virtual std::vector<std::string> photoConnections() { return { "video" }; }
    virtual bool previewConnection() { return true; }
    /// A recording has taken that many more bytes of the device's storage; an error ends it.
    virtual std::optional<NSError> recorded(std::uint64_t /*bytes*/) { return std::nullopt; }
    /// Notes what the service did with a connection or the session, for those who keep a journal.
    virtual void note(const std::string& /*what*/, const std::string& /*device*/) { }

    /// A device was plugged in, or went.
    using DevicePresence = std::function<void(const std::shared_ptr<CaptureDeviceDriver>& device, bool isThere)>;
    /// From now on, on any thread; an empty one ends it. What is there already is not told.
    virtual void setDevicePresence(DevicePresence /*told*/) { }

    static std::shared_ptr<CaptureDriver> installed(); ///< Empty when there is none.
    /// Its devices' coming and going is posted from then on: see AVCaptureDeviceWasConnectedNotification.
    static void install(std::shared_ptr<CaptureDriver> driver);
};

}
