// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureMovieFileOutput.h"
#include "platform/AVFoundation/FrameSequence.h"
#include "platform/AVFoundation/MovieWriter.h"
#include "platform/Foundation/DispatchQueue.h"

#include <functional>

namespace velmora {

/// One movie of a movie file output, from its start to the end that it tells of. From any thread.
class MovieFileRecording : public std::enable_shared_from_this<MovieFileRecording> {
public:
    /// On the recording's own queue, once, when the file is closed.
    using Ended = std::function<void(const std::optional<NSError>& error)>;

    /// The size of the settings follows the first frame; an invalid `limit` is none.
    MovieFileRecording(std::string path, MovieSettings settings, CMTime limit, Ended ended);

    /// Frames and sound; returns at once. A frame that comes while too many wait is left out, and counted.
    void append(const std::shared_ptr<CMSampleBuffer>& buffer);
    /// What came before is still written.
    void stop(const std::optional<NSError>& error = {});

    bool isRecording() const;
    CMTime duration() const; ///< From the first frame to the last one that was taken.
    AVCaptureRecordingCounts counts() const;

private:
    bool take(const CMSampleBuffer& buffer);
    void write(const std::shared_ptr<CMSampleBuffer>& buffer);
    void open(const CMSampleBuffer& frame);
    void reportGrowth();
    void close();

    const std::string path_;
    const CMTime limit_;
    const DispatchQueue queue_ { "org.velmora.movieFileOutput" }; // owns what follows
    MovieSettings settings_;
    Ended ended_;
    std::unique_ptr<MovieFile> file_;
    std::uint64_t reported_ = 0; // bytes
    std::optional<NSError> error_;
    bool failed_ = false;

    mutable std::mutex mutex_; // what follows
    bool recording_ = true;
    int waiting_ = 0;
    CMTime first_, last_;
    AVCaptureRecordingCounts counts_;
    FrameSequence sequence_;
};

}
