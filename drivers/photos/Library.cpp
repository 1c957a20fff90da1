// SPDX-License-Identifier: Apache-2.0
#include "drivers/photos/Library.h"

#include "platform/Foundation/Clock.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSLog.h"
#include "platform/ImageIO/ImageHeader.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/Photos/RandomIdentifier.h"

#include "drivers/photos/FolderPhotoStore.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <set>
#include <system_error>
#include <tuple>
#include <utility>

namespace velmora::drivers::photos {

namespace {

std::int64_t inodeOf(const std::string& path)
{
    struct stat status { };
    return ::stat(path.c_str(), &status) == 0 ? static_cast<std::int64_t>(status.st_ino) : 0;
}

/// One process at a time makes or sets aside the database of a folder.
class FolderLock {
public:
    explicit FolderLock(const std::string& folder)
        : descriptor_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        if (descriptor_ >= 0)
            ::flock(descriptor_, LOCK_EX);
    }
    ~FolderLock()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    int descriptor_;
};

/// A name beside `path` that nobody has: "PATH.damaged", "PATH.damaged.2".
std::string nameToSetAside(const std::string& path)
{
    std::string name = path + ".damaged";
    for (int number = 2; inodeOf(name) != 0; ++number)
        name = path + ".damaged." + std::to_string(number);
    return name;
}

/// Nothing where another process has done it.
void renameDatabase(const std::string& file, std::int64_t inode, const DatabaseError& why)
{
    const FolderLock lock(file.substr(0, file.rfind('/')));
    if (inode != inodeOf(file))
        return;
    const auto aside = nameToSetAside(file);
    ::rename(file.c_str(), aside.c_str());
    ::rename((file + "-wal").c_str(), (aside + "-wal").c_str());
    ::unlink((file + "-shm").c_str());
    NSLog("[PhotoLibrary] The database %@ is damaged (%@). It was renamed to %@, and the library is made anew from its "
          "files; albums have to be made again.",
        file, why.what(), aside);
}

double dateOfFile(std::int64_t nanoseconds)
{
    return static_cast<double>(nanoseconds) / 1e9 - NSTimeIntervalSince1970;
}

LibraryRecords::Facts factsOf(const std::string& path, const LibraryFile& file)
{
    const auto header = imageHeaderOfFile(path);
    LibraryRecords::Facts facts;
    facts.modificationDate = dateOfFile(file.modified);
    facts.creationDate = header.date.value_or(facts.modificationDate);
    facts.place = header.place;
    facts.width = header.width;
    facts.height = header.height;
    facts.duration = header.duration;
    return facts;
}

bool differs(const LibraryRecords::FileRow& row, const FileGroup& group)
{
    const auto& shown = group.front();
    return row.inode != shown.inode || row.size != shown.size || row.modified != shown.modified
        || row.names != joined(group);
}

bool touchesFiles(const std::vector<PhotoStep>& steps)
{
    for (const auto& step : steps)
        if (std::holds_alternative<AddAsset>(step) || std::holds_alternative<RemoveAsset>(step))
            return true;
    return false;
}

}

struct Library::Differences {
    std::vector<std::pair<AssetPlace, LibraryRecords::FileRow>> gone;
    std::map<AssetPlace, FileGroup> fresh;
    std::vector<std::tuple<AssetPlace, LibraryRecords::FileRow, FileGroup>> altered;
    std::vector<std::string> leftBehind, folders;

    bool isEmpty() const { return gone.empty() && fresh.empty() && altered.empty() && leftBehind.empty(); }
    void compare(const AssetPlace& place, const LibraryRecords::FileRow* row, const FileGroup* group)
    {
        if (row && !group)
            gone.emplace_back(place, *row);
        if (!row && group)
            fresh.emplace(place, *group);
        if (row && group && differs(*row, *group))
            altered.emplace_back(place, *row, *group);
    }
};

/// The files of one new asset, and what is known of it.
struct Library::Arrival {
    ArrivingFiles files;
    LibraryRecords::Facts facts;
};

Library::Connection::Connection(const std::string& file, Database::Mode mode, const std::string& root)
    : database(file, mode)
    , records(database, root)
    , inode(mode == Database::InMemory ? 0 : inodeOf(file))
{
}

