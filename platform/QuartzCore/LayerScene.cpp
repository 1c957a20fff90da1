// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/LayerScene.h"

#include "platform/CoreGraphics/CGContext.h"
#include "platform/QuartzCore/LayerContent.h"
#include "platform/QuartzCore/Region.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace velmora {

namespace {

constexpr double nothing = 1e-9; // what counts as no difference between two transforms

enum Part { BackgroundPart, PreviewPart, PiecePart, BorderPart = 12, BackdropPart = 14, GroupPart, PartCount };

bool isUpright(const CGAffineTransform& t)
{
    return std::abs(t.b) < nothing && std::abs(t.c) < nothing && t.a > 0 && t.d > 0;
}

int rounded(double pixels)
{
    return static_cast<int>(std::lround(std::clamp(pixels, -1e6, 1e6)));
}

/// Edges go to the nearest pixels, so that neighbours stay neighbours.
DisplayRect snapped(CGRect rect)
{
    const int left = rounded(rect.origin.x), top = rounded(rect.origin.y);
    return { left, top, rounded(CGRectGetMaxX(rect)) - left, rounded(CGRectGetMaxY(rect)) - top };
}

/// The least rectangle that holds both; an empty one counts for nothing.
DisplayRect bothOf(DisplayRect a, DisplayRect b)
{
    if (isEmpty(a))
        return b;
    const int left = std::min(a.x, b.x), top = std::min(a.y, b.y);
    return { left, top, std::max(a.x + a.width, b.x + b.width) - left, std::max(a.y + a.height, b.y + b.height) - top };
}

/// All pixels that the rectangle touches, and those that smooth its edges.
DisplayRect touched(CGRect rect)
{
    const CGRect around = CGRectIntegral(CGRectInset(rect, -1, -1));
    return snapped(around);
}

class Hash {
public:
    void add(std::uint64_t value)
    {
        value_ = (value_ ^ value) * 0x9E3779B97F4A7C15U;
        value_ ^= value_ >> 29;
    }
    void add(double value) { add(std::bit_cast<std::uint64_t>(value)); }
    void add(int value) { add(static_cast<std::uint64_t>(static_cast<std::uint32_t>(value))); }
    void add(const DisplayRect& rect)
    {
        for (const int value : { rect.x, rect.y, rect.width, rect.height })
            add(value);
    }
    void add(const CGAffineTransform& t)
    {
        for (const double value : { t.a, t.b, t.c, t.d, t.tx, t.ty })
            add(value);
    }
    void add(const CGRect& rect)
    {
        for (const double value : { rect.origin.x, rect.origin.y, rect.size.width, rect.size.height })
            add(value);
    }
    void add(const std::optional<CGColor>& color)
    {
        const CGColor value = color.value_or(CGColor { -1, -1, -1, -1 });
        for (const double component : { value.red, value.green, value.blue, value.alpha })
            add(component);
    }
    std::uint64_t value() const { return value_; }

private:
    std::uint64_t value_ = 0xCBF29CE484222325U;
};

std::uint64_t stateOf(const SceneItem& item, std::uint64_t around)
{
    Hash hash;
    hash.add(around);
    hash.add(static_cast<int>(item.kind));
    hash.add(item.rect);
    hash.add(item.full);
    hash.add(item.opacity);
    hash.add(item.color);
    hash.add(item.content ? item.content->identity() : 0);
    hash.add(item.toTarget);
    hash.add(item.blur);
    hash.add(item.screens ? 1 : 0);
    if (item.preview) {
        hash.add(item.preview->rotation);
        hash.add(item.preview->mirrored ? 1 : 0);
        hash.add(item.preview->videoRect);
    }
    if (item.mask)
        for (const SceneItem& each : *item.mask)
            hash.add(each.state);
    return hash.value();
}

}

std::shared_ptr<const LayerContent> RoundedMasks::get(int width, int height, double radius, double border)
{
    auto& entry = entries_[{ width, height, radius, border }];
    entry.used = true;
    if (entry.content)
        return entry.content;
    CGContext context(CGSizeMake(width, height), 1);
    const CGRect rect = CGRectMake(0, 0, width, height);
    CGPath path = CGPath::withRoundedRect(rect, radius);
    if (border > 0)
        path.addPath(CGPath::withRoundedRect(CGRectInset(rect, border, border), std::max(0.0, radius - border)));
    context.fillPath(path, true);
    return entry.content = LayerContent::coverageOfDrawing(context);
}

