// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSNotificationCenter.h"

#include "platform/Foundation/ProcessState.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <iterator>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace velmora {

struct NSNotificationCenter::Registration {
    std::string name;
    std::uint64_t order = 0;
    bool anyObject = true;
    std::weak_ptr<const NSObject> object;
    const NSObject* objectAddress = nullptr; // compared only while `object` lives
    std::function<void(const NSNotification&)> handler; // by function
    std::weak_ptr<NSObject> observer; // by selector
    const NSObject* observerAddress = nullptr;
    std::string selector;
    std::atomic<bool> ended { false };

    bool accepts(const NSObject* posted) const
    {
        return anyObject || (posted && posted == objectAddress && !object.expired());
    }
    bool hasGone() const
    {
        return ended || (observerAddress && observer.expired()) || (!anyObject && object.expired());
    }
};

/// Lists are replaced, never changed: a post walks the one that it found. Those that were replaced are destroyed
/// outside the lock, for what a handler captured may call back when it ends.
struct NSNotificationCenter::Registrations {
    using List = std::vector<std::shared_ptr<Registration>>;
    using SharedList = std::shared_ptr<const List>;

    std::mutex mutex;
    std::unordered_map<std::string, SharedList> byName;
    std::uint64_t added = 0;

    void add(const std::shared_ptr<Registration>& registration)
    {
        auto longer = std::make_shared<List>();
        SharedList replaced;
        const std::lock_guard lock(mutex);
        registration->order = ++added;
        auto& list = byName[registration->name];
        if (list)
            for (const auto& each : *list)
                if (!each->hasGone())
                    longer->push_back(each);
        longer->push_back(registration);
        replaced = std::exchange(list, std::move(longer));
    }

    void remove(const Registration& registration)
    {
        SharedList replaced;
        const std::lock_guard lock(mutex);
        const auto found = byName.find(registration.name);
        if (found == byName.end())
            return;
        replaced = found->second;
        found->second = without(*replaced, [&](const Registration& each) { return &each == &registration; });
        if (found->second->empty())
            byName.erase(found);
    }

    template <class Which> void removeIf(Which which)
    {
        std::vector<SharedList> replaced;
        const std::lock_guard lock(mutex);
        for (auto entry = byName.begin(); entry != byName.end();) {
            replaced.push_back(entry->second);
            entry->second = without(*entry->second, which);
            entry = entry->second->empty() ? byName.erase(entry) : std::next(entry);
        }
    }

    template <class Which> static SharedList without(const List& list, Which which)
    {
        auto shorter = std::make_shared<List>();
        for (const auto& each : list) {
            if (which(*each))
                each->ended = true;
            else
                shorter->push_back(each);
        }
        return shorter;
    }

    SharedList named(const std::string& name)
    {
        const auto found = byName.find(name);
        return found == byName.end() ? nullptr : found->second;
    }

    /// Those of this name and those of every name, in the order of registration.
    SharedList listeningTo(const std::string& name)
    {
        SharedList ofThis;
        SharedList ofAll;
        {
            const std::lock_guard lock(mutex);
            ofThis = named(name);
            ofAll = named({});
        }
        if (!ofThis || !ofAll)
            return ofThis ? ofThis : ofAll;
        auto both = std::make_shared<List>();
        std::merge(ofThis->begin(), ofThis->end(), ofAll->begin(), ofAll->end(), std::back_inserter(*both),
            [](const auto& a, const auto& b) { return a->order < b->order; });
        return both;
    }
};

NSNotificationCenter::NSNotificationCenter()
    : registrations_(std::make_shared<Registrations>())
{
}

NSNotificationCenter::~NSNotificationCenter() = default;

NSNotificationCenter& NSNotificationCenter::defaultCenter()
{
    static NSNotificationCenter* center = [] {
        auto* made = new NSNotificationCenter;
        ProcessState::add([made] { made->removeAllObservers(); });
        return made;
    }();
    return *center;
}

void NSNotificationCenter::postNotificationName(
    const std::string& name, std::shared_ptr<const NSObject> object, std::map<std::string, Value> userInfo)
{
    const auto list = registrations_->listeningTo(name);
    if (!list)
        return;

    const NSNotification notification { name, std::move(object), std::move(userInfo) };
    Value boxed; // made once, for the first selector that takes it
    for (const auto& each : *list) {
        if (each->ended || !each->accepts(notification.object.get()))
            continue;
        if (each->handler) {
            each->handler(notification);
            continue;
        }
        const auto observer = each->observer.lock();
        if (!observer)
            continue;
        const bool takesIt = each->selector.ends_with(':');
        if (takesIt && !boxed.has_value())
            boxed = notification;
        observer->send(each->selector, { &boxed, takesIt ? 1U : 0U });
    }
}

Cancellable NSNotificationCenter::addObserver(
    std::string name, const std::shared_ptr<const NSObject>& object, std::function<void(const NSNotification&)> handler)
{
    auto registration = std::make_shared<Registration>();
    registration->name = std::move(name);
    registration->anyObject = !object;
    registration->object = object;
    registration->objectAddress = object.get();
    registration->handler = std::move(handler);
    registrations_->add(registration);
    return Cancellable([all = std::weak_ptr(registrations_), registration] {
        registration->ended = true;
        if (const auto registrations = all.lock())
            registrations->remove(*registration);
    });
}

void NSNotificationCenter::addObserver(const std::weak_ptr<NSObject>& observer, std::string_view selector,
    std::string name, const std::shared_ptr<const NSObject>& object)
{
    const auto listening = observer.lock();
    if (!listening)
        return; // gone already: nobody to call
    auto registration = std::make_shared<Registration>();
    registration->name = std::move(name);
    registration->anyObject = !object;
    registration->object = object;
    registration->objectAddress = object.get();
    registration->observer = observer;
    registration->observerAddress = listening.get();
    registration->selector = selector;
    registrations_->add(registration);
}

void NSNotificationCenter::removeObserver(const NSObject& observer)
{
    registrations_->removeIf([&](const Registration& each) { return each.observerAddress == &observer; });
}

void NSNotificationCenter::removeAllObservers()
{
    registrations_->removeIf([](const Registration&) { return true; });
}

}
