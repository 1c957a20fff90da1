// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/PHImageManager.h"

#include "platform/CoreGraphics/CGImage.h"
#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/NSError.h"
#include "platform/ImageIO/ImageDecoder.h"
#include "platform/ImageIO/ImageHeader.h"
#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/Photos/PhotoStore.h"
#include "platform/Photos/ThumbnailCache.h"
#include "platform/UIKit/UIImage.h"

#include <libyuv/scale_argb.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace velmora {

namespace {

using Picture = std::shared_ptr<const CGImage>;

struct PixelSize {
    int width = 0, height = 0;
};

/// The size in which a picture is shown, its proportions kept; never larger than it is.
PixelSize sizeFor(PixelSize whole, CGSize target, PHImageContentMode mode)
{
    if (target.width < 0 || target.height < 0 || whole.width <= 0 || whole.height <= 0)
        return whole;
    const double across = target.width / whole.width, down = target.height / whole.height;
    const double scale
        = std::min(mode == PHImageContentModeAspectFill ? std::max(across, down) : std::min(across, down), 1.0);
    const auto scaled
        = [scale](int length) { return std::max(1, static_cast<int>(std::lround(std::ceil(length * scale - 1e-6)))); };
    return { scaled(whole.width), scaled(whole.height) };
}

Picture scaled(const Picture& picture, PixelSize size)
{
    if (!picture || (size.width >= picture->width() && size.height >= picture->height()))
        return picture;
    std::vector<std::uint8_t> pixels(
        std::size_t { 4 } * static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height));
    libyuv::ARGBScale(picture->pixels(), static_cast<int>(picture->stride()), picture->width(), picture->height(),
        pixels.data(), 4 * size.width, size.width, size.height, libyuv::kFilterBox);
    return CGImage::withPixels(size.width, size.height, std::move(pixels));
}

/// The small picture that a camera puts into its files, upright.
Picture embeddedThumbnail(const std::string& file, const ImageHeader& header)
{
    constexpr std::uint64_t largest = 1 << 20;
    const auto decoder = ImageDecoder::installed();
    if (!decoder || header.thumbnail.size == 0 || header.thumbnail.size > largest || header.orientation != 1)
        return nullptr;
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(header.thumbnail.size));
    std::ifstream stream(file, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(header.thumbnail.offset));
    stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    try {
        return CGImage::withPixelBuffer(decoder->decode(bytes));
    } catch (const NSError&) {
        return nullptr; // the whole picture follows
    }
}

std::shared_ptr<UIImage> imageOf(const Picture& picture)
{
    return picture ? make<UIImage>(picture) : nullptr;
}

ArchiveDictionary degraded(bool is)
{
    return { { PHImageResultIsDegradedKey, is } };
}

ArchiveDictionary failure(const NSError& error)
{
    auto info = degraded(false);
    info[PHImageErrorKey] = std::static_pointer_cast<NSObject>(make<NSError>(error));
    return info;
}

}

struct PHImageManager::Request {
    PHImageRequestID identifier = 0;
    AssetRecord asset;
    CGSize target;
    PHImageContentMode mode = PHImageContentModeDefault;
    PHImageRequestOptionsDeliveryMode delivery = PHImageRequestOptionsDeliveryModeOpportunistic;
    bool synchronous = false;
    ResultHandler handler;
};

