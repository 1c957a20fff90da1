// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Cancellable.h"
#include "platform/Foundation/Export.h"
#include "platform/Photos/PhotoRecords.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class CGImage;

/// Where a photo library lies: its records, its files, and the word of those who change it. From any thread. What
/// cannot be read is logged, and answered like a library that has nothing.
class VELMORA_EXPORT PhotoStore {
public:
    virtual ~PhotoStore() = default;

    /// Raw PHAuthorizationStatus, read afresh at every question. The service sees to it that nobody gets anything
    /// without it.
    virtual int authorizationStatus() const = 0;
    /// Asks the user; answers once, on any thread, perhaps before it returns.
    virtual void requestAuthorization(std::function<void(int status)> answer) = 0;

    virtual std::vector<AssetRecord> assets(const AssetQuery& query) const = 0;
    virtual std::vector<CollectionRecord> collections(const CollectionQuery& query) const = 0;

    /// An identifier for what the next change makes; nothing where it is not known beforehand.
    virtual std::optional<std::string> newIdentifier() = 0;
    /// Whether this collection is there and may be changed.
    virtual bool mayChange(const std::string& collection) const = 0;
    /// Does all steps, durably, or throws NSError (PHPhotosErrorDomain, or the operating system's) and does none.
    virtual void commit(const std::vector<PhotoStep>& steps) = 0;

    /// The number of the newest change.
    virtual std::uint64_t newestChange() const = 0;
    /// The changes after that number, oldest first; nothing when they are not known any more.
    virtual std::optional<std::vector<LibraryChange>> changesSince(std::uint64_t number) const = 0;
    /// Calls `changed` on any thread after each change, also one of another process; some may come together, and it may
    /// be called for nothing. It returns soon.
    [[nodiscard]] virtual Cancellable observe(std::function<void()> changed) = 0;

    /// One result of an image request, in the order in which they are delivered.
    struct Picture {
        std::shared_ptr<const CGImage> image; ///< may be empty
        std::optional<bool> isDegraded; ///< what is said of it
        double delay = 0; ///< seconds after the request; 0: before the request returns
    };
    /// A store that makes pictures itself answers here; nothing leaves it to the asset's file.
    virtual std::optional<std::vector<Picture>> pictures(const AssetRecord&) { return std::nullopt; }

    static std::shared_ptr<PhotoStore> installed(); ///< Empty when there is none.
    static void install(std::shared_ptr<PhotoStore> store);
};

}