Library::Library(std::string root)
    : root_(std::move(root))
    , file_(root_ + "/" + FolderPhotoStore::databaseName)
{
    std::error_code error;
    std::filesystem::create_directories(root_, error);
    if (!std::filesystem::is_directory(root_, error))
        throw NSError(PHPhotosErrorDomain, PHPhotosErrorLibraryVolumeOffline,
            "There is no photo library at " + root_ + ", and none can be made ("
                + (error ? error.message() : "it is no folder") + "); choose another folder.");
    open();
}

void Library::open()
{
    readOnly_
        = ::access(root_.c_str(), W_OK | X_OK) != 0 || (inodeOf(file_) != 0 && ::access(file_.c_str(), W_OK) != 0);
    try {
        if (readOnly_)
            openReadOnly();
        else
            openWritable();
    } catch (const DatabaseError& error) {
        throw errorFor(error);
    }
}

void Library::openWritable()
{
    bool isNew = false;
    try {
        isNew = openOrMakeTables();
    } catch (const DatabaseError& error) {
        if (!error.isDamage())
            throw;
        renameDatabase(file_, inodeOf(file_), error);
    }
    if (!isNew && reader_)
        return;
    if (!reader_)
        openOrMakeTables();
    reconcile(nullptr);
}

/// Answers whether it made them.
bool Library::openOrMakeTables()
{
    auto connection = std::make_shared<Connection>(file_, Database::ReadWrite, root_);
    const bool isNew = !LibraryRecords::hasTables(connection->database);
    if (isNew) {
        const FolderLock lock(root_);
        connection->database.execute("PRAGMA journal_mode = WAL");
        LibraryRecords::makeTables(connection->database);
    }
    const std::lock_guard lock(connectionsMutex_);
    reader_ = std::move(connection); // others may still use the one before
    writer_.reset();
    return isNew;
}

/// A copy in memory: what is written to it, the files that come and go, is seen and never kept.
void Library::openReadOnly()
{
    auto memory = std::make_shared<Connection>(std::string(), Database::InMemory, root_);
    try {
        // Without a place for its log a database is read as the file that it is.
        Database stored("file:" + file_ + "?immutable=1", Database::ReadOnly);
        if (LibraryRecords::hasTables(stored))
            memory->database.copyFrom(stored);
    } catch (const DatabaseError& error) {
        if (inodeOf(file_) != 0)
            NSLog("[PhotoLibrary] The database %@ cannot be read (%@); albums are not shown.", file_, error.what());
    }
    LibraryRecords::makeTables(memory->database);
    {
        const std::lock_guard lock(connectionsMutex_);
        reader_ = writer_ = std::move(memory);
    }
    reconcile(nullptr);
}

std::shared_ptr<Library::Connection> Library::reader()
{
    const std::lock_guard lock(connectionsMutex_);
    return reader_;
}

/// Opened when somebody writes first, and again when the file is another one now.
std::shared_ptr<Library::Connection> Library::writer()
{
    {
        const std::lock_guard lock(connectionsMutex_);
        if (writer_ && (writer_->inode == 0 || writer_->inode == inodeOf(file_)))
            return writer_;
    }
    auto connection = std::make_shared<Connection>(file_, Database::ReadWrite, root_);
    connection->database.execute("PRAGMA synchronous = FULL");
    if (!LibraryRecords::hasTables(connection->database)) {
        const FolderLock lock(root_);
        connection->database.execute("PRAGMA journal_mode = WAL");
        LibraryRecords::makeTables(connection->database);
    }
    const std::lock_guard lock(connectionsMutex_);
    writer_ = connection;
    if (!reader_ || reader_->inode != connection->inode)
        reader_ = std::make_shared<Connection>(file_, Database::ReadWrite, root_);
    return connection;
}

/// Nobody who asks waits for a look at a large folder: that has a connection of its own. A library in memory has but
/// one, and one whose file another process has taken away is looked at as it was.
std::shared_ptr<Library::Connection> Library::scanner()
{
    std::shared_ptr<Connection> reader;
    {
        const std::lock_guard lock(connectionsMutex_);
        reader = reader_;
        if (scanner_ && scanner_->inode == reader->inode)
            return scanner_;
    }
    if (reader->inode == 0 || reader->inode != inodeOf(file_))
        return reader;
    auto connection = std::make_shared<Connection>(file_, Database::ReadOnly, root_);
    const std::lock_guard lock(connectionsMutex_);
    scanner_ = connection;
    return connection;
}

