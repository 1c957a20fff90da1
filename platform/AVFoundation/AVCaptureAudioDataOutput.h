// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureOutput.h"
#include "platform/Foundation/ArchiveValue.h"
#include "platform/Foundation/DispatchQueue.h"

#include <optional>

namespace velmora {

/// Receives sound.
class VELMORA_EXPORT AVCaptureAudioDataOutputSampleBufferDelegate {
public:
    virtual ~AVCaptureAudioDataOutputSampleBufferDelegate() = default;
    virtual void captureOutput(const std::shared_ptr<AVCaptureOutput>& output,
        const std::shared_ptr<CMSampleBuffer>& sampleBuffer, const std::shared_ptr<AVCaptureConnection>& connection)
        = 0;
};

/// Hands every piece of sound to its delegate, on the delegate's queue, in order; none is dropped.
class VELMORA_EXPORT AVCaptureAudioDataOutput : public AVCaptureOutput {
public:
    /// Empty when the driver cannot make one.
    static std::shared_ptr<AVCaptureAudioDataOutput> init();
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// The delegate is held weakly; an empty one, or no queue, ends the delivery.
    void setSampleBufferDelegate(const std::weak_ptr<AVCaptureAudioDataOutputSampleBufferDelegate>& delegate,
        const std::optional<DispatchQueue>& queue);
    std::shared_ptr<AVCaptureAudioDataOutputSampleBufferDelegate> sampleBufferDelegate() const;
    std::optional<DispatchQueue> sampleBufferCallbackQueue() const;

    /// Codec, rate and channels for a writer of this type of file; empty without a microphone.
    std::optional<ArchiveDictionary> recommendedAudioSettingsForAssetWriterWithOutputFileType(
        const std::string& fileType) const;

    std::vector<std::string> connectionTypesFor(const std::string& mediaType) const override;
    void receive(
        const std::shared_ptr<CMSampleBuffer>& buffer, const std::shared_ptr<AVCaptureConnection>& connection) override;

private:
    mutable std::mutex mutex_;
    std::weak_ptr<AVCaptureAudioDataOutputSampleBufferDelegate> delegate_;
    std::optional<DispatchQueue> queue_;
    double sampleRate_ = 48000; // of the last piece that came
    std::int32_t channels_ = 1;
};

}
