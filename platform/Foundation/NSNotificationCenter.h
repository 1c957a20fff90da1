// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Cancellable.h"
#include "platform/Foundation/NSObject.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace velmora {

/// What is posted. Boxed as itself when a selector takes it.
struct NSNotification {
    std::string name;
    std::shared_ptr<const NSObject> object; ///< The sender, or what it is about; kept alive while it is posted.
    std::map<std::string, Value> userInfo;
};

/// Hands notifications to those who registered, synchronously, on the posting thread, in the order of registration.
/// From any thread. Observers may add and remove observers while one is posted: a removed one is not called any more,
/// an added one hears the next.
class VELMORA_EXPORT NSNotificationCenter {
public:
    static NSNotificationCenter& defaultCenter();
    NSNotificationCenter();
    ~NSNotificationCenter();
    NSNotificationCenter(const NSNotificationCenter&) = delete;
    NSNotificationCenter& operator=(const NSNotificationCenter&) = delete;

    void postNotificationName(
        const std::string& name, std::shared_ptr<const NSObject> object, std::map<std::string, Value> userInfo = {});

    /// A null `object` accepts every one; another is held weakly and compared by identity. An empty name accepts
    /// every name.
    [[nodiscard]] Cancellable addObserver(std::string name, const std::shared_ptr<const NSObject>& object,
        std::function<void(const NSNotification&)> handler);

    /// `observer` is held weakly and sent `selector`, with the notification when the selector takes an argument; it
    /// need not be removed.
    void addObserver(const std::weak_ptr<NSObject>& observer, std::string_view selector, std::string name,
        const std::shared_ptr<const NSObject>& object);

    /// Removes all registrations by selector of this object; harmless when there is none, and in its destructor.
    void removeObserver(const NSObject& observer);
    /// Removes everybody.
    void removeAllObservers();

private:
    struct Registration;
    struct Registrations;
    std::shared_ptr<Registrations> registrations_;
};

}