/// Where another thread or process was first, the new file is opened.
void Library::setAside(const Connection& damaged, const DatabaseError& why)
{
    const std::lock_guard opening(openingMutex_);
    {
        const std::lock_guard lock(connectionsMutex_);
        if (reader_.get() != &damaged && writer_.get() != &damaged)
            return;
    }
    renameDatabase(file_, damaged.inode, why);
    openOrMakeTables();
    reconcile(nullptr);
}

void Library::logTrouble(const DatabaseError& error) const
{
    NSLog("[PhotoLibrary] The library %@ cannot be read: %@.", root_, error.what());
}

NSError Library::errorFor(const DatabaseError& error) const
{
    if (error.isFull())
        return { PHPhotosErrorDomain, PHPhotosErrorNotEnoughSpace,
            "The photo library " + root_ + " was not changed, because there is no space left for it; free some." };
    if (error.isReadOnly())
        return { PHPhotosErrorDomain, PHPhotosErrorChangeNotSupported,
            "The photo library " + root_ + " was not changed, because it may only be read; allow writing to it." };
    if (error.isBusy())
        return { PHPhotosErrorDomain, PHPhotosErrorInternalError,
            "The photo library " + root_ + " was not changed, because another program holds it; try again." };
    return { PHPhotosErrorDomain, PHPhotosErrorInternalError,
        "The photo library " + root_ + " was not changed: " + error.what() + "." };
}

void Library::commit(const std::vector<PhotoStep>& steps)
{
    if (readOnly_)
        throw NSError(PHPhotosErrorDomain, PHPhotosErrorChangeNotSupported,
            "The photo library " + root_ + " was not changed, because it may only be read; allow writing to it.");
    for (bool again = true;; again = false) {
        std::shared_ptr<Connection> connection;
        try {
            connection = writer();
            commitOnce(steps);
            break;
        } catch (const DatabaseError& error) {
            if (!again || !error.isDamage() || !connection)
                throw errorFor(error);
            setAside(*connection, error);
        }
    }
    tellOtherProcesses();
    tellObservers();
}

void Library::commitOnce(const std::vector<PhotoStep>& steps)
{
    for (bool done = false; !done;) { // again where somebody took the name of a new file meanwhile
        auto arrivals = writeArrivals(steps);
        const auto connection = writer();
        const std::lock_guard lock(connection->mutex);
        Transaction transaction(connection->database);
        LeavingFiles leaving;
        try {
            done = apply(steps, arrivals, leaving, connection->records);
            if (done && touchesFiles(steps))
                synchronizeFolder(root_);
            if (done)
                connection->records.writeChange();
            if (done)
                transaction.commit();
        } catch (...) {
            // Before the database is free again: who looks then finds the files as they were.
            leaving.restore();
            arrivals.clear();
            connection->records.forgetChange();
            throw;
        }
        if (!done) {
            leaving.restore();
            connection->records.forgetChange();
            continue;
        }
        for (auto& [step, arrival] : arrivals)
            arrival.files.keep();
        leaving.remove();
    }
    for (const auto& step : steps)
        if (const auto* addition = std::get_if<AddAsset>(&step))
            for (const auto& file : addition->files)
                if (file.moves && !file.data)
                    ::unlink(file.source.c_str());
}

std::map<std::size_t, Library::Arrival> Library::writeArrivals(const std::vector<PhotoStep>& steps)
{
    std::map<std::size_t, Arrival> arrivals;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const auto* addition = std::get_if<AddAsset>(&steps[i]);
        if (!addition)
            continue;
        if (addition->files.empty())
            throw NSError(PHPhotosErrorDomain, PHPhotosErrorMissingResource,
                "The photo was not added, because no file was given for it; add one to its request.");
        ArrivingFiles files(root_, addition->files, [this](const std::string& stem) {
            return read([&](LibraryRecords& records) { return records.fileRowAt({ {}, stem }).has_value(); });
        });
        auto facts = factsOf(files.hiddenPath(), files.group().front());
        facts.dateIsChosen = addition->creationDate.has_value();
        facts.placeIsChosen = addition->place.has_value();
        facts.creationDate = addition->creationDate.value_or(facts.creationDate);
        if (addition->place)
            facts.place = addition->place;
        arrivals.emplace(i, Arrival { std::move(files), facts });
    }
    return arrivals;
}

