// SPDX-License-Identifier: Apache-2.0
#include "platform/ImageIO/ImageDecoder.h"

#include "platform/Foundation/InstalledDriver.h"

#include <utility>

namespace velmora {

std::shared_ptr<ImageDecoder> ImageDecoder::installed()
{
    return installedDriver<ImageDecoder>().get();
}

void ImageDecoder::install(std::shared_ptr<ImageDecoder> driver)
{
    installedDriver<ImageDecoder>().set(std::move(driver));
}

}
