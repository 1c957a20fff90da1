// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreMedia/CMFormatDescription.h"

namespace velmora {

CMFormatDescription::CMFormatDescription(CMVideoDimensions dimensions)
    : dimensions_(dimensions)
{
}

const ClassInfo& CMFormatDescription::staticClass()
{
    static const ClassInfo info { "Velmora.CMFormatDescription", &NSObject::staticClass() };
    return info;
}

CMVideoDimensions CMVideoFormatDescriptionGetDimensions(const std::shared_ptr<const CMFormatDescription>& description)
{
    return description ? description->dimensions() : CMVideoDimensions {};
}

}