/// False where a new file's name was taken.
bool Library::apply(const std::vector<PhotoStep>& steps, std::map<std::size_t, Arrival>& arrivals,
    LeavingFiles& leaving, LibraryRecords& records)
{
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (const auto* addition = std::get_if<AddAsset>(&steps[i])) {
            auto& arrival = arrivals.at(i);
            const AssetPlace place { {}, arrival.files.stem() };
            if (records.fileRowAt(place) || !arrival.files.publish())
                return false;
            records.addAsset(addition->localIdentifier, place, arrival.files.group(), arrival.facts);
        } else if (const auto* removal = std::get_if<RemoveAsset>(&steps[i])) {
            std::string names;
            const auto place = records.placeOfAsset(removal->localIdentifier, &names);
            if (!place)
                throw NSError(PHPhotosErrorDomain, PHPhotosErrorIdentifierNotFound,
                    "The photo library was not changed, because the photo " + removal->localIdentifier
                        + " is not in it any more; fetch again.");
            for (const auto& name : split(names))
                leaving.hide(pathIn(root_, place->folder, name));
            records.removeAsset(*records.fileRowAt(*place));
        } else
            std::visit(
                [&](const auto& step) {
                    if constexpr (requires { records.apply(step); })
                        records.apply(step);
                },
                steps[i]);
    }
    return true;
}

Library::Differences Library::differences(LibraryRecords& records, const Touched* touched)
{
    Differences found;
    if (!touched) {
        auto listing = listLibrary(root_);
        auto rows = records.fileRows();
        for (const auto& [place, group] : listing.groups) {
            const auto row = rows.find(place);
            found.compare(place, row == rows.end() ? nullptr : &row->second, &group);
        }
        for (const auto& [place, row] : rows)
            if (!listing.groups.contains(place))
                found.compare(place, &row, nullptr);
        found.leftBehind = readOnly_ ? std::vector<std::string>() : std::move(listing.leftBehind);
        found.folders = std::move(listing.folders);
        return found;
    }
    for (const auto& [place, names] : *touched) {
        const auto row = records.fileRowAt(place);
        std::vector<std::string> candidates(names.begin(), names.end());
        if (row)
            for (auto& name : split(row->names))
                candidates.push_back(std::move(name));
        const auto group = listGroup(root_, place, candidates);
        found.compare(place, row ? &*row : nullptr, group.empty() ? nullptr : &group);
    }
    return found;
}

/// Looks first without keeping others from writing: mostly there is nothing.
bool Library::reconcile(const Touched* touched)
{
    {
        const auto connection = scanner();
        const std::lock_guard lock(connection->mutex);
        const auto found = differences(connection->records, touched);
        if (watch_)
            watch_->watch(found.folders);
        if (found.isEmpty())
            return false;
    }
    const auto connection = writer();
    const std::lock_guard lock(connection->mutex);
    Transaction transaction(connection->database);
    bool changed = false;
    try {
        auto found = differences(connection->records, touched);
        for (const auto& each : found.leftBehind)
            settle(
                root_, each, [&](const AssetPlace& place) { return connection->records.fileRowAt(place).has_value(); });
        if (!found.leftBehind.empty())
            found = differences(connection->records, touched);
        takeUp(found, connection->records);
        changed = connection->records.writeChange();
        if (changed)
            transaction.commit();
    } catch (...) {
        connection->records.forgetChange();
        throw;
    }
    return changed;
}

