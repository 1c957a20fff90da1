// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/AVFoundation/FaceDetector.h"
#include "platform/Foundation/DispatchQueue.h"

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace velmora {

/// Looks for faces in a camera's frames, on a queue of its own, four times a second at most. A frame that comes while
/// it looks at another is left alone; none is kept.
///
/// Nobody knows how the device is held, so each look tries another of the four ways up until one shows a face, and
/// stays with it. A face keeps its number from look to look while it stays about where it is.
class FaceFinder : public std::enable_shared_from_this<FaceFinder> {
public:
    using Found = std::function<void(std::vector<CaptureMetadataObject>)>;

    /// `found` is called on the finder's queue: with all faces at each look that sees some, and once with none when
    /// they have gone.
    FaceFinder(std::shared_ptr<FaceDetector> detector, int sensorRotation, Found found);

    /// From any thread, which it holds up for the time of a small copy at most.
    void look(const CMSampleBuffer& frame);

private:
    struct Face {
        CGRect bounds;
        std::int64_t number = 0;
    };

    void find(const GreyPicture& picture, double time);
    std::vector<CaptureMetadataObject> number(const std::vector<CGRect>& bounds, double time);

    const std::shared_ptr<FaceDetector> detector_;
    const Found found_;
    const DispatchQueue queue_ { "org.velmora.faceFinder" };

    std::mutex mutex_; // what follows
    bool looking_ = false;
    double nextLook_ = 0;

    // On the queue alone.
    int rotation_; // degrees clockwise that make the picture upright
    std::vector<Face> faces_;
    std::int64_t lastNumber_ = 0;
};

}
