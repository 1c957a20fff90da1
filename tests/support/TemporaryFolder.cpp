// SPDX-License-Identifier: Apache-2.0
#include "tests/support/TemporaryFolder.h"

#include "platform/Foundation/NSURL.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace velmora::tests {

TemporaryFolder::TemporaryFolder()
    : path_(NSTemporaryDirectory() + "velmora-test-XXXXXX")
{
    mkdtemp(path_.data());
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryFolder::write(const std::string& name, std::span<const std::uint8_t> bytes) const
{
    std::ofstream stream(file(name), std::ios::binary);
    for (const std::uint8_t byte : bytes)
        stream.put(static_cast<char>(byte));
    return file(name);
}

std::vector<std::uint8_t> bytesOfFile(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    return { std::istreambuf_iterator<char>(stream), {} };
}

}
