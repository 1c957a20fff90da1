// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace velmora {

/// The observers of one object. Callbacks run outside the lock, over a list that is replaced and never changed, and
/// each is asked again before its call, so that an observation can be ended from inside a callback.
class KeyValueObservers : public std::enable_shared_from_this<KeyValueObservers> {
public:
    [[nodiscard]] Cancellable add(NSObject& object, std::string_view key, const Method& getter,
        NSKeyValueObservingOptions options, std::function<void(const NSKeyValueChange&)> changed);
    void willChange(NSObject& object, std::string_view key);
    void didChange(NSObject& object, std::string_view key);

private:
    struct Observer {
        NSKeyValueObservingOptions options {};
        std::function<void(const NSKeyValueChange&)> changed;
        std::atomic<bool> ended { false };
        /// Until the initial value was delivered, changes that other threads make wait behind it.
        std::atomic<bool> initialising { false };
        std::thread::id initialisingThread;
        std::vector<NSKeyValueChange> waiting;
    };
    using Observers = std::vector<std::shared_ptr<Observer>>;
    /// A change between its two announcements; these may be made on different threads.
    struct Pending {
        std::thread::id thread;
        Value oldValue;
    };
    struct Key {
        const Method* getter = nullptr;
        std::shared_ptr<const Observers> observers;
        NSKeyValueObservingOptions wanted {}; ///< What any of them wants.
        std::vector<Pending> pending;
    };

    Key* find(std::string_view key);
    void replace(Key& key, std::shared_ptr<const Observers>& observers);
    void end(const std::string& key, const std::shared_ptr<Observer>& observer);
    void deliverInitial(NSObject& object, const Method& getter, Observer& observer);
    void deliver(Observer& observer, NSKeyValueChange change);
    static Value takeOldValue(std::vector<Pending>& pending);

    std::mutex mutex_;
    std::map<std::string, Key, std::less<>> keys_; // entries stay
};

}
