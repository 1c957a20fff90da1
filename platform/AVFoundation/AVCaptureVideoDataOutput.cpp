// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"

#include "platform/AVFoundation/AVCaptureDevice.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/CameraPicture.h"
#include "platform/AVFoundation/CaptureOrientation.h"

#include <utility>

namespace velmora {

namespace {

constexpr double bitsPerPixel = 0.1; // about what H.264 needs for a hand-held camera

std::shared_ptr<CMSampleBuffer> asItIsMeant(
    const std::shared_ptr<CMSampleBuffer>& frame, const PictureOrientation& orientation)
{
    return orientation == PictureOrientation {}
        ? frame
        : frame->withImageOrientation(static_cast<int>(exifOrientation(orientation)));
}

std::shared_ptr<CMSampleBuffer> turnedFrame(const CMSampleBuffer& frame)
{
    return make<CMSampleBuffer>(turned(*frame.imageBuffer(), pictureOrientation(frame.imageOrientation())),
        frame.presentationTimeStamp(), frame.sequence());
}

}

std::shared_ptr<AVCaptureVideoDataOutput> AVCaptureVideoDataOutput::init()
{
    const auto driver = CaptureDriver::installed();
    return !driver || driver->canCreateOutput("video") ? make<AVCaptureVideoDataOutput>() : nullptr;
}

const ClassInfo& AVCaptureVideoDataOutput::staticClass()
{
    using Self = AVCaptureVideoDataOutput;
    static constexpr auto methods = methodTable(method<&Self::videoSettings>("videoSettings"),
        method<&Self::setVideoSettings>("setVideoSettings:"),
        method<&Self::setSampleBufferDelegate>("setSampleBufferDelegate:queue:"),
        method<&Self::alwaysDiscardsLateVideoFrames>("alwaysDiscardsLateVideoFrames"),
        method<&Self::setAlwaysDiscardsLateVideoFrames>("setAlwaysDiscardsLateVideoFrames:"),
        method<&Self::turnsFrames>("turnsFrames"), method<&Self::setTurnsFrames>("setTurnsFrames:"),
        method<&Self::recommendedVideoSettingsForAssetWriterWithOutputFileType>(
            "recommendedVideoSettingsForAssetWriterWithOutputFileType:"));
    static constexpr auto classMethods = methodTable(classMethod<&Self::init>("init"));
    static const ClassInfo info { "Velmora.AVCaptureVideoDataOutput", &AVCaptureOutput::staticClass(), methods,
        classMethods };
    return info;
}

ArchiveDictionary AVCaptureVideoDataOutput::videoSettings() const
{
    const std::lock_guard lock(mutex_);
    return settings_;
}

void AVCaptureVideoDataOutput::setVideoSettings(const ArchiveDictionary& settings)
{
    {
        const std::lock_guard lock(mutex_);
        settings_ = settings;
    }
    if (const auto session = this->session())
        session->streamRequestChanged();
}

std::uint32_t AVCaptureVideoDataOutput::pixelFormat() const
{
    const std::lock_guard lock(mutex_);
    const auto format = valueIn<std::int64_t>(settings_, kCVPixelBufferPixelFormatTypeKey);
    return format ? static_cast<std::uint32_t>(*format) : kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;
}

void AVCaptureVideoDataOutput::setSampleBufferDelegate(
    const std::weak_ptr<AVCaptureVideoDataOutputSampleBufferDelegate>& delegate,
    const std::optional<DispatchQueue>& queue)
{
    const std::lock_guard lock(mutex_);
    delegate_ = delegate;
    queue_ = queue;
}

std::shared_ptr<AVCaptureVideoDataOutputSampleBufferDelegate> AVCaptureVideoDataOutput::sampleBufferDelegate() const
{
    const std::lock_guard lock(mutex_);
    return delegate_.lock();
}

std::optional<DispatchQueue> AVCaptureVideoDataOutput::sampleBufferCallbackQueue() const
{
    const std::lock_guard lock(mutex_);
    return queue_;
}

bool AVCaptureVideoDataOutput::alwaysDiscardsLateVideoFrames() const
{
    const std::lock_guard lock(mutex_);
    return discardsLate_;
}

void AVCaptureVideoDataOutput::setAlwaysDiscardsLateVideoFrames(bool discards)
{
    const std::lock_guard lock(mutex_);
    discardsLate_ = discards;
}

bool AVCaptureVideoDataOutput::turnsFrames() const
{
    const std::lock_guard lock(mutex_);
    return turnsFrames_;
}

void AVCaptureVideoDataOutput::setTurnsFrames(bool turns)
{
    const std::lock_guard lock(mutex_);
    turnsFrames_ = turns;
}

AVCaptureFrameCounts AVCaptureVideoDataOutput::frameCounts() const
{
    const std::lock_guard lock(mutex_);
    return counts_;
}

std::optional<ArchiveDictionary> AVCaptureVideoDataOutput::recommendedVideoSettingsForAssetWriterWithOutputFileType(
    const std::string& /*fileType*/) const
{
    const auto device = camera();
    const auto format = device ? device->activeFormat() : nullptr;
    if (!format)
        return std::nullopt;
    const CMVideoDimensions size = format->formatDescription()->dimensions();
    const double frame = CMTimeGetSeconds(device->activeVideoMinFrameDuration());
    const double rate = frame > 0 ? 1 / frame : 30;
    const double bits = static_cast<double>(size.width) * size.height * rate * bitsPerPixel;
    return ArchiveDictionary { { AVVideoCodecKey, std::string("avc1") },
        { "AVVideoWidthKey", std::int64_t { size.width } }, { "AVVideoHeightKey", std::int64_t { size.height } },
        { "AVVideoCompressionPropertiesKey",
            make<NSDictionary>(ArchiveDictionary {
                { "AverageBitRate", static_cast<std::int64_t>(bits) }, { "ExpectedSourceFrameRate", rate } }) } };
}

std::vector<std::string> AVCaptureVideoDataOutput::connectionTypesFor(const std::string& mediaType) const
{
    return mediaType == AVMediaTypeVideo ? std::vector<std::string> { AVMediaTypeVideo } : std::vector<std::string> {};
}

void AVCaptureVideoDataOutput::shape(StreamRequest& request) const
{
    request.pixelFormat = pixelFormat();
    if (const auto connection = connectionWithMediaType(AVMediaTypeVideo))
        request.stabilizationMode = static_cast<int>(connection->activeVideoStabilizationMode());
}

void AVCaptureVideoDataOutput::cameraChanged()
{
    const std::lock_guard lock(mutex_);
    sequence_.restart();
}

void AVCaptureVideoDataOutput::sessionStopped()
{
    const std::lock_guard lock(mutex_);
    sequence_.restart();
}

bool AVCaptureVideoDataOutput::admit()
{
    if (inDelivery_ > 0 && discardsLate_) {
        ++counts_.droppedLate;
        return false;
    }
    if (inDelivery_ > mostWaitingFrames) {
        ++counts_.droppedOutOfRoom;
        return false;
    }
    if (inDelivery_++ > 0)
        ++counts_.late;
    return true;
}

void AVCaptureVideoDataOutput::receive(
    const std::shared_ptr<CMSampleBuffer>& buffer, const std::shared_ptr<AVCaptureConnection>& connection)
{
    std::optional<DispatchQueue> queue;
    {
        const std::lock_guard lock(mutex_);
        if (!queue_ || delegate_.expired())
            return;
        counts_.droppedByDevice += sequence_.missingBefore(buffer->sequence());
        if (!admit())
            return;
        queue = queue_;
    }
    const auto frame = connection ? asItIsMeant(buffer, pictureOrientation(*connection)) : buffer;
    queue->async([self = sharedFromThis(*this), frame, connection] { self->deliver(frame, connection); });
}

void AVCaptureVideoDataOutput::deliver(
    const std::shared_ptr<CMSampleBuffer>& buffer, const std::shared_ptr<AVCaptureConnection>& connection)
{
    const auto delegate = sampleBufferDelegate();
    const bool turns = delegate && buffer->imageOrientation() != 1 && turnsFrames();
    if (turns)
        delegate->captureOutput(sharedFromThis(*this), turnedFrame(*buffer), connection);
    else if (delegate)
        delegate->captureOutput(sharedFromThis(*this), buffer, connection);
    const std::lock_guard lock(mutex_);
    --inDelivery_;
    if (turns)
        ++counts_.turned;
    if (delegate)
        ++counts_.delivered;
}

}
