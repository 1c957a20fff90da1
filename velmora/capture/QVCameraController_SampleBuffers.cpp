// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/AVCaptureConnection.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/CoreMedia/CMSampleBuffer.h"
#include "platform/Foundation/NSLog.h"

#include <utility>

namespace velmora {

void QVCameraController::prepareToReceiveSampleBuffers(QVSampleBufferTypes types)
{
    if ((types & ~preparedSampleBufferTypes_.load()) == 0)
        return;

    sessionQueue_.sync([&] { _setupSessionToReceiveSampleBuffers(types); });
}

void QVCameraController::_setupSessionToReceiveSampleBuffers(QVSampleBufferTypes types)
{
    const auto session = captureSession();
    if (session)
        session->beginConfiguration();
    removeMovieFileOutput(session);
    if (contains(types, QVSampleBufferTypeVideo))
        addVideoDataOutput(session);
    if (contains(types, QVSampleBufferTypeAudio))
        addAudioDataOutput(session);
    if (session)
        session->commitConfiguration();
    fireCameraConfigurationCompletion();
    preparedSampleBufferTypes_ = preparedSampleBufferTypes_.load() | types;
    preparedToCaptureVideo_ = false;
}

void QVCameraController::addVideoDataOutput(const std::shared_ptr<AVCaptureSession>& session)
{
    if (!videoDataOutput_.get()) {
        if (const auto output = AVCaptureVideoDataOutput::init()) {
            output->setVideoSettings({ { kCVPixelBufferPixelFormatTypeKey,
                static_cast<std::int64_t>(kCVPixelFormatType_420YpCbCr8BiPlanarFullRange) } });
            output->setSampleBufferDelegate(weakFromThis(*this), videoProcessQueue_);
            videoDataOutput_.set(output);
        }
    }
    const auto output = videoDataOutput_.get();
    if (session && output)
        session->addOutput(output);
    if (const auto connection = videoDataConnection())
        connection->setVideoOrientation(sampleBufferOrientation_);
}

void QVCameraController::addAudioDataOutput(const std::shared_ptr<AVCaptureSession>& session)
{
    if (!audioDataOutput_.get()) {
        if (const auto output = AVCaptureAudioDataOutput::init()) {
            output->setSampleBufferDelegate(weakFromThis(*this), videoProcessQueue_);
            audioDataOutput_.set(output);
        }
    }
    const auto output = audioDataOutput_.get();
    if (session && output)
        session->addOutput(output);
}

std::shared_ptr<AVCaptureConnection> QVCameraController::videoDataConnection() const
{
    const auto output = videoDataOutput_.get();
    return output ? output->connectionWithMediaType(AVMediaTypeVideo) : nullptr;
}

void QVCameraController::beginReceivingVideoSampleBuffer(SampleBufferProcessor video)
{
    beginReceivingVideoSampleBuffer(std::move(video), nullptr);
}

void QVCameraController::beginReceivingVideoSampleBuffer(SampleBufferProcessor video, SampleBufferProcessor audio)
{
    if (video)
        prepareToReceiveSampleBuffers(QVSampleBufferTypeVideo);
    if (audio)
        prepareToReceiveSampleBuffers(QVSampleBufferTypeAudio);

    if (video && !videoDataOutput_.get()) {
        NSLog("[QVCameraController] Cannot receive video sample without sample data output.");
        return;
    }
    if (audio && !audioDataOutput_.get()) {
        NSLog("[QVCameraController] Cannot receive audio sample without sample data output.");
        return;
    }
    // An absent processor clears its own kind.
    setVideoSampleBufferProcessor(std::move(video));
    setAudioSampleBufferProcessor(std::move(audio));
}

void QVCameraController::endReceivingSampleBuffer()
{
    setVideoSampleBufferProcessor(nullptr);
    setAudioSampleBufferProcessor(nullptr);
}

std::optional<ArchiveDictionary> QVCameraController::recommendedVideoSettingsForAssetWriterWithOutputFileType(
    const std::string& fileType) const
{
    const auto output = videoDataOutput_.get();
    return output ? output->recommendedVideoSettingsForAssetWriterWithOutputFileType(fileType) : std::nullopt;
}

std::optional<ArchiveDictionary> QVCameraController::recommendedAudioSettingsForAssetWriterWithOutputFileType(
    const std::string& fileType) const
{
    const auto output = audioDataOutput_.get();
    return output ? output->recommendedAudioSettingsForAssetWriterWithOutputFileType(fileType) : std::nullopt;
}

void QVCameraController::captureOutput(const std::shared_ptr<AVCaptureOutput>& output,
    const std::shared_ptr<CMSampleBuffer>& sampleBuffer, const std::shared_ptr<AVCaptureConnection>&)
{
    SampleBufferProcessor processor;
    if (output->isKindOfClass(AVCaptureVideoDataOutput::staticClass()))
        processor = videoSampleBufferProcessor();
    else if (output->isKindOfClass(AVCaptureAudioDataOutput::staticClass()))
        processor = audioSampleBufferProcessor();
    if (processor)
        processor(sampleBuffer);
}

void QVCameraController::_matchVideoOutputOrientationToSampleBufferOrientation()
{
    const auto session = captureSession();
    if (!session)
        return;

    for (const auto& output : session->outputs()) {
        const auto connection = output->connectionWithMediaType(AVMediaTypeVideo);
        if (connection && connection->videoOrientation() != sampleBufferOrientation_)
            connection->setVideoOrientation(sampleBufferOrientation_);
    }
}

void QVCameraController::resetToSessionPreset()
{
    const auto session = captureSession();
    if (session && session->canSetSessionPreset(captureSessionPreset()))
        session->setSessionPreset(captureSessionPreset());
    if (preferredFrameRate_ != 0)
        setVideoFrameRate(preferredFrameRate_);
}

}
