// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureDeviceFormat.h"
#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/NSError.h"

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// Posted on the main thread, with the device as the object: it was plugged in, or it went. A device in use that comes
/// back within its driver's patience goes on by itself; see the session's interruptions.
inline constexpr const char* AVCaptureDeviceWasConnectedNotification = "AVCaptureDeviceWasConnectedNotification";
inline constexpr const char* AVCaptureDeviceWasDisconnectedNotification = "AVCaptureDeviceWasDisconnectedNotification";

/// "The ISO, the duration, the lens position that is in force": they keep the other quantity of a setting.
inline constexpr float AVCaptureISOCurrent = -3.402823466e+38F;
inline constexpr CMTime AVCaptureExposureDurationCurrent = kCMTimeInvalid;
inline constexpr float AVCaptureLensPositionCurrent = -3.402823466e+38F;

/// Told of what happens to a device by itself, on a thread of the driver, which waits: hop before doing more.
class VELMORA_EXPORT AVCaptureDeviceListener {
public:
    virtual ~AVCaptureDeviceListener() = default;
    virtual void deviceFailed(const NSError& error) = 0;
    virtual void deviceInterrupted(const std::optional<NSError>& error) = 0;
    virtual void deviceInterruptionEnded() = 0;
    virtual void deviceFound(const std::vector<CaptureMetadataObject>& objects) = 0;
    virtual void deviceTaken() = 0; ///< somebody else streams from it now; told only to whom it was taken from
    virtual void deviceReleased() = 0; ///< nobody streams from it any more
};

/// A camera or a microphone. There is one object for each, however often it is looked up.
///
/// From any thread. Observable, on whatever thread the device changes: ISO, lensPosition, exposureDuration,
/// exposureTargetOffset, exposureTargetBias, focusMode, adjustingFocus, exposureMode, adjustingExposure. Setters want
/// the configuration lock; a change without it is made all the same, and drivers with a journal count it.
class VELMORA_EXPORT AVCaptureDevice : public NSObject {
public:
    /// Called with the time of the first frame that shows the setting, once, on a thread of the driver; never when the
    /// device never obeys.
    using CompletionHandler = std::function<void(CMTime)>;

    /// Empty when there is none, as everywhere where nothing is installed.
    static std::shared_ptr<AVCaptureDevice> defaultDeviceWithDeviceType(
        const std::string& type, const std::string& mediaType, AVCaptureDevicePosition position);
    static std::shared_ptr<AVCaptureDevice> defaultDeviceWithMediaType(const std::string& mediaType);
    /// Asked afresh each time; restricted when no driver is installed.
    static AVAuthorizationStatus authorizationStatusForMediaType(const std::string& mediaType);
    /// `answer` comes on a thread of the driver.
    static void requestAccessForMediaType(const std::string& mediaType, std::function<void(bool)> answer);
    /// All devices that are there, in the driver's order.
    static std::vector<std::shared_ptr<AVCaptureDevice>> allDevices();
    /// The one object for `driver`.
    static std::shared_ptr<AVCaptureDevice> deviceForDriver(const std::shared_ptr<CaptureDeviceDriver>& driver);

    explicit AVCaptureDevice(std::shared_ptr<CaptureDeviceDriver> driver);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    std::string uniqueID() const;
    std::string localizedName() const;
    std::string deviceType() const; ///< AVCaptureDeviceType..., or any other text
    AVCaptureDevicePosition position() const;
    bool hasMediaType(const std::string& mediaType) const;
    bool supportsAVCaptureSessionPreset(const std::string& preset) const;
    std::string description() const override; ///< "<Velmora.AVCaptureDevice: 0x... [name][id]>"

    /// Nested and from several threads: counted. False and the error when the device refuses.
    bool lockForConfiguration(std::optional<NSError>* error = nullptr);
    void unlockForConfiguration();

    /// In the device's order, which decides ties; may be empty.
    std::vector<std::shared_ptr<AVCaptureDeviceFormat>> formats() const;
    std::shared_ptr<AVCaptureDeviceFormat> activeFormat() const; ///< Empty for a device without formats.
    /// Both frame durations become the shortest of its first range. A format of another device is ignored.
    void setActiveFormat(const std::shared_ptr<AVCaptureDeviceFormat>& format);
    CMTime activeVideoMinFrameDuration() const;
    CMTime activeVideoMaxFrameDuration() const;
    void setActiveVideoMinFrameDuration(const CMTime& duration);
    void setActiveVideoMaxFrameDuration(const CMTime& duration);

    bool isTorchModeSupported(AVCaptureTorchMode mode) const;
    AVCaptureTorchMode torchMode() const;
    void setTorchMode(AVCaptureTorchMode mode);
    bool isGeometricDistortionCorrectionSupported() const;
    bool isGeometricDistortionCorrectionEnabled() const;
    void setGeometricDistortionCorrectionEnabled(bool enabled);

    /// Points are 0 to 1 in the sensor's picture, landscape with the device's right side down.
    bool isFocusPointOfInterestSupported() const;
    CGPoint focusPointOfInterest() const;
    void setFocusPointOfInterest(CGPoint point);
    bool isFocusModeSupported(AVCaptureFocusMode mode) const;
    AVCaptureFocusMode focusMode() const;
    void setFocusMode(AVCaptureFocusMode mode);
    bool isAdjustingFocus() const;
    float lensPosition() const; ///< 0 nearest to 1 farthest
    void setFocusModeLockedWithLensPosition(float position, CompletionHandler handler);

