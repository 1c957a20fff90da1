// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVCameraController.h"

#include "velmora/capture/QVCameraButtonControlsDelegate.h"
#include "velmora/resources/QVFrameworkIdentifier.h"
#include "velmora/results/QVLocationProvider.h"
#include "velmora/results/archivableClasses.h"

#include "platform/AVFoundation/AVCaptureControl.h"
#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureDeviceDiscoverySession.h"
#include "platform/AVFoundation/AVCaptureDeviceInput.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/CoreMotion/CMMotionManager.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSNotificationCenter.h"
#include "platform/Foundation/NSTimer.h"

#include <utility>

namespace velmora {

const ClassInfo& QVCameraController::staticClass()
{
    static constexpr auto methods = methodTable(
        method<&QVCameraController::captureSessionPreset>("captureSessionPreset"),
        method<&QVCameraController::setCaptureSessionPreset>("setCaptureSessionPreset:"),
        method<&QVCameraController::captureSession>("captureSession"),
        method<&QVCameraController::setCaptureSession>("setCaptureSession:"),
        method<&QVCameraController::currentVideoCaptureDevice>("currentVideoCaptureDevice"),
        method<&QVCameraController::setCurrentVideoCaptureDevice>("setCurrentVideoCaptureDevice:"),
        method<&QVCameraController::deviceOrientation>("deviceOrientation"),
        method<&QVCameraController::setDeviceOrientation>("setDeviceOrientation:"),
        method<&QVCameraController::motionManager>("motionManager"),
        method<&QVCameraController::setMotionManager>("setMotionManager:"),
        method<&QVCameraController::videoSampleBufferProcessor>("videoSampleBufferProcessor"),
        method<&QVCameraController::setVideoSampleBufferProcessor>("setVideoSampleBufferProcessor:"),
        method<&QVCameraController::audioSampleBufferProcessor>("audioSampleBufferProcessor"),
        method<&QVCameraController::setAudioSampleBufferProcessor>("setAudioSampleBufferProcessor:"),
        method<&QVCameraController::delegate>("delegate"), method<&QVCameraController::setDelegate>("setDelegate:"),
        method<&QVCameraController::devicePosition>("devicePosition"),
        method<&QVCameraController::setDevicePosition>("setDevicePosition:"),
        method<&QVCameraController::captureOrientation>("captureOrientation"),
        method<&QVCameraController::setCaptureOrientation>("setCaptureOrientation:"),
        method<&QVCameraController::sampleBufferOrientation>("sampleBufferOrientation"),
        method<&QVCameraController::setSampleBufferOrientation>("setSampleBufferOrientation:"),
        method<&QVCameraController::videoFrameRate>("videoFrameRate"),
        method<&QVCameraController::setVideoFrameRate>("setVideoFrameRate:"),
        method<&QVCameraController::preferredVideoStabilizationMode>("preferredVideoStabilizationMode"),
        method<&QVCameraController::setPreferredVideoStabilizationMode>("setPreferredVideoStabilizationMode:"),
        method<&QVCameraController::lensType>("lensType"),
        method<overload<QVLensType>(&QVCameraController::setLensType)>("setLensType:"),
        method<overload<QVLensType, AVCaptureDevicePosition>(&QVCameraController::setLensType)>(
            "setLensType:inDevicePosition:"),
        method<&QVCameraController::discardLateVideoFrames>("discardLateVideoFrames"),
        method<&QVCameraController::setDiscardLateVideoFrames>("setDiscardLateVideoFrames:"),
        method<&QVCameraController::disableLocationProvider>("disableLocationProvider"),
        method<&QVCameraController::setDisableLocationProvider>("setDisableLocationProvider:"),
        method<&QVCameraController::detectFaces>("detectFaces"),
        method<&QVCameraController::setDetectFaces>("setDetectFaces:"),
        method<&QVCameraController::includePreviewImageDuringPhotoCapture>("includePreviewImageDuringPhotoCapture"),
        method<&QVCameraController::setIncludePreviewImageDuringPhotoCapture>(
            "setIncludePreviewImageDuringPhotoCapture:"),
        method<&QVCameraController::visibleFaces>("visibleFaces"),
        method<&QVCameraController::previewLayer>("previewLayer"),
        method<&QVCameraController::stillImageOutputDimensions>("stillImageOutputDimensions"),
        method<&QVCameraController::flashMode>("flashMode"), method<&QVCameraController::setFlashMode>("setFlashMode:"),
        method<&QVCameraController::isTorchOn>("isTorchOn"), method<&QVCameraController::setTorchOn>("setTorchOn:"),
        method<&QVCameraController::isLivePhotoCaptureEnabled>("isLivePhotoCaptureEnabled"),
        method<&QVCameraController::setLivePhotoCaptureEnabled>("setLivePhotoCaptureEnabled:"),
        method<&QVCameraController::isLivePhotoAutoTrimmingEnabled>("isLivePhotoAutoTrimmingEnabled"),
        method<&QVCameraController::setLivePhotoAutoTrimmingEnabled>("setLivePhotoAutoTrimmingEnabled:"),
        method<&QVCameraController::isGeometricDistortionCorrectionEnabled>("isGeometricDistortionCorrectionEnabled"),
        method<&QVCameraController::setGeometricDistortionCorrectionEnabled>(
            "setGeometricDistortionCorrectionEnabled:"),
        method<&QVCameraController::isDepthCaptureEnabled>("isDepthCaptureEnabled"),
        method<&QVCameraController::setDepthCaptureEnabled>("setDepthCaptureEnabled:"),
        method<&QVCameraController::isMirroringSelfiesEnabled>("isMirroringSelfiesEnabled"),
        method<&QVCameraController::setMirroringSelfiesEnabled>("setMirroringSelfiesEnabled:"),
        method<&QVCameraController::rawCaptureMode>("rawCaptureMode"),
        method<&QVCameraController::setRawCaptureMode>("setRawCaptureMode:"),
        method<&QVCameraController::locationProvider>("locationProvider"),
        method<&QVCameraController::defaultImageOrientation>("defaultImageOrientation"),
        method<&QVCameraController::setDefaultImageOrientation>("setDefaultImageOrientation:"),
        method<&QVCameraController::cameraConfigurationCompletionBlock>("cameraConfigurationCompletionBlock"),
        method<&QVCameraController::setCameraConfigurationCompletionBlock>("setCameraConfigurationCompletionBlock:"),
        method<&QVCameraController::startSession>("startSession"),
        method<&QVCameraController::startSessionAsynchronously>("startSessionAsynchronously:"),
        method<&QVCameraController::stopSession>("stopSession"),
        method<&QVCameraController::stopSessionAfterDelay>("stopSessionAfterDelay:"),
        method<&QVCameraController::isSessionRunning>("isSessionRunning"),
        method<&QVCameraController::resetToSessionPreset>("resetToSessionPreset"),
        method<&QVCameraController::hasLensTypeInCurrentDevicePosition>("hasLensTypeInCurrentDevicePosition:"),
        method<&QVCameraController::maximumSupportedFrameRateForHighSpeedCapture>(
            "maximumSupportedFrameRateForHighSpeedCapture"),
        method<&QVCameraController::enableHighSpeedCaptureWithFrameRate>("enableHighSpeedCaptureWithFrameRate:"),
        method<&QVCameraController::isDepthCaptureSupported>("isDepthCaptureSupported"),
        method<&QVCameraController::isRAWCaptureSupported>("isRAWCaptureSupported"),
        method<&QVCameraController::isFlashModeSupported>("isFlashModeSupported:"),
        method<&QVCameraController::hasTorch>("hasTorch"),
        method<&QVCameraController::prepareToCaptureStillImage>("prepareToCaptureStillImage"),
        method<overload<CaptureBeganHandler, PhotoOutputHandler>(&QVCameraController::captureStillImage)>(
            "captureStillImage:completion:"),
        method<overload<CaptureCompletedHandler>(&QVCameraController::captureStillImage)>("captureStillImage:"),
        method<&QVCameraController::captureLivePhoto>("captureLivePhoto:completion:"),
        method<&QVCameraController::photoCaptureDidComplete>("photoCaptureDidComplete:with:"),
        method<&QVCameraController::prepareToReceiveSampleBuffers>("prepareToReceiveSampleBuffers:"),
        method<overload<SampleBufferProcessor>(&QVCameraController::beginReceivingVideoSampleBuffer)>(
            "beginReceivingVideoSampleBuffer:"),
        method<overload<SampleBufferProcessor, SampleBufferProcessor>(
            &QVCameraController::beginReceivingVideoSampleBuffer)>(
            "beginReceivingVideoSampleBuffer:audioSampleBuffer:"),
        method<&QVCameraController::endReceivingSampleBuffer>("endReceivingSampleBuffer"),
        method<overload<const std::shared_ptr<AVCaptureOutput>&, const std::shared_ptr<CMSampleBuffer>&,
            const std::shared_ptr<AVCaptureConnection>&>(&QVCameraController::captureOutput)>(
            "captureOutput:didOutputSampleBuffer:fromConnection:"),
        method<overload<const std::shared_ptr<AVCaptureOutput>&, const Objects&,
            const std::shared_ptr<AVCaptureConnection>&>(&QVCameraController::captureOutput)>(
            "captureOutput:didOutputMetadataObjects:fromConnection:"),
        method<&QVCameraController::recommendedVideoSettingsForAssetWriterWithOutputFileType>(
            "recommendedVideoSettingsForAssetWriterWithOutputFileType:"),
        method<&QVCameraController::recommendedAudioSettingsForAssetWriterWithOutputFileType>(
            "recommendedAudioSettingsForAssetWriterWithOutputFileType:"),
        method<&QVCameraController::prepareToCaptureVideo>("prepareToCaptureVideo"),
        method<&QVCameraController::beginCapturingVideo>("beginCapturingVideo:"),
        method<&QVCameraController::beginCapturingVideoWithLimit>("beginCapturingVideoWithLimit:prematureStoppage:"),
        method<&QVCameraController::currentCapturedVideoDuration>("currentCapturedVideoDuration"),
        method<&QVCameraController::isCapturingVideo>("isCapturingVideo"),
        method<&QVCameraController::endCapturingVideo>("endCapturingVideo:"),
        method<&QVCameraController::movieFileWrittenHandler>("movieFileWrittenHandler"),
        method<&QVCameraController::setMovieFileWrittenHandler>("setMovieFileWrittenHandler:"),
        method<overload<const std::shared_ptr<AVCaptureMovieFileOutput>&, const std::shared_ptr<NSURL>&,
            const Connections&, const std::optional<NSError>&>(&QVCameraController::captureOutput)>(
            "captureOutput:didFinishRecordingToOutputFileAtURL:fromConnections:error:"),
        method<&QVCameraController::setCaptureControl>("setCaptureControl:delegate:"),
        method<&QVCameraController::setCaptureControlMenuWithLocalizedTitle>(
            "setCaptureControlMenuWithLocalizedTitle:symbolName:localizedOptions:delegate:"),
        method<&QVCameraController::updateSelectedControlMenuIndex>("updateSelectedControlMenuIndex:"),
        method<&QVCameraController::focusOnPreviewLayerPoint>("focusOnPreviewLayerPoint:"),
        method<&QVCameraController::focusOnPoint>("focusOnPoint:inSize:"),
        method<&QVCameraController::useAutoFocus>("useAutoFocus"),
        method<&QVCameraController::lockCurrentFocus>("lockCurrentFocus"),
        method<&QVCameraController::useManualFocus>("useManualFocus:completion:"),
        method<&QVCameraController::exposeOnPreviewLayerPoint>("exposeOnPreviewLayerPoint:"),
        method<&QVCameraController::exposeOnPoint>("exposeOnPoint:inSize:"),
        method<&QVCameraController::useAutoExposure>("useAutoExposure"),
        method<&QVCameraController::lockCurrentExposure>("lockCurrentExposure"),
        method<&QVCameraController::useManualShutterSpeed>("useManualShutterSpeed:completion:"),
        method<&QVCameraController::useManualISO>("useManualISO:completion:"),
        method<&QVCameraController::setExposureBias>("setExposureBias:completion:"),
        method<&QVCameraController::resetExposureBias>("resetExposureBias"),
        method<&QVCameraController::useAutoWhiteBalance>("useAutoWhiteBalance"),
        method<&QVCameraController::useManualTemperature>("useManualTemperature:completion:"),
        method<&QVCameraController::temperatureForCurrentVideoCaptureDevice>("temperatureForCurrentVideoCaptureDevice"),
        method<&QVCameraController::currentZoomScale>("currentZoomScale"),
        method<&QVCameraController::maximumZoomScale>("maximumZoomScale"),
        method<&QVCameraController::setZoomScale>("setZoomScale:"),
        method<&QVCameraController::rampToZoomScale>("rampToZoomScale:withRate:"),
        method<&QVCameraController::_captureDevicePointForPreviewLayerPoint>(
            "_captureDevicePointForPreviewLayerPoint:"),
        method<&QVCameraController::_captureDevicePointForPoint>("_captureDevicePointForPoint:inSize:"),
        method<&QVCameraController::_configureCamera>("_configureCamera:"),
        method<&QVCameraController::_startAdditionalServices>("_startAdditionalServices"),
        method<&QVCameraController::_stopSessionIfAllowed>("_stopSessionIfAllowed"),
        method<&QVCameraController::_handleSessionNotification>("_handleSessionNotification:"),
        method<&QVCameraController::_availableDeviceWithLensType>(
            "_availableDeviceWithLensType:position:fallbackToDefaultDevice:"),
        method<&QVCameraController::_isVideoFrameRateSupported>("_isVideoFrameRateSupported:"),
        method<&QVCameraController::_getMaxFrameRateFormat>("_getMaxFrameRateFormat:frameRateRange:"),
        method<&QVCameraController::_availablePreferredFlashMode>("_availablePreferredFlashMode"),
        method<&QVCameraController::_capturePhoto>("_capturePhoto:output:completion:"),
        method<&QVCameraController::_matchStillImageOutputToDeviceOrientation>(
            "_matchStillImageOutputToDeviceOrientation"),
        method<&QVCameraController::_setupSessionToReceiveSampleBuffers>("_setupSessionToReceiveSampleBuffers:"),
        method<&QVCameraController::_matchVideoOutputOrientationToSampleBufferOrientation>(
            "_matchVideoOutputOrientationToSampleBufferOrientation"));
    static constexpr auto classMethods = methodTable(initialiser<QVCameraController>("init"),
        initialiser<QVCameraController, AVCaptureDevicePosition>("initWithDevicePosition:"),
        initialiser<QVCameraController, AVCaptureDevicePosition, QVCameraCaptureIntent>(
            "initWithDevicePosition:captureIntent:"),
        initialiser<QVCameraController, AVCaptureDevicePosition, QVCameraCaptureIntent, std::optional<std::string>>(
            "initWithDevicePosition:captureIntent:captureSessionPreset:"));
    static const ClassInfo info { "Velmora.QVCameraController", &NSObject::staticClass(), methods, classMethods };
    return info;
}

QVCameraController::QVCameraController(
    AVCaptureDevicePosition position, QVCameraCaptureIntent intent, std::optional<std::string> preset)
    : requestedPosition_(position)
    , videoProcessQueue_(std::string(QVFrameworkIdentifier) + ".videoProcessQueue")
    , sessionQueue_(std::string(QVFrameworkIdentifier) + ".cameraSessionQueue")
    , captureIntent_(intent)
    , captureSessionPreset_(std::move(preset).value_or(AVCaptureSessionPresetPhoto))
{
}

void QVCameraController::didConstruct()
{
    NSObject::didConstruct();
    registerArchivableClasses();
    recoverRecordings();
    const auto session = make<AVCaptureSession>();
    captureSession_.set(session);
    previewLayer_ = make<AVCaptureVideoPreviewLayer>(session);

    auto& center = NSNotificationCenter::defaultCenter();
    for (const char* name : { AVCaptureSessionRuntimeErrorNotification, AVCaptureSessionWasInterruptedNotification,
             AVCaptureSessionInterruptionEndedNotification })
        center.addObserver(weak_from_this(), "_handleSessionNotification:", name, session);

    sessionQueue_.sync([this] { configureSession(); });
    // Stored, not set: nothing is matched and no completion fires before the application can have asked for one.
    captureOrientation_ = AVCaptureVideoOrientationPortrait;
    sampleBufferOrientation_ = AVCaptureVideoOrientationPortrait;
    // Also when it will be disabled: each photo is handed a provider, which then has no fresh location.
    locationProvider_ = make<QVLocationProvider>();
}

QVCameraController::~QVCameraController()
{
    if (previewLayer_)
        previewLayer_->removeFromSuperlayer();
    if (locationProvider_)
        locationProvider_->stop();
    if (const auto manager = motionManager_.get())
        manager->stopAccelerometerUpdates();
    if (auto session = captureSession_.exchange(nullptr))
        sessionQueue_.async([session = std::move(session)] { session->stopRunning(); });
}

void QVCameraController::configureSession()
{
    const auto session = captureSession();
    session->beginConfiguration();
    auto device = depthCameraForConstruction();
    videoCaptureDevice_.set(device ? std::move(device) : cameraForConstruction());
    addVideoInput(*session);
    if (contains(captureIntent_, QVCameraCaptureIntentAudio))
        addAudioInput(*session);
    if (contains(captureIntent_, QVCameraCaptureIntentStillImage)) {
        prepareToCaptureStillImage();
        if (contains(captureIntent_, QVCameraCaptureIntentDepth))
            setDepthCaptureEnabled(true);
    }
    if (contains(captureIntent_, QVCameraCaptureIntentSampleBuffers))
        _setupSessionToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    if (contains(captureIntent_, QVCameraCaptureIntentFaceDetection))
        setDetectFaces(true);
    // The last resort is taken without asking: there is no other.
    if (!session->canSetSessionPreset(captureSessionPreset()))
        setCaptureSessionPreset(AVCaptureSessionPresetHigh);
    session->setSessionPreset(captureSessionPreset());
    session->commitConfiguration();
}

/// The order differs from the later search with fallback; applications rely on both.
std::shared_ptr<AVCaptureDevice> QVCameraController::depthCameraForConstruction()
{
    if (!contains(captureIntent_, QVCameraCaptureIntentDepth))
        return nullptr;

    const auto found = AVCaptureDeviceDiscoverySession::discoverySessionWithDeviceTypes(
        { AVCaptureDeviceTypeBuiltInDualCamera, AVCaptureDeviceTypeBuiltInTrueDepthCamera }, AVMediaTypeVideo,
        requestedPosition_)
                           ->devices();
    if (found.empty())
        return nullptr;

    if (found.front()->deviceType() == AVCaptureDeviceTypeBuiltInDualCamera)
        lensType_ = QVLensTypeDual;
    else if (found.front()->deviceType() == AVCaptureDeviceTypeBuiltInTrueDepthCamera)
        lensType_ = QVLensTypeTrueDepth;
    return found.front();
}

std::shared_ptr<AVCaptureDevice> QVCameraController::cameraForConstruction()
{
    if (auto device = _availableDeviceWithLensType(lensType_, requestedPosition_, true))
        return device;

    auto device = AVCaptureDevice::defaultDeviceWithDeviceType(
        AVCaptureDeviceTypeBuiltInWideAngleCamera, AVMediaTypeVideo, requestedPosition_);
    if (!device)
        NSLog("[QVCameraController] Unable to initialize with a capture device; none found at position %i",
            requestedPosition_);
    return device;
}

void QVCameraController::addVideoInput(AVCaptureSession& session)
{
    std::optional<NSError> error;
    videoDeviceInput_ = AVCaptureDeviceInput::initWithDevice(currentVideoCaptureDevice(), &error);
    if (error)
        NSLog("[QVCameraController] Error creating video device input: %@", error);
    if (!videoDeviceInput_ || !session.canAddInput(videoDeviceInput_)) {
        NSLog("[QVCameraController] Could not add video capture device input");
        return;
    }
    session.addInput(videoDeviceInput_);
}

void QVCameraController::addAudioInput(AVCaptureSession& session)
{
    const auto device = AVCaptureDevice::defaultDeviceWithMediaType(AVMediaTypeAudio);
    if (!device)
        return;

    std::optional<NSError> error;
    audioDeviceInput_ = AVCaptureDeviceInput::initWithDevice(device, &error);
    if (error)
        NSLog("[QVCameraController] Error creating audio device input: %@", error);
    if (audioDeviceInput_ && session.canAddInput(audioDeviceInput_))
        session.addInput(audioDeviceInput_);
}

void QVCameraController::startSession()
{
    if (const auto timer = delayedStopTimer_.exchange(nullptr))
        timer->invalidate();
    sessionQueue_.sync([this] {
        if (const auto session = captureSession())
            session->startRunning();
        _startAdditionalServices();
    });
}

void QVCameraController::startSessionAsynchronously(Block completion)
{
    sessionQueue_.async([self = sharedFromThis(*this), completion = std::move(completion)] {
        const auto session = self->captureSession();
        if (session && !session->isRunning())
            session->startRunning();
        self->_startAdditionalServices();
        if (completion)
            DispatchQueue::main().async(completion);
    });
}

void QVCameraController::_startAdditionalServices()
{
    if (!disableLocationProvider_)
        locationProvider_->start();
    motionManager()->startAccelerometerUpdatesToQueue(NSOperationQueue::mainQueue(),
        [weak = weakFromThis(*this)](const CMAccelerometerData* data, const std::optional<NSError>&) {
            if (const auto self = weak.lock())
                self->acceptAcceleration(data ? data->acceleration : CMAcceleration {});
        });
}

void QVCameraController::stopSession()
{
    locationProvider_->stop();
    sessionQueue_.async([weak = std::weak_ptr(captureSession())] {
        if (const auto session = weak.lock())
            session->stopRunning();
    });
    if (const auto manager = motionManager_.get())
        manager->stopAccelerometerUpdates();
}

void QVCameraController::stopSessionAfterDelay(double seconds)
{
    // A stop that was asked for earlier is forgotten, not taken back: both will fire.
    delayedStopTimer_.set(
        NSTimer::scheduledTimerWithTimeInterval(seconds, shared_from_this(), "_stopSessionIfAllowed"));
}

void QVCameraController::_stopSessionIfAllowed()
{
    const auto delegate = this->delegate();
    // A delegate that does not answer keeps the camera running.
    if (!delegate || delegate->shouldStopSession().value_or(false)) {
        NSLog("[QVCameraController] Disabling camera hardware to conserve battery / memory.");
        stopSession();
    }
    delayedStopTimer_.set(nullptr);
}

bool QVCameraController::isSessionRunning() const
{
    const auto session = captureSession();
    return session && session->isRunning();
}

void QVCameraController::setDisableLocationProvider(bool disable)
{
    disableLocationProvider_ = disable;
    if (disable)
        locationProvider_->stop();
    else if (isSessionRunning())
        locationProvider_->start();
}

void QVCameraController::_handleSessionNotification(const NSNotification& notification)
{
    NSLog("[QVCameraController] Received session notification: %@", notification.name);
    const auto entry = notification.userInfo.find(AVCaptureSessionErrorKey);
    if (entry == notification.userInfo.end() || isNil(entry->second))
        return;

    const auto error = unbox<std::shared_ptr<NSError>>(entry->second);
    NSLog("[QVCameraController] -> ERROR was: %@", error);
    NSNotificationCenter::defaultCenter().postNotificationName(kQVCaptureSessionErrorOccurredNotification, error);
}

void QVCameraController::_configureCamera(const Block& block)
{
    const auto device = currentVideoCaptureDevice();
    std::optional<NSError> error;
    if (!device || !device->lockForConfiguration(&error)) {
        NSLog("[QVCameraController] Unable to lock camera (%@)", error);
        return;
    }
    block();
    device->unlockForConfiguration();
}

void QVCameraController::configureDevice(const std::function<void(AVCaptureDevice& device)>& change)
{
    const auto device = currentVideoCaptureDevice(); // that of the call, whatever is current when the lock is had
    _configureCamera([&] {
        if (device)
            change(*device);
    });
}

void QVCameraController::fireCameraConfigurationCompletion()
{
    if (auto completion = cameraConfigurationCompletionBlock_.exchange(nullptr))
        DispatchQueue::main().async(std::move(completion));
}

}
