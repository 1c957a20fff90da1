// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/MovieWriter.h"

#include "platform/Foundation/InstalledDriver.h"

#include <utility>

namespace velmora {

std::shared_ptr<MovieWriter> MovieWriter::installed()
{
    return installedDriver<MovieWriter>().get();
}

void MovieWriter::install(std::shared_ptr<MovieWriter> driver)
{
    installedDriver<MovieWriter>().set(std::move(driver));
}

std::shared_ptr<MovieReader> MovieReader::installed()
{
    return installedDriver<MovieReader>().get();
}

void MovieReader::install(std::shared_ptr<MovieReader> driver)
{
    installedDriver<MovieReader>().set(std::move(driver));
}

}
