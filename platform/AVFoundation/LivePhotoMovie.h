// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/MovieWriter.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSError.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// The movie of one live photo while it is being written. From any thread.
class LivePhotoMovie : public std::enable_shared_from_this<LivePhotoMovie> {
public:
    struct Result {
        CMTime duration, photoDisplayTime; ///< the latter from the movie's beginning
    };

    /// The size of the settings follows the first frame.
    LivePhotoMovie(std::string path, MovieSettings settings, CMTime shutter);

    /// A frame or a piece of sound. Frames of another size than the first, and what is long after the shutter, are left
    /// out. The movie has a sound track when sound came before the first frame.
    void append(const std::shared_ptr<CMSampleBuffer>& buffer);
    /// Closes the file; without a frame, `still` becomes the only one. Throws NSError, and leaves no file behind.
    Result finish(const std::shared_ptr<CVPixelBuffer>& still, const CMTime& stillTime);
    /// Removes the file.
    void abandon();

private:
    void write(const CMSampleBuffer& frame);
    void open(const CMSampleBuffer& frame);
    void hear(const std::shared_ptr<CMSampleBuffer>& sound);
    Result close(const std::shared_ptr<CVPixelBuffer>& still, const CMTime& stillTime);
    void remove();

    const DispatchQueue queue_; // owns what follows
    const std::string path_;
    MovieSettings settings_;
    const CMTime shutter_;
    std::unique_ptr<MovieFile> file_;
    std::vector<std::shared_ptr<CMSampleBuffer>> early_; // sound, until there is a frame
    CMTime first_;
    std::optional<NSError> error_;
    bool ended_ = false;
};

}
