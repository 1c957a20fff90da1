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

    std::optional<CMTime> recover(const std::string& path) override;
};

}