void RoundedMasks::frameEnded()
{
    std::erase_if(entries_, [](const auto& entry) { return !entry.second.used; });
    for (auto& [key, entry] : entries_)
        entry.used = false;
}

/// Where a layer lies and what it inherits.
struct SceneBuilder::Place {
    std::uint64_t identity = 0;
    CGRect bounds;
    CGAffineTransform toTarget; // from the layer's coordinates
    DisplayRect rect, clip; // of the bounds; of what surrounds it
    double opacity = 1;
    bool upright = true, moving = false;
    LayerRasterising rasterising;
    double cornerRadius = 0;
    std::uint64_t state = 0;
};

SceneBuilder::SceneBuilder(RoundedMasks& masks, double scale, bool marksSeen)
    : masks_(masks)
    , scale_(scale)
    , marksSeen_(marksSeen)
{
}

std::vector<SceneItem> SceneBuilder::build(
    const std::shared_ptr<CALayer>& layer, const CGAffineTransform& toTarget, DisplayRect clip)
{
    add(layer, { toTarget, clip, false, 0 });
    return std::exchange(items_, {});
}

void SceneBuilder::push(SceneItem item, std::uint64_t around)
{
    item.state = stateOf(item, around);
    items_.push_back(std::move(item));
}

void SceneBuilder::add(const std::shared_ptr<CALayer>& layer, const Surroundings& around)
{
    const bool moving = layer->isMoving();
    anyMoving_ = anyMoving_ || moving;
    const auto shown = layer->shown();
    if (marksSeen_)
        layer->markSeen();
    if (shown->isHidden() || shown->opacity() <= 0)
        return;

    Place place;
    place.identity = layer->identity();
    place.bounds = shown->bounds();
    place.toTarget = CGAffineTransformConcat(shown->toSuperlayer(), around.toTarget);
    if (determinant(place.toTarget) == 0)
        return;
    place.upright = isUpright(place.toTarget);
    const CGRect onTarget = CGRectApplyAffineTransform(place.bounds, place.toTarget);
    place.rect = place.upright ? snapped(onTarget) : touched(onTarget);
    place.clip = around.clip;
    place.opacity = std::min(1.0, shown->opacity());
    place.moving = moving || around.moving;
    place.cornerRadius = shown->cornerRadius();
    place.state = around.state;
    const double grown = std::hypot(place.toTarget.a, place.toTarget.b);
    place.rasterising = { place.moving || grown < scale_ * 1.01 ? scale_ : grown, place.moving };

    if (!needsGroup(layer, *shown, place)) {
        if (shown->masksToBounds())
            place.clip = intersection(place.clip, place.rect);
        addInside(layer, *shown, place);
        return;
    }
    const std::size_t group = openGroup(*shown, place);
    if (shown->masksToBounds() && place.upright)
        place.clip = items_[group].rect;
    place.state = items_[group].state;
    place.opacity = 1;
    addInside(layer, *shown, place);
    items_[group].end = items_.size();
    for (std::size_t i = group + 1; i < items_.size(); ++i)
        if (!isEmpty(items_[i].reach))
            items_[group].reach = bothOf(items_[group].reach, items_[i].reach);
}

bool SceneBuilder::needsGroup(const std::shared_ptr<CALayer>& layer, CALayer& shown, const Place& place) const
{
    if (shown.mask() || shown.compositingFilter() == kCAFilterScreenBlendMode)
        return true;
    if (shown.backdropBlur() > 0 && place.opacity < 1)
        return true;
    const bool hasSublayers = !layer->sublayers().empty();
    const bool cutsRound = shown.masksToBounds() && (place.cornerRadius > 0 || !place.upright);
    if (cutsRound && (hasSublayers || !shown.pieces(place.rasterising).empty() || layer->preview(place.bounds)))
        return true;
    const bool several = hasSublayers || (shown.borderColor() && shown.borderWidth() > 0) || shown.backgroundColor();
    return place.opacity < 1 && several;
}

