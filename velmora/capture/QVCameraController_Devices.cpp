// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureDeviceDiscoverySession.h"
#include "platform/AVFoundation/AVCaptureDeviceInput.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/SystemVersion.h"

#include <algorithm>
#include <array>

namespace velmora {

namespace {

/// What the camera of a lens type is called; null for a number that names none. Systems before 13.0 know the first
/// four: the others are the wide angle there.
const char* deviceTypeOf(QVLensType type)
{
    static constexpr std::array types { AVCaptureDeviceTypeBuiltInWideAngleCamera,
        AVCaptureDeviceTypeBuiltInTelephotoCamera, AVCaptureDeviceTypeBuiltInDualCamera,
        AVCaptureDeviceTypeBuiltInTrueDepthCamera, AVCaptureDeviceTypeBuiltInDualWideCamera,
        AVCaptureDeviceTypeBuiltInTripleCamera, AVCaptureDeviceTypeBuiltInUltraWideCamera };
    if (type < QVLensTypeWideAngle || type > QVLensTypeUltraWide)
        return nullptr;
    if (type >= QVLensTypeDualWide && SystemVersion::current() < SystemVersion { 13, 0 })
        return AVCaptureDeviceTypeBuiltInWideAngleCamera;
    return types[static_cast<std::size_t>(type)];
}

bool canFindFaces(const AVCaptureMetadataOutput& output)
{
    const auto available = output.availableMetadataObjectTypes();
    return std::find(available.begin(), available.end(), AVMetadataObjectTypeFace) != available.end();
}

}

std::shared_ptr<AVCaptureDevice> QVCameraController::_availableDeviceWithLensType(
    QVLensType type, AVCaptureDevicePosition position, bool fallbackToDefaultDevice) const
{
    std::vector<std::string> types;
    if (const char* wanted = deviceTypeOf(type))
        types.emplace_back(wanted);
    if (fallbackToDefaultDevice) {
        if (contains(captureIntent_, QVCameraCaptureIntentDepth))
            types.insert(
                types.end(), { AVCaptureDeviceTypeBuiltInTrueDepthCamera, AVCaptureDeviceTypeBuiltInDualCamera });
        types.emplace_back(AVCaptureDeviceTypeBuiltInWideAngleCamera);
    }
    const auto found
        = AVCaptureDeviceDiscoverySession::discoverySessionWithDeviceTypes(types, AVMediaTypeVideo, position)
              ->devices();
    return found.empty() ? nullptr : found.front();
}

AVCaptureDevicePosition QVCameraController::devicePosition() const
{
    const auto device = currentVideoCaptureDevice();
    return device ? device->position() : AVCaptureDevicePositionUnspecified;
}

void QVCameraController::setDevicePosition(AVCaptureDevicePosition position)
{
    if (position == devicePosition())
        return;

    if (const auto device = _availableDeviceWithLensType(lensType_, position, true))
        setCurrentVideoCaptureDevice(device);
    else
        NSLog("[QVCameraController] Invalid capture device position: %li", position);
}

void QVCameraController::setLensType(QVLensType type)
{
    if (type == lensType_)
        return;

    const auto device = _availableDeviceWithLensType(type, devicePosition(), false);
    if (!device)
        return;
    setCurrentVideoCaptureDevice(device);
    lensType_ = type;
}

void QVCameraController::setLensType(QVLensType type, AVCaptureDevicePosition position)
{
    // The type is not stored, unlike above: the stored one says what the application prefers everywhere.
    if (const auto device = _availableDeviceWithLensType(type, position, true))
        setCurrentVideoCaptureDevice(device);
}

bool QVCameraController::hasLensTypeInCurrentDevicePosition(QVLensType type) const
{
    return _availableDeviceWithLensType(type, devicePosition(), false) != nullptr;
}

void QVCameraController::setCurrentVideoCaptureDevice(const std::shared_ptr<AVCaptureDevice>& device)
{
    const auto current = currentVideoCaptureDevice();
    if (current && current->isEqual(device.get()))
        return;

    willChangeValueForKey("currentVideoCaptureDevice");
    sessionQueue_.sync([&] { swapVideoCaptureDevice(device); });
    didChangeValueForKey("currentVideoCaptureDevice");
    setSampleBufferOrientation(sampleBufferOrientation_);
}

void QVCameraController::swapVideoCaptureDevice(const std::shared_ptr<AVCaptureDevice>& device)
{
    const auto session = captureSession();
    const bool livePhotos = isLivePhotoCaptureEnabled();
    const bool depth = isDepthCaptureEnabled();
    if (session)
        session->beginConfiguration();
    if (session && videoDeviceInput_)
        session->removeInput(videoDeviceInput_);
    // Current from here on, also when it turns out to give no input.
    videoCaptureDevice_.set(device);
    addSwappedInput(session);
    if (session && device && device->supportsAVCaptureSessionPreset(captureSessionPreset()))
        session->setSessionPreset(captureSessionPreset());
    rebuildVideoDataOutput(session);
    _matchVideoOutputOrientationToSampleBufferOrientation();
    // The outputs forget both when the camera changes.
    setLivePhotoCaptureEnabled(livePhotos);
    setDepthCaptureEnabled(depth);
    if (session)
        session->commitConfiguration();
    fireCameraConfigurationCompletion();
}

void QVCameraController::addSwappedInput(const std::shared_ptr<AVCaptureSession>& session)
{
    std::optional<NSError> error;
    videoDeviceInput_ = AVCaptureDeviceInput::initWithDevice(currentVideoCaptureDevice(), &error);
    if (error)
        NSLog("[QVCameraController] Unable to intitialize device input %@", error);

    const auto canAdd = [&] { return session && videoDeviceInput_ && session->canAddInput(videoDeviceInput_); };
    if (!canAdd() && session)
        session->setSessionPreset(AVCaptureSessionPresetHigh);
    if (canAdd())
        session->addInput(videoDeviceInput_);
    else
        NSLog("[QVCamaraController] Unable to add video capture device input %@ to session %@", videoDeviceInput_,
            session);
}

void QVCameraController::rebuildVideoDataOutput(const std::shared_ptr<AVCaptureSession>& session)
{
    const auto output = videoDataOutput_.get();
    if (!output)
        return;

    if (session)
        session->removeOutput(output);
    // Its own transaction inside the swap's, and it fires the one-shot completion before the swap is over.
    _setupSessionToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    if (const auto connection = output->connectionWithMediaType(AVMediaTypeVideo))
        connection->setVideoMirrored(devicePosition() == AVCaptureDevicePositionFront);
}

void QVCameraController::setDetectFaces(bool detect)
{
    if (detect)
        beginDetectingFaces();
    else
        endDetectingFaces();
}

void QVCameraController::beginDetectingFaces()
{
    const auto session = captureSession();
    if (!session || faceMetadataOutput_.get())
        return;

    const auto output = AVCaptureMetadataOutput::init();
    if (output)
        session->addOutput(output);
    // What an output can find is known only once it is in the session, so it was added first and is asked now.
    if (!output || !canFindFaces(*output)) {
        if (output)
            session->removeOutput(output);
        NSLog("[QVCameraController] Cannot detect faces, not supported.");
        return;
    }
    output->setMetadataObjectTypes({ AVMetadataObjectTypeFace });
    output->setMetadataObjectsDelegate(weakFromThis(*this), sessionQueue_);
    faceMetadataOutput_.set(output);
    detectFaces_ = true;
}

void QVCameraController::endDetectingFaces()
{
    const auto output = faceMetadataOutput_.exchange(nullptr);
    if (!output)
        return;

    if (const auto session = captureSession())
        session->removeOutput(output);
    // The faces that were seen last stay.
    detectFaces_ = false;
}

void QVCameraController::captureOutput(
    const std::shared_ptr<AVCaptureOutput>&, const Objects& objects, const std::shared_ptr<AVCaptureConnection>&)
{
    willChangeValueForKey("visibleFaces");
    visibleFaces_.set(objects);
    didChangeValueForKey("visibleFaces");
}

}
