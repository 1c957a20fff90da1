// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSNotificationCenter.h"

#include "platform/Foundation/ProcessState.h"

#include <atomic>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace velmora {

struct NSNotificationCenter::Registration {
    std::string name;
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

struct NSNotificationCenter::Registrations {
    using List = std::vector<std::shared_ptr<Registration>>;

    std::mutex mutex;
    std::unordered_map<std::string, std::shared_ptr<const List>> byName; // lists are replaced, never changed

    void add(const std::shared_ptr<Registration>& registration)
    {
        const std::lock_guard lock(mutex);
        auto& list = byName[registration->name];
        auto changed = std::make_shared<List>();
        if (list)
            for (const auto& each : *list)
                if (!each->hasGone())
                    changed->push_back(each);
        changed->push_back(registration);
        list = std::move(changed);
    }

    template <class Which> void removeIf(Which which)
    {
        const std::lock_guard lock(mutex);
        for (auto& [name, list] : byName) {
            auto changed = std::make_shared<List>();
            for (const auto& each : *list) {
                if (which(*each))
                    each->ended = true;
                else
                    changed->push_back(each);
            }
            list = std::move(changed);
        }
    }

    std::shared_ptr<const List> named(const std::string& name)
    {
        const std::lock_guard lock(mutex);
        const auto found = byName.find(name);
        return found == byName.end() ? nullptr : found->second;
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
    const auto named = registrations_->named(name);
    const auto unnamed = registrations_->named({});
    if (!named && !unnamed)
        return;

    const NSNotification notification { name, std::move(object), std::move(userInfo) };
    for (const auto& list : { named, unnamed }) {
        if (!list)
            continue;
        for (const auto& each : *list) {
            if (each->ended || !each->accepts(notification.object.get()))
                continue;
            if (each->handler)
                each->handler(notification);
            else if (const auto observer = each->observer.lock()) {
                if (each->selector.ends_with(':'))
                    observer->performSelector(each->selector, notification);
                else
                    observer->performSelector(each->selector);
            }
        }
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
            registrations->removeIf([&](const Registration& each) { return &each == registration.get(); });
    });
}

void NSNotificationCenter::addObserver(const std::weak_ptr<NSObject>& observer, std::string_view selector,
    std::string name, const std::shared_ptr<const NSObject>& object)
{
    auto registration = std::make_shared<Registration>();
    registration->name = std::move(name);
    registration->anyObject = !object;
    registration->object = object;
    registration->objectAddress = object.get();
    registration->observer = observer;
    registration->observerAddress = observer.lock().get();
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
