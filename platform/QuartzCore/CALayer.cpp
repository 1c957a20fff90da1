// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/CALayer.h"

#include "platform/CoreGraphics/CGContext.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/QuartzCore/CADisplay.h"
#include "platform/QuartzCore/LayerAnimations.h"
#include "platform/QuartzCore/LayerContent.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace velmora {

namespace {

std::uint64_t nextIdentity()
{
    static std::atomic<std::uint64_t> last { 0 };
    return ++last;
}

constexpr CGColor clear { 0, 0, 0, 0 };

/// A missing colour moves as a clear one.
CAValue valueOf(const std::optional<CGColor>& color)
{
    return color.value_or(clear);
}

template <class T> bool take(T& member, const CAValue& value)
{
    const auto* given = std::get_if<T>(&value);
    if (given)
        member = *given;
    return given != nullptr;
}

bool take(std::optional<CGColor>& member, const CAValue& value)
{
    const auto* given = std::get_if<CGColor>(&value);
    if (given)
        member = *given;
    return given != nullptr;
}

}

/// What a layer shows besides its colours.
struct CALayer::Content {
    std::shared_ptr<const CGImage> image; // set from outside
    std::shared_ptr<const LayerContent> raster; // of the image or of a drawing
    CGSize drawnSize; // points; of a drawing
};

CALayer::CALayer()
    : identity_(nextIdentity())
    , content_(std::make_shared<Content>())
{
}

CALayer::~CALayer() = default;

std::shared_ptr<CALayer> CALayer::layer()
{
    return make<CALayer>();
}

const ClassInfo& CALayer::staticClass()
{
    static constexpr auto methods = methodTable(method<&CALayer::bounds>("bounds"),
        method<&CALayer::setBounds>("setBounds:"), method<&CALayer::position>("position"),
        method<&CALayer::setPosition>("setPosition:"), method<&CALayer::anchorPoint>("anchorPoint"),
        method<&CALayer::setAnchorPoint>("setAnchorPoint:"), method<&CALayer::transform>("transform"),
        method<&CALayer::setTransform>("setTransform:"), method<&CALayer::frame>("frame"),
        method<&CALayer::setFrame>("setFrame:"), method<&CALayer::opacity>("opacity"),
        method<&CALayer::setOpacity>("setOpacity:"), method<&CALayer::isHidden>("isHidden"),
        method<&CALayer::setHidden>("setHidden:"), method<&CALayer::masksToBounds>("masksToBounds"),
        method<&CALayer::setMasksToBounds>("setMasksToBounds:"), method<&CALayer::cornerRadius>("cornerRadius"),
        method<&CALayer::setCornerRadius>("setCornerRadius:"), method<&CALayer::backgroundColor>("backgroundColor"),
        method<&CALayer::setBackgroundColor>("setBackgroundColor:"), method<&CALayer::superlayer>("superlayer"),
        method<&CALayer::sublayers>("sublayers"), method<&CALayer::addSublayer>("addSublayer:"),
        method<&CALayer::insertSublayer>("insertSublayer:atIndex:"),
        method<&CALayer::removeFromSuperlayer>("removeFromSuperlayer"),
        method<&CALayer::setNeedsDisplay>("setNeedsDisplay"), method<&CALayer::setNeedsLayout>("setNeedsLayout"),
        method<&CALayer::layoutIfNeeded>("layoutIfNeeded"), method<&CALayer::addAnimation>("addAnimation:forKey:"),
        method<&CALayer::removeAnimationForKey>("removeAnimationForKey:"),
        method<&CALayer::removeAllAnimations>("removeAllAnimations"),
        method<&CALayer::presentationLayer>("presentationLayer"),
        method<&CALayer::convertPoint>("convertPoint:toLayer:"));
    static constexpr auto classMethods
        = methodTable(initialiser<CALayer>("init"), classMethod<&CALayer::layer>("layer"));
    static const ClassInfo info { "Velmora.CALayer", &NSObject::staticClass(), methods, classMethods };
    return info;
}

CALayer::ChangeOfLayer::ChangeOfLayer(CALayer& layer, const char* key)
    : layer_(layer)
    , key_(key)
    , action_(TransactionState::actionFor(layer, key, layer.seen_))
{
    if (!action_)
        return;
    const auto* block = dynamic_cast<const BlockAnimation*>(action_.get());
    const bool fromModel = block && !block->beginsFromCurrentState();
    before_ = fromModel ? layer.animatableValue(key) : layer.shown()->animatableValue(key);
}