const ClassInfo& PHImageRequestOptions::staticClass()
{
    using Self = PHImageRequestOptions;
    static constexpr auto methods
        = methodTable(method<&Self::deliveryMode>("deliveryMode"), method<&Self::setDeliveryMode>("setDeliveryMode:"),
            method<&Self::isSynchronous>("isSynchronous"), method<&Self::setSynchronous>("setSynchronous:"));
    static constexpr auto classMethods = methodTable(initialiser<Self>("init"));
    static const ClassInfo info { "Velmora.PHImageRequestOptions", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<PHImageManager> PHImageManager::defaultManager()
{
    static auto* shared = new std::shared_ptr<PHImageManager>(make<PHImageManager>(Key {}));
    return *shared;
}

const ClassInfo& PHImageManager::staticClass()
{
    using Self = PHImageManager;
    static constexpr auto methods = methodTable(
        method<&Self::requestImageForAsset>("requestImageForAsset:targetSize:contentMode:options:resultHandler:"),
        method<&Self::cancelImageRequest>("cancelImageRequest:"));
    static constexpr auto classMethods
        = methodTable(unavailableInitialiser(), classMethod<&Self::defaultManager>("defaultManager"));
    static const ClassInfo info { "Velmora.PHImageManager", &NSObject::staticClass(), methods, classMethods };
    return info;
}

PHImageRequestID PHImageManager::begin()
{
    const std::lock_guard lock(mutex_);
    last_ = last_ == std::numeric_limits<PHImageRequestID>::max() ? 1 : last_ + 1;
    active_.insert(last_);
    return last_;
}

bool PHImageManager::isActive(PHImageRequestID request) const
{
    const std::lock_guard lock(mutex_);
    return active_.contains(request);
}

void PHImageManager::cancelImageRequest(PHImageRequestID request)
{
    const std::lock_guard lock(mutex_);
    active_.erase(request);
}

PHImageRequestID PHImageManager::requestImageForAsset(const std::shared_ptr<PHAsset>& asset, CGSize targetSize,
    PHImageContentMode contentMode, const std::shared_ptr<PHImageRequestOptions>& options, ResultHandler handler)
{
    Request request;
    request.identifier = begin();
    request.target = targetSize;
    request.mode = contentMode;
    request.handler = std::move(handler);
    if (options) {
        request.delivery = options->deliveryMode();
        request.synchronous = options->isSynchronous();
    }
    if (!asset) {
        deliverSoon(request, nullptr,
            failure(NSError(PHPhotosErrorDomain, PHPhotosErrorIdentifierNotFound, "No photo was given to show.")),
            Last::Yes);
        return request.identifier;
    }
    request.asset = asset->record();
    if (answeredByStore(request))
        return request.identifier;
    if (request.synchronous)
        work(request);
    else
        queue_.async([this, request] { work(request); });
    return request.identifier;
}

bool PHImageManager::answeredByStore(const Request& request)
{
    const auto store = PhotoStore::installed();
    const auto pictures = store ? store->pictures(request.asset) : std::nullopt;
    if (!pictures)
        return false;
    for (std::size_t i = 0; i < pictures->size(); ++i) {
        const auto& picture = (*pictures)[i];
        const auto shown = picture.image
            ? scaled(picture.image,
                sizeFor({ picture.image->width(), picture.image->height() }, request.target, request.mode))
            : nullptr;
        const auto last = i + 1 == pictures->size() ? Last::Yes : Last::No;
        auto info = picture.isDegraded ? degraded(*picture.isDegraded) : ArchiveDictionary();
        if (picture.delay <= 0)
            deliver(request, imageOf(shown), std::move(info), last);
        else
            DispatchQueue::main().after(picture.delay,
                [this, request, shown, info = std::move(info), last] { deliver(request, imageOf(shown), info, last); });
    }
    return true;
}

void PHImageManager::deliver(
    const Request& request, const std::shared_ptr<UIImage>& image, ArchiveDictionary info, Last last)
{
    if (!isActive(request.identifier))
        return;
    if (last == Last::Yes)
        cancelImageRequest(request.identifier);
    info[PHImageResultRequestIDKey] = std::int64_t { request.identifier };
    if (request.handler)
        request.handler(image, info);
}

void PHImageManager::deliverSoon(
    const Request& request, std::shared_ptr<UIImage> image, ArchiveDictionary info, Last last)
{
    if (request.synchronous) {
        deliver(request, image, std::move(info), last);
        return;
    }
    DispatchQueue::main().async([this, request, image = std::move(image), info = std::move(info), last] {
        deliver(request, image, info, last);
    });
}

void PHImageManager::work(const Request& request)
{
    if (!isActive(request.identifier))
        return;
    const auto& file = request.asset.files.front();
    const auto header = imageHeaderOfFile(file);
    const PixelSize whole { static_cast<int>(header.width), static_cast<int>(header.height) };
    const auto size = sizeFor(whole, request.target, request.mode);
    const int longerSide = std::max(size.width, size.height);

    auto kept = ThumbnailCache::find(file, longerSide);
    if (kept.isLargeEnough) {
        deliverSoon(request, imageOf(scaled(kept.image, size)), degraded(false), Last::Yes);
        return;
    }
    if (!request.synchronous && request.delivery != PHImageRequestOptionsDeliveryModeHighQualityFormat) {
        const auto atHand = kept.image ? kept.image : embeddedThumbnail(file, header);
        const bool enough = request.delivery == PHImageRequestOptionsDeliveryModeFastFormat;
        if (atHand)
            deliverSoon(request, imageOf(scaled(atHand, size)), degraded(true), enough ? Last::Yes : Last::No);
        if (atHand && enough)
            return;
    }
    try {
        const auto decoder = ImageDecoder::installed();
        if (!decoder)
            throw NSError(PHPhotosErrorDomain, PHPhotosErrorInternalError,
                "The photo cannot be shown, because no decoder is installed; call drivers::installDefaults().");
        const int kind = ThumbnailCache::sizeFor(longerSide);
        const auto toKeep
            = sizeFor(whole, { static_cast<double>(kind), static_cast<double>(kind) }, PHImageContentModeAspectFit);
        const auto needed = kind > 0 ? toKeep : size;
        const auto picture = CGImage::withPixelBuffer(decoder->decodeFileToCover(file, needed.width, needed.height));
        const auto small = kind > 0 ? scaled(picture, toKeep) : picture;
        deliverSoon(request, imageOf(scaled(small, size)), degraded(false), Last::Yes);
        if (kind > 0)
            ThumbnailCache::keep(file, *small);
    } catch (const NSError& error) {
        deliverSoon(request, nullptr, failure(error), Last::Yes);
    }
}

}
