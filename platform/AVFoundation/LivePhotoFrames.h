// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CMSampleBuffer.h"
#include "platform/Foundation/DispatchQueue.h"

#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace velmora {

class LivePhotoMovie;

/// What a live photo shows before and after its still.
inline constexpr double livePhotoReach = 1.5; // seconds

/// A picture of at most 1440 by 1080 pixels, or 1080 by 1440, in memory of its own: a device gets its frame back at
/// once, however long the copy is kept. Empty for a picture that is not '420f'.
std::shared_ptr<CVPixelBuffer> livePhotoPicture(const CVPixelBuffer& picture);

/// The last moments of a camera, for live photos to begin with. From any thread.
class LivePhotoFrames : public std::enable_shared_from_this<LivePhotoFrames> {
public:
    LivePhotoFrames();

    bool isEnabled() const;
    void setEnabled(bool enabled);
    /// Forgets what it holds: the camera is another one.
    void clear();
    /// Takes a copy, on a queue of its own; while two are being copied, further ones are left out.
    void receive(const std::shared_ptr<CMSampleBuffer>& buffer);

    /// Sound is taken by reference, and kept as long as frames are.
    void hear(const std::shared_ptr<CMSampleBuffer>& sound);

    enum class Trimming { None, AfterLastPause };
    /// Hands `movie` what there is, then all that comes until `end`. Sound comes before its frames, so that the movie
    /// knows that it has some.
    void begin(const std::shared_ptr<LivePhotoMovie>& movie, Trimming trimming);
    /// Returns when `movie` has all that came before.
    void end(const std::shared_ptr<LivePhotoMovie>& movie);

private:
    void take(const CMSampleBuffer& buffer);
    void dropOld(double now);

    const DispatchQueue queue_;
    mutable std::mutex mutex_;
    bool enabled_ = false;
    int beingCopied_ = 0;

    // on the queue
    std::deque<std::shared_ptr<CMSampleBuffer>> recent_, sounds_;
    std::vector<std::shared_ptr<LivePhotoMovie>> movies_;
};

}