CALayer::ChangeOfLayer::~ChangeOfLayer()
{
    if (action_)
        layer_.startAction(action_, key_, before_);
    layer_.requestFrame();
}

void CALayer::startAction(const std::shared_ptr<CAAnimation>& action, const char* key, const CAValue& before)
{
    if (const auto basic = std::dynamic_pointer_cast<CABasicAnimation>(action)) {
        if (std::holds_alternative<std::monostate>(basic->fromValue()))
            basic->setFromValue(before);
        if (std::holds_alternative<std::monostate>(basic->toValue()))
            basic->setToValue(animatableValue(key));
    }
    if (action->activeDuration() <= 0)
        removeAnimationForKey(key); // at once, also where one was under way
    else
        animations().add(action, key);
}

LayerAnimations& CALayer::animations()
{
    if (!animations_)
        animations_ = std::make_unique<LayerAnimations>(*this);
    return *animations_;
}

void CALayer::requestFrame()
{
    if (const auto shownOn = display())
        shownOn->setNeedsFrame();
}

void CALayer::setBounds(CGRect bounds)
{
    const bool resized = bounds.size != values_.bounds.size;
    assign(values_.bounds, bounds, "bounds");
    if (!resized)
        return;
    setNeedsLayout();
    if (needsDisplayOnBoundsChange_)
        setNeedsDisplay();
}

void CALayer::setPosition(CGPoint position)
{
    assign(values_.position, position, "position");
}

void CALayer::setAnchorPoint(CGPoint anchorPoint)
{
    assign(values_.anchorPoint, anchorPoint, "anchorPoint");
}

void CALayer::setTransform(const CATransform3D& transform)
{
    assign(values_.transform, transform, "transform");
}

void CALayer::setAffineTransform(const CGAffineTransform& transform)
{
    setTransform(CATransform3DMakeAffineTransform(transform));
}

CGRect CALayer::frame() const
{
    if (CATransform3DIsIdentity(values_.transform)) { // exactly what was set, without a detour
        const CGSize size = values_.bounds.size;
        return { { values_.position.x - values_.anchorPoint.x * size.width,
                     values_.position.y - values_.anchorPoint.y * size.height },
            size };
    }
    return CGRectApplyAffineTransform(values_.bounds, toSuperlayer());
}

void CALayer::setFrame(CGRect frame)
{
    const CGPoint anchor = values_.anchorPoint;
    CGSize size = frame.size;
    CGPoint position { frame.origin.x + anchor.x * size.width, frame.origin.y + anchor.y * size.height };
    const auto flat = affineTransform();
    if (!CGAffineTransformIsIdentity(flat) && determinant(flat) != 0) {
        // The size that fills the frame when it is turned and scaled; exact for quarter turns.
        const auto back = CGAffineTransformInvert({ flat.a, flat.b, flat.c, flat.d, 0, 0 });
        size = CGRectApplyAffineTransform({ {}, size }, back).size;
        const CGRect around = CGRectApplyAffineTransform(
            CGRectMake(-anchor.x * size.width, -anchor.y * size.height, size.width, size.height), flat);
        position = { CGRectGetMidX(frame) - CGRectGetMidX(around), CGRectGetMidY(frame) - CGRectGetMidY(around) };
    }
    setBounds({ values_.bounds.origin, size });
    setPosition(position);
}

void CALayer::setZPosition(double z)
{
    assign(values_.zPosition, z, "zPosition");
}

void CALayer::setOpacity(double opacity)
{
    assign(values_.opacity, opacity, "opacity");
}

void CALayer::setHidden(bool hidden)
{
    hidden_ = hidden;
    requestFrame();
}

void CALayer::setOpaque(bool opaque)
{
    opaque_ = opaque;
    requestFrame();
}

void CALayer::setMasksToBounds(bool masks)
{
    masksToBounds_ = masks;
    requestFrame();
}

void CALayer::setMask(const std::shared_ptr<CALayer>& mask)
{
    mask_ = mask;
    requestFrame();
}

void CALayer::setBackgroundColor(const std::optional<CGColor>& color)
{
    assign(values_.backgroundColor, color, "backgroundColor");
}

void CALayer::setCornerRadius(double radius)
{
    assign(values_.cornerRadius, radius, "cornerRadius");
}

void CALayer::setBorderWidth(double width)
{
    assign(values_.borderWidth, width, "borderWidth");
}

void CALayer::setBorderColor(const std::optional<CGColor>& color)
{
    assign(values_.borderColor, color, "borderColor");
}

