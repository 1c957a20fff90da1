// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/MovieRecovery.h"

#include "platform/AVFoundation/MovieWriter.h"
#include "platform/Foundation/NSLog.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace velmora {

namespace {

/// A temporary folder holds other people's files and links too.
bool isOwnFile(const std::string& path)
{
    struct stat status { };
    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid();
}

std::vector<std::string> candidates(const std::string& folder, const std::string& beginning, const std::string& ending)
{
    std::vector<std::string> paths;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (name.starts_with(beginning) && name.ends_with(ending) && isOwnFile(entry->path()))
            paths.push_back(entry->path());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

}

std::vector<std::string> recoverMovies(
    const std::string& folder, const std::string& beginning, const std::string& ending)
{
    std::vector<std::string> recovered;
    const auto writer = MovieWriter::installed();
    if (!writer)
        return recovered;
    for (const std::string& path : candidates(folder, beginning, ending)) {
        try {
            if (const auto length = writer->recover(path)) {
                NSLog("The movie %@ was left behind and is complete now: %f s.", path, CMTimeGetSeconds(*length));
                recovered.push_back(path);
            }
        } catch (const NSError& error) {
            NSLog("The movie %@ was left behind and cannot be completed: %@", path, error.localizedDescription());
        }
    }
    return recovered;
}

}
