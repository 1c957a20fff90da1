// SPDX-License-Identifier: Apache-2.0
#include "drivers/photos/LibraryFiles.h"

#include "platform/Foundation/NSData.h"
#include "platform/Foundation/NSError.h"
#include "platform/Photos/PHPhotoLibrary.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>

namespace velmora::drivers::photos {

namespace {

constexpr std::string_view arriving = ".adding", leaving = ".removing";

struct KnownEnding {
    std::string_view ending; // small letters
    PHAssetMediaType type;
};
/// The earlier is what is shown of an asset that has several.
constexpr std::array knownEndings { KnownEnding { ".jpg", PHAssetMediaTypeImage },
    KnownEnding { ".jpeg", PHAssetMediaTypeImage }, KnownEnding { ".png", PHAssetMediaTypeImage },
    KnownEnding { ".dng", PHAssetMediaTypeImage }, KnownEnding { ".mov", PHAssetMediaTypeVideo },
    KnownEnding { ".mp4", PHAssetMediaTypeVideo } };

std::size_t rankOf(std::string_view name)
{
    const auto dot = name.rfind('.');
    std::string ending(dot == std::string_view::npos ? "" : name.substr(dot));
    for (char& c : ending)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    const auto* found = std::find_if(
        knownEndings.begin(), knownEndings.end(), [&](const auto& known) { return known.ending == ending; });
    return static_cast<std::size_t>(found - knownEndings.begin());
}

bool isShownBefore(const LibraryFile& a, const LibraryFile& b)
{
    return std::pair(rankOf(a.name), a.name) < std::pair(rankOf(b.name), b.name);
}

std::optional<LibraryFile> statusOf(const std::string& path, std::string name)
{
    struct stat status { };
    if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    constexpr std::int64_t nanoseconds = 1000000000;
    return LibraryFile { std::move(name), static_cast<std::int64_t>(status.st_ino),
        static_cast<std::int64_t>(status.st_size), status.st_mtim.tv_sec * nanoseconds + status.st_mtim.tv_nsec };
}

std::string hiddenNameFor(const std::string& path, std::string_view why)
{
    const auto slash = path.rfind('/');
    return path.substr(0, slash + 1) + '.' + path.substr(slash + 1) + std::string(why);
}

[[noreturn]] void refuse(int number, const std::string& path)
{
    if (number == ENOSPC || number == EDQUOT || number == EFBIG)
        throw NSError(PHPhotosErrorDomain, PHPhotosErrorNotEnoughSpace,
            "The photo library cannot take " + path + ", because there is no space left for it; free some.");
    if (number == EROFS || number == EACCES || number == EPERM)
        throw NSError(PHPhotosErrorDomain, PHPhotosErrorChangeNotSupported,
            "The photo library cannot take " + path + ", because its folder may only be read; allow writing to it.");
    throw errorFromErrno(number, "The photo library cannot take " + path);
}

/// A file system that does not know how to rename without replacing knows hard links.
bool renameWithoutReplacing(const std::string& from, const std::string& to)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    return errno == EINVAL && ::link(from.c_str(), to.c_str()) == 0 && ::unlink(from.c_str()) == 0;
}

class Descriptor {
public:
    explicit Descriptor(int number)
        : number_(number)
    {
    }
    ~Descriptor()
    {
        if (number_ >= 0)
            ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }

private:
    int number_;
};

void writeAll(int descriptor, std::span<const std::uint8_t> bytes, const std::string& path)
{
    while (!bytes.empty()) {
        const auto written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
            refuse(errno, path);
        if (written > 0)
            bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
}

void copyFile(const std::string& source, int descriptor, const std::string& path)
{
    const Descriptor from(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status { };
    if (from.number() < 0 || ::fstat(from.number(), &status) != 0 || !S_ISREG(status.st_mode))
        throw NSError(PHPhotosErrorDomain, PHPhotosErrorInvalidResource,
            "The file " + source + " cannot be added to the photo library, because it cannot be read; name another.");
    std::array<std::uint8_t, 1 << 16> buffer;
    for (;;) {
        const auto length = ::read(from.number(), buffer.data(), buffer.size());
        if (length < 0 && errno != EINTR)
            throw errorFromErrno(errno, "The file " + source + " cannot be added to the photo library");
        if (length == 0)
            return;
        if (length > 0)
            writeAll(descriptor, std::span(buffer).first(static_cast<std::size_t>(length)), path);
    }
}

/// A file system without locks has none of another.
bool isLockedByAnother(int descriptor)
{
    return ::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

bool isStillThere(int descriptor)
{
    struct stat status { };
    return ::fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

/// The name without folders, and never hidden: it stays in the library and is seen there.
std::string plainName(const std::string& name)
{
    auto plain = name.substr(name.rfind('/') == std::string::npos ? 0 : name.rfind('/') + 1);
    while (!plain.empty() && plain.front() == '.')
        plain.erase(0, 1);
    if (rankOf(plain) == knownEndings.size())
        throw NSError(PHPhotosErrorDomain, PHPhotosErrorInvalidResource,
            "The file \"" + name
                + "\" cannot be added to the photo library, because it is neither JPEG, PNG, DNG nor a movie by its "
                  "ending; call it .jpg, .jpeg, .png, .dng, .mov or .mp4.");
    return plain;
}

void listFolder(const std::string& root, const std::string& folder, LibraryListing& listing)
{
    const std::string path = folder.empty() ? root : root + "/" + folder;
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(path.c_str()), ::closedir);
    if (!directory)
        return;
    listing.folders.push_back(folder);
    std::vector<std::string> below;
    while (const dirent* entry = ::readdir(directory.get())) {
        std::string name = entry->d_name;
        if (name.front() == '.') {
            if (name.ends_with(arriving) || name.ends_with(leaving))
                listing.leftBehind.push_back(folder.empty() ? name : folder + "/" + name);
            continue;
        }
        if (entry->d_type == DT_DIR) {
            below.push_back(folder.empty() ? name : folder + "/" + name);
            continue;
        }
        const auto place = placeOf(folder, name);
        if (!place)
            continue;
        if (auto file = statusOf(path + "/" + name, name))
            listing.groups[*place].push_back(std::move(*file));
    }
    for (const auto& each : below)
        listFolder(root, each, listing);
}

}

std::optional<AssetPlace> placeOf(const std::string& folder, const std::string& name)
{
    if (name.empty() || name.front() == '.' || rankOf(name) == knownEndings.size())
        return std::nullopt;
    return AssetPlace { folder, name.substr(0, name.rfind('.')) };
}

PHAssetMediaType mediaTypeOf(const std::string& name)
{
    const auto rank = rankOf(name);
    return rank < knownEndings.size() ? knownEndings[rank].type : PHAssetMediaTypeUnknown;
}

std::string pathIn(const std::string& root, const std::string& folder, const std::string& name)
{
    return folder.empty() ? root + "/" + name : root + "/" + folder + "/" + name;
}

LibraryListing listLibrary(const std::string& root)
{
    LibraryListing listing;
    listFolder(root, {}, listing);
    for (auto& [place, group] : listing.groups)
        std::sort(group.begin(), group.end(), isShownBefore);
    return listing;
}

FileGroup listGroup(const std::string& root, const AssetPlace& place, const std::vector<std::string>& names)
{
    FileGroup group;
    for (const auto& name : names)
        if (auto file = statusOf(pathIn(root, place.folder, name), name))
            group.push_back(std::move(*file));
    std::sort(group.begin(), group.end(), isShownBefore);
    group.erase(std::unique(group.begin(), group.end()), group.end());
    return group;
}

std::string joined(const FileGroup& group)
{
    std::string names;
    for (const auto& file : group)
        names += (names.empty() ? "" : "/") + file.name;
    return names;
}

std::vector<std::string> split(const std::string& names)
{
    std::vector<std::string> all;
    for (std::size_t at = 0; at < names.size();) {
        const auto end = std::min(names.find('/', at), names.size());
        all.push_back(names.substr(at, end - at));
        at = end + 1;
    }
    return all;
}

ArrivingFiles::ArrivingFiles(std::string root, const std::vector<NewAssetFile>& files,
    const std::function<bool(const std::string& stem)>& isTaken)
    : root_(std::move(root))
{
    const auto first = plainName(files.front().name);
    const auto base = first.substr(0, first.rfind('.'));
    try {
        std::string stem = base;
        for (int number = 2; isTaken(stem) || !create(stem, files); ++number)
            stem = base + "_" + std::to_string(number);
        stem_ = stem;
        for (std::size_t i = 0; i < files.size(); ++i)
            write(files_[i], files[i]);
    } catch (...) {
        discard();
        throw;
    }
    std::vector<std::string> names;
    for (const auto& file : files_) {
        auto name = file.name.substr(file.name.rfind('/') + 1);
        if (auto status = statusOf(file.hidden, std::move(name)))
            group_.push_back(std::move(*status));
    }
    std::sort(group_.begin(), group_.end(), isShownBefore);
}

ArrivingFiles::~ArrivingFiles()
{
    discard();
}

void ArrivingFiles::discard()
{
    for (auto& file : files_) {
        if (!kept_) {
            ::unlink(file.hidden.c_str());
            if (file.published)
                ::unlink(file.name.c_str());
        }
        if (file.descriptor >= 0)
            ::close(file.descriptor);
    }
    files_.clear();
}

/// All hidden names, each with its lock; false when one of them, or of those that they stand for, is taken.
bool ArrivingFiles::create(const std::string& stem, const std::vector<NewAssetFile>& files)
{
    for (const auto& file : files) {
        const auto plain = plainName(file.name);
        const auto path = root_ + "/" + stem + plain.substr(plain.rfind('.'));
        auto hidden = hiddenNameFor(path, arriving);
        const int descriptor = ::open(hidden.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor < 0 && errno != EEXIST)
            refuse(errno, path);
        if (descriptor >= 0)
            files_.push_back({ path, std::move(hidden), descriptor, false });
        // Who cleans up after others may have come before the lock, and taken it for something that was left behind.
        if (descriptor < 0 || isLockedByAnother(descriptor) || !isStillThere(descriptor) || statusOf(path, {})) {
            discard();
            return false;
        }
    }
    return true;
}

void ArrivingFiles::write(Arriving& file, const NewAssetFile& content)
{
    if (content.data)
        writeAll(file.descriptor, content.data->bytes(), file.name);
    else
        copyFile(content.source, file.descriptor, file.name);
    if (::fsync(file.descriptor) != 0)
        refuse(errno, file.name);
}

std::string ArrivingFiles::hiddenPath() const
{
    return root_ + "/." + group_.front().name + std::string(arriving);
}

bool ArrivingFiles::publish()
{
    for (auto& file : files_) {
        if (!renameWithoutReplacing(file.hidden, file.name)) {
            const int reason = errno;
            unpublish();
            if (reason == EEXIST)
                return false;
            refuse(reason, file.name);
        }
        file.published = true;
    }
    return true;
}

void ArrivingFiles::unpublish()
{
    for (auto& file : files_)
        if (std::exchange(file.published, false))
            ::unlink(file.name.c_str());
}

void ArrivingFiles::keep()
{
    kept_ = true;
}

LeavingFiles::~LeavingFiles()
{
    restore();
}

void LeavingFiles::restore()
{
    for (auto each = hidden_.rbegin(); each != hidden_.rend(); ++each)
        renameWithoutReplacing(each->hidden, each->path);
    hidden_.clear();
}

void LeavingFiles::hide(const std::string& path)
{
    auto hidden = hiddenNameFor(path, leaving);
    if (::rename(path.c_str(), hidden.c_str()) == 0)
        hidden_.push_back({ path, std::move(hidden) });
    else if (errno != ENOENT)
        refuse(errno, path);
}

void LeavingFiles::remove()
{
    for (const auto& each : hidden_)
        ::unlink(each.hidden.c_str());
    hidden_.clear();
}

void settle(
    const std::string& root, const std::string& leftBehind, const std::function<bool(const AssetPlace& place)>& isKnown)
{
    const auto path = root + "/" + leftBehind;
    const auto slash = leftBehind.rfind('/');
    const auto folder = slash == std::string::npos ? std::string() : leftBehind.substr(0, slash);
    const auto hidden = leftBehind.substr(slash == std::string::npos ? 0 : slash + 1);
    if (hidden.ends_with(arriving)) {
        const Descriptor descriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC));
        if (descriptor.number() >= 0 && ::flock(descriptor.number(), LOCK_EX | LOCK_NB) == 0)
            ::unlink(path.c_str()); // nobody writes it any more
        return;
    }
    const auto name = hidden.substr(1, hidden.size() - 1 - leaving.size());
    const auto place = placeOf(folder, name);
    if (place && isKnown(*place))
        renameWithoutReplacing(path, pathIn(root, folder, name)); // the removal never became sure
    else
        ::unlink(path.c_str());
}

void synchronizeFolder(const std::string& folder)
{
    const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor.number() >= 0)
        ::fsync(descriptor.number());
}

}
