// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/CaptureButtonDriver.h"

#include "platform/Foundation/InstalledDriver.h"

#include <utility>

namespace velmora {

std::shared_ptr<CaptureButtonDriver> CaptureButtonDriver::installed()
{
    return installedDriver<CaptureButtonDriver>().get();
}

void CaptureButtonDriver::install(std::shared_ptr<CaptureButtonDriver> driver)
{
    installedDriver<CaptureButtonDriver>().set(std::move(driver));
}

void ButtonPress::moveTo(Position position, const std::function<void(AVCaptureEventPhase)>& tell)
{
    const Position before = std::exchange(position_, position);
    if (before == position)
        return;
    if (before == Position::Up) {
        wasDown_ = position == Position::Down;
        tell(AVCaptureEventPhaseBegan);
    } else if (position == Position::Down) {
        if (wasDown_) // again, without having been let go of
            tell(AVCaptureEventPhaseBegan);
        wasDown_ = true;
    } else if (before == Position::Down)
        tell(AVCaptureEventPhaseEnded);
    else if (!wasDown_)
        tell(AVCaptureEventPhaseCancelled);
}

}
