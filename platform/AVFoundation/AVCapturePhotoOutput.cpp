// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCapturePhotoOutput.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/LivePhotoFrames.h"
#include "platform/AVFoundation/PhotoRequest.h"
#include "platform/AVFoundation/StillCamera.h"

#include <utility>

namespace velmora {

std::shared_ptr<AVCapturePhotoOutput> AVCapturePhotoOutput::init()
{
    const auto driver = CaptureDriver::installed();
    return !driver || driver->canCreateOutput("photo") ? make<AVCapturePhotoOutput>() : nullptr;
}

AVCapturePhotoOutput::AVCapturePhotoOutput()
    : queue_("org.velmora.photoOutput")
    , frames_(std::make_shared<LivePhotoFrames>())
{
}

AVCapturePhotoOutput::~AVCapturePhotoOutput() = default;

const ClassInfo& AVCapturePhotoOutput::staticClass()
{
    using Self = AVCapturePhotoOutput;
    static constexpr auto methods
        = methodTable(method<&Self::isHighResolutionCaptureEnabled>("isHighResolutionCaptureEnabled"),
            method<&Self::setHighResolutionCaptureEnabled>("setHighResolutionCaptureEnabled:"),
            method<&Self::supportedFlashModes>("supportedFlashModes"),
            method<&Self::availableRawPhotoPixelFormatTypes>("availableRawPhotoPixelFormatTypes"),
            method<&Self::isDepthDataDeliverySupported>("isDepthDataDeliverySupported"),
            method<&Self::isDepthDataDeliveryEnabled>("isDepthDataDeliveryEnabled"),
            method<&Self::setDepthDataDeliveryEnabled>("setDepthDataDeliveryEnabled:"),
            method<&Self::isPortraitEffectsMatteDeliverySupported>("isPortraitEffectsMatteDeliverySupported"),
            method<&Self::isPortraitEffectsMatteDeliveryEnabled>("isPortraitEffectsMatteDeliveryEnabled"),
            method<&Self::setPortraitEffectsMatteDeliveryEnabled>("setPortraitEffectsMatteDeliveryEnabled:"),
            method<&Self::isLivePhotoCaptureSupported>("isLivePhotoCaptureSupported"),
            method<&Self::isLivePhotoCaptureEnabled>("isLivePhotoCaptureEnabled"),
            method<&Self::setLivePhotoCaptureEnabled>("setLivePhotoCaptureEnabled:"),
            method<&Self::isLivePhotoAutoTrimmingEnabled>("isLivePhotoAutoTrimmingEnabled"),
            method<&Self::setLivePhotoAutoTrimmingEnabled>("setLivePhotoAutoTrimmingEnabled:"),
            method<&Self::capturePhotoWithSettings>("capturePhotoWithSettings:delegate:"));
    static constexpr auto classMethods = methodTable(classMethod<&Self::init>("init"));
    static const ClassInfo info { "Velmora.AVCapturePhotoOutput", &AVCaptureOutput::staticClass(), methods,
        classMethods };
    return info;
}

bool AVCapturePhotoOutput::isHighResolutionCaptureEnabled() const
{
    const std::lock_guard lock(mutex_);
    return highResolution_;
}

void AVCapturePhotoOutput::setHighResolutionCaptureEnabled(bool enabled)
{
    const std::lock_guard lock(mutex_);
    highResolution_ = enabled;
}

std::vector<AVCaptureFlashMode> AVCapturePhotoOutput::supportedFlashModes() const
{
    std::vector<AVCaptureFlashMode> modes;
    if (const auto device = camera())
        for (const int mode : device->deviceDescription().flashModes)
            modes.push_back(static_cast<AVCaptureFlashMode>(mode));
    return modes;
}

std::vector<std::uint32_t> AVCapturePhotoOutput::availableRawPhotoPixelFormatTypes() const
{
    const auto device = camera();
    return device ? device->deviceDescription().rawFormats : std::vector<std::uint32_t> {};
}

bool AVCapturePhotoOutput::isDepthDataDeliverySupported() const
{
    const auto device = camera();
    const auto format = device ? device->activeFormat() : nullptr;
    return format && !format->supportedDepthDataFormats().empty();
}

bool AVCapturePhotoOutput::isDepthDataDeliveryEnabled() const
{
    const bool supported = isDepthDataDeliverySupported();
    const std::lock_guard lock(mutex_);
    return depth_ && supported;
}

void AVCapturePhotoOutput::setDepthDataDeliveryEnabled(bool enabled)
{
    const bool supported = isDepthDataDeliverySupported();
    const std::lock_guard lock(mutex_);
    if (supported)
        depth_ = enabled;
}

bool AVCapturePhotoOutput::isPortraitEffectsMatteDeliverySupported() const
{
    // A matte is made of depth.
    const auto device = camera();
    return device && device->deviceDescription().portraitMatte && isDepthDataDeliverySupported();
}

bool AVCapturePhotoOutput::isPortraitEffectsMatteDeliveryEnabled() const
{
    const bool supported = isPortraitEffectsMatteDeliverySupported();
    const std::lock_guard lock(mutex_);
    return matte_ && supported;
}

void AVCapturePhotoOutput::setPortraitEffectsMatteDeliveryEnabled(bool enabled)
{
    const bool supported = isPortraitEffectsMatteDeliverySupported();
    const std::lock_guard lock(mutex_);
    if (supported)
        matte_ = enabled;
}

bool AVCapturePhotoOutput::isLivePhotoCaptureSupported() const
{
    const auto device = camera();
    return device && device->deviceDescription().livePhoto;
}

bool AVCapturePhotoOutput::isLivePhotoCaptureEnabled() const
{
    return frames_->isEnabled() && isLivePhotoCaptureSupported();
}

void AVCapturePhotoOutput::setLivePhotoCaptureEnabled(bool enabled)
{
    if (!isLivePhotoCaptureSupported() || frames_->isEnabled() == enabled)
        return;
    frames_->setEnabled(enabled);
    if (const auto session = this->session(); session && session->hasMicrophone())
        session->streamRequestChanged();
}

bool AVCapturePhotoOutput::isLivePhotoAutoTrimmingEnabled() const
{
    const bool supported = isLivePhotoCaptureSupported();
    const std::lock_guard lock(mutex_);
    return autoTrimming_ && supported;
}

void AVCapturePhotoOutput::setLivePhotoAutoTrimmingEnabled(bool enabled)
{
    const bool supported = isLivePhotoCaptureSupported();
    const std::lock_guard lock(mutex_);
    if (supported)
        autoTrimming_ = enabled;
}

void AVCapturePhotoOutput::capturePhotoWithSettings(const std::shared_ptr<AVCapturePhotoSettings>& settings,
    const std::shared_ptr<AVCapturePhotoCaptureDelegate>& delegate)
{
    if (!settings)
        return;
    PhotoRequest::Surroundings surroundings { sharedFromThis(*this), delegate, nullptr, nullptr,
        isLivePhotoAutoTrimmingEnabled() };
    const auto session = this->session();
    if (session && session->isRunning())
        surroundings.connection = connectionWithMediaType(AVMediaTypeVideo);
    if (settings->livePhotoMovieFileURL() && isLivePhotoCaptureEnabled())
        surroundings.frames = frames_;

    const auto request = std::make_shared<PhotoRequest>(*settings, std::move(surroundings));
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back(request);
    }
    request->start();
}

