// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <list>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace velmora {

/// The observers of one object. Callbacks run outside the lock, over a copy, and each is looked up again before its
/// call, so that an observation can be ended from inside a callback.
class KeyValueObservers : public std::enable_shared_from_this<KeyValueObservers> {
public:
    [[nodiscard]] Cancellable add(const NSObject& object, std::string_view key, NSKeyValueObservingOptions options,
        std::function<void(const NSKeyValueChange&)> changed);
    void willChange(const NSObject& object, std::string_view key);
    void didChange(const NSObject& object, std::string_view key);

private:
    struct Observer {
        NSKeyValueObservingOptions options;
        std::function<void(const NSKeyValueChange&)> changed;
        std::atomic<bool> ended { false };
    };
    /// A change between its two announcements; these may be made on different threads.
    struct Pending {
        std::thread::id thread;
        Value oldValue;
    };
    struct Key {
        std::vector<std::shared_ptr<Observer>> observers;
        std::vector<Pending> pending;
    };

    std::vector<std::shared_ptr<Observer>> observersOf(std::string_view key);
    Value endPending(std::string_view key);

    std::mutex mutex_;
    std::map<std::string, Key, std::less<>> keys_;
};

}
