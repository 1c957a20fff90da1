// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/KeyValueObservers.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace velmora {

KeyValueObservers::Key* KeyValueObservers::find(std::string_view key)
{
    const auto found = keys_.find(key);
    return found == keys_.end() ? nullptr : &found->second;
}

/// Leaves the list that was in force in `observers`, for the caller to destroy outside the lock.
void KeyValueObservers::replace(Key& key, std::shared_ptr<const Observers>& observers)
{
    key.observers.swap(observers);
    key.wanted = {};
    for (const auto& each : *key.observers)
        key.wanted |= each->options;
}

Cancellable KeyValueObservers::add(NSObject& object, std::string_view key, const Method& getter,
    NSKeyValueObservingOptions options, std::function<void(const NSKeyValueChange&)> changed)
{
    auto observer = std::make_shared<Observer>();
    observer->options = options;
    observer->changed = std::move(changed);
    observer->initialising = contains(options, NSKeyValueObservingOptionInitial);
    observer->initialisingThread = std::this_thread::get_id();

    std::shared_ptr<const Observers> list;
    {
        const std::lock_guard lock(mutex_);
        Key& entry = keys_.try_emplace(std::string(key)).first->second;
        entry.getter = &getter;
        auto longer = std::make_shared<Observers>();
        if (entry.observers)
            *longer = *entry.observers;
        longer->push_back(observer);
        list = std::move(longer);
        replace(entry, list);
    }
    Cancellable token([all = weak_from_this(), name = std::string(key), observer] {
        observer->ended = true;
        if (const auto self = all.lock())
            self->end(name, observer);
    });
    if (observer->initialising)
        deliverInitial(object, getter, *observer);
    return token;
}

void KeyValueObservers::end(const std::string& key, const std::shared_ptr<Observer>& observer)
{
    auto shorter = std::make_shared<Observers>();
    std::shared_ptr<const Observers> list; // what an observer captured is destroyed outside the lock
    const std::lock_guard lock(mutex_);
    Key& entry = *find(key);
    std::copy_if(entry.observers->begin(), entry.observers->end(), std::back_inserter(*shorter),
        [&](const auto& each) { return each != observer; });
    list = std::move(shorter);
    replace(entry, list);
}

void KeyValueObservers::deliverInitial(NSObject& object, const Method& getter, Observer& observer)
{
    NSKeyValueChange change;
    if (contains(observer.options, NSKeyValueObservingOptionNew))
        change.newValue = getter.invoke(object, {});
    observer.changed(change);

    std::vector<NSKeyValueChange> waiting;
    while (true) {
        {
            const std::lock_guard lock(mutex_);
            waiting.clear();
            waiting.swap(observer.waiting);
            if (waiting.empty()) {
                observer.initialising = false;
                return;
            }
        }
        for (const auto& each : waiting)
            if (!observer.ended)
                observer.changed(each);
    }
}

void KeyValueObservers::deliver(Observer& observer, NSKeyValueChange change)
{
    if (observer.initialising && observer.initialisingThread != std::this_thread::get_id()) {
        const std::lock_guard lock(mutex_);
        if (observer.initialising) {
            observer.waiting.push_back(std::move(change));
            return;
        }
    }
    observer.changed(change);
}

void KeyValueObservers::willChange(NSObject& object, std::string_view key)
{
    std::shared_ptr<const Observers> observers;
    const Method* getter = nullptr;
    NSKeyValueObservingOptions wanted {};
    {
        const std::lock_guard lock(mutex_);
        Key* entry = find(key);
        if (!entry || entry->observers->empty())
            return;
        wanted = entry->wanted;
        getter = entry->getter;
        observers = entry->observers;
        if (!contains(wanted, NSKeyValueObservingOptionOld))
            entry->pending.push_back({ std::this_thread::get_id(), {} }); // its end must not take another's
    }
    Value oldValue;
    if (contains(wanted, NSKeyValueObservingOptionOld)) {
        oldValue = getter->invoke(object, {});
        const std::lock_guard lock(mutex_);
        find(key)->pending.push_back({ std::this_thread::get_id(), oldValue });
    }
    if (!contains(wanted, NSKeyValueObservingOptionPrior))
        return;

    for (const auto& observer : *observers) {
        if (observer->ended || !contains(observer->options, NSKeyValueObservingOptionPrior))
            continue;
        NSKeyValueChange change { .newValue = {}, .oldValue = {}, .isPrior = true };
        if (contains(observer->options, NSKeyValueObservingOptionOld))
            change.oldValue = oldValue;
        deliver(*observer, std::move(change));
    }
}

/// Ends the change that this thread began last; without one, that of another thread.
Value KeyValueObservers::takeOldValue(std::vector<Pending>& pending)
{
    if (pending.empty())
        return {};

    const auto own = std::find_if(pending.rbegin(), pending.rend(),
        [thread = std::this_thread::get_id()](const Pending& change) { return change.thread == thread; });
    const auto ended = own == pending.rend() ? std::prev(pending.end()) : std::prev(own.base());
    Value oldValue = std::move(ended->oldValue);
    pending.erase(ended);
    return oldValue;
}

void KeyValueObservers::didChange(NSObject& object, std::string_view key)
{
    std::shared_ptr<const Observers> observers;
    const Method* getter = nullptr;
    NSKeyValueObservingOptions wanted {};
    Value oldValue;
    {
        const std::lock_guard lock(mutex_);
        Key* entry = find(key);
        if (!entry)
            return;
        oldValue = takeOldValue(entry->pending); // also when the last observer has gone since
        wanted = entry->wanted;
        getter = entry->getter;
        observers = entry->observers;
    }
    if (observers->empty())
        return;

    Value newValue;
    if (contains(wanted, NSKeyValueObservingOptionNew))
        newValue = getter->invoke(object, {});
    for (const auto& observer : *observers) {
        if (observer->ended)
            continue;
        NSKeyValueChange change;
        if (contains(observer->options, NSKeyValueObservingOptionNew))
            change.newValue = newValue;
        if (contains(observer->options, NSKeyValueObservingOptionOld))
            change.oldValue = oldValue;
        deliver(*observer, std::move(change));
    }
}

}
