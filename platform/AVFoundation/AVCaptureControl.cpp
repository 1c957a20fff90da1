// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureControl.h"

namespace velmora {

const ClassInfo& AVCaptureControl::staticClass()
{
    static constexpr auto methods = methodTable(
        method<&AVCaptureControl::isEnabled>("isEnabled"), method<&AVCaptureControl::setEnabled>("setEnabled:"));
    static const ClassInfo info { "Velmora.AVCaptureControl", &NSObject::staticClass(), methods };
    return info;
}

void AVCaptureControl::setEnabled(bool enabled)
{
    const ChangeOfValue change(*this, "enabled");
    enabled_ = enabled;
}

}
