// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/KeyValueObservers.h"

#include <algorithm>
#include <utility>

namespace velmora {

Cancellable KeyValueObservers::add(const NSObject& object, std::string_view key, NSKeyValueObservingOptions options,
    std::function<void(const NSKeyValueChange&)> changed)
{
    auto observer = std::make_shared<Observer>();
    observer->options = options;
    observer->changed = std::move(changed);
    if (contains(options, NSKeyValueObservingOptionInitial)) {
        NSKeyValueChange change;
        if (contains(options, NSKeyValueObservingOptionNew))
            change.newValue = object.valueForKey(key);
        observer->changed(change);
    }

    {
        const std::lock_guard lock(mutex_);
        auto found = keys_.find(key);
        if (found == keys_.end())
            found = keys_.try_emplace(std::string(key)).first;
        found->second.observers.push_back(observer);
    }
    return Cancellable([list = weak_from_this(), name = std::string(key), observer] {
        observer->ended = true;
        if (const auto self = list.lock()) {
            const std::lock_guard lock(self->mutex_);
            std::erase(self->keys_[name].observers, observer);
        }
    });
}

std::vector<std::shared_ptr<KeyValueObservers::Observer>> KeyValueObservers::observersOf(std::string_view key)
{
    const std::lock_guard lock(mutex_);
    const auto found = keys_.find(key);
    return found == keys_.end() ? std::vector<std::shared_ptr<Observer>> {} : found->second.observers;
}

void KeyValueObservers::willChange(const NSObject& object, std::string_view key)
{
    const auto observers = observersOf(key);
    const auto wants = [](NSKeyValueObservingOptions option) {
        return [option](const auto& observer) { return contains(observer->options, option); };
    };
    if (std::none_of(observers.begin(), observers.end(), wants(NSKeyValueObservingOptionOld))
        && std::none_of(observers.begin(), observers.end(), wants(NSKeyValueObservingOptionPrior)))
        return;

    const Value oldValue = object.valueForKey(key);
    {
        const std::lock_guard lock(mutex_);
        keys_.find(key)->second.pending.push_back({ std::this_thread::get_id(), oldValue });
    }
    for (const auto& observer : observers) {
        if (observer->ended || !contains(observer->options, NSKeyValueObservingOptionPrior))
            continue;
        NSKeyValueChange change { .newValue = {}, .oldValue = {}, .isPrior = true };
        if (contains(observer->options, NSKeyValueObservingOptionOld))
            change.oldValue = oldValue;
        observer->changed(change);
    }
}

Value KeyValueObservers::endPending(std::string_view key)
{
    const std::lock_guard lock(mutex_);
    auto& pending = keys_.find(key)->second.pending;
    if (pending.empty())
        return {};

    const auto own = std::find_if(pending.rbegin(), pending.rend(),
        [thread = std::this_thread::get_id()](const Pending& change) { return change.thread == thread; });
    const auto ended = own == pending.rend() ? std::prev(pending.end()) : std::prev(own.base());
    Value oldValue = std::move(ended->oldValue);
    pending.erase(ended);
    return oldValue;
}

void KeyValueObservers::didChange(const NSObject& object, std::string_view key)
{
    const auto observers = observersOf(key);
    if (observers.empty())
        return;

    const Value oldValue = endPending(key);
    Value newValue;
    bool read = false;
    for (const auto& observer : observers) {
        if (observer->ended)
            continue;
        NSKeyValueChange change;
        if (contains(observer->options, NSKeyValueObservingOptionNew)) {
            if (!std::exchange(read, true))
                newValue = object.valueForKey(key);
            change.newValue = newValue;
        }
        if (contains(observer->options, NSKeyValueObservingOptionOld))
            change.oldValue = oldValue;
        observer->changed(change);
    }
}

}
