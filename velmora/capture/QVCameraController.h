// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/capture/QVCameraCaptureIntent.h"
#include "velmora/capture/QVCameraControllerDelegate.h"
#include "velmora/capture/QVRawCaptureMode.h"
#include "velmora/capture/QVSampleBufferTypes.h"
#include "velmora/model/QVLensType.h"
#include "velmora/results/QVPhotoCapture.h"

#include "platform/AVFoundation/AVCaptureAudioDataOutput.h"
#include "platform/AVFoundation/AVCaptureMetadataOutput.h"
#include "platform/AVFoundation/AVCaptureMovieFileOutput.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"
#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/CoreMedia/CMTime.h"
#include "platform/CoreMotion/MotionDriver.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/Guarded.h"
#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIOrientation.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class AVCaptureConnection;
class AVCaptureControl;
class AVCaptureDevice;
class AVCaptureDeviceFormat;
class AVCaptureDeviceInput;
class AVCapturePhotoOutput;
class AVCapturePhotoSettings;
class AVCaptureSession;
class AVCaptureVideoPreviewLayer;
class AVFrameRateRange;
class CMMotionManager;
class NSTimer;
class QVCameraButtonControlsDelegate;
class QVLocationProvider;
struct NSNotification;

/// Posted when the session reports an error; the object is the error itself, and there is no user information. It is
/// posted on the thread on which the session reported.
inline constexpr const char* kQVCaptureSessionErrorOccurredNotification = "QVCaptureSessionErrorOccurred";

