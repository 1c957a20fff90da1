// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/Photos/PhotoStore.h"

#include "drivers/photos/Database.h"
#include "drivers/photos/FolderWatch.h"
#include "drivers/photos/LibraryFiles.h"
#include "drivers/photos/LibraryRecords.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace velmora::drivers::photos {

/// An open library: its connections to the database, and the thread that notices what others do. From any thread.
class Library : public std::enable_shared_from_this<Library> {
public:
    /// Throws NSError when there is no such folder and none can be made.
    explicit Library(std::string root);
    /// Ends the thread; from any thread, that one too.
    void stop();

    bool isReadOnly() const { return readOnly_; }
    /// Starts to notice what others do.
    void watch();

    /// Asks the tables. A database that turns out to be damaged is set aside first, once; other troubles are logged,
    /// and answered with nothing.
    template <class Use> auto read(Use use) -> decltype(use(std::declval<LibraryRecords&>()))
    {
        try {
            const auto connection = reader();
            try {
                const std::lock_guard lock(connection->mutex);
                return use(connection->records);
            } catch (const DatabaseError& error) {
                if (!error.isDamage())
                    throw;
                setAside(*connection, error);
            }
            const auto repaired = reader();
            const std::lock_guard lock(repaired->mutex);
            return use(repaired->records);
        } catch (const DatabaseError& error) {
            logTrouble(error);
            return {};
        }
    }
    /// Throws NSError.
    void commit(const std::vector<PhotoStep>& steps);
    /// Takes up all that other programs did. Throws NSError.
    void reconcileAll();

    Cancellable observe(std::function<void()> changed);

private:
    /// From one thread at a time, under its lock.
    struct Connection {
        Connection(const std::string& file, Database::Mode mode, const std::string& root);
        std::mutex mutex;
        Database database;
        LibraryRecords records;
        std::int64_t inode = 0; // of the file that it was opened for
    };
    using Touched = std::map<AssetPlace, std::set<std::string>>;
    struct Differences;
    struct Arrival;

    std::shared_ptr<Connection> reader();
    std::shared_ptr<Connection> writer();
    std::shared_ptr<Connection> scanner();
    void open();
    void openWritable();
    void openReadOnly();
    bool openOrMakeTables();
    void setAside(const Connection& damaged, const DatabaseError& why);
    void logTrouble(const DatabaseError& error) const;
    NSError errorFor(const DatabaseError& error) const;

    void commitOnce(const std::vector<PhotoStep>& steps);
    std::map<std::size_t, Arrival> writeArrivals(const std::vector<PhotoStep>& steps);
    bool apply(const std::vector<PhotoStep>& steps, std::map<std::size_t, Arrival>& arrivals, LeavingFiles& leaving,
        LibraryRecords& records);

    bool reconcile(const Touched* touched);
    Differences differences(LibraryRecords& records, const Touched* touched);
    void takeUp(Differences& found, LibraryRecords& records);
    void run();
    void handle(const FolderNews& news);
    void tellOtherProcesses() const;
    void tellObservers();

    const std::string root_, file_;
    bool readOnly_ = false;
    std::mutex connectionsMutex_; // guards the three; never held while one of them works
    std::shared_ptr<Connection> reader_, writer_, scanner_; // reader and writer are one for a library in memory
    std::mutex openingMutex_; // one opens or sets aside at a time
    std::unique_ptr<FolderWatch> watch_;
    std::thread thread_;
    std::mutex observersMutex_;
    std::map<int, std::function<void()>> observers_;
    int lastObserver_ = 0;
};

}
