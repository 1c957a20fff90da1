// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/library/QVPhotoLibraryPersistentObject.h"

#include <memory>
#include <string>

namespace velmora {

class PHCollectionList;

/// An application's own folder of albums.
///
/// Every operation works on the calling thread and may wait for the library; the first one that makes something may
/// wait for the user's permission, so not on the main thread then.
class VELMORA_EXPORT QVPersistentPhotoCollectionList : public QVPhotoLibraryPersistentObject {
public:
    QVPersistentPhotoCollectionList(std::string identifier, std::string localizedTitle);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Whether the library has the folder. One that is found by its title is remembered.
    bool exists() const;
    /// Finds the folder or makes it. Throws NSError when the library refuses. Empty when it is not there after it was
    /// made.
    std::shared_ptr<PHCollectionList> collectionList() const;
    /// The same; an error is logged and answered with an empty pointer.
    std::shared_ptr<PHCollectionList> collectionListObjc() const;

private:
    std::shared_ptr<PHCollectionList> existingCollectionList() const;
};

}
