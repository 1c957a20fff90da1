// SPDX-License-Identifier: Apache-2.0
#include "velmora/results/QVPhotoCapture.h"

#include "velmora/results/QVCaptureLocationInfo.h"
#include "velmora/results/QVLocationProvider.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "platform/AVFoundation/AVCapturePhoto.h"
#include "platform/AVFoundation/AVCapturePhotoOutput.h"
#include "platform/AVFoundation/AVCaptureResolvedPhotoSettings.h"
#include "platform/CoreImage/CIImage.h"
#include "platform/CoreMedia/CMSampleBuffer.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSDate.h"
#include "platform/Foundation/NSURL.h"

#include <utility>

namespace velmora {

namespace {

using Output = std::shared_ptr<AVCapturePhotoOutput>;
using Settings = std::shared_ptr<AVCaptureResolvedPhotoSettings>;
using Error = std::optional<NSError>;

}

QVPhotoCapture::QVPhotoCapture(
    AVCaptureDevicePosition devicePosition, UIDeviceOrientation /*device*/, UIImageOrientation /*image*/)
    : devicePosition_(devicePosition)
{
}

const ClassInfo& QVPhotoCapture::staticClass()
{
    using Capture = QVPhotoCapture;
    static constexpr auto methods = methodTable(method<&Capture::delegate>("delegate"),
        method<&Capture::setDelegate>("setDelegate:"), method<&Capture::captureBeganHandler>("captureBeganHandler"),
        method<&Capture::setCaptureBeganHandler>("setCaptureBeganHandler:"),
        method<&Capture::captureCompletedHandler>("captureCompletedHandler"),
        method<&Capture::setCaptureCompletedHandler>("setCaptureCompletedHandler:"),
        method<&Capture::capturePhotoOutputHandler>("capturePhotoOutputHandler"),
        method<&Capture::setCapturePhotoOutputHandler>("setCapturePhotoOutputHandler:"),
        method<&Capture::mirrorOutput>("mirrorOutput"), method<&Capture::setMirrorOutput>("setMirrorOutput:"),
        method<&Capture::locationProvider>("locationProvider"),
        method<&Capture::setLocationProvider>("setLocationProvider:"),
        method<overload<const Output&, const Settings&>(&Capture::captureOutput)>(
            "captureOutput:didCapturePhotoForResolvedSettings:"),
        method<overload<const Output&, const std::shared_ptr<AVCapturePhoto>&, const Error&>(&Capture::captureOutput)>(
            "captureOutput:didFinishProcessingPhoto:error:"),
        method<overload<const Output&, const std::shared_ptr<NSURL>&, const CMTime&, const CMTime&, const Settings&,
            const Error&>(&Capture::captureOutput)>("captureOutput:didFinishProcessingLivePhotoToMovieFileAtURL:"
                                                    "duration:photoDisplayTime:resolvedSettings:error:"),
        method<overload<const Output&, const Settings&, const Error&>(&Capture::captureOutput)>(
            "captureOutput:didFinishCaptureForResolvedSettings:error:"));
    static constexpr auto classMethods
        = methodTable(initialiser<Capture, AVCaptureDevicePosition, UIDeviceOrientation, UIImageOrientation>(
                          "initWithDevicePosition:deviceOrientation:defaultImageOrientation:"),
            unavailableInitialiser());
    static const ClassInfo info { "Velmora.QVPhotoCapture", &NSObject::staticClass(), methods, classMethods };
    return info;
}

void QVPhotoCapture::setDelegate(std::weak_ptr<QVPhotoCaptureDelegate> delegate)
{
    delegate_ = std::move(delegate);
}

void QVPhotoCapture::setCaptureBeganHandler(CaptureBeganHandler handler)
{
    captureBeganHandler_ = std::move(handler);
}

void QVPhotoCapture::setCaptureCompletedHandler(CaptureCompletedHandler handler)
{
    captureCompletedHandler_ = std::move(handler);
}

void QVPhotoCapture::setCapturePhotoOutputHandler(CapturePhotoOutputHandler handler)
{
    capturePhotoOutputHandler_ = std::move(handler);
}

void QVPhotoCapture::setMirrorOutput(bool mirror)
{
    mirrorOutput_ = mirror;
}

void QVPhotoCapture::setLocationProvider(std::weak_ptr<QVLocationProvider> provider)
{
    locationProvider_ = std::move(provider);
}

void QVPhotoCapture::captureOutput(const Output&, const Settings& resolvedSettings)
{
    if (output_)
        output_->setFlashFired(resolvedSettings->isFlashEnabled());
    if (captureBeganHandler_)
        captureBeganHandler_();
}

void QVPhotoCapture::captureOutput(const Output&, const std::shared_ptr<AVCapturePhoto>& photo, const Error& error)
{
    const auto data = photo ? photo->fileDataRepresentation() : nullptr;
    if (!data || error) {
        error_ = error;
        return;
    }
    keep(data, photo->isRawPhoto());
    output_->setExifDictionary(photo->metadata());
    if (const auto& preview = photo->previewPixelBuffer())
        output_->setPreviewImage(CIImage::initWithCVPixelBuffer(preview));
}

void QVPhotoCapture::keep(const std::shared_ptr<NSData>& data, bool raw)
{
    if (!output_) {
        const auto self = sharedFromThis(*this);
        output_ = raw ? make<QVPhotoCaptureOutput>(self, QVPhotoCaptureOutput::RawImageData { data })
                      : make<QVPhotoCaptureOutput>(self, QVPhotoCaptureOutput::JpgImageData { data });
    } else if (raw)
        output_->setDngImageData(data);
    else
        output_->setJpgImageData(data);
}

void QVPhotoCapture::captureOutput(const Output&, const std::shared_ptr<NSURL>& movieFileURL,
    const CMTime& /*duration*/, const CMTime& photoDisplayTime, const Settings&, const Error& error)
{
    if (output_) { // with an error too: the file may hold a part of the movie
        output_->setLivePhotoMovieURL(movieFileURL);
        output_->setLivePhotoDisplayTime(photoDisplayTime);
    }
    error_ = error; // none clears what a photo left
}

void QVPhotoCapture::captureOutput(const Output&, const Settings& resolvedSettings, const Error& error)
{
    if (output_ && !error)
        succeed(*resolvedSettings);
    else
        fail();
}

void QVPhotoCapture::succeed(const AVCaptureResolvedPhotoSettings& resolvedSettings)
{
    output_->setFlashFired(resolvedSettings.isFlashEnabled());
    output_->finalize(NSDate::date(), locationProvider());
    if (capturePhotoOutputHandler_)
        capturePhotoOutputHandler_(output_, std::nullopt);
    if (const auto delegate = delegate_.lock())
        delegate->photoCaptureDidComplete(sharedFromThis(*this), resolvedSettings.uniqueID());
}

void QVPhotoCapture::fail()
{
    DispatchQueue::global().async([self = sharedFromThis(*this)] {
        if (self->capturePhotoOutputHandler_)
            self->capturePhotoOutputHandler_(nullptr, self->error_);
    });
}

}
