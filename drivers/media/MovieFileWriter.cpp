// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/MovieFileWriter.h"

#include "drivers/media/MovieIndex.h"
#include "drivers/media/MovieLock.h"
#include "drivers/media/MovieRecording.h"

namespace velmora::drivers::media {

std::unique_ptr<MovieFile> MovieFileWriter::open(const std::string& path, const MovieSettings& settings)
{
    libav::silence();
    return std::make_unique<MovieRecording>(path, settings);
}

std::optional<CMTime> MovieFileWriter::recover(const std::string& path)
{
    const MovieLock lock(path);
    if (!lock.isHeld())
        return std::nullopt; // its process runs
    if (isOrdinaryMovie(path))
        return std::nullopt;
    return indexMovie(path, std::nullopt);
}

}
