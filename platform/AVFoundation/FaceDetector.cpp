// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/FaceDetector.h"

#include "platform/Foundation/InstalledDriver.h"

#include <utility>

namespace velmora {

std::shared_ptr<FaceDetector> FaceDetector::installed()
{
    return installedDriver<FaceDetector>().get();
}

void FaceDetector::install(std::shared_ptr<FaceDetector> detector)
{
    installedDriver<FaceDetector>().set(std::move(detector));
}

}
