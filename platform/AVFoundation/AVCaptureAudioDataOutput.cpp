// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureAudioDataOutput.h"

#include <utility>

namespace velmora {

namespace {
constexpr std::int64_t formatAAC = 1633772320; // 'aac '
}

std::shared_ptr<AVCaptureAudioDataOutput> AVCaptureAudioDataOutput::init()
{
    const auto driver = CaptureDriver::installed();
    return !driver || driver->canCreateOutput("audio") ? make<AVCaptureAudioDataOutput>() : nullptr;
}

const ClassInfo& AVCaptureAudioDataOutput::staticClass()
{
    using Self = AVCaptureAudioDataOutput;
    static constexpr auto methods
        = methodTable(method<&Self::setSampleBufferDelegate>("setSampleBufferDelegate:queue:"),
            method<&Self::recommendedAudioSettingsForAssetWriterWithOutputFileType>(
                "recommendedAudioSettingsForAssetWriterWithOutputFileType:"));
    static constexpr auto classMethods = methodTable(classMethod<&Self::init>("init"));
    static const ClassInfo info { "Velmora.AVCaptureAudioDataOutput", &AVCaptureOutput::staticClass(), methods,
        classMethods };
    return info;
}

void AVCaptureAudioDataOutput::setSampleBufferDelegate(
    const std::weak_ptr<AVCaptureAudioDataOutputSampleBufferDelegate>& delegate,
    const std::optional<DispatchQueue>& queue)
{
    const std::lock_guard lock(mutex_);
    delegate_ = delegate;
    queue_ = queue;
}

std::shared_ptr<AVCaptureAudioDataOutputSampleBufferDelegate> AVCaptureAudioDataOutput::sampleBufferDelegate() const
{
    const std::lock_guard lock(mutex_);
    return delegate_.lock();
}

std::optional<DispatchQueue> AVCaptureAudioDataOutput::sampleBufferCallbackQueue() const
{
    const std::lock_guard lock(mutex_);
    return queue_;
}

std::optional<ArchiveDictionary> AVCaptureAudioDataOutput::recommendedAudioSettingsForAssetWriterWithOutputFileType(
    const std::string& /*fileType*/) const
{
    if (!connectionWithMediaType(AVMediaTypeAudio))
        return std::nullopt;
    const std::lock_guard lock(mutex_);
    return ArchiveDictionary { { "AVFormatIDKey", formatAAC }, { "AVSampleRateKey", sampleRate_ },
        { "AVNumberOfChannelsKey", std::int64_t { channels_ } } };
}

std::vector<std::string> AVCaptureAudioDataOutput::connectionTypesFor(const std::string& mediaType) const
{
    return mediaType == AVMediaTypeAudio ? std::vector<std::string> { AVMediaTypeAudio } : std::vector<std::string> {};
}

void AVCaptureAudioDataOutput::receive(
    const std::shared_ptr<CMSampleBuffer>& buffer, const std::shared_ptr<AVCaptureConnection>& connection)
{
    std::optional<DispatchQueue> queue;
    {
        const std::lock_guard lock(mutex_);
        if (const auto& audio = buffer->audio()) {
            sampleRate_ = audio->sampleRate;
            channels_ = audio->channels;
        }
        if (!queue_ || delegate_.expired())
            return;
        queue = queue_;
    }
    queue->async([self = sharedFromThis(*this), buffer, connection] {
        if (const auto delegate = self->sampleBufferDelegate())
            delegate->captureOutput(self, buffer, connection);
    });
}

}
