// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/PartFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

namespace velmora::camera {

namespace {

[[noreturn]] void fail(const std::filesystem::path& path)
{
    throw std::filesystem::filesystem_error("cannot write", path, { errno, std::generic_category() });
}

struct Closing {
    int descriptor;
    ~Closing() { close(descriptor); }
};

bool isThere(const std::filesystem::path& path)
{
    struct stat status { };
    return lstat(path.c_str(), &status) == 0;
}

/// A file system that does not know how to rename without replacing knows hard links.
bool renameWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to)
{
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    return errno == EINVAL && link(from.c_str(), to.c_str()) == 0 && unlink(from.c_str()) == 0;
}

/// The new name is on the disk when the folder is.
void synchronize(const std::filesystem::path& folder)
{
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return; // a folder that can be written to but not read
    fsync(descriptor);
    close(descriptor);
}

}

std::optional<PartFile> PartFile::create(const std::filesystem::path& path)
{
    auto part = path.parent_path() / ".";
    part += path.filename();
    part += ".part";
    const int descriptor = open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0 && errno != EEXIST)
        fail(path);
    if (descriptor < 0)
        return std::nullopt;
    PartFile file(path, std::move(part), descriptor);
    // Only now: whoever wrote it meanwhile held the part.
    if (isThere(path))
        return std::nullopt;
    return file;
}

PartFile::PartFile(std::filesystem::path path, std::filesystem::path part, int descriptor)
    : path_(std::move(path))
    , part_(std::move(part))
    , descriptor_(descriptor)
{
}

PartFile::PartFile(PartFile&& other) noexcept
    : path_(std::move(other.path_))
    , part_(std::move(other.part_))
    , descriptor_(std::exchange(other.descriptor_, -1))
{
}

PartFile::~PartFile()
{
    if (descriptor_ < 0)
        return;
    close(descriptor_);
    unlink(part_.c_str());
}

void PartFile::write(std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const auto written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
            fail(path_);
        if (written > 0)
            bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
}

bool PartFile::becomeLinkTo(const std::filesystem::path& file)
{
    const int source = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (source < 0)
        fail(file);
    const auto linked = std::filesystem::path(part_) += "2";
    if (link(file.c_str(), linked.c_str()) != 0 || rename(linked.c_str(), part_.c_str()) != 0) {
        unlink(linked.c_str());
        close(source);
        return false;
    }
    close(std::exchange(descriptor_, source));
    return true;
}

void PartFile::writeContentsOf(const std::filesystem::path& file)
{
    // On one file system nothing is copied: an hour's movie may be larger than what is free.
    if (becomeLinkTo(file))
        return;
    const int source = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (source < 0)
        fail(file);
    const Closing closing { source };
    std::array<std::uint8_t, 1 << 16> buffer;
    for (;;) {
        const auto length = read(source, buffer.data(), buffer.size());
        if (length < 0 && errno != EINTR)
            fail(file);
        if (length == 0)
            return;
        if (length > 0)
            write(std::span(buffer).first(static_cast<std::size_t>(length)));
    }
}

void PartFile::publish()
{
    if (fsync(descriptor_) != 0)
        fail(path_);
    // A network file system tells of a full disk only when the file is closed.
    if (close(std::exchange(descriptor_, -1)) != 0 || !renameWithoutReplacing(part_, path_)) {
        const int reason = errno;
        unlink(part_.c_str());
        errno = reason;
        fail(path_);
    }
    synchronize(path_.parent_path());
}

}
