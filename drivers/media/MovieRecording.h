// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/MovieWriter.h"

#include "drivers/media/AudioTrack.h"
#include "drivers/media/LibAV.h"
#include "drivers/media/MovieLock.h"
#include "drivers/media/VideoTrack.h"

#include <deque>

namespace velmora::drivers::media {

/// A movie on its way to the disk, in fragments of a second: whatever happens, the file plays up to the last of them.
/// Time 0 is the first picture's; sound before it is left out.
class MovieRecording : public MovieFile {
public:
    MovieRecording(std::string path, const MovieSettings& settings);
    ~MovieRecording() override;

    void append(const CMSampleBuffer& buffer) override;
    CMTime finish(std::optional<CMTime> stillImageTime) override;
    std::uint64_t bytesWritten() const override;
    std::string encoder() const override;

private:
    void checkSpace() const;
    void addPictures(const MovieSettings& settings);
    void addSound();
    void describe(const MovieSettings& settings);
    void begin();
    void appendPicture(const CMSampleBuffer& buffer);
    void appendSound(const CMSampleBuffer& buffer);
    VideoTrack::Sink sinkOf(AVStream* stream, AVCodecContext& codec);
    NSError failure(int code) const;

    std::string path_;
    std::uint64_t bytesToKeepFree_;
    VideoTrack video_;
    std::optional<AudioTrack> audio_;
    libav::Output format_;
    MovieLock lock_; ///< while it is written
    AVStream* pictures_ = nullptr;
    AVStream* sound_ = nullptr;
    std::optional<double> start_; ///< seconds, by the clock of the buffers
    std::int64_t last_ = -1; ///< ticks, of the last picture
    std::uint64_t written_ = 0; ///< bytes, once the movie is finished
    std::deque<std::pair<std::shared_ptr<const CMAudioSamples>, double>> early_; ///< sound before the first picture
};

}
