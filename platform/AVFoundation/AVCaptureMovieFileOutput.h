// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureOutput.h"
#include "platform/Foundation/NSURL.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class AVCaptureMovieFileOutput;
class CLLocation;
class MovieFileRecording;
struct MovieSettings;

/// Every frame that a recording was offered is one of these.
struct AVCaptureRecordingCounts {
    std::uint64_t frames = 0; ///< taken for the file
    std::uint64_t late = 0; ///< waited behind others, and were taken
    std::uint64_t droppedOutOfRoom = 0; ///< came while the encoder was too far behind
    std::uint64_t droppedByDevice = 0; ///< never came: the camera's own count goes on without them
    std::uint64_t dropped() const { return droppedOutOfRoom + droppedByDevice; }
};

/// Told of the end of a recording.
class VELMORA_EXPORT AVCaptureFileOutputRecordingDelegate {
public:
    using Connections = std::vector<std::shared_ptr<AVCaptureConnection>>;

    virtual ~AVCaptureFileOutputRecordingDelegate() = default;
    /// Once for each recording, on a queue of the output's. No error: it was stopped, or came to its limit. With one
    /// the file may be there all the same, and plays up to where it ended.
    virtual void captureOutput(const std::shared_ptr<AVCaptureMovieFileOutput>& output,
        const std::shared_ptr<NSURL>& outputFileURL, const Connections& connections,
        const std::optional<NSError>& error)
        = 0;
};

/// Records what a session sees and hears into QuickTime files. From any thread.
///
/// Frames are written on a queue of its own and never wait for the encoder. While it records, a file plays up to a
/// second before whatever happens to the process.
class VELMORA_EXPORT AVCaptureMovieFileOutput : public AVCaptureOutput {
public:
    /// Empty when the driver cannot make one.
    static std::shared_ptr<AVCaptureMovieFileOutput> init();
    ~AVCaptureMovieFileOutput() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// For recordings that start later. An invalid time, as at first, is no limit.
    CMTime maxRecordedDuration() const;
    void setMaxRecordedDuration(const CMTime& duration);
    /// Bytes that stay free on the file's disk: a recording ends before it takes them. 32 MB at first.
    std::uint64_t minFreeDiskSpaceLimit() const;
    void setMinFreeDiskSpaceLimit(std::uint64_t bytes);
    /// Where recordings that start later are made, and more tags by their full names.
    void setLocation(std::shared_ptr<CLLocation> location);
    void setMetadata(std::map<std::string, std::string> metadata);

    /// Begins with the next frame, in the orientation of the video connection. Whatever hinders it comes to the
    /// delegate, which is held weakly. Nothing happens while it records.
    void startRecordingToOutputFileURL(
        const std::shared_ptr<NSURL>& url, const std::weak_ptr<AVCaptureFileOutputRecordingDelegate>& delegate);
    void stopRecording();
    /// From the start to the stop, or to the limit.
    bool isRecording() const;
    /// Of the recording that runs, or of the one before; zero at first.
    CMTime recordedDuration() const;
    AVCaptureRecordingCounts recordingCounts() const; ///< Of the same recording.

    std::vector<std::string> connectionTypesFor(const std::string& mediaType) const override;
    void receive(
        const std::shared_ptr<CMSampleBuffer>& buffer, const std::shared_ptr<AVCaptureConnection>& connection) override;
    void cameraChanged() override;
    void cameraFailed(const NSError& error) override;
    void sessionStopped() override;

private:
    MovieSettings settings(const AVCaptureConnection* video) const;
    std::shared_ptr<MovieFileRecording> recording() const;
    void end(const std::optional<NSError>& error);

    mutable std::mutex mutex_;
    CMTime maxRecordedDuration_;
    std::uint64_t minFreeDiskSpaceLimit_ = 32'000'000;
    std::shared_ptr<CLLocation> location_;
    std::map<std::string, std::string> metadata_;
    std::shared_ptr<MovieFileRecording> recording_; // the one that runs, or the one before
};

}
