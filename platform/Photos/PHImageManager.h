// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/ArchiveValue.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>

namespace velmora {

class PHAsset;
class UIImage;

using PHImageRequestID = std::int32_t;
inline constexpr PHImageRequestID PHInvalidImageRequestID = 0;

enum PHImageContentMode : std::int64_t {
    PHImageContentModeAspectFit = 0, ///< within the target size
    PHImageContentModeAspectFill = 1, ///< at least the target size each way
    PHImageContentModeDefault = PHImageContentModeAspectFit,
};
enum PHImageRequestOptionsDeliveryMode : std::int64_t {
    PHImageRequestOptionsDeliveryModeOpportunistic = 0, ///< a degraded picture first, where one is at hand
    PHImageRequestOptionsDeliveryModeHighQualityFormat = 1, ///< only the final one
    PHImageRequestOptionsDeliveryModeFastFormat = 2, ///< whatever is at hand, and no more
};

// What the information of a result holds.
inline constexpr const char* PHImageResultIsDegradedKey = "PHImageResultIsDegradedKey"; ///< bool
inline constexpr const char* PHImageResultRequestIDKey = "PHImageResultRequestIDKey"; ///< whole number
inline constexpr const char* PHImageErrorKey = "PHImageErrorKey"; ///< NSError

/// As large as the photo is.
inline constexpr CGSize PHImageManagerMaximumSize { -1, -1 };

/// How an image request is answered.
class VELMORA_EXPORT PHImageRequestOptions : public NSObject {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    PHImageRequestOptionsDeliveryMode deliveryMode() const { return deliveryMode_; }
    void setDeliveryMode(PHImageRequestOptionsDeliveryMode mode) { deliveryMode_ = mode; }
    /// One result, on the calling thread, before the request returns.
    bool isSynchronous() const { return synchronous_; }
    void setSynchronous(bool synchronous) { synchronous_ = synchronous; }

private:
    PHImageRequestOptionsDeliveryMode deliveryMode_ = PHImageRequestOptionsDeliveryModeOpportunistic;
    bool synchronous_ = false;
};

/// Makes pictures of assets in the size in which they are shown. Small ones are kept where the whole desktop keeps its
/// thumbnails, and taken from there. From any thread.
class VELMORA_EXPORT PHImageManager : public NSObject {
public:
    /// The image, which may be nil, and what is said of it.
    using ResultHandler = std::function<void(const std::shared_ptr<UIImage>& image, const ArchiveDictionary& info)>;

    static std::shared_ptr<PHImageManager> defaultManager(); ///< One for the process.
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// `targetSize` is in pixels; the picture is never enlarged. Calls `handler` on the main queue, later, once or
    /// more: perhaps with a degraded picture, then with the final one, or with nil and the reason. A store that makes
    /// its pictures itself may call it before this returns, too. Never answers 0.
    PHImageRequestID requestImageForAsset(const std::shared_ptr<PHAsset>& asset, CGSize targetSize,
        PHImageContentMode contentMode, const std::shared_ptr<PHImageRequestOptions>& options, ResultHandler handler);
    /// The handler is not called any more. On the main thread at once; from others one call may be under way. Harmless
    /// for a request that was answered.
    void cancelImageRequest(PHImageRequestID request);

    struct Key {
        explicit Key() = default;
    };
    explicit PHImageManager(Key) { }

private:
    struct Request;
    enum class Last : bool { No, Yes };

    PHImageRequestID begin();
    bool isActive(PHImageRequestID request) const;
    void work(const Request& request);
    void deliver(const Request& request, const std::shared_ptr<UIImage>& image, ArchiveDictionary info, Last last);
    void deliverSoon(const Request& request, std::shared_ptr<UIImage> image, ArchiveDictionary info, Last last);
    bool answeredByStore(const Request& request);

    const DispatchQueue queue_ { "org.velmora.imageManager" };
    mutable std::mutex mutex_; // guards what follows
    std::set<PHImageRequestID> active_;
    PHImageRequestID last_ = 0;
};

}