/// Owns the cameras' capture session and everything that configures and drives it: one for each camera screen.
///
/// Make it by make<QVCameraController>(...), then call startSession(). Operations run on the caller's thread unless
/// they say otherwise. The session is reconfigured on a serial queue of the controller's own, and calls that wait for
/// it must not be made from blocks of that queue: they stop the process with a message. Failures of a device are
/// written to the log, and the operation returns without effect; values outside a device's limits are refused, never
/// clamped. Without a camera the controller is a valid object whose device operations have no effect.
class VELMORA_EXPORT QVCameraController : public NSObject,
                                          public AVCaptureVideoDataOutputSampleBufferDelegate,
                                          public AVCaptureAudioDataOutputSampleBufferDelegate,
                                          public AVCaptureMetadataOutputObjectsDelegate,
                                          public AVCaptureFileOutputRecordingDelegate,
                                          public QVPhotoCaptureDelegate {
public:
    using CaptureBeganHandler = QVPhotoCapture::CaptureBeganHandler;
    using PhotoOutputHandler = QVPhotoCapture::CapturePhotoOutputHandler;
    using CaptureCompletedHandler = QVPhotoCapture::CaptureCompletedHandler;
    /// Receives the time of the first frame that shows the setting, on a thread of the device.
    using DeviceSettingCompletion = std::function<void(CMTime)>;
    /// Receives the movie's place, and why it ended early, if it did, on a queue of the movie output's. The file
    /// belongs to the application.
    using MovieFileWrittenHandler
        = std::function<void(const std::shared_ptr<NSURL>& file, const std::optional<NSError>& error)>;
    using SampleBufferProcessor = std::function<void(const std::shared_ptr<CMSampleBuffer>&)>;

    /// Configures a session, which is not started. No preset: AVCaptureSessionPresetPhoto. A preset that the session
    /// cannot use becomes AVCaptureSessionPresetHigh.
    explicit QVCameraController(AVCaptureDevicePosition position = AVCaptureDevicePositionBack,
        QVCameraCaptureIntent intent = QVCameraCaptureIntentStillImage, std::optional<std::string> preset = {});
    /// The session stops on the session queue, which keeps it until then.
    ~QVCameraController() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Asked before a delayed stop; held weakly.
    std::shared_ptr<QVCameraControllerDelegate> delegate() const { return delegate_.get().lock(); }
    void setDelegate(const std::weak_ptr<QVCameraControllerDelegate>& delegate) { delegate_.set(delegate); }

    // The session

    std::shared_ptr<AVCaptureSession> captureSession() const { return captureSession_.get(); }
    void setCaptureSession(std::shared_ptr<AVCaptureSession> session) { captureSession_.set(std::move(session)); }
    /// The session's picture, ready to be put into a layer or a viewfinder.
    const std::shared_ptr<AVCaptureVideoPreviewLayer>& previewLayer() const { return previewLayer_; }
    /// What the session returns to. Setting it only stores it: a change of the camera and resetToSessionPreset()
    /// apply it.
    std::string captureSessionPreset() const { return captureSessionPreset_.get(); }
    void setCaptureSessionPreset(std::string preset) { captureSessionPreset_.set(std::move(preset)); }
    /// Applies the stored preset, if the session can use it, and then the preferred frame rate, if there is one.
    void resetToSessionPreset();

    /// Blocks until the session runs; takes back the latest delayed stop.
    void startSession();
    /// Calls `completion`, if any, on the main queue when the session runs. Delayed stops stay.
    void startSessionAsynchronously(Block completion);
    /// Ends location and motion updates at once, and the session a little later. Delayed stops stay.
    void stopSession();
    /// Stops after `seconds`, on the run loop of this thread, unless the delegate says NO or does not say. Each call
    /// makes a stop of its own.
    void stopSessionAfterDelay(double seconds);
    bool isSessionRunning() const;

    /// Called once, on the main queue, after the next change of the sample-buffer orientation, of the camera or of the
    /// sample-buffer outputs was committed; then it is gone.
    Block cameraConfigurationCompletionBlock() const { return cameraConfigurationCompletionBlock_.get(); }
    void setCameraConfigurationCompletionBlock(Block block)
    {
        cameraConfigurationCompletionBlock_.set(std::move(block));
    }

    // Orientation and place

    /// How the device is held, from the accelerometer while the session runs, on the main queue; unknown before.
    /// Observable: it is announced at every reading, changed or not.
    UIDeviceOrientation deviceOrientation() const { return deviceOrientation_; }
    void setDeviceOrientation(UIDeviceOrientation orientation);
    /// Of the preview, and of the sample buffers too. The preview layer follows on the main queue.
    AVCaptureVideoOrientation captureOrientation() const { return captureOrientation_; }
    void setCaptureOrientation(AVCaptureVideoOrientation orientation);
    /// Of the outputs' pictures. They follow on the session queue.
    AVCaptureVideoOrientation sampleBufferOrientation() const { return sampleBufferOrientation_; }
    void setSampleBufferOrientation(AVCaptureVideoOrientation orientation);
    /// Made when it is first asked for.
    std::shared_ptr<CMMotionManager> motionManager();
    void setMotionManager(std::shared_ptr<CMMotionManager> manager) { motionManager_.set(std::move(manager)); }

    /// Gives each photo its place. It runs while the session runs.
    const std::shared_ptr<QVLocationProvider>& locationProvider() const { return locationProvider_; }
    bool disableLocationProvider() const { return disableLocationProvider_; }
    void setDisableLocationProvider(bool disable);

    // The camera

    /// Observable. Empty without a camera.
    std::shared_ptr<AVCaptureDevice> currentVideoCaptureDevice() const { return videoCaptureDevice_.get(); }
    /// Blocks until the session has the new camera's input. Does nothing for the camera that is in use.
    void setCurrentVideoCaptureDevice(const std::shared_ptr<AVCaptureDevice>& device);
    AVCaptureDevicePosition devicePosition() const;
    /// Takes the camera of the stored lens type there, else the wide-angle camera. The stored type stays.
    void setDevicePosition(AVCaptureDevicePosition position);
    QVLensType lensType() const { return lensType_; }
    /// Does nothing for the stored type, and where the lens is missing.
    void setLensType(QVLensType type);
    /// Takes that lens, else the wide-angle camera. The stored lens type stays.
    void setLensType(QVLensType type, AVCaptureDevicePosition position);
    bool hasLensTypeInCurrentDevicePosition(QVLensType type) const;

    /// Frames a second: the timescale of the device's longest frame; 0 without a camera.
    std::uint32_t videoFrameRate() const;
    /// Must lie strictly between the limits of a range of the active format.
    void setVideoFrameRate(std::uint32_t framesPerSecond);
    /// Frames a second; 0 without a camera.
    std::uint32_t maximumSupportedFrameRateForHighSpeedCapture() const;
    /// Makes the fastest format active. Does nothing beyond its rate.
    void enableHighSpeedCaptureWithFrameRate(std::uint32_t framesPerSecond);
    /// Pixels, of the active format; zero without a camera.
    CMVideoDimensions stillImageOutputDimensions() const;

    AVCaptureVideoStabilizationMode preferredVideoStabilizationMode() const { return stabilizationMode_; }
    /// Blocks until the video data output has it; without one it is only stored.
    void setPreferredVideoStabilizationMode(AVCaptureVideoStabilizationMode mode);
    /// Always NO: the setter hands the value to the video data output and keeps nothing.
    bool discardLateVideoFrames() const { return false; }
    void setDiscardLateVideoFrames(bool discard);
    bool isGeometricDistortionCorrectionEnabled() const;
    void setGeometricDistortionCorrectionEnabled(bool enabled);

    bool isDepthCaptureSupported() const;
    bool isDepthCaptureEnabled() const;
    /// May make the widest format with depth active.
    void setDepthCaptureEnabled(bool enabled);
    bool isRAWCaptureSupported() const;

    bool isFlashModeSupported(AVCaptureFlashMode mode) const;
    /// Observable: announced at every call of the setter. Photos use it while the camera supports it, else off.
    AVCaptureFlashMode flashMode() const { return flashMode_; }
    /// Does nothing for a mode that the camera does not support.
    void setFlashMode(AVCaptureFlashMode mode);
    bool hasTorch() const;
    bool isTorchOn() const;
    void setTorchOn(bool on);

    bool detectFaces() const { return detectFaces_; }
    void setDetectFaces(bool detect);
    /// What was found last. Observable: it changes on the session queue, whose blocks must not reconfigure.
    std::vector<std::shared_ptr<AVMetadataObject>> visibleFaces() const { return visibleFaces_.get(); }

    // Focus, exposure, white balance and zoom
    //
    // On the caller's thread, inside the device's configuration lock. What a device does not support and values outside
    // its limits are refused with a line on the log; a completion, which may be empty, is not called then.

    /// Focuses once on a point of the preview layer, in the layer's points. Answers whether the device can focus on
    /// points, not whether its lock was to be had.
    bool focusOnPreviewLayerPoint(CGPoint point);
    /// The same for a point in a view of this size that shows the whole picture in portrait; other capture
    /// orientations are not converted and focus on the corner (0, 0).
    bool focusOnPoint(CGPoint point, CGSize size);
    void useAutoFocus(); ///< Continuously.
    void lockCurrentFocus();
    /// From 0 (nearest) to 1 (farthest).
    void useManualFocus(float lensPosition, DeviceSettingCompletion completion);

    /// Exposes continuously for a point; points and answers are those of focusing.
    bool exposeOnPreviewLayerPoint(CGPoint point);
    bool exposeOnPoint(CGPoint point, CGSize size);
    void useAutoExposure(); ///< Continuously.
    void lockCurrentExposure();
    /// Within the active format's exposure durations, limits included; the ISO stays.
    void useManualShutterSpeed(const CMTime& duration, DeviceSettingCompletion completion);
    /// Within the active format's limits, included; the shutter speed stays.
    void useManualISO(float iso, DeviceSettingCompletion completion);
    /// In stops, within the device's limits, included. Locks the exposure.
    void setExposureBias(float bias, DeviceSettingCompletion completion);
    /// Sets the bias to 0, and so locks the exposure.
    void resetExposureBias();

    void useAutoWhiteBalance(); ///< Continuously.
    /// In kelvin, on the daylight curve. Refused when a colour channel would need a gain below 1 or above the device's
    /// maximum.
    void useManualTemperature(float kelvin, DeviceSettingCompletion completion);
    /// In kelvin, of the gains that are in force; 0 without a camera.
    float temperatureForCurrentVideoCaptureDevice() const;

    double currentZoomScale() const; ///< 1 is the whole picture; 0 without a camera.
    double maximumZoomScale() const; ///< Of the active format; 0 without one.
    /// From 1 to the maximum; the device logs and ignores others.
    void setZoomScale(double scale);
    /// At `rate` doublings a second.
    void rampToZoomScale(double scale, double rate);

    // Photos

    void prepareToCaptureStillImage();
    /// Answers NO, and nothing happens, unless the session runs and the camera may be used. `began` is called at the
    /// shutter and `output` with the photo or the error, on queues of the photo output's choice.
    bool captureStillImage(CaptureBeganHandler began, PhotoOutputHandler output);
    /// Does nothing unless the session runs. The handler is kept by the capture and not called.
    void captureStillImage(CaptureCompletedHandler completed);
    /// Answers NO, and nothing happens, unless live photos are enabled. The movie is written to the temporary
    /// directory and belongs to the application.
    bool captureLivePhoto(CaptureBeganHandler began, PhotoOutputHandler output);

    QVRawCaptureMode rawCaptureMode() const { return rawCaptureMode_; }
    void setRawCaptureMode(QVRawCaptureMode mode) { rawCaptureMode_ = mode; }
    /// A preview picture, 512 pixels wide, beside each photo.
    bool includePreviewImageDuringPhotoCapture() const { return includePreviewImage_; }
    void setIncludePreviewImageDuringPhotoCapture(bool include) { includePreviewImage_ = include; }
    /// Marks captures of the front camera as mirrored.
    bool isMirroringSelfiesEnabled() const { return mirroringSelfies_; }
    void setMirroringSelfiesEnabled(bool enabled) { mirroringSelfies_ = enabled; }
    UIImageOrientation defaultImageOrientation() const { return defaultImageOrientation_; }
    void setDefaultImageOrientation(UIImageOrientation orientation) { defaultImageOrientation_ = orientation; }
    /// Both do nothing where the camera does not support live photos.
    bool isLivePhotoCaptureEnabled() const;
    void setLivePhotoCaptureEnabled(bool enabled);
    bool isLivePhotoAutoTrimmingEnabled() const;
    void setLivePhotoAutoTrimmingEnabled(bool enabled);

    // Sample buffers

    /// Blocks until the session delivers these types. Does nothing when all of them were prepared.
    void prepareToReceiveSampleBuffers(QVSampleBufferTypes types);
    /// Calls `video` for each frame, on the video-processing queue, until another processor replaces it.
    void beginReceivingVideoSampleBuffer(SampleBufferProcessor video);
    /// An empty processor ends its kind of delivery.
    void beginReceivingVideoSampleBuffer(SampleBufferProcessor video, SampleBufferProcessor audio);
    /// The outputs stay in the session, so that the next use needs no reconfiguration.
    void endReceivingSampleBuffer();
    SampleBufferProcessor videoSampleBufferProcessor() const { return videoSampleBufferProcessor_.get(); }
    void setVideoSampleBufferProcessor(SampleBufferProcessor processor)
    {
        videoSampleBufferProcessor_.set(std::move(processor));
    }
    SampleBufferProcessor audioSampleBufferProcessor() const { return audioSampleBufferProcessor_.get(); }
    void setAudioSampleBufferProcessor(SampleBufferProcessor processor)
    {
        audioSampleBufferProcessor_.set(std::move(processor));
    }

    /// For a writer of the application's own; empty without the output, or without a device for it.
    std::optional<ArchiveDictionary> recommendedVideoSettingsForAssetWriterWithOutputFileType(
        const std::string& fileType) const;
    std::optional<ArchiveDictionary> recommendedAudioSettingsForAssetWriterWithOutputFileType(
        const std::string& fileType) const;

    // Movies

    /// Blocks until the session has a movie output in place of the data outputs. Does nothing when it is prepared.
    /// Receiving sample buffers takes it away again.
    void prepareToCaptureVideo();
    /// Records into the temporary directory, QVCameraRecording-SECONDS.mov, from the next frame on. It must have been
    /// prepared: without, the process stops with a message. `written` is called when the recording ends by itself.
    void beginCapturingVideo(MovieFileWrittenHandler written);
    /// Ends by itself after `limit`; an invalid time is no limit.
    void beginCapturingVideoWithLimit(const CMTime& limit, MovieFileWrittenHandler written);
    /// Ends the recording; `written` takes the place of the handler that was given at its beginning.
    void endCapturingVideo(MovieFileWrittenHandler written);
    bool isCapturingVideo() const;
    /// Of the recording that runs, or of the one before; all fields are 0 before a recording was prepared.
    CMTime currentCapturedVideoDuration() const;
    MovieFileWrittenHandler movieFileWrittenHandler() const { return movieFileWrittenHandler_.get(); }
    void setMovieFileWrittenHandler(MovieFileWrittenHandler written)
    {
        movieFileWrittenHandler_.set(std::move(written));
    }

    // The camera button

    /// Makes it the session's only control; the delegate's callbacks come on the main queue, and the delegate is held
    /// weakly. Blocks until it is installed. Does nothing on a session without controls; a refused control is logged.
    void setCaptureControl(const std::shared_ptr<AVCaptureControl>& control,
        const std::shared_ptr<QVCameraButtonControlsDelegate>& delegate);
    /// Installs a menu; `symbolName` is its picture. What people select is told on the session queue, from which this
    /// controller must not be reconfigured. The menu holds the delegate.
    void setCaptureControlMenuWithLocalizedTitle(std::string title, std::string symbolName,
        std::vector<std::string> localizedOptions, const std::shared_ptr<QVCameraButtonControlsDelegate>& delegate);
    /// Shows another index in the menu that was installed last, on the session queue. Ignored beyond the last option.
    void updateSelectedControlMenuIndex(std::int64_t index);

    // What the outputs and captures tell their delegate; each on the queue that it was given.

    void captureOutput(const std::shared_ptr<AVCaptureOutput>& output,
        const std::shared_ptr<CMSampleBuffer>& sampleBuffer,
        const std::shared_ptr<AVCaptureConnection>& connection) override;
    void captureOutput(const std::shared_ptr<AVCaptureOutput>& output, const Objects& objects,
        const std::shared_ptr<AVCaptureConnection>& connection) override;
    void captureOutput(const std::shared_ptr<AVCaptureMovieFileOutput>& output,
        const std::shared_ptr<NSURL>& outputFileURL, const Connections& connections,
        const std::optional<NSError>& error) override;
    void photoCaptureDidComplete(const std::shared_ptr<QVPhotoCapture>& capture, std::int64_t uniqueID) override;

protected:
    void didConstruct() override;

private:
    // Also reached by selector: the timer, the notification centre and the outputs call them, and tests do.
    void _configureCamera(const Block& block);
    void _startAdditionalServices();
    void _stopSessionIfAllowed();
    void _handleSessionNotification(const NSNotification& notification);
    std::shared_ptr<AVCaptureDevice> _availableDeviceWithLensType(
        QVLensType type, AVCaptureDevicePosition position, bool fallbackToDefaultDevice) const;
    bool _isVideoFrameRateSupported(std::uint32_t framesPerSecond) const;
    void _getMaxFrameRateFormat(
        std::shared_ptr<AVCaptureDeviceFormat>* format, std::shared_ptr<AVFrameRateRange>* range) const;
    AVCaptureFlashMode _availablePreferredFlashMode() const;
    CGPoint _captureDevicePointForPreviewLayerPoint(CGPoint point) const;
    CGPoint _captureDevicePointForPoint(CGPoint point, CGSize size) const;
    void _capturePhoto(CaptureBeganHandler began, PhotoOutputHandler output, CaptureCompletedHandler completed);
    void _matchStillImageOutputToDeviceOrientation();
    void _setupSessionToReceiveSampleBuffers(QVSampleBufferTypes types);
    void _matchVideoOutputOrientationToSampleBufferOrientation();

    void configureSession();
    std::shared_ptr<AVCaptureDevice> depthCameraForConstruction();
    std::shared_ptr<AVCaptureDevice> cameraForConstruction();
    void addVideoInput(AVCaptureSession& session);
    void addAudioInput(AVCaptureSession& session);
    void acceptAcceleration(const CMAcceleration& acceleration);
    void fireCameraConfigurationCompletion();
    void swapVideoCaptureDevice(const std::shared_ptr<AVCaptureDevice>& device);
    void addSwappedInput(const std::shared_ptr<AVCaptureSession>& session);
    void rebuildVideoDataOutput(const std::shared_ptr<AVCaptureSession>& session);
    void beginDetectingFaces();
    void endDetectingFaces();
    static void recoverRecordings();
    void removeMovieFileOutput(const std::shared_ptr<AVCaptureSession>& session);
    void addVideoDataOutput(const std::shared_ptr<AVCaptureSession>& session);
    void addAudioDataOutput(const std::shared_ptr<AVCaptureSession>& session);
    std::shared_ptr<AVCaptureConnection> videoDataConnection() const;
    void applyDepthDelivery(bool enabled);
    void configureDevice(const std::function<void(AVCaptureDevice& device)>& change);
    bool supportsFocusMode(AVCaptureFocusMode mode) const;
    bool canFocusOnPoint() const;
    void focusOnDevicePoint(CGPoint point);
    bool supportsExposureMode(AVCaptureExposureMode mode) const;
    bool canExposeOnPoint() const;
    void exposeOnDevicePoint(CGPoint point);
    std::shared_ptr<AVCapturePhotoSettings> photoSettings() const;
    std::shared_ptr<AVCapturePhotoSettings> photoSettingsForRawCaptureMode() const;
    std::shared_ptr<QVPhotoCapture> newPhotoCapture(CaptureBeganHandler began, PhotoOutputHandler output);
    void startCapture(
        const std::shared_ptr<AVCapturePhotoSettings>& settings, const std::shared_ptr<QVPhotoCapture>& capture);

    // docs/queues.md says which queue owns what. What several queues touch is guarded or atomic, each by itself.
    const AVCaptureDevicePosition requestedPosition_;
    Guarded<std::shared_ptr<AVCaptureSession>> captureSession_;
    Guarded<std::shared_ptr<AVCaptureDevice>> videoCaptureDevice_;
    std::shared_ptr<AVCaptureDeviceInput> videoDeviceInput_; // session queue
    std::shared_ptr<AVCaptureDeviceInput> audioDeviceInput_; // session queue
    Guarded<std::shared_ptr<AVCapturePhotoOutput>> photoOutput_;
    std::shared_ptr<AVCaptureVideoPreviewLayer> previewLayer_;
    Guarded<std::shared_ptr<AVCaptureVideoDataOutput>> videoDataOutput_;
    Guarded<std::shared_ptr<AVCaptureAudioDataOutput>> audioDataOutput_;
    Guarded<std::shared_ptr<NSTimer>> delayedStopTimer_;
    CMAcceleration recentAcceleration_; // main queue
    DispatchQueue videoProcessQueue_;
    DispatchQueue sessionQueue_;
    const QVCameraCaptureIntent captureIntent_;
    std::atomic<std::uint32_t> preferredFrameRate_ { 0 };
    std::once_flag preparedToCaptureStillImage_;
    std::atomic<QVSampleBufferTypes> preparedSampleBufferTypes_ {};
    Guarded<std::map<std::int64_t, std::shared_ptr<QVPhotoCapture>>> activeCaptures_;
    Guarded<std::shared_ptr<AVCaptureMetadataOutput>> faceMetadataOutput_;
    Guarded<std::shared_ptr<AVCaptureMovieFileOutput>> movieFileOutput_;
    std::atomic<bool> preparedToCaptureVideo_ { false };
    Guarded<std::shared_ptr<NSObject>> pickerMenu_; // installed last

    Guarded<std::string> captureSessionPreset_;
    std::atomic<UIDeviceOrientation> deviceOrientation_ { UIDeviceOrientationUnknown };
    Guarded<std::shared_ptr<CMMotionManager>> motionManager_;
    Guarded<SampleBufferProcessor> videoSampleBufferProcessor_;
    Guarded<SampleBufferProcessor> audioSampleBufferProcessor_;
    Guarded<MovieFileWrittenHandler> movieFileWrittenHandler_;
    Guarded<std::weak_ptr<QVCameraControllerDelegate>> delegate_;
    std::atomic<AVCaptureVideoOrientation> captureOrientation_ {}; // none until construction is over
    std::atomic<AVCaptureVideoOrientation> sampleBufferOrientation_ {};
    std::atomic<AVCaptureVideoStabilizationMode> stabilizationMode_ { AVCaptureVideoStabilizationModeOff };
    std::atomic<QVLensType> lensType_ { QVLensTypeWideAngle };
    std::atomic<bool> disableLocationProvider_ { false };
    std::atomic<bool> detectFaces_ { false };
    std::atomic<bool> includePreviewImage_ { false };
    std::atomic<bool> mirroringSelfies_ { false };
    Guarded<std::vector<std::shared_ptr<AVMetadataObject>>> visibleFaces_;
    std::atomic<AVCaptureFlashMode> flashMode_ { AVCaptureFlashModeOff };
    std::atomic<QVRawCaptureMode> rawCaptureMode_ { QVRawCaptureModeNone };
    std::shared_ptr<QVLocationProvider> locationProvider_;
    std::atomic<UIImageOrientation> defaultImageOrientation_ { UIImageOrientationUp };
    Guarded<Block> cameraConfigurationCompletionBlock_;
};

}