void CALayer::setContentsTintColor(const std::optional<CGColor>& color)
{
    assign(values_.contentsTintColor, color, "contentsTintColor");
}

void CALayer::setCompositingFilter(const std::string& filter)
{
    compositingFilter_ = filter;
    requestFrame();
}

std::shared_ptr<const CGImage> CALayer::contents() const
{
    return content_->image;
}

void CALayer::setContents(std::shared_ptr<const CGImage> image)
{
    *content_ = { std::move(image), nullptr, {} };
    requestFrame();
}

void CALayer::setContentsGravity(const std::string& gravity)
{
    contentsGravity_ = gravity;
    requestFrame();
}

double CALayer::contentsScale() const
{
    if (contentsScale_)
        return *contentsScale_;
    const auto shownOn = display();
    return shownOn ? shownOn->scale() : 1;
}

void CALayer::setContentsScale(double scale)
{
    contentsScale_ = scale;
    requestFrame();
}

void CALayer::setDelegate(const std::weak_ptr<CALayerDelegate>& delegate)
{
    delegate_ = delegate;
}

void CALayer::setNeedsDisplay()
{
    needsDisplay_ = true;
    requestFrame();
}

void CALayer::displayIfNeeded()
{
    if (!std::exchange(needsDisplay_, false))
        return;
    const auto self = sharedFromThis(*this);
    const auto delegate = this->delegate();
    if (delegate && delegate->displayLayer(self))
        return;
    if (draws() || (delegate && delegate->drawsLayer(self)))
        drawContent();
}

void CALayer::drawContent()
{
    const CGRect bounds = values_.bounds;
    *content_ = {};
    requestFrame();
    if (CGRectIsEmpty(bounds))
        return;
    CGContext context(bounds.size, contentsScale());
    context.concatCTM(CGAffineTransformMakeTranslation(-bounds.origin.x, -bounds.origin.y));
    drawInContext(context);
    content_->raster = LayerContent::ofDrawing(context);
    content_->drawnSize = { context.pixelWidth() / context.scale(), context.pixelHeight() / context.scale() };
}

void CALayer::drawInContext(CGContext& context)
{
    if (const auto delegate = this->delegate())
        delegate->drawLayer(sharedFromThis(*this), context);
}

void CALayer::addAnimation(const std::shared_ptr<CAAnimation>& animation, const std::string& key)
{
    if (!animation)
        return;
    const auto copy = animation->copy();
    if (copy->duration() == 0)
        copy->setDuration(CATransaction::animationDuration());
    if (!copy->timingFunction())
        copy->setTimingFunction(CATransaction::animationTimingFunction());
    animations().add(copy, key);
    requestFrame();
}

std::shared_ptr<CAAnimation> CALayer::animationForKey(const std::string& key) const
{
    return animations_ ? animations_->find(key) : nullptr;
}

std::vector<std::string> CALayer::animationKeys() const
{
    return animations_ ? animations_->keys() : std::vector<std::string> {};
}

void CALayer::removeAnimationForKey(const std::string& key)
{
    if (animations_)
        animations_->remove(key);
}

void CALayer::removeAllAnimations()
{
    if (animations_)
        animations_->removeAll();
}

bool CALayer::isMoving() const
{
    return animations_ && animations_->isMoving();
}

std::shared_ptr<CALayer> CALayer::presentationLayer() const
{
    auto copy = emptyCopy();
    copy->copyValues(*this);
    if (animations_)
        animations_->showOn(*copy);
    return copy;
}

std::shared_ptr<CALayer> CALayer::shown()
{
    return animations_ && !animations_->isEmpty() ? presentationLayer() : sharedFromThis(*this);
}

std::shared_ptr<CALayer> CALayer::emptyCopy() const
{
    return make<CALayer>();
}

void CALayer::copyValues(const CALayer& other)
{
    values_ = other.values_;
    hidden_ = other.hidden_;
    opaque_ = other.opaque_;
    masksToBounds_ = other.masksToBounds_;
    identity_ = other.identity_;
    contentsScale_ = other.contentsScale();
    contentsGravity_ = other.contentsGravity_;
    compositingFilter_ = other.compositingFilter_;
    mask_ = other.mask_;
    content_ = other.content_;
}

