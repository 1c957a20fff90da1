// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreMedia/CMSampleBuffer.h"

#include "platform/AVFoundation/AVMediaTypes.h"

#include <utility>

namespace velmora {

CMSampleBuffer::CMSampleBuffer(std::shared_ptr<CVPixelBuffer> image, CMTime presentationTime, std::uint64_t sequence)
    : image_(std::move(image))
    , time_(presentationTime)
    , sequence_(sequence)
{
}

CMSampleBuffer::CMSampleBuffer(
    std::shared_ptr<const CMAudioSamples> audio, CMTime presentationTime, std::uint64_t sequence)
    : audio_(std::move(audio))
    , time_(presentationTime)
    , sequence_(sequence)
{
}

const ClassInfo& CMSampleBuffer::staticClass()
{
    static constexpr auto methods = methodTable(method<&CMSampleBuffer::mediaType>("mediaType"),
        method<&CMSampleBuffer::imageBuffer>("imageBuffer"),
        method<&CMSampleBuffer::presentationTimeStamp>("presentationTimeStamp"),
        method<&CMSampleBuffer::imageOrientation>("imageOrientation"));
    static const ClassInfo info { "Velmora.CMSampleBuffer", &NSObject::staticClass(), methods };
    return info;
}

std::string CMSampleBuffer::mediaType() const
{
    return audio_ ? AVMediaTypeAudio : AVMediaTypeVideo;
}

std::shared_ptr<CMSampleBuffer> CMSampleBuffer::withImageOrientation(int orientation) const
{
    auto turned = make<CMSampleBuffer>(image_, time_, sequence_);
    turned->imageOrientation_ = orientation;
    return turned;
}

}
