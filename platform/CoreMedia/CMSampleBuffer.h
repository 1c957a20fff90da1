// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CMTime.h"
#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// Sound: 32-bit float samples, channels interleaved.
struct CMAudioSamples {
    std::vector<float> samples;
    std::int32_t channels = 1;
    double sampleRate = 48000; ///< hertz
};

/// One frame or one piece of sound with its time. Immutable; identity is kept from the driver to the processor.
class VELMORA_EXPORT CMSampleBuffer : public NSObject {
public:
    CMSampleBuffer(std::shared_ptr<CVPixelBuffer> image, CMTime presentationTime, std::uint64_t sequence);
    CMSampleBuffer(std::shared_ptr<const CMAudioSamples> audio, CMTime presentationTime, std::uint64_t sequence);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    std::string mediaType() const; ///< AVMediaTypeVideo or AVMediaTypeAudio
    const std::shared_ptr<CVPixelBuffer>& imageBuffer() const { return image_; } ///< empty for sound
    const std::shared_ptr<const CMAudioSamples>& audio() const { return audio_; } ///< empty for a frame
    CMTime presentationTimeStamp() const { return time_; } ///< by the clock in force
    std::uint64_t sequence() const { return sequence_; } ///< counted by the device; a gap is a frame it lost

private:
    std::shared_ptr<CVPixelBuffer> image_;
    std::shared_ptr<const CMAudioSamples> audio_;
    CMTime time_;
    std::uint64_t sequence_;
};

}