CAValue CALayer::animatableValue(std::string_view key) const
{
    if (key == "bounds")
        return values_.bounds;
    if (key == "position")
        return values_.position;
    if (key == "anchorPoint")
        return values_.anchorPoint;
    if (key == "transform")
        return values_.transform;
    if (key == "opacity")
        return values_.opacity;
    if (key == "cornerRadius")
        return values_.cornerRadius;
    if (key == "borderWidth")
        return values_.borderWidth;
    if (key == "zPosition")
        return values_.zPosition;
    if (key == "backgroundColor")
        return valueOf(values_.backgroundColor);
    if (key == "borderColor")
        return valueOf(values_.borderColor);
    if (key == "contentsTintColor")
        return valueOf(values_.contentsTintColor);
    return {};
}

void CALayer::setAnimatableValue(std::string_view key, const CAValue& value)
{
    if (key == "bounds")
        take(values_.bounds, value);
    else if (key == "position")
        take(values_.position, value);
    else if (key == "anchorPoint")
        take(values_.anchorPoint, value);
    else if (key == "transform")
        take(values_.transform, value);
    else if (key == "opacity")
        take(values_.opacity, value);
    else if (key == "cornerRadius")
        take(values_.cornerRadius, value);
    else if (key == "borderWidth")
        take(values_.borderWidth, value);
    else if (key == "zPosition")
        take(values_.zPosition, value);
    else if (key == "backgroundColor")
        take(values_.backgroundColor, value);
    else if (key == "borderColor")
        take(values_.borderColor, value);
    else if (key == "contentsTintColor")
        take(values_.contentsTintColor, value);
}

/// Where a content of this size, in points, lies in the bounds.
CGRect CALayer::frameOfContent(CGSize size) const
{
    const CGRect bounds = values_.bounds;
    const std::string& gravity = contentsGravity_;
    const bool fits = gravity == kCAGravityResizeAspect, fills = gravity == kCAGravityResizeAspectFill;
    if (fits || fills) {
        const double across = bounds.size.width / size.width, down = bounds.size.height / size.height;
        const double scale = fits ? std::min(across, down) : std::max(across, down);
        size = { size.width * scale, size.height * scale };
    }
    const bool left = gravity == kCAGravityLeft || gravity == kCAGravityTopLeft || gravity == kCAGravityBottomLeft;
    const bool right = gravity == kCAGravityRight || gravity == kCAGravityTopRight || gravity == kCAGravityBottomRight;
    const bool top = gravity == kCAGravityTop || gravity == kCAGravityTopLeft || gravity == kCAGravityTopRight;
    const bool bottom
        = gravity == kCAGravityBottom || gravity == kCAGravityBottomLeft || gravity == kCAGravityBottomRight;
    if (!fits && !fills && !left && !right && !top && !bottom && gravity != kCAGravityCenter)
        return bounds;
    const double x = left ? 0 : right ? 1 : 0.5, y = top ? 0 : bottom ? 1 : 0.5;
    return { { bounds.origin.x + (bounds.size.width - size.width) * x,
                 bounds.origin.y + (bounds.size.height - size.height) * y },
        size };
}

namespace {

/// The picture in the size in which it is shown, where that is smaller: bilinear sampling would skip pixels.
std::shared_ptr<const LayerContent> rasterOf(const std::shared_ptr<const CGImage>& image, CGSize pixels)
{
    const double width = std::max(1.0, std::round(pixels.width)), height = std::max(1.0, std::round(pixels.height));
    if (width >= image->width() || height >= image->height())
        return LayerContent::ofImage(image);
    CGContext context({ width, height }, 1);
    context.drawImage(*image, CGRectMake(0, 0, width, height));
    return LayerContent::ofDrawing(context);
}

}

std::vector<LayerPiece> CALayer::pieces(const LayerRasterising& rasterising)
{
    Content& content = *content_;
    if (!content.image) {
        if (!content.raster || CGRectIsEmpty(values_.bounds))
            return {};
        const auto color = values_.contentsTintColor ? values_.contentsTintColor : content.raster->color();
        return { { content.raster, frameOfContent(content.drawnSize), color } };
    }

    const double perPoint = contentsScale();
    const CGRect frame = frameOfContent({ content.image->width() / perPoint, content.image->height() / perPoint });
    const CGSize pixels { frame.size.width * rasterising.scale, frame.size.height * rasterising.scale };
    if (CGRectIsEmpty(frame))
        return {};
    if (!content.raster || (!rasterising.moving && content.drawnSize != pixels)) {
        content.raster = rasterOf(content.image, pixels);
        content.drawnSize = pixels;
    }
    return { { content.raster, frame, values_.contentsTintColor } };
}

}
