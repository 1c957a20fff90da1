// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PhotoStore.h"

#include "platform/Foundation/InstalledDriver.h"

#include <utility>

namespace velmora {

std::shared_ptr<PhotoStore> PhotoStore::installed()
{
    return installedDriver<PhotoStore>().get();
}

void PhotoStore::install(std::shared_ptr<PhotoStore> store)
{
    installedDriver<PhotoStore>().set(std::move(store));
}

}
