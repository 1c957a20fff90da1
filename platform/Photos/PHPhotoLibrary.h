// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace velmora {

class PHPhotoLibraryChangeObserver;
class PhotoStore;

enum PHAuthorizationStatus : std::int64_t {
    PHAuthorizationStatusNotDetermined = 0,
    PHAuthorizationStatusRestricted = 1,
    PHAuthorizationStatusDenied = 2,
    PHAuthorizationStatusAuthorized = 3,
    PHAuthorizationStatusLimited = 4,
};

inline constexpr const char* PHPhotosErrorDomain = "PHPhotosErrorDomain";
inline constexpr std::int64_t PHPhotosErrorInternalError = -1;
inline constexpr std::int64_t PHPhotosErrorLibraryVolumeOffline = 3114; ///< no library, or it cannot be reached
inline constexpr std::int64_t PHPhotosErrorIdentifierNotFound = 3201;
inline constexpr std::int64_t PHPhotosErrorChangeNotSupported = 3300; ///< a library that is only read, for one
inline constexpr std::int64_t PHPhotosErrorInvalidResource = 3302;
inline constexpr std::int64_t PHPhotosErrorMissingResource = 3303;
inline constexpr std::int64_t PHPhotosErrorNotEnoughSpace = 3305;
inline constexpr std::int64_t PHPhotosErrorAccessRestricted = 3310;
inline constexpr std::int64_t PHPhotosErrorAccessUserDenied = 3311;

/// The user's photos, albums and folders: how they are changed, and who hears of it. From any thread.
class VELMORA_EXPORT PHPhotoLibrary : public NSObject {
public:
    using Failed = std::function<void(const NSError&)>;

    static std::shared_ptr<PHPhotoLibrary> sharedPhotoLibrary(); ///< One for the process.
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Not determined without a driver.
    static PHAuthorizationStatus authorizationStatus();
    /// Asks the user, unless there is an answer already; calls `answer` once, on any thread.
    static void requestAuthorization(std::function<void(PHAuthorizationStatus)> answer);

    /// Runs `changes`, which makes change requests, on the calling thread, and commits what they ask for: all of it, or
    /// nothing. Blocks until it is durable; asks the user before, when nobody did, so do not call it on the main thread
    /// then. Throws NSError; what `changes` throws passes, and nothing is changed.
    void performChangesAndWait(const Block& changes);
    /// The same on a queue of the library's; calls `completion` once, there.
    void performChanges(Block changes, std::function<void(bool, const std::optional<NSError>&)> completion);

    /// The observer is held weakly. Registering it again changes nothing, and one call unregisters it.
    void registerChangeObserver(const std::weak_ptr<PHPhotoLibraryChangeObserver>& observer);
    /// Harmless for one that is not registered. A call that another thread has begun may still run.
    void unregisterChangeObserver(const PHPhotoLibraryChangeObserver& observer);

    struct Key {
        explicit Key() = default;
    };
    explicit PHPhotoLibrary(Key) { }

private:
    using Observer = std::weak_ptr<PHPhotoLibraryChangeObserver>;
    struct Registered {
        const PHPhotoLibraryChangeObserver* address;
        Observer observer;
    };

    bool _performChangesAndWait(const Block& changes, const Failed& failed);
    void _unregisterChangeObserver(const std::shared_ptr<PHPhotoLibraryChangeObserver>& observer);
    void observeStore(const std::shared_ptr<PhotoStore>& store);
    void storeChanged(const std::shared_ptr<PhotoStore>& store);
    void tellObservers(const std::shared_ptr<PhotoStore>& store);
    bool isRegistered(const PHPhotoLibraryChangeObserver* observer);
    void reset();
    static void waitForAuthorization();

    const DispatchQueue queue_ { "org.velmora.photoLibrary" }; // changes are told here
    const DispatchQueue changing_ { "org.velmora.photoLibrary.changing" };
    std::mutex mutex_; // guards what follows
    std::vector<Registered> observers_;
    std::weak_ptr<PhotoStore> observed_;
    Cancellable observation_;
    std::uint64_t told_ = 0; // the number of the last change that observers heard of
};

}
