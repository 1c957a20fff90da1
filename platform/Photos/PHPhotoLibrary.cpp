// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHPhotoLibrary.h"

#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/Foundation/Scheduler.h"
#include "platform/Photos/ChangeBlock.h"
#include "platform/Photos/PHChange.h"
#include "platform/Photos/PHPhotoLibraryChangeObserver.h"
#include "platform/Photos/PhotoStore.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace velmora {

namespace {

std::shared_ptr<PhotoStore> storeThatMayBeChanged()
{
    auto store = PhotoStore::installed();
    if (!store)
        throw NSError(PHPhotosErrorDomain, PHPhotosErrorLibraryVolumeOffline,
            "The photo library cannot be changed, because no driver for it is installed; install one, or call "
            "drivers::installDefaults().");
    switch (PHPhotoLibrary::authorizationStatus()) {
    case PHAuthorizationStatusAuthorized:
    case PHAuthorizationStatusLimited:
        return store;
    case PHAuthorizationStatusRestricted:
        throw NSError(PHPhotosErrorDomain, PHPhotosErrorAccessRestricted,
            "The photo library may not be changed on this device; whoever manages it can allow it.");
    case PHAuthorizationStatusNotDetermined:
        throw NSError(PHPhotosErrorDomain, PHPhotosErrorAccessUserDenied,
            "The photo library may not be changed, because the user did not answer whether it may; ask again.");
    case PHAuthorizationStatusDenied:
        break;
    }
    throw NSError(PHPhotosErrorDomain, PHPhotosErrorAccessUserDenied,
        "The photo library may not be changed; the user can allow it in the system's settings.");
}

}

std::shared_ptr<PHPhotoLibrary> PHPhotoLibrary::sharedPhotoLibrary()
{
    static auto* shared = [] {
        auto* made = new std::shared_ptr<PHPhotoLibrary>(make<PHPhotoLibrary>(Key {}));
        ProcessState::add([made] { (*made)->reset(); });
        return made;
    }();
    return *shared;
}

const ClassInfo& PHPhotoLibrary::staticClass()
{
    using Self = PHPhotoLibrary;
    static constexpr auto methods = methodTable(method<&Self::_performChangesAndWait>("performChangesAndWait:error:"),
        method<&Self::performChanges>("performChanges:completionHandler:"),
        method<&Self::registerChangeObserver>("registerChangeObserver:"),
        method<&Self::_unregisterChangeObserver>("unregisterChangeObserver:"));
    static constexpr auto classMethods
        = methodTable(unavailableInitialiser(), classMethod<&Self::sharedPhotoLibrary>("sharedPhotoLibrary"),
            classMethod<&Self::authorizationStatus>("authorizationStatus"),
            classMethod<&Self::requestAuthorization>("requestAuthorization:"));
    static const ClassInfo info { "Velmora.PHPhotoLibrary", &NSObject::staticClass(), methods, classMethods };
    return info;
}

PHAuthorizationStatus PHPhotoLibrary::authorizationStatus()
{
    const auto store = PhotoStore::installed();
    return store ? static_cast<PHAuthorizationStatus>(store->authorizationStatus())
                 : PHAuthorizationStatusNotDetermined;
}

void PHPhotoLibrary::requestAuthorization(std::function<void(PHAuthorizationStatus)> answer)
{
    const auto answered = [answer = std::move(answer)](int status) {
        if (answer)
            answer(static_cast<PHAuthorizationStatus>(status));
    };
    const auto store = PhotoStore::installed();
    if (store && store->authorizationStatus() == PHAuthorizationStatusNotDetermined)
        store->requestAuthorization(answered);
    else
        answered(static_cast<int>(authorizationStatus()));
}

void PHPhotoLibrary::waitForAuthorization()
{
    if (!PhotoStore::installed() || authorizationStatus() != PHAuthorizationStatusNotDetermined)
        return;
    const auto answered = std::make_shared<std::atomic<bool>>(false);
    const auto& loop = NSRunLoop::currentRunLoop();
    requestAuthorization([answered, waiting = loop.queue()](PHAuthorizationStatus) {
        *answered = true;
        waiting.async([] {}); // the loop looks up
    });
    Scheduler::current().runUntil([&] { return answered->load(); });
}

