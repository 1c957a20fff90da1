// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/ArchiveValue.h"
#include "platform/Foundation/NSObject.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace velmora {

/// What an application remembers from one run to the next, by key. From any thread.
///
/// Kept in a readable property list. A change is on disk when the call returns, and the file is always a whole one;
/// several processes may change it at once, and each sees what the others wrote. A file that cannot be read as a list
/// is renamed to FILE.damaged and logged, and the values begin anew. While the disk refuses a change, it is logged,
/// kept in memory, and written with the next one that succeeds.
class VELMORA_EXPORT NSUserDefaults : public NSObject {
public:
    /// The application's: $XDG_CONFIG_HOME/IDENTIFIER/defaults.plist, with ~/.config when the variable is not set;
    /// the identifier is that of the main bundle.
    static std::shared_ptr<NSUserDefaults> standardUserDefaults();
    /// From now on the standard defaults live in memory, beginning with `values`. The virtual phone does this; a reset
    /// of the process's state does it too, so that no test ever touches a person's own.
    static void useVolatileDefaults(ArchiveDictionary values = {});

    /// Those of a file; its folder is made with the first change.
    explicit NSUserDefaults(std::string file);
    /// Those that live in memory.
    explicit NSUserDefaults(ArchiveDictionary values);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Nothing when the key is absent or holds another type.
    std::optional<std::string> stringForKey(const std::string& key) const;
    ArchiveValue objectForKey(const std::string& key) const;
    /// A copy of everything, keys of others too.
    ArchiveDictionary dictionaryRepresentation() const;

    /// Nil removes the key. Throws NSException (NSInvalidArgumentException) for what a property list cannot hold: nil
    /// within, an object of another class, a text that is not UTF-8 or holds control characters. Dates keep whole
    /// seconds.
    void setObject(const ArchiveValue& value, const std::string& key);
    void removeObjectForKey(const std::string& key);

private:
    struct Stamp { // of the file as it was read
        std::int64_t inode = 0, seconds = 0, nanoseconds = 0, size = -1;
        bool operator==(const Stamp&) const = default;
    };
    using Changes = std::map<std::string, ArchiveValue>; // nil: the key goes

    void _setObject(const Value& value, const std::string& key);
    Value _objectForKey(const std::string& key) const;
    std::shared_ptr<NSObject> _dictionaryRepresentation() const;

    void change(const std::string& key, const ArchiveValue& value);
    void refresh() const;
    void read() const;
    void setAside(const std::string& why) const;
    void writeChanges();
    static void apply(const Changes& changes, ArchiveDictionary& values);
    Stamp stamp() const;

    const std::string file_; // empty: in memory
    mutable std::mutex mutex_; // guards what follows
    mutable ArchiveDictionary values_; // of the file as it was read, with the changes that are not written
    mutable Stamp read_;
    Changes unwritten_;
};

}
