// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/MovieWriter.h"

namespace velmora::drivers::media {

/// Writes QuickTime movies with H.264 and AAC. While one is written its file plays up to the last second; after a crash
/// `recover` makes an ordinary movie of it.
class VELMORA_EXPORT MovieFileWriter : public MovieWriter {
public:
    /// A file that is there already is written over.
    std::unique_ptr<MovieFile> open(const std::string& path, const MovieSettings& settings) override;

    /// Makes an ordinary movie of a file that was left behind, in place, and answers its length; one that is ordinary
    /// stays as it is. Throws NSError for a file that is no movie, or to which no picture had been written.
    static CMTime recover(const std::string& path);
};

}