std::size_t SceneBuilder::openGroup(const CALayer& shown, const Place& place)
{
    SceneItem group;
    group.kind = SceneItem::Kind::Group;
    group.key = place.identity * PartCount + GroupPart;
    group.full = place.clip;
    group.opacity = place.opacity;
    if (shown.masksToBounds()) {
        group.full = place.rect;
        roundOff(group, place);
    }
    group.screens = shown.compositingFilter() == kCAFilterScreenBlendMode;
    group.rect = intersection(group.full, place.clip);
    if (const auto mask = shown.mask()) {
        SceneBuilder inside(masks_, scale_, false);
        group.mask = std::make_shared<const std::vector<SceneItem>>(inside.build(mask, place.toTarget, group.rect));
        anyMoving_ = anyMoving_ || inside.isMoving();
    }
    push(std::move(group), place.state);
    return items_.size() - 1;
}

/// Gives the item the mask of the layer's corners, where it has round ones or lies askew.
void SceneBuilder::roundOff(SceneItem& item, const Place& place)
{
    if (place.cornerRadius <= 0 && place.upright)
        return;
    const double scale = place.rasterising.scale;
    const int width = std::max(1, rounded(place.bounds.size.width * scale));
    const int height = std::max(1, rounded(place.bounds.size.height * scale));
    item.content = masks_.get(width, height, place.cornerRadius * scale, 0);
    item.toTarget = CGAffineTransformConcat({ place.bounds.size.width / width, 0, 0, place.bounds.size.height / height,
                                                place.bounds.origin.x, place.bounds.origin.y },
        place.toTarget);
}

void SceneBuilder::addInside(const std::shared_ptr<CALayer>& layer, CALayer& shown, const Place& place)
{
    addBackdrop(shown, place);
    addBackground(shown, place);
    addPreview(layer, place);
    addPieces(shown, place);
    for (const auto& sublayer : layer->sublayersFromBack())
        add(sublayer, { place.toTarget, place.clip, place.moving, place.state });
    addBorder(shown, place);
}

void SceneBuilder::addSolid(const Place& place, CGRect rect, CGColor color, int part)
{
    SceneItem item;
    item.kind = SceneItem::Kind::Solid;
    item.key = place.identity * PartCount + static_cast<unsigned>(part);
    item.full = snapped(CGRectApplyAffineTransform(rect, place.toTarget));
    item.rect = intersection(item.full, place.clip);
    item.color = color;
    item.opacity = place.opacity;
    item.opaque = color.alpha >= 1 && place.opacity >= 1;
    if (!isEmpty(item.rect))
        push(std::move(item), place.state);
}

void SceneBuilder::addRounded(const Place& place, CGColor color, double border, int part)
{
    const double scale = place.rasterising.scale;
    const int width = std::max(1, rounded(place.bounds.size.width * scale));
    const int height = std::max(1, rounded(place.bounds.size.height * scale));
    addContent(
        place, { masks_.get(width, height, place.cornerRadius * scale, border * scale), place.bounds, color }, part);
}

void SceneBuilder::addBackground(const CALayer& shown, const Place& place)
{
    const auto color = shown.backgroundColor();
    if (!color || color->alpha <= 0 || CGRectIsEmpty(place.bounds))
        return;
    if (place.upright && place.cornerRadius <= 0)
        addSolid(place, place.bounds, *color, BackgroundPart);
    else
        addRounded(place, *color, 0, BackgroundPart);
}

void SceneBuilder::addBackdrop(const CALayer& shown, const Place& place)
{
    if (shown.backdropBlur() <= 0)
        return;
    constexpr double deviations = 3; // beyond them nothing is left of the bell curve
    SceneItem item;
    item.kind = SceneItem::Kind::Backdrop;
    item.key = place.identity * PartCount + BackdropPart;
    item.full = place.rect;
    item.rect = intersection(place.rect, place.clip);
    item.blur = shown.backdropBlur() * place.rasterising.scale;
    const int beyond = static_cast<int>(std::ceil(deviations * item.blur));
    const DisplayRect r = item.rect;
    item.reach = { r.x - beyond, r.y - beyond, r.width + 2 * beyond, r.height + 2 * beyond };
    roundOff(item, place);
    if (!isEmpty(item.rect))
        push(std::move(item), place.state);
}

