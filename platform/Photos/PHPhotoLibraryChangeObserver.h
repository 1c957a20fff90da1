// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <memory>

namespace velmora {

class PHChange;

/// Hears of changes to the photo library.
class VELMORA_EXPORT PHPhotoLibraryChangeObserver {
public:
    virtual ~PHPhotoLibraryChangeObserver() = default;
    /// After each change, one at a time, on a queue of the library's: hop to the main queue for what belongs there.
    virtual void photoLibraryDidChange(const std::shared_ptr<PHChange>& change) = 0;
};

}
