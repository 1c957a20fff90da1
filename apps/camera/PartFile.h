// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>

namespace velmora::camera {

/// A file that nobody sees under its name before it is complete: `.NAME.part` beside it until then. What was not
/// published is removed.
class PartFile {
public:
    /// Nothing when somebody else writes this file now, or when it is there already. Throws filesystem_error.
    static std::optional<PartFile> create(const std::filesystem::path& path);
    PartFile(PartFile&& other) noexcept;
    PartFile& operator=(PartFile&&) = delete;
    ~PartFile();

    const std::filesystem::path& path() const { return path_; }

    /// These throw filesystem_error, with the path that was refused.
    void write(std::span<const std::uint8_t> bytes);
    void writeContentsOf(const std::filesystem::path& file); ///< The file stays.
    /// Puts it on the disk and under its name. Never replaces a file.
    void publish();

private:
    PartFile(std::filesystem::path path, std::filesystem::path part, int descriptor);
    bool becomeLinkTo(const std::filesystem::path& file);

    std::filesystem::path path_, part_;
    int descriptor_;
};

}