void AVCapturePhotoOutput::finished(const PhotoRequest& request)
{
    const std::lock_guard lock(mutex_);
    std::erase_if(requests_, [&](const auto& each) { return each.get() == &request; });
}

std::vector<std::string> AVCapturePhotoOutput::connectionTypesFor(const std::string& mediaType) const
{
    if (mediaType != AVMediaTypeVideo)
        return {};
    const auto driver = CaptureDriver::installed();
    auto types = driver ? driver->photoConnections() : std::vector<std::string> { "video" };
    for (auto& type : types) {
        if (type == "video")
            type = AVMediaTypeVideo;
        else if (type == "audio")
            type = AVMediaTypeAudio;
    }
    return types;
}

bool AVCapturePhotoOutput::hearsSound() const
{
    return frames_->isEnabled();
}

void AVCapturePhotoOutput::cameraChanged()
{
    const auto now = camera();
    std::shared_ptr<AVCaptureDevice> before;
    {
        const std::lock_guard lock(mutex_);
        before = lastCamera_.lock();
        lastCamera_ = now;
        if (before != now)
            depth_ = matte_ = false;
    }
    if (now || StillCamera::inUse() == before) // not the camera of another session
        StillCamera::use(now);
    if (before == now)
        return;
    frames_->setEnabled(false);
}

void AVCapturePhotoOutput::cameraFailed(const NSError& error)
{
    std::vector<std::shared_ptr<PhotoRequest>> requests;
    {
        const std::lock_guard lock(mutex_);
        requests = requests_;
    }
    for (const auto& request : requests)
        request->fail(error);
}

void AVCapturePhotoOutput::receive(
    const std::shared_ptr<CMSampleBuffer>& buffer, const std::shared_ptr<AVCaptureConnection>& /*connection*/)
{
    if (buffer->imageBuffer())
        frames_->receive(buffer);
    else
        frames_->hear(buffer);
}

}