void PHPhotoLibrary::performChangesAndWait(const Block& changes)
{
    waitForAuthorization();
    const auto store = storeThatMayBeChanged();
    ChangeBlock block(store);
    if (changes)
        changes();
    const auto steps = block.finish();
    if (!steps.empty())
        store->commit(steps);
}

bool PHPhotoLibrary::_performChangesAndWait(const Block& changes, const Failed& failed)
{
    try {
        performChangesAndWait(changes);
        return true;
    } catch (const NSError& error) {
        if (failed)
            failed(error);
        return false;
    }
}

void PHPhotoLibrary::performChanges(Block changes, std::function<void(bool, const std::optional<NSError>&)> completion)
{
    changing_.async([this, changes = std::move(changes), completion = std::move(completion)] {
        std::optional<NSError> error;
        const bool succeeded = _performChangesAndWait(changes, [&](const NSError& why) { error = why; });
        if (completion)
            completion(succeeded, error);
    });
}

void PHPhotoLibrary::registerChangeObserver(const std::weak_ptr<PHPhotoLibraryChangeObserver>& observer)
{
    const auto held = observer.lock();
    if (!held)
        return;
    if (const auto store = PhotoStore::installed())
        observeStore(store);
    const std::lock_guard lock(mutex_);
    std::erase_if(observers_, [&](const auto& each) { return each.address == held.get() || each.observer.expired(); });
    observers_.push_back({ held.get(), observer });
}

void PHPhotoLibrary::unregisterChangeObserver(const PHPhotoLibraryChangeObserver& observer)
{
    const std::lock_guard lock(mutex_);
    std::erase_if(observers_, [&](const auto& each) { return each.address == &observer; });
}

void PHPhotoLibrary::_unregisterChangeObserver(const std::shared_ptr<PHPhotoLibraryChangeObserver>& observer)
{
    if (observer)
        unregisterChangeObserver(*observer);
}

void PHPhotoLibrary::reset()
{
    Cancellable ended;
    const std::lock_guard lock(mutex_);
    observers_.clear();
    observed_.reset();
    std::swap(ended, observation_);
}

/// Observers hear of what happens from their registration on. The store is asked outside the lock: it may be telling of
/// a change at this moment.
void PHPhotoLibrary::observeStore(const std::shared_ptr<PhotoStore>& store)
{
    {
        const std::lock_guard lock(mutex_);
        if (observed_.lock() == store)
            return;
    }
    const auto newest = store->newestChange();
    auto observation = store->observe([weak = std::weak_ptr(store)] {
        if (const auto changed = weak.lock())
            sharedPhotoLibrary()->storeChanged(changed);
    });
    const std::lock_guard lock(mutex_);
    if (observed_.lock() == store)
        return; // another thread was first
    observed_ = store;
    told_ = newest;
    std::swap(observation_, observation);
}

void PHPhotoLibrary::storeChanged(const std::shared_ptr<PhotoStore>& store)
{
    queue_.async([this, store] { tellObservers(store); });
}

void PHPhotoLibrary::tellObservers(const std::shared_ptr<PhotoStore>& store)
{
    std::uint64_t told = 0;
    {
        const std::lock_guard lock(mutex_);
        if (observed_.lock() != store)
            return;
        told = told_;
    }
    const auto changes = PHChange::since(*store, told);
    for (const auto& change : changes) {
        std::vector<Registered> observers;
        {
            const std::lock_guard lock(mutex_);
            if (observed_.lock() != store)
                return;
            told_ = change->number();
            observers = observers_;
        }
        for (const auto& each : observers)
            if (const auto observer = each.observer.lock(); observer && isRegistered(each.address))
                observer->photoLibraryDidChange(change);
    }
}

bool PHPhotoLibrary::isRegistered(const PHPhotoLibraryChangeObserver* observer)
{
    const std::lock_guard lock(mutex_);
    return std::any_of(
        observers_.begin(), observers_.end(), [&](const auto& each) { return each.address == observer; });
}

}
