// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureOutput.h"
#include "platform/AVFoundation/FrameSequence.h"
#include "platform/Foundation/ArchiveValue.h"
#include "platform/Foundation/DispatchQueue.h"

#include <cstdint>
#include <optional>

namespace velmora {

/// Receives frames. A class that is also the delegate of an AVCaptureAudioDataOutput overrides one function for both.
class VELMORA_EXPORT AVCaptureVideoDataOutputSampleBufferDelegate {
public:
    virtual ~AVCaptureVideoDataOutputSampleBufferDelegate() = default;
    virtual void captureOutput(const std::shared_ptr<AVCaptureOutput>& output,
        const std::shared_ptr<CMSampleBuffer>& sampleBuffer, const std::shared_ptr<AVCaptureConnection>& connection)
        = 0;
};

/// What became of the frames that reached an output.
struct AVCaptureFrameCounts {
    std::uint64_t delivered = 0;
    std::uint64_t late = 0; ///< waited behind another one, and were delivered
    std::uint64_t droppedLate = 0; ///< came while one was in delivery, and late frames are discarded
    std::uint64_t droppedOutOfRoom = 0; ///< came while as many waited as may wait
    std::uint64_t droppedByDevice = 0; ///< never came: the camera's own count goes on without them
    std::uint64_t turned = 0; ///< copied on their way, because `turnsFrames` is YES
    std::uint64_t dropped() const { return droppedLate + droppedOutOfRoom + droppedByDevice; }
};

/// Hands every frame to its delegate, on the delegate's queue, by reference.
class VELMORA_EXPORT AVCaptureVideoDataOutput : public AVCaptureOutput {
public:
    /// As many frames wait at most when late ones are kept; devices have little memory to lend.
    static constexpr std::size_t mostWaitingFrames = 16;

    /// Empty when the driver cannot make one.
    static std::shared_ptr<AVCaptureVideoDataOutput> init();
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// kCVPixelBufferPixelFormatTypeKey chooses the frames' format; '420f' when it is left out.
    ArchiveDictionary videoSettings() const;
    void setVideoSettings(const ArchiveDictionary& settings);
    std::uint32_t pixelFormat() const;

    /// The delegate is held weakly; an empty one, or no queue, ends the delivery.
    void setSampleBufferDelegate(const std::weak_ptr<AVCaptureVideoDataOutputSampleBufferDelegate>& delegate,
        const std::optional<DispatchQueue>& queue);
    std::shared_ptr<AVCaptureVideoDataOutputSampleBufferDelegate> sampleBufferDelegate() const;
    std::optional<DispatchQueue> sampleBufferCallbackQueue() const;

    /// YES at first: a frame that comes while another is in delivery is dropped. NO: it waits.
    bool alwaysDiscardsLateVideoFrames() const;
    void setAlwaysDiscardsLateVideoFrames(bool discards);
    AVCaptureFrameCounts frameCounts() const;

    /// NO at first: a frame is the camera's own, and its `imageOrientation` says how it is meant. YES: for processors
    /// that cannot turn what they get, each frame is a copy that stands as the connection asks; `turned` counts them.
    bool turnsFrames() const;
    void setTurnsFrames(bool turns);

    /// Codec, size and rate for a writer of this type of file, for the camera in use; empty without one.
    std::optional<ArchiveDictionary> recommendedVideoSettingsForAssetWriterWithOutputFileType(
        const std::string& fileType) const;

    std::vector<std::string> connectionTypesFor(const std::string& mediaType) const override;
    void cameraChanged() override;
    void sessionStopped() override;
    void shape(StreamRequest& request) const override;
    void receive(
        const std::shared_ptr<CMSampleBuffer>& buffer, const std::shared_ptr<AVCaptureConnection>& connection) override;

private:
    bool admit();
    void deliver(const std::shared_ptr<CMSampleBuffer>& buffer, const std::shared_ptr<AVCaptureConnection>& connection);

    mutable std::mutex mutex_;
    ArchiveDictionary settings_;
    std::weak_ptr<AVCaptureVideoDataOutputSampleBufferDelegate> delegate_;
    std::optional<DispatchQueue> queue_;
    bool discardsLate_ = true;
    bool turnsFrames_ = false;
    std::size_t inDelivery_ = 0;
    AVCaptureFrameCounts counts_;
    FrameSequence sequence_;
};

}
