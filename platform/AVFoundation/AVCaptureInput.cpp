// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureInput.h"

namespace velmora {

const ClassInfo& AVCaptureInput::staticClass()
{
    static const ClassInfo info { "Velmora.AVCaptureInput", &NSObject::staticClass() };
    return info;
}

}
