// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVVideoStabilizationTitle.h"

#include "velmora/resources/QVLocalizedString.h"

#include "platform/Foundation/NSBundle.h"

namespace velmora {

std::optional<std::string> QVCameraLocalizedTitleForVideoStabilizationMode(AVCaptureVideoStabilizationMode mode)
{
    // Three names are the application's own: it may call them as its other texts do.
    const auto application = [](const char* key) { return NSBundle::mainBundle()->localizedStringForKey(key); };
    switch (mode) {
    case AVCaptureVideoStabilizationModeAuto:
        return application("Automatic");
    case AVCaptureVideoStabilizationModeOff:
        return QVLocalizedString("OFF");
    case AVCaptureVideoStabilizationModeStandard:
        return QVLocalizedString("STANDARD");
    case AVCaptureVideoStabilizationModeCinematic:
        return QVLocalizedString("CINEMATIC");
    case AVCaptureVideoStabilizationModeCinematicExtended:
        return application("Cinematic Extended");
    case AVCaptureVideoStabilizationModePreviewOptimized:
        return application("Preview Optimized");
    default:
        return "Cinematic Extended Enhanced";
    }
}

}
