// SPDX-License-Identifier: Apache-2.0
#include "velmora/library/QVPhotoLibraryPersistentObject.h"

#include "velmora/library/QVPersistentPhotoAlbum.h"

#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/NSUserDefaults.h"

#include <utility>

namespace velmora {

QVPhotoLibraryPersistentObject::QVPhotoLibraryPersistentObject(std::string identifier, std::string localizedTitle)
    : identifier_(std::move(identifier))
    , localizedTitle_(std::move(localizedTitle))
{
}

const ClassInfo& QVPhotoLibraryPersistentObject::staticClass()
{
    using Self = QVPhotoLibraryPersistentObject;
    static constexpr auto methods
        = methodTable(method<&Self::identifier>("identifier"), method<&Self::localizedTitle>("localizedTitle"),
            method<&Self::storedPHObjectIdentifierDefaultsKey>("storedPHObjectIdentifierDefaultsKey"));
    static constexpr auto classMethods = methodTable(unavailableInitialiser(),
        initialiser<Self, std::string, std::string>("initWithIdentifier:localizedTitle:"),
        classMethod<&Self::fixDefaultsKeys>("fixDefaultsKeys"));
    static const ClassInfo info { "Velmora.QVPhotoLibraryPersistentObject", &NSObject::staticClass(), methods,
        classMethods };
    return info;
}

/// The dynamic class is part of it, an application's subclass too: an album and a folder never share a key.
std::string QVPhotoLibraryPersistentObject::storedPHObjectIdentifierDefaultsKey() const
{
    return std::string(classInfo().name) + "-Identifier-" + identifier_;
}

std::optional<std::string> QVPhotoLibraryPersistentObject::storedLocalIdentifier() const
{
    return NSUserDefaults::standardUserDefaults()->stringForKey(storedPHObjectIdentifierDefaultsKey());
}

void QVPhotoLibraryPersistentObject::storeLocalIdentifier(const std::string& localIdentifier) const
{
    NSUserDefaults::standardUserDefaults()->setObject(localIdentifier, storedPHObjectIdentifierDefaultsKey());
}

void QVPhotoLibraryPersistentObject::fixDefaultsKeys()
{
    // An older scheme made the key of an album's description. Folders never had it.
    const auto bogusPrefix = '<' + std::string(QVPersistentPhotoAlbum::staticClass().name);
    const auto defaults = NSUserDefaults::standardUserDefaults();
    int deleted = 0;
    for (const auto& [key, value] : defaults->dictionaryRepresentation()) {
        if (!key.starts_with(bogusPrefix))
            continue;
        defaults->removeObjectForKey(key);
        ++deleted;
    }
    if (deleted > 0)
        NSLog("[QVPhotoLibraryPersistence] Fix: deleted %i bogus QV keys", deleted);
}

}
