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

/// One frame or one piece of sound with its time. Immutable; a frame's pixels are the driver's own up to the processor.
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
    /// How the pixels are turned and mirrored to stand as their connection asks, in EXIF's numbers: 1 (as they are) to
    /// 8. Frames are not turned on their way to a processor; AVCaptureVideoDataOutput turns them where one asks it to.
    int imageOrientation() const { return imageOrientation_; }
    /// The same frame, by reference, with another orientation.
    std::shared_ptr<CMSampleBuffer> withImageOrientation(int orientation) const;

private:
    std::shared_ptr<CVPixelBuffer> image_;
    std::shared_ptr<const CMAudioSamples> audio_;
    CMTime time_;
    std::uint64_t sequence_;
    int imageOrientation_ = 1;
};

}