void SceneBuilder::addBorder(const CALayer& shown, const Place& place)
{
    const auto color = shown.borderColor();
    const double width = shown.borderWidth();
    if (!color || color->alpha <= 0 || width <= 0 || CGRectIsEmpty(place.bounds))
        return;
    if (!place.upright || place.cornerRadius > 0) {
        addRounded(place, *color, width, BorderPart);
        return;
    }
    const CGRect b = place.bounds;
    const double across = std::min(width, b.size.width / 2), down = std::min(width, b.size.height / 2);
    addSolid(place, CGRectMake(b.origin.x, b.origin.y, b.size.width, down), *color, BorderPart);
    addSolid(place, CGRectMake(b.origin.x, CGRectGetMaxY(b) - down, b.size.width, down), *color, BorderPart + 1);
    const double height = b.size.height - 2 * down;
    addSolid(place, CGRectMake(b.origin.x, b.origin.y + down, across, height), *color, BorderPart + 2);
    // The key of the fourth side is the one of a piece that no layer has.
    addSolid(place, CGRectMake(CGRectGetMaxX(b) - across, b.origin.y + down, across, height), *color, BorderPart - 1);
}

void SceneBuilder::addPreview(const std::shared_ptr<CALayer>& layer, const Place& place)
{
    auto preview = layer->preview(place.bounds);
    if (!preview || CGRectIsEmpty(preview->videoRect))
        return;
    SceneItem item;
    item.kind = SceneItem::Kind::Preview;
    item.key = place.identity * PartCount + PreviewPart;
    item.isUpright = place.upright;
    const CGRect onTarget = CGRectApplyAffineTransform(preview->videoRect, place.toTarget);
    item.full = place.upright ? snapped(onTarget) : touched(onTarget);
    item.rect = intersection(intersection(item.full, place.rect), place.clip);
    item.toTarget = place.toTarget;
    item.opacity = place.opacity;
    item.opaque = place.upright && place.opacity >= 1;
    item.layer = layer;
    item.preview = std::move(preview);
    if (!isEmpty(item.rect))
        push(std::move(item), place.state);
}

void SceneBuilder::addPieces(CALayer& shown, const Place& place)
{
    int part = PiecePart;
    for (const LayerPiece& piece : shown.pieces(place.rasterising))
        addContent(place, piece, part++);
}

void SceneBuilder::addContent(const Place& place, const LayerPiece& piece, int part)
{
    const auto& content = piece.content;
    SceneItem item;
    item.kind = SceneItem::Kind::Content;
    item.key = place.identity * PartCount + static_cast<unsigned>(part);
    item.content = content;
    item.color = piece.color;
    item.opacity = place.opacity;
    const CGAffineTransform toLayer { piece.frame.size.width / content->width(), 0, 0,
        piece.frame.size.height / content->height(), piece.frame.origin.x, piece.frame.origin.y };
    auto t = CGAffineTransformConcat(toLayer, place.toTarget);
    item.isUpright = place.upright;
    const CGRect onTarget = CGRectApplyAffineTransform(piece.frame, place.toTarget);
    const bool picture = content->kind() == LayerContent::Kind::Picture;
    // Half a pixel over the whole content is no stretching worth sampling for.
    const auto keeps = [](double scale, int pixels) { return std::abs(scale - 1) * pixels < 0.5; };
    if (place.upright && keeps(t.a, content->width()) && keeps(t.d, content->height())) {
        t = { 1, 0, 0, 1, std::round(t.tx), std::round(t.ty) };
        item.isMove = true;
        item.full = { rounded(t.tx), rounded(t.ty), content->width(), content->height() };
    } else if (place.upright && picture) { // pictures end at whole pixels, or their edges would shine through
        item.full = snapped(onTarget);
        t = { static_cast<double>(item.full.width) / content->width(), 0, 0,
            static_cast<double>(item.full.height) / content->height(), static_cast<double>(item.full.x),
            static_cast<double>(item.full.y) };
    } else {
        item.full = touched(onTarget);
    }
    item.toTarget = t;
    item.rect = intersection(item.full, place.clip);
    item.opaque = picture && content->isOpaque() && place.upright && place.opacity >= 1 && !piece.color;
    if (!isEmpty(item.rect))
        push(std::move(item), place.state);
}

}
