// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSUserDefaults.h"

#include "platform/Foundation/InstalledDriver.h"
#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSException.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/Foundation/PropertyListFile.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

namespace velmora {

namespace {

/// A file that is open, closed at the end.
class OpenFile {
public:
    OpenFile(const std::string& path, int flags)
        : number_(open(path.c_str(), flags | O_CLOEXEC, 0600))
    {
        if (number_ < 0)
            throw errorFromErrno(errno, path);
    }
    ~OpenFile() { close(number_); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    int number() const { return number_; }

private:
    int number_;
};

/// Keeps other processes from changing a file; the lock stands beside it, for the file itself is replaced.
class FileLock {
public:
    explicit FileLock(const std::string& file)
        : file_(file + ".lock", O_RDWR | O_CREAT)
    {
        while (flock(file_.number(), LOCK_EX) != 0)
            if (errno != EINTR)
                throw errorFromErrno(errno, file + ".lock");
    }

private:
    OpenFile file_;
};

void writeAll(int file, const std::string& text, const std::string& path)
{
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = write(file, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR)
            throw errorFromErrno(errno, path);
        if (count > 0)
            done += static_cast<std::size_t>(count);
    }
    if (fsync(file) != 0)
        throw errorFromErrno(errno, path);
}

/// The file is the old one or the new one, even when the power fails.
void replaceFile(const std::string& path, const std::string& text)
{
    const std::string fresh = path + ".part";
    {
        const OpenFile file(fresh, O_WRONLY | O_CREAT | O_TRUNC);
        writeAll(file.number(), text, fresh);
    }
    if (std::rename(fresh.c_str(), path.c_str()) != 0)
        throw errorFromErrno(errno, path);
    const OpenFile folder(std::filesystem::path(path).parent_path().string(), O_RDONLY | O_DIRECTORY);
    fsync(folder.number());
}

std::string configurationFolder()
{
    const char* wanted = std::getenv("XDG_CONFIG_HOME");
    if (wanted && *wanted == '/')
        return wanted;
    const char* home = std::getenv("HOME");
    if (home && *home == '/')
        return std::string(home) + "/.config";
    const passwd* user = getpwuid(getuid());
    return std::string(user && user->pw_dir ? user->pw_dir : "") + "/.config";
}

std::string fileOfApplication()
{
    std::string identifier = NSBundle::mainBundle()->bundleIdentifier();
    for (char& c : identifier)
        if (c == '/')
            c = '_';
    return configurationFolder() + "/" + identifier + "/defaults.plist";
}

InstalledDriver<NSUserDefaults>& standard()
{
    static auto* held = [] {
        ProcessState::add([] { NSUserDefaults::useVolatileDefaults(); });
        return new InstalledDriver<NSUserDefaults>;
    }();
    return *held;
}

}

std::shared_ptr<NSUserDefaults> NSUserDefaults::standardUserDefaults()
{
    static std::mutex making;
    const std::lock_guard lock(making);
    if (auto known = standard().get())
        return known;
    auto made = ProcessState::wasReset() ? make<NSUserDefaults>(ArchiveDictionary())
                                         : make<NSUserDefaults>(fileOfApplication());
    standard().set(made);
    return made;
}

void NSUserDefaults::useVolatileDefaults(ArchiveDictionary values)
{
    standard().set(make<NSUserDefaults>(std::move(values)));
}

NSUserDefaults::NSUserDefaults(std::string file)
    : file_(std::move(file))
{
}

NSUserDefaults::NSUserDefaults(ArchiveDictionary values)
    : values_(std::move(values))
{
}

const ClassInfo& NSUserDefaults::staticClass()
{
    static constexpr auto methods = methodTable(method<&NSUserDefaults::stringForKey>("stringForKey:"),
        method<&NSUserDefaults::_objectForKey>("objectForKey:"),
        method<&NSUserDefaults::_dictionaryRepresentation>("dictionaryRepresentation"),
        method<&NSUserDefaults::_setObject>("setObject:forKey:"),
        method<&NSUserDefaults::removeObjectForKey>("removeObjectForKey:"));
    static constexpr auto classMethods
        = methodTable(classMethod<&NSUserDefaults::standardUserDefaults>("standardUserDefaults"));
    static const ClassInfo info { "Velmora.NSUserDefaults", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::optional<std::string> NSUserDefaults::stringForKey(const std::string& key) const
{
    const ArchiveValue found = objectForKey(key);
    const auto* text = std::get_if<std::string>(&found);
    return text ? std::optional(*text) : std::nullopt;
}

ArchiveValue NSUserDefaults::objectForKey(const std::string& key) const
{
    const std::lock_guard lock(mutex_);
    refresh();
    const auto found = values_.find(key);
    return found == values_.end() ? ArchiveValue() : found->second;
}

ArchiveDictionary NSUserDefaults::dictionaryRepresentation() const
{
    const std::lock_guard lock(mutex_);
    refresh();
    return values_;
}

void NSUserDefaults::setObject(const ArchiveValue& value, const std::string& key)
{
    if (!isNilValue(value))
        try {
            propertyListText({ { key, value } });
        } catch (const NSError& error) {
            throw NSException(NSInvalidArgumentException,
                "-[Velmora.NSUserDefaults setObject:forKey:]: " + error.localizedDescription());
        }
    change(key, value);
}

void NSUserDefaults::removeObjectForKey(const std::string& key)
{
    change(key, {});
}

void NSUserDefaults::change(const std::string& key, const ArchiveValue& value)
{
    const std::lock_guard lock(mutex_);
    if (file_.empty()) {
        apply({ { key, value } }, values_);
        return;
    }

    unwritten_.insert_or_assign(key, value);
    try {
        std::filesystem::create_directories(std::filesystem::path(file_).parent_path());
        const FileLock others(file_);
        read(); // even when the file looks the same: two changes of another may fall into one tick of its clock
        writeChanges();
    } catch (const std::exception& refused) { // NSError, and what the standard library throws for folders
        apply(unwritten_, values_);
        NSLog("NSUserDefaults: the change of \"%@\" is not on disk yet. %@", key, refused.what());
    }
}

void NSUserDefaults::writeChanges()
{
    apply(unwritten_, values_);
    replaceFile(file_, propertyListText(values_));
    unwritten_.clear();
    read_ = stamp();
}

void NSUserDefaults::apply(const Changes& changes, ArchiveDictionary& values)
{
    for (const auto& [key, value] : changes)
        if (isNilValue(value))
            values.erase(key);
        else
            values.insert_or_assign(key, value);
}

/// Reads the file when it is another one than the one that was read.
void NSUserDefaults::refresh() const
{
    if (file_.empty() || stamp() == read_)
        return;
    read();
    apply(unwritten_, values_);
}

void NSUserDefaults::read() const
{
    const Stamp seen = stamp(); // taken before: a file that is replaced meanwhile is read again
    values_.clear();
    try {
        if (seen != Stamp())
            values_ = propertyListValues(contentOfFile(file_));
    } catch (const NSError& error) {
        if (error.domain() == NSCocoaErrorDomain)
            setAside(error.localizedDescription());
        else if (error.code() != ENOENT)
            NSLog("NSUserDefaults: %@", error.localizedDescription());
    }
    read_ = seen;
}

void NSUserDefaults::setAside(const std::string& why) const
{
    const std::string aside = file_ + ".damaged";
    const bool isMoved = std::rename(file_.c_str(), aside.c_str()) == 0;
    NSLog("NSUserDefaults: %@ is damaged. %@ The values begin anew; the file %@.", file_, why,
        isMoved ? "was kept as " + aside : std::string("could not be moved away"));
}

NSUserDefaults::Stamp NSUserDefaults::stamp() const
{
    struct stat found { };
    if (stat(file_.c_str(), &found) != 0)
        return {};
    return { static_cast<std::int64_t>(found.st_ino), found.st_mtim.tv_sec, found.st_mtim.tv_nsec, found.st_size };
}

void NSUserDefaults::_setObject(const Value& value, const std::string& key)
{
    setObject(unboxed(value), key);
}

Value NSUserDefaults::_objectForKey(const std::string& key) const
{
    return boxed(objectForKey(key));
}

std::shared_ptr<NSObject> NSUserDefaults::_dictionaryRepresentation() const
{
    return make<NSDictionary>(dictionaryRepresentation());
}

}
