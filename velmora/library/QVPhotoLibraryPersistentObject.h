// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <functional>
#include <optional>
#include <string>

namespace velmora {

/// An album or a folder of the photo library that an application finds again on every launch: by the identifier that
/// the library gave it, which is remembered in the standard user defaults, also when the user calls it otherwise now,
/// and else by its title. The base of QVPersistentPhotoAlbum and QVPersistentPhotoCollectionList.
class VELMORA_EXPORT QVPhotoLibraryPersistentObject : public NSObject {
public:
    QVPhotoLibraryPersistentObject() = delete;
    /// `identifier` is the application's own name for the container; it stays. `localizedTitle` is what the container
    /// is called when it is made, and what is searched for. Objects of one class with one identifier are the same
    /// container.
    QVPhotoLibraryPersistentObject(std::string identifier, std::string localizedTitle);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::string& identifier() const { return identifier_; }
    const std::string& localizedTitle() const { return localizedTitle_; }

    /// Removes the keys that earlier versions left in the standard user defaults, and logs how many there were.
    static void fixDefaultsKeys();

protected:
    /// The identifier that the library gave; nothing before it was stored.
    std::optional<std::string> storedLocalIdentifier() const;
    void storeLocalIdentifier(const std::string& localIdentifier) const;

private:
    std::string storedPHObjectIdentifierDefaultsKey() const;

    std::string identifier_, localizedTitle_;
};

}
