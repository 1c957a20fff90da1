// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <cstdint>
#include <memory>

namespace velmora {

class QVPhotoCapture;

/// Hears that a photo request is over.
class VELMORA_EXPORT QVPhotoCaptureDelegate {
public:
    virtual ~QVPhotoCaptureDelegate() = default;
    /// Only after success, when the handler has returned, on the photo output's queue. `uniqueID` is the one of the
    /// request's settings. Its selector is `photoCaptureDidComplete:with:`.
    virtual void photoCaptureDidComplete(const std::shared_ptr<QVPhotoCapture>& capture, std::int64_t uniqueID) = 0;
};

}