    bool isExposurePointOfInterestSupported() const;
    CGPoint exposurePointOfInterest() const;
    void setExposurePointOfInterest(CGPoint point);
    bool isExposureModeSupported(AVCaptureExposureMode mode) const;
    AVCaptureExposureMode exposureMode() const;
    void setExposureMode(AVCaptureExposureMode mode);
    bool isAdjustingExposure() const;
    CMTime exposureDuration() const;
    float ISO() const;
    float lensAperture() const; ///< f-number; 0 is unknown
    void setExposureModeCustomWithDuration(const CMTime& duration, float ISO, CompletionHandler handler);
    float minExposureTargetBias() const; ///< stops
    float maxExposureTargetBias() const;
    float exposureTargetBias() const;
    float exposureTargetOffset() const;
    void setExposureTargetBias(float bias, CompletionHandler handler);

    bool isWhiteBalanceModeSupported(AVCaptureWhiteBalanceMode mode) const;
    AVCaptureWhiteBalanceMode whiteBalanceMode() const;
    void setWhiteBalanceMode(AVCaptureWhiteBalanceMode mode);
    bool isAdjustingWhiteBalance() const;
    float maxWhiteBalanceGain() const;
    AVCaptureWhiteBalanceGains deviceWhiteBalanceGains() const;
    void setWhiteBalanceModeLockedWithDeviceWhiteBalanceGains(
        const AVCaptureWhiteBalanceGains& gains, CompletionHandler handler);
    /// Not limited: a temperature that the device cannot do has gains below 1 or above the maximum.
    AVCaptureWhiteBalanceGains deviceWhiteBalanceGainsForTemperatureAndTintValues(
        const AVCaptureWhiteBalanceTemperatureAndTintValues& values) const;
    /// The way back: gives the temperature and tint that these gains were made of.
    AVCaptureWhiteBalanceTemperatureAndTintValues temperatureAndTintValuesForDeviceWhiteBalanceGains(
        const AVCaptureWhiteBalanceGains& gains) const;

    double videoZoomFactor() const;
    /// A factor outside 1 to the active format's maximum is logged and ignored.
    void setVideoZoomFactor(double factor);
    /// Doublings a second, by the clock in force; another zoom ends it.
    void rampToVideoZoomFactor(double factor, float rate);
    void cancelVideoZoomRamp();
    bool isRampingVideoZoom() const;

    // For the session and its outputs.
    const std::shared_ptr<CaptureDeviceDriver>& driver() const { return driver_; }
    CaptureDeviceDescription deviceDescription() const { return driver_->description(); }
    CaptureSettings settings() const;
    /// Frames or sound for `user`, until it stops them or another one starts: the newest has the device. The one
    /// before is told that it was taken, after its last delivery.
    std::optional<NSError> startStream(const std::shared_ptr<AVCaptureDeviceListener>& user,
        const StreamRequest& request, std::function<void(std::shared_ptr<CMSampleBuffer>)> deliver);
    void stopStream(const std::shared_ptr<AVCaptureDeviceListener>& user); ///< Leaves another user's stream alone.
    std::shared_ptr<AVCaptureDeviceListener> streamUser() const; ///< Empty when nobody streams.
    void addListener(const std::weak_ptr<AVCaptureDeviceListener>& listener);
    void removeListener(const AVCaptureDeviceListener* listener);
    /// Makes the format active that the device names for `preset`, if it names one.
    void useFormatForPreset(const std::string& preset);
    /// When somebody last set a format, as counted by configurationMoment(), which never answers the same twice.
    std::uint64_t formatSetMoment() const;
    static std::uint64_t configurationMoment();

protected:
    void didConstruct() override;

private:
    struct PendingChange {
        CaptureSettings settings;
        std::string what;
        CompletionHandler tookEffect;
    };
    using Edit = std::function<void(CaptureSettings&)>;
    void change(const std::string& what, const std::vector<std::string_view>& keys, const Edit& edit,
        CompletionHandler tookEffect = nullptr);
    void hand(PendingChange next);
    void makeActive(std::size_t index, const CaptureFormat& format, const std::string& what);
    void hand(const std::string& what) { hand({ {}, what, nullptr }); }
    void take(const CaptureReadings& readings);
    CaptureReadings currentReadings() const; // every member is present
    bool zoomFits(double factor) const;
    void setZoom(double factor);
    void stepRamp(std::uint64_t ramp);
    void setStreamUser(const std::shared_ptr<AVCaptureDeviceListener>& user);
    template <class Call> void tellListeners(Call call);

    const std::shared_ptr<CaptureDeviceDriver> driver_;

    std::mutex lockMutex_; // held while the driver locks and unlocks
    int lockCount_ = 0;

    std::mutex streamMutex_; // held while the driver starts and stops
    mutable std::mutex mutex_; // what follows; never held while a driver or an observer is called
    CaptureSettings settings_;
    CaptureReadings readings_;
    std::deque<PendingChange> pending_;
    bool applying_ = false;
    std::weak_ptr<AVCaptureDeviceListener> streamUser_;
    std::uint64_t formatSetMoment_ = 0;
    std::uint64_t ramp_ = 0;
    bool ramping_ = false;
    double rampFrom_ = 1, rampTo_ = 1, rampBegan_ = 0, rampRate_ = 1;
    std::vector<std::weak_ptr<AVCaptureDeviceListener>> listeners_;
    mutable std::vector<CaptureFormat> formatValues_;
    mutable std::vector<std::shared_ptr<AVCaptureDeviceFormat>> formats_;
};

}
