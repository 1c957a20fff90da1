// SPDX-License-Identifier: Apache-2.0
#include "drivers/photos/install.h"

#include "drivers/photos/FolderPhotoStore.h"
#include "drivers/photos/PicturesFolder.h"

#include <memory>

namespace velmora::drivers::photos {

bool install()
{
    const auto folder = cameraFolderOfUser();
    if (folder.empty())
        return false;
    PhotoStore::install(std::make_shared<FolderPhotoStore>(folder));
    return true;
}

}
