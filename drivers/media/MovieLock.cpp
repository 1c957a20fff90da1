// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/MovieLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace velmora::drivers::media {

MovieLock::MovieLock(const std::string& path)
    : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK))
{
    held_ = descriptor_ >= 0 && (::flock(descriptor_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK);
}

MovieLock::~MovieLock()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

MovieLock::MovieLock(MovieLock&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1))
    , held_(std::exchange(other.held_, false))
{
}

MovieLock& MovieLock::operator=(MovieLock&& other) noexcept
{
    std::swap(descriptor_, other.descriptor_);
    std::swap(held_, other.held_);
    return *this;
}

}