/// An asset follows its file wherever that went; where the file is nowhere, the asset is what has its name now.
void Library::takeUp(Differences& found, LibraryRecords& records)
{
    using Print = std::tuple<std::int64_t, std::int64_t, std::int64_t>;
    struct Move {
        LibraryRecords::FileRow row;
        AssetPlace to;
    };
    for (const auto& [place, row, group] : found.altered) {
        if (row.inode == group.front().inode) {
            records.refreshAsset(row, group, factsOf(pathIn(root_, place.folder, group.front().name), group.front()));
            continue;
        }
        found.gone.emplace_back(place, row);
        found.fresh.emplace(place, group);
    }

    std::map<Print, AssetPlace> arrived;
    for (const auto& [place, group] : found.fresh)
        arrived.emplace(Print { group.front().inode, group.front().size, group.front().modified }, place);
    std::vector<Move> moves;
    std::vector<std::pair<AssetPlace, LibraryRecords::FileRow>> stay;
    std::set<AssetPlace> taken;
    for (const auto& [place, row] : found.gone) {
        const auto there = arrived.find({ row.inode, row.size, row.modified });
        if (there == arrived.end()) {
            stay.emplace_back(place, row);
            continue;
        }
        moves.push_back({ row, there->second });
        taken.insert(there->second);
        arrived.erase(there);
        records.leavePlace(row);
    }
    for (const auto& [place, row] : stay) {
        const auto group = found.fresh.find(place);
        if (group == found.fresh.end() || !taken.insert(place).second) {
            records.removeAsset(row);
            continue;
        }
        const auto& shown = group->second.front();
        records.refreshAsset(row, group->second, factsOf(pathIn(root_, place.folder, shown.name), shown));
    }
    for (const auto& move : moves)
        records.moveAsset(move.row, move.to, found.fresh.at(move.to));
    for (const auto& [place, group] : found.fresh)
        if (!taken.contains(place))
            records.addAsset(randomIdentifier(), place, group,
                factsOf(pathIn(root_, place.folder, group.front().name), group.front()));
}

void Library::reconcileAll()
{
    try {
        if (reconcile(nullptr)) {
            tellOtherProcesses();
            tellObservers();
        }
    } catch (const DatabaseError& error) {
        throw errorFor(error);
    }
}

void Library::watch()
{
    try {
        watch_ = std::make_unique<FolderWatch>(root_, FolderPhotoStore::databaseName);
    } catch (const NSError& error) {
        NSLog("[PhotoLibrary] Photos of other programs are not noticed: %@", error.localizedDescription());
        watch_.reset();
        return;
    }
    thread_ = std::thread([self = shared_from_this()] { self->run(); });
}

void Library::stop()
{
    if (watch_)
        watch_->stop();
    if (!thread_.joinable())
        return;
    // What it calls may hold the last reference to the library; then it ends by itself.
    if (thread_.get_id() == std::this_thread::get_id())
        thread_.detach();
    else
        thread_.join();
}

void Library::run()
{
    // Whoever has opened the library asks it something, and has a screen to draw.
    constexpr int openersHeadStart = 50; // milliseconds
    if (watch_->isStoppedWithin(openersHeadStart))
        return;
    try {
        // Before the first look, so that nothing comes between the two. The kernel goes through all files of the folder
        // for it: nobody waits for that either.
        watch_->watch({ std::string() });
    } catch (const NSError& error) {
        NSLog("[PhotoLibrary] Photos of other programs are not noticed: %@", error.localizedDescription());
        return;
    }
    FolderNews everything;
    everything.lostTrack = true;
    handle(everything);
    for (FolderNews news; watch_->wait(news); news = {})
        handle(news);
}

void Library::handle(const FolderNews& news)
{
    bool changed = news.databaseWasTouched;
    try {
        if (news.lostTrack)
            changed |= reconcile(nullptr);
        else if (!news.touched.empty())
            changed |= reconcile(&news.touched);
        if (news.databaseWasTouched && !readOnly_ && reader()->inode != inodeOf(file_) && inodeOf(file_) != 0) {
            (void)writer(); // another process has set it aside
            changed |= reconcile(nullptr);
        }
    } catch (const DatabaseError& error) {
        logTrouble(error);
    } catch (const NSError& error) {
        NSLog("[PhotoLibrary] %@", error.localizedDescription());
    }
    if (changed)
        tellObservers();
}

/// They watch the file's attributes: SQLite itself writes before it is done.
void Library::tellOtherProcesses() const
{
    if (!readOnly_)
        ::utimensat(AT_FDCWD, file_.c_str(), nullptr, 0);
}

void Library::tellObservers()
{
    std::map<int, std::function<void()>> observers;
    {
        const std::lock_guard lock(observersMutex_);
        observers = observers_;
    }
    for (const auto& [id, changed] : observers)
        changed();
}

Cancellable Library::observe(std::function<void()> changed)
{
    const std::lock_guard lock(observersMutex_);
    const int id = ++lastObserver_;
    observers_.emplace(id, std::move(changed));
    return Cancellable([weak = weak_from_this(), id] {
        const auto self = weak.lock();
        if (!self)
            return;
        const std::lock_guard still(self->observersMutex_);
        self->observers_.erase(id);
    });
}

}
