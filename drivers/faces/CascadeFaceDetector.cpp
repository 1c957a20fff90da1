// SPDX-License-Identifier: Apache-2.0
// The module: the only place that knows the computer-vision library.
#include "platform/AVFoundation/FaceDetector.h"

#include <opencv2/core.hpp>
#include <opencv2/objdetect.hpp>

#include <mutex>
#include <string>

namespace velmora::drivers::faces {

namespace {

/// A cascade of Haar-like features: it finds faces turned by twenty degrees, where binary patterns lose them at ten.
class CascadeFaceDetector final : public FaceDetector {
public:
    explicit CascadeFaceDetector(const std::string& cascade)
    {
        cv::setNumThreads(1); // one thread of the camera's is enough
        try {
            loaded_ = classifier_.load(cascade) && !classifier_.empty();
        } catch (const cv::Exception&) {
            loaded_ = false; // not a cascade
        }
    }

    bool isAvailable() const override { return loaded_; }

    std::vector<CGRect> facesIn(const GreyPicture& picture) override
    {
        constexpr double step = 1.1; // from one size of a face to the next
        constexpr int neighbours = 4; // how many windows must agree
        constexpr int smallest = 20; // pixels, what the cascade was trained on
        const std::lock_guard lock(mutex_);
        std::vector<cv::Rect> found;
        // The classifier does not write into the picture.
        const cv::Mat grey(picture.height, picture.width, CV_8UC1, const_cast<std::uint8_t*>(picture.pixels.data()));
        classifier_.detectMultiScale(grey, found, step, neighbours, 0, cv::Size(smallest, smallest));
        std::vector<CGRect> faces;
        for (const auto& rect : found)
            faces.push_back(CGRectMake(static_cast<double>(rect.x) / picture.width,
                static_cast<double>(rect.y) / picture.height, static_cast<double>(rect.width) / picture.width,
                static_cast<double>(rect.height) / picture.height));
        return faces;
    }

private:
    std::mutex mutex_;
    cv::CascadeClassifier classifier_;
    bool loaded_ = false;
};

}

}

/// Null when the file holds no cascade. The caller deletes it.
extern "C" [[gnu::visibility("default")]] velmora::FaceDetector* velmoraMakeFaceDetector(const char* cascade)
{
    auto detector = std::make_unique<velmora::drivers::faces::CascadeFaceDetector>(cascade);
    return detector->isAvailable() ? detector.release() : nullptr;
}
