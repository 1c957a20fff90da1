// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIImage.h"

#include "platform/CoreGraphics/CGContext.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSException.h"
#include "platform/Foundation/NSLog.h"
#include "platform/ImageIO/ImageDecoder.h"
#include "platform/UIKit/SystemSymbols.h"
#include "platform/UIKit/UIGraphics.h"
#include "platform/UIKit/UIScreen.h"

#include <cmath>
#include <utility>
#include <vector>

namespace velmora {

namespace {

bool isSideways(UIImageOrientation orientation)
{
    return orientation == UIImageOrientationLeft || orientation == UIImageOrientationRight
        || orientation == UIImageOrientationLeftMirrored || orientation == UIImageOrientationRightMirrored;
}

/// From the place in the upright picture to the place in the stored one, width by height.
std::pair<int, int> stored(UIImageOrientation orientation, int x, int y, int width, int height)
{
    const int right = width - 1, bottom = height - 1;
    switch (orientation) {
    case UIImageOrientationUp:
        return { x, y };
    case UIImageOrientationDown:
        return { right - x, bottom - y };
    case UIImageOrientationLeft:
        return { right - y, x };
    case UIImageOrientationRight:
        return { y, bottom - x };
    case UIImageOrientationUpMirrored:
        return { right - x, y };
    case UIImageOrientationDownMirrored:
        return { x, bottom - y };
    case UIImageOrientationLeftMirrored:
        return { y, x };
    case UIImageOrientationRightMirrored:
        return { right - y, bottom - x };
    }
    return { x, y };
}

bool endsIn(const std::string& text, const std::string& ending)
{
    return text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

double scaleByName(const std::string& path)
{
    const auto stem = path.substr(0, path.rfind('.'));
    return endsIn(stem, "@3x") ? 3 : endsIn(stem, "@2x") ? 2 : 1;
}

std::shared_ptr<UIImage> decoded(
    const std::string& what, double scale, const std::function<std::shared_ptr<CVPixelBuffer>(ImageDecoder&)>& decode)
{
    const auto decoder = ImageDecoder::installed();
    if (!decoder) {
        NSLog("[UIImage] %@ cannot be read: no picture decoder is installed.", what);
        return nullptr;
    }
    try {
        const auto image = CGImage::withPixelBuffer(decode(*decoder));
        return image ? make<UIImage>(image, scale) : nullptr;
    } catch (const NSError& error) {
        NSLog("[UIImage] %@ cannot be read: %@", what, error.localizedDescription());
        return nullptr;
    }
}

/// Endings before the type, best for the screen first.
std::vector<std::string> scalesToTry()
{
    const int scale = std::max(1, static_cast<int>(std::lround(UIScreen::mainScreen()->scale())));
    if (scale >= 3)
        return { "@3x", "@2x", "" };
    return scale == 2 ? std::vector<std::string> { "@2x", "@3x", "" } : std::vector<std::string> { "", "@2x", "@3x" };
}

}

UIImage::UIImage(
    std::shared_ptr<const CGImage> image, double scale, UIImageOrientation orientation, UIImageRenderingMode mode)
    : image_(std::move(image))
    , scale_(scale)
    , orientation_(orientation)
    , mode_(mode)
{
    if (!(scale > 0))
        throw NSException(NSInvalidArgumentException, "The scale of a picture is above 0");
}

const ClassInfo& UIImage::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIImage::cgImage>("CGImage"), method<&UIImage::scale>("scale"),
        method<&UIImage::imageOrientation>("imageOrientation"), method<&UIImage::renderingMode>("renderingMode"),
        method<&UIImage::size>("size"), method<&UIImage::imageWithRenderingMode>("imageWithRenderingMode:"),
        method<&UIImage::drawInRect>("drawInRect:"), method<&UIImage::drawAtPoint>("drawAtPoint:"));
    static constexpr auto classMethods
        = methodTable(classMethod<&UIImage::imageWithContentsOfFile>("imageWithContentsOfFile:"),
            classMethod<&UIImage::imageWithCGImage>("imageWithCGImage:scale:orientation:"),
            classMethod<&UIImage::systemImageNamed>("systemImageNamed:"));
    static const ClassInfo info { "Velmora.UIImage", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<UIImage> UIImage::imageNamed(const std::string& name, const std::shared_ptr<NSBundle>& bundle)
{
    const auto source = bundle ? bundle : NSBundle::mainBundle();
    if (!source)
        return nullptr;
    if (const auto dot = name.rfind('.'); dot != std::string::npos)
        if (const auto path = source->pathForResource(name.substr(0, dot), name.substr(dot + 1)))
            return imageWithContentsOfFile(*path);
    for (const std::string& scale : scalesToTry())
        for (const char* type : { "png", "jpg" })
            if (const auto path = source->pathForResource(name + scale, type))
                return imageWithContentsOfFile(*path);
    return nullptr;
}

std::shared_ptr<UIImage> UIImage::imageWithContentsOfFile(const std::string& path)
{
    return decoded(path, scaleByName(path), [&](ImageDecoder& decoder) { return decoder.decodeFile(path); });
}

std::shared_ptr<UIImage> UIImage::imageWithData(std::span<const std::uint8_t> data, double scale)
{
    return decoded("A picture in memory", scale, [&](ImageDecoder& decoder) { return decoder.decode(data); });
}

std::shared_ptr<UIImage> UIImage::imageWithCGImage(
    const std::shared_ptr<const CGImage>& image, double scale, UIImageOrientation orientation)
{
    return image ? make<UIImage>(image, scale, orientation) : nullptr;
}

std::shared_ptr<UIImage> UIImage::systemImageNamed(const std::string& name)
{
    const double scale = UIScreen::mainScreen()->scale();
    CGContext context(systemSymbolSize, scale);
    if (!drawSystemSymbol(name, context))
        return nullptr;
    return make<UIImage>(context.makeImage(), scale, UIImageOrientationUp, UIImageRenderingModeAlwaysTemplate);
}

std::shared_ptr<UIImage> UIImage::imageByDrawing(
    CGSize points, double scale, const std::function<void(CGContext&)>& draw)
{
    CGContext context(points, scale);
    UIGraphicsPushContext(context);
    draw(context);
    UIGraphicsPopContext();
    return make<UIImage>(context.makeImage(), scale);
}

CGSize UIImage::size() const
{
    if (!image_)
        return CGSizeZero;
    const CGSize stored { image_->width() / scale_, image_->height() / scale_ };
    return isSideways(orientation_) ? CGSizeMake(stored.height, stored.width) : stored;
}

std::shared_ptr<UIImage> UIImage::imageWithRenderingMode(UIImageRenderingMode mode) const
{
    return make<UIImage>(image_, scale_, orientation_, mode);
}

std::shared_ptr<const CGImage> UIImage::uprightImage() const
{
    if (!image_ || orientation_ == UIImageOrientationUp)
        return image_;
    const bool sideways = isSideways(orientation_);
    const int width = sideways ? image_->height() : image_->width();
    const int height = sideways ? image_->width() : image_->height();
    std::vector<std::uint8_t> pixels;
    pixels.reserve(4 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const auto [fromX, fromY] = stored(orientation_, x, y, image_->width(), image_->height());
            const std::uint8_t* pixel = image_->pixel(fromX, fromY);
            pixels.insert(pixels.end(), pixel, pixel + 4);
        }
    return CGImage::withPixels(width, height, std::move(pixels));
}

void UIImage::drawInRect(CGRect rect) const
{
    auto* context = UIGraphicsGetCurrentContext();
    const auto upright = uprightImage();
    if (!context || !upright)
        return;
    if (isTemplate())
        context->drawImageMask(*upright, rect);
    else
        context->drawImage(*upright, rect);
}

void UIImage::drawAtPoint(CGPoint point) const
{
    drawInRect({ point, size() });
}

bool UIImage::isEqual(const NSObject* other) const
{
    const auto* image = dynamic_cast<const UIImage*>(other);
    return image && image->image_ == image_ && image->scale_ == scale_ && image->orientation_ == orientation_
        && image->mode_ == mode_;
}

}
