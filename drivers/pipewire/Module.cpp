// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Export.h"

#include "drivers/pipewire/Capture.h"

/// The one door of the module. Throws NSError when no daemon answers.
extern "C" VELMORA_EXPORT void velmoraOpenPipeWire(std::shared_ptr<velmora::drivers::pipewire::DaemonCapture>& capture,
    const velmora::drivers::pipewire::DaemonWish& wish)
{
    capture = std::make_shared<velmora::drivers::pipewire::Capture>(wish);
}
