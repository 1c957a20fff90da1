// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVCameraController.h"

#include "velmora/results/QVLocationProvider.h"

#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/AVFoundation/MovieRecovery.h"
#include "platform/Foundation/Clock.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/ProcessState.h"

#include <atomic>
#include <utility>

namespace velmora {

namespace {

constexpr const char* recordingName = "QVCameraRecording-";

}

/// Once in a process, in the background: what earlier ones left behind when they crashed.
void QVCameraController::recoverRecordings()
{
    static std::atomic<bool> done = false;
    if (done.exchange(true))
        return;
    static const bool resets = (ProcessState::add([] { done = false; }), true);
    static_cast<void>(resets);
    DispatchQueue("org.velmora.movieRecovery").async([folder = NSTemporaryDirectory()] {
        recoverMovies(folder, recordingName, ".mov");
    });
}

void QVCameraController::prepareToCaptureVideo()
{
    if (preparedToCaptureVideo_)
        return;

    sessionQueue_.sync([this] {
        const auto session = captureSession();
        if (session)
            session->beginConfiguration();
        // Frames go to a file or to the application, not to both.
        if (const auto output = videoDataOutput_.exchange(nullptr); output && session)
            session->removeOutput(output);
        if (const auto output = audioDataOutput_.exchange(nullptr); output && session)
            session->removeOutput(output);
        if (!movieFileOutput_.get())
            movieFileOutput_.set(AVCaptureMovieFileOutput::init());
        if (const auto output = movieFileOutput_.get(); output && session)
            session->addOutput(output);
        if (session)
            session->commitConfiguration();
        fireCameraConfigurationCompletion();
        preparedSampleBufferTypes_ = {};
        preparedToCaptureVideo_ = true;
    });
}

void QVCameraController::removeMovieFileOutput(const std::shared_ptr<AVCaptureSession>& session)
{
    if (const auto output = movieFileOutput_.exchange(nullptr); output && session)
        session->removeOutput(output);
}

void QVCameraController::beginCapturingVideo(MovieFileWrittenHandler written)
{
    beginCapturingVideoWithLimit(kCMTimeInvalid, std::move(written));
}

void QVCameraController::beginCapturingVideoWithLimit(const CMTime& limit, MovieFileWrittenHandler written)
{
    sessionQueue_.sync([&] {
        // An application that has not prepared stops here: this queue would wait for itself.
        prepareToCaptureVideo();
        const auto file = NSURL::fileURLWithPath(
            NSTemporaryDirectory() + recordingName + stringWithFormat("%f.mov", CFAbsoluteTimeGetCurrent()));
        setMovieFileWrittenHandler(std::move(written));
        const auto output = movieFileOutput_.get();
        if (!output)
            return;
        output->setMaxRecordedDuration(limit);
        // Also none: the output would keep the place of the recording before.
        output->setLocation(disableLocationProvider_ ? nullptr : locationProvider_->currentLocation());
        output->startRecordingToOutputFileURL(file, weakFromThis(*this));
    });
}

CMTime QVCameraController::currentCapturedVideoDuration() const
{
    const auto output = movieFileOutput_.get();
    return output ? output->recordedDuration() : CMTime {};
}

bool QVCameraController::isCapturingVideo() const
{
    const auto output = movieFileOutput_.get();
    return output && output->isRecording();
}

void QVCameraController::endCapturingVideo(MovieFileWrittenHandler written)
{
    setMovieFileWrittenHandler(std::move(written));
    if (const auto output = movieFileOutput_.get())
        output->stopRecording();
}

void QVCameraController::captureOutput(const std::shared_ptr<AVCaptureMovieFileOutput>&,
    const std::shared_ptr<NSURL>& outputFileURL, const Connections&, const std::optional<NSError>& error)
{
    // The handler stays: a later recording that ends by itself may call it again.
    if (const auto written = movieFileWrittenHandler())
        written(outputFileURL, error);
}

}
