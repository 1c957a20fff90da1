// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CMTime.h"
#include "platform/Foundation/NSObject.h"

#include <memory>

namespace velmora {

/// What a device format delivers. One for each format.
class VELMORA_EXPORT CMFormatDescription : public NSObject {
public:
    explicit CMFormatDescription(CMVideoDimensions dimensions);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    CMVideoDimensions dimensions() const { return dimensions_; }

private:
    CMVideoDimensions dimensions_;
};

/// Pixels; 0 by 0 for nothing.
VELMORA_EXPORT CMVideoDimensions CMVideoFormatDescriptionGetDimensions(
    const std::shared_ptr<const CMFormatDescription>& description);

}
