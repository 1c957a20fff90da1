// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CMSampleBuffer.h"
#include "platform/Foundation/NSError.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace velmora {

struct MovieSettings {
    CMVideoDimensions dimensions;
    double frameRate = 30; ///< expected; the frames' own times count
    int rotation = 0; ///< degrees clockwise that a player turns the picture: 0, 90, 180, 270
    bool mirrored = false;
    bool audio = false;
    std::int32_t audioChannels = 1;
    double audioSampleRate = 48000;
    double creationDate = 0; ///< seconds since the reference date
    std::optional<double> latitude, longitude, altitude;
    std::map<std::string, std::string> metadata; ///< more tags, by their full names
    std::uint64_t bytesToKeepFree = 0; ///< on the file system of the file
};

/// One movie that is being written. From one thread. Every function throws NSError when it cannot go on; what was
/// written until then stays playable.
class VELMORA_EXPORT MovieFile {
public:
    virtual ~MovieFile() = default; ///< Without `finish`: as after a crash.
    virtual void append(const CMSampleBuffer& buffer) = 0;
    /// Makes an ordinary, seekable file of it. Answers its length.
    virtual CMTime finish(std::optional<CMTime> stillImageTime) = 0;
    virtual std::uint64_t bytesWritten() const = 0;
    virtual std::string encoder() const = 0; ///< the names of what encodes picture and sound
};

/// Writes movies.
class VELMORA_EXPORT MovieWriter {
public:
    virtual ~MovieWriter() = default;
    virtual std::unique_ptr<MovieFile> open(const std::string& path, const MovieSettings& settings) = 0;
    /// Makes an ordinary movie, in place, of a file that a crash left behind, and answers its length. Empty when
    /// nothing is to be done: the movie is ordinary already, or somebody still writes it. Throws NSError for a file
    /// that is no movie, or that has no picture in it.
    virtual std::optional<CMTime> recover(const std::string& path) = 0;

    static std::shared_ptr<MovieWriter> installed(); ///< Empty when there is none.
    static void install(std::shared_ptr<MovieWriter> writer);
};

/// One movie that is being read.
class VELMORA_EXPORT MovieSource {
public:
    virtual ~MovieSource() = default;
    /// '420f' frames in order with their times from 0; empty at the end. Throws NSError for a damaged file.
    virtual std::shared_ptr<CMSampleBuffer> nextFrame() = 0;
    virtual void rewind() = 0;
    virtual CMVideoDimensions dimensions() const = 0;
    virtual double duration() const = 0; ///< seconds
    /// The whole sound track, one channel or more; empty when there is none.
    virtual std::shared_ptr<const CMAudioSamples> audio() = 0;
};

/// Reads movies.
class VELMORA_EXPORT MovieReader {
public:
    virtual ~MovieReader() = default;
    virtual std::unique_ptr<MovieSource> open(const std::string& path) = 0;

    static std::shared_ptr<MovieReader> installed(); ///< Empty when there is none.
    static void install(std::shared_ptr<MovieReader> reader);
};

}
