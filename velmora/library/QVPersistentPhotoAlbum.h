// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/library/QVPhotoLibraryPersistentObject.h"

#include <memory>
#include <string>

namespace velmora {

class PHAssetCollection;
class QVPersistentPhotoCollectionList;

/// An application's own album.
///
/// Every operation works on the calling thread and may wait for the library; the first one that makes something may
/// wait for the user's permission, so not on the main thread then.
class VELMORA_EXPORT QVPersistentPhotoAlbum : public QVPhotoLibraryPersistentObject {
public:
    QVPersistentPhotoAlbum(std::string identifier, std::string localizedTitle);
    /// Finds or makes the folder and the album now, and puts the album into the folder. Never fails: an error is
    /// logged, and an empty `collectionList` is an album without a folder.
    QVPersistentPhotoAlbum(std::string identifier, std::string localizedTitle,
        const std::shared_ptr<QVPersistentPhotoCollectionList>& collectionList);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Whether the library has the album. One that is found by its title is remembered.
    bool exists() const;
    /// Finds the album or makes it. Throws NSError when the library refuses. Empty when it is not there after it was
    /// made.
    std::shared_ptr<PHAssetCollection> assetCollection() const;
    /// The same; an error is logged and answered with an empty pointer.
    std::shared_ptr<PHAssetCollection> assetCollectionObjc() const;

protected:
    void didConstruct() override;

private:
    std::shared_ptr<PHAssetCollection> existingAssetCollection() const;
    void putInto(const QVPersistentPhotoCollectionList& folder) const;

    std::shared_ptr<QVPersistentPhotoCollectionList> folder_; // until the album is in it
};

}
