// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/install.h"

#include "drivers/media/MediaStillEncoder.h"
#include "drivers/media/MovieFileReader.h"
#include "drivers/media/MovieFileWriter.h"
#include "drivers/media/PictureDecoder.h"

namespace velmora::drivers::media {

void install()
{
    StillEncoder::install(std::make_shared<MediaStillEncoder>());
    ImageDecoder::install(std::make_shared<PictureDecoder>());
    MovieWriter::install(std::make_shared<MovieFileWriter>());
    MovieReader::install(std::make_shared<MovieFileReader>());
}

}
