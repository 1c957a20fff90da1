// SPDX-License-Identifier: Apache-2.0
#include "drivers/photos/FolderWatch.h"

#include "platform/Foundation/NSError.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace velmora::drivers::photos {

namespace {

constexpr std::uint32_t watched = IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE | IN_ATTRIB
    | IN_ONLYDIR | IN_DONT_FOLLOW | IN_EXCL_UNLINK;

/// A file that moves leaves and arrives in two notifications, which may be read apart. One that leaves the library
/// never arrives.
constexpr int longestMove = 20; // milliseconds

bool isHardLink(const std::string& path)
{
    struct stat status { };
    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink > 1;
}

}

FolderWatch::FolderWatch(std::string root, std::string databaseName)
    : root_(std::move(root))
    , databaseName_(std::move(databaseName))
    , notifications_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
    , stopped_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (notifications_ >= 0 && stopped_ >= 0)
        return;
    const int reason = errno;
    ::close(notifications_);
    ::close(stopped_);
    throw errorFromErrno(reason, "The photo library's folder cannot be watched");
}

FolderWatch::~FolderWatch()
{
    ::close(notifications_);
    ::close(stopped_);
}

void FolderWatch::watch(const std::vector<std::string>& folders)
{
    const std::lock_guard lock(mutex_);
    for (const auto& folder : folders) {
        const auto path = folder.empty() ? root_ : root_ + "/" + folder;
        const int descriptor = ::inotify_add_watch(notifications_, path.c_str(), watched);
        if (descriptor >= 0)
            folders_[descriptor] = folder;
        else if (errno != ENOENT && errno != ENOTDIR)
            throw errorFromErrno(errno, "The folder " + path + " cannot be watched for photos of other programs");
    }
}

void FolderWatch::stop()
{
    const std::uint64_t one = 1;
    (void)!::write(stopped_, &one, sizeof one);
}

bool FolderWatch::isStoppedWithin(int milliseconds) const
{
    pollfd waiting { stopped_, POLLIN, 0 };
    return ::poll(&waiting, 1, milliseconds) > 0;
}

bool FolderWatch::wait(FolderNews& news)
{
    while (news.isEmpty() || !halfMoves_.empty()) {
        std::array<pollfd, 2> waiting { pollfd { notifications_, POLLIN, 0 }, pollfd { stopped_, POLLIN, 0 } };
        const int ready = ::poll(waiting.data(), waiting.size(), halfMoves_.empty() ? -1 : longestMove);
        if (waiting[1].revents != 0)
            return false;
        if (ready == 0)
            halfMoves_.clear();
        if (ready > 0)
            read(news);
    }
    return true;
}

void FolderWatch::read(FolderNews& news)
{
    alignas(inotify_event) std::array<char, 1 << 16> buffer;
    for (;;) {
        const auto length = ::read(notifications_, buffer.data(), buffer.size());
        if (length <= 0)
            return;
        const std::lock_guard lock(mutex_);
        for (std::size_t at = 0; at + sizeof(inotify_event) <= static_cast<std::size_t>(length);) {
            inotify_event event {};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            const char* name = buffer.data() + at + sizeof event;
            if ((event.mask & IN_Q_OVERFLOW) != 0)
                news.lostTrack = true;
            if ((event.mask & IN_IGNORED) != 0)
                folders_.erase(event.wd);
            if ((event.mask & IN_MOVED_FROM) != 0)
                halfMoves_.insert(event.cookie);
            if ((event.mask & IN_MOVED_TO) != 0)
                halfMoves_.erase(event.cookie);
            if (const auto folder = folders_.find(event.wd); folder != folders_.end() && event.len > 0)
                note(event.mask, folder->second, name, news);
            at += sizeof event + event.len;
        }
    }
}

void FolderWatch::note(std::uint32_t mask, const std::string& folder, const std::string& name, FolderNews& news) const
{
    if (folder.empty() && name == databaseName_) {
        news.databaseWasTouched = true;
        return;
    }
    if ((mask & IN_ISDIR) != 0) {
        if ((mask & IN_ATTRIB) == 0 && name.front() != '.')
            news.lostTrack = true;
        return;
    }
    const auto place = placeOf(folder, name);
    if (!place || (mask & IN_ATTRIB) != 0)
        return;
    // A file that is being written is complete when it is closed; a link is from the beginning.
    if ((mask & IN_CREATE) != 0 && !isHardLink(pathIn(root_, folder, name)))
        return;
    news.touched[*place].insert(name);
}

}
