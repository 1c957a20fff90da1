// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace velmora::tests {

/// A folder of its own, removed with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    /// Writes a file into the folder and answers its path.
    std::string write(const std::string& name, std::span<const std::uint8_t> bytes) const;

private:
    std::string path_;
};

/// The content of a file; empty when it cannot be read.
std::vector<std::uint8_t> bytesOfFile(const std::string& path);

}
