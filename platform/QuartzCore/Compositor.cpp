// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/Compositor.h"

#include "platform/QuartzCore/BackdropBlur.h"
#include "platform/QuartzCore/LayerContent.h"

#include <pixman.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace velmora {

namespace {

/// One reference to an image of the library.
class Image {
public:
    explicit Image(pixman_image_t* image)
        : image_(image)
    {
    }
    ~Image()
    {
        if (image_)
            pixman_image_unref(image_);
    }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    pixman_image_t* get() const { return image_; }

private:
    pixman_image_t* image_;
};

pixman_region32_t* native(const Region& region)
{
    return static_cast<pixman_region32_t*>(region.native());
}

pixman_color_t premultiplied(CGColor color, double opacity)
{
    const double alpha = std::clamp(color.alpha * opacity, 0.0, 1.0);
    const auto part = [&](double component) {
        return static_cast<std::uint16_t>(std::lround(std::clamp(component, 0.0, 1.0) * alpha * 65535));
    };
    return { part(color.red), part(color.green), part(color.blue),
        static_cast<std::uint16_t>(std::lround(alpha * 65535)) };
}

pixman_image_t* imageOver(const std::uint8_t* pixels, std::size_t stride, int width, int height, bool coverage)
{
    return pixman_image_create_bits_no_clear(coverage ? PIXMAN_a8 : PIXMAN_a8r8g8b8, width, height,
        reinterpret_cast<std::uint32_t*>(const_cast<std::uint8_t*>(pixels)), static_cast<int>(stride));
}

pixman_image_t* imageOver(const LayerContent& content, const LayerContent::Chunk& chunk)
{
    return imageOver(
        chunk.data, chunk.stride, chunk.width, chunk.height, content.kind() == LayerContent::Kind::Coverage);
}

/// Lets the image be read through the way back from the target's pixels. False: there is none.
bool stretch(pixman_image_t* image, const CGAffineTransform& toTarget, bool beyondEdges)
{
    const auto back = CGAffineTransformInvert(toTarget);
    const pixman_f_transform exact { { { back.a, back.c, back.tx }, { back.b, back.d, back.ty }, { 0, 0, 1 } } };
    pixman_transform_t fixed;
    if (determinant(toTarget) == 0 || !pixman_transform_from_pixman_f_transform(&fixed, &exact))
        return false;
    pixman_image_set_transform(image, &fixed);
    pixman_image_set_filter(image, PIXMAN_FILTER_BILINEAR, nullptr, 0);
    pixman_image_set_repeat(image, beyondEdges ? PIXMAN_REPEAT_PAD : PIXMAN_REPEAT_NONE);
    return true;
}

pixman_image_t* opacityMask(double opacity)
{
    if (opacity >= 1)
        return nullptr;
    const pixman_color_t color = premultiplied({ 0, 0, 0, 1 }, opacity);
    return pixman_image_create_solid_fill(&color);
}

}

/// Pixels that are drawn into. `bounds` says which of the display's they are.
struct Compositor::Target {
    Target(std::uint8_t* data, std::size_t rowBytes, DisplayRect place)
        : pixels(data)
        , stride(rowBytes)
        , bounds(place)
        , image(imageOver(data, rowBytes, place.width, place.height, false))
    {
    }
    /// Everything that follows draws inside `region` of the display's pixels only.
    void clip(const Region& region) const
    {
        Region moved(region);
        pixman_region32_translate(native(moved), -bounds.x, -bounds.y);
        pixman_image_set_clip_region32(image.get(), native(moved));
    }
    void composite(pixman_op_t operation, pixman_image_t* source, pixman_image_t* mask, DisplayRect rect, int sourceX,
        int sourceY, int maskX, int maskY) const
    {
        pixman_image_composite32(operation, source, mask, image.get(), sourceX, sourceY, maskX, maskY,
            rect.x - bounds.x, rect.y - bounds.y, rect.width, rect.height);
    }

    std::uint8_t* pixels;
    std::size_t stride;
    DisplayRect bounds;
    Image image;
};

Compositor::Compositor(CADisplayCounters& counters)
    : counters_(counters)
{
}

Region Compositor::damage(const std::shared_ptr<CALayer>& root, const CGAffineTransform& toTarget, DisplayRect bounds,
    double scale, bool everything, bool marksSeen)
{
    const std::uint64_t rastersBefore = LayerContent::rasterCount();
    SceneBuilder builder(masks_, scale, marksSeen);
    items_ = builder.build(root, toTarget, bounds);
    moving_ = builder.isMoving();
    masks_.frameEnded();
    counters_.rasterCount += LayerContent::rasterCount() - rastersBefore;

    const auto visible = visibleShares(items_, 0, items_.size(), Region(bounds), bounds);
    if (marksSeen)
        tellPreviews(visible);
    Region region = everything ? Region(bounds) : changes(visible);
    region.cut(bounds);
    addReaches(region, bounds);
    remember();
    return region;
}

/// Who looks at what lies beneath must find all of it drawn afresh, without what the last frame put over it.
void Compositor::addReaches(Region& region, DisplayRect bounds) const
{
    std::vector<DisplayRect> left;
    for (const SceneItem& item : items_)
        if (item.kind == SceneItem::Kind::Backdrop)
            left.push_back(intersection(item.reach, bounds));
    // One that is added may touch another.
    for (bool added = true; added;) {
        const auto touched = std::partition(
            left.begin(), left.end(), [&](const DisplayRect& reach) { return !region.intersects(reach); });
        added = touched != left.end();
        for (auto reach = touched; reach != left.end(); ++reach)
            region.add(*reach);
        left.erase(touched, left.end());
    }
}

void Compositor::tellPreviews(const std::vector<Share>& visible)
{
    auto before = std::exchange(shownPreviews_, {});
    for (const Share& share : visible)
        for (std::size_t i = share.index; i < std::max(share.index + 1, items_[share.index].end); ++i)
            if (items_[i].layer)
                shownPreviews_.push_back(items_[i].layer);
    for (const SceneItem& item : items_)
        if (item.layer)
            before.push_back(item.layer);
    for (const auto& weak : before)
        if (const auto layer = weak.lock())
            layer->setPreviewSeen(false);
    for (const auto& weak : shownPreviews_)
        if (const auto layer = weak.lock())
            layer->setPreviewSeen(true);
}

std::vector<Compositor::Share> Compositor::visibleShares(
    const Items& items, std::size_t begin, std::size_t end, Region region, DisplayRect limit)
{
    std::vector<std::size_t> level;
    for (std::size_t i = begin; i < end; i = items[i].kind == SceneItem::Kind::Group ? items[i].end : i + 1)
        level.push_back(i);
    std::vector<Share> shares;
    for (auto index = level.rbegin(); index != level.rend(); ++index) {
        const SceneItem& item = items[*index];
        Region share(region);
        share.cut(item.rect);
        if (share.isEmpty())
            continue;
        shares.push_back({ *index, std::move(share) });
        if (item.opaque)
            region.subtract(item.rect);
        else if (!velmora::isEmpty(item.reach))
            region.add(intersection(item.reach, limit)); // also beneath what covers it
    }
    std::reverse(shares.begin(), shares.end());
    return shares;
}

namespace {

/// What a step may have drawn on: of content that only moves the tiles that hold something.
Region touchedBy(DisplayRect rect, DisplayRect full, const std::shared_ptr<const LayerContent>& tiles)
{
    if (!tiles)
        return Region(rect);
    Region region;
    for (const auto& chunk : tiles->chunks())
        region.add(intersection({ full.x + chunk.x, full.y + chunk.y, chunk.width, chunk.height }, rect));
    return region;
}

std::shared_ptr<const LayerContent> tilesOf(const SceneItem& item)
{
    return item.kind == SceneItem::Kind::Content && item.isMove ? item.content : nullptr;
}

}

Region Compositor::changes(const std::vector<Share>& visible) const
{
    Region region;
    auto gone = before_;
    std::size_t latest = 0;
    for (const SceneItem& item : items_) {
        const auto found = before_.find(item.key);
        if (found == before_.end()) {
            region.add(touchedBy(item.rect, item.full, tilesOf(item)));
            continue;
        }
        gone.erase(item.key);
        // Of two that changed places the one now in front is drawn again: where they meet lies within it.
        const bool overtaken = found->second.index < latest;
        latest = std::max(latest, found->second.index);
        if (found->second.state == item.state && !overtaken)
            continue;
        region.add(touchedBy(item.rect, item.full, tilesOf(item)));
        region.add(touchedBy(found->second.rect, found->second.full, found->second.tiles));
    }
    for (const auto& [key, before] : gone)
        region.add(touchedBy(before.rect, before.full, before.tiles));

    const auto isNewFrame = [&](const SceneItem& item) {
        const auto found = before_.find(item.key);
        return item.preview && found != before_.end() && found->second.frame != item.preview->frame;
    };
    for (const Share& share : visible) {
        const std::size_t end = std::max(share.index + 1, items_[share.index].end);
        for (std::size_t i = share.index; i < end; ++i) {
            if (!isNewFrame(items_[i]))
                continue;
            Region fresh(share.region); // what covers it hides the change too
            fresh.cut(items_[i].rect);
            region.add(fresh);
        }
    }
    return region;
}

void Compositor::remember()
{
    before_.clear();
    for (std::size_t i = 0; i < items_.size(); ++i) {
        const SceneItem& item = items_[i];
        before_[item.key]
            = { item.state, item.rect, item.full, i, tilesOf(item), item.preview ? item.preview->frame : nullptr };
    }
    std::erase_if(previews_, [&](const auto& entry) { return !before_.contains(entry.first); });
}

void Compositor::draw(const Region& region, std::uint8_t* pixels, std::size_t stride, DisplayRect bounds)
{
    drawRange(Target(pixels, stride, bounds), items_, 0, items_.size(), region);
}

void Compositor::drawRange(
    const Target& target, const Items& items, std::size_t begin, std::size_t end, const Region& region)
{
    for (const Share& share : visibleShares(items, begin, end, region, target.bounds)) {
        ++counters_.compositedLayers;
        counters_.compositedPixels += share.region.area();
        drawItem(target, items, share.index, share.region);
    }
}

void Compositor::drawItem(const Target& target, const Items& items, std::size_t index, const Region& region)
{
    const SceneItem& item = items[index];
    switch (item.kind) {
    case SceneItem::Kind::Solid:
        drawSolid(target, item, region);
        break;
    case SceneItem::Kind::Content:
        drawContent(target, item, region);
        break;
    case SceneItem::Kind::Preview:
        drawPreview(target, item, region);
        break;
    case SceneItem::Kind::Group:
        drawGroup(target, items, index, region);
        break;
    case SceneItem::Kind::Backdrop:
        drawBackdrop(target, item, region);
        break;
    }
}

void Compositor::drawSolid(const Target& target, const SceneItem& item, const Region& region)
{
    const pixman_color_t color = premultiplied(*item.color, item.opacity);
    std::vector<pixman_box32_t> boxes;
    for (const DisplayRect& rect : region.rects()) { // inside the target: the library does not look
        const int x = rect.x - target.bounds.x, y = rect.y - target.bounds.y;
        boxes.push_back({ x, y, x + rect.width, y + rect.height });
    }
    pixman_image_set_clip_region32(target.image.get(), nullptr);
    pixman_image_fill_boxes(item.opaque ? PIXMAN_OP_SRC : PIXMAN_OP_OVER, target.image.get(), &color,
        static_cast<int>(boxes.size()), boxes.data());
}

void Compositor::drawContent(const Target& target, const SceneItem& item, const Region& region)
{
    const LayerContent& content = *item.content;
    const CGColor color = item.color.value_or(content.color().value_or(CGColor { 0, 0, 0, 1 }));
    const bool colored = item.color || content.kind() == LayerContent::Kind::Coverage;
    const pixman_color_t plain = premultiplied(color, item.opacity);
    const Image solid(colored ? pixman_image_create_solid_fill(&plain) : nullptr);
    const Image opacity(colored ? nullptr : opacityMask(item.opacity));
    const auto operation = item.opaque ? PIXMAN_OP_SRC : PIXMAN_OP_OVER;
    target.clip(region);
    const auto compose = [&](pixman_image_t* image, DisplayRect rect, int x, int y) {
        if (colored)
            target.composite(operation, solid.get(), image, rect, 0, 0, x, y);
        else
            target.composite(operation, image, opacity.get(), rect, x, y, 0, 0);
    };
    if (!item.isMove) {
        const Image image(imageOver(content, content.whole()));
        const bool fills = item.isUpright && content.kind() == LayerContent::Kind::Picture;
        if (stretch(image.get(), item.toTarget, fills))
            compose(image.get(), item.rect, item.rect.x, item.rect.y);
        return;
    }
    for (const auto& chunk : content.chunks()) {
        const DisplayRect place { item.full.x + chunk.x, item.full.y + chunk.y, chunk.width, chunk.height };
        const DisplayRect rect = intersection(intersection(place, item.rect), region.extent());
        if (isEmpty(rect))
            continue;
        const Image image(imageOver(content, chunk));
        compose(image.get(), rect, rect.x - place.x, rect.y - place.y);
    }
}

void Compositor::drawPreview(const Target& target, const SceneItem& item, const Region& region)
{
    if (!item.isUpright) {
        drawTurnedPreview(target, item, region);
        return;
    }
    PreviewPicture& picture = previews_[item.key];
    if (picture.prepare(*item.preview, item.full, item.rect))
        ++counters_.previewConversions;
    const auto origin = [](std::uint8_t* pixels, std::size_t stride, DisplayRect bounds) {
        return pixels - static_cast<std::ptrdiff_t>(bounds.y) * static_cast<std::ptrdiff_t>(stride) - 4 * bounds.x;
    };
    if (item.opacity >= 1) {
        for (const DisplayRect& rect : region.rects())
            picture.convert(rect, origin(target.pixels, target.stride, target.bounds), target.stride);
        return;
    }
    const DisplayRect extent = region.extent();
    const std::size_t stride = 4 * static_cast<std::size_t>(extent.width);
    std::vector<std::uint8_t> pixels(stride * static_cast<std::size_t>(extent.height));
    picture.convert(extent, origin(pixels.data(), stride, extent), stride);
    const Image image(imageOver(pixels.data(), stride, extent.width, extent.height, false));
    const Image opacity(opacityMask(item.opacity));
    target.clip(region);
    target.composite(PIXMAN_OP_OVER, image.get(), opacity.get(), extent, 0, 0, 0, 0);
}

/// A preview that lies askew: made upright first, then turned as pictures are.
void Compositor::drawTurnedPreview(const Target& target, const SceneItem& item, const Region& region)
{
    const CGRect video = item.preview->videoRect, bounds = item.layer->shown()->bounds();
    const double across = std::hypot(item.toTarget.a, item.toTarget.b),
                 down = std::hypot(item.toTarget.c, item.toTarget.d);
    const auto pixels = [&](CGRect rect) {
        return DisplayRect { static_cast<int>(std::lround(rect.origin.x * across)),
            static_cast<int>(std::lround(rect.origin.y * down)),
            static_cast<int>(std::lround(rect.size.width * across)),
            static_cast<int>(std::lround(rect.size.height * down)) };
    };
    const DisplayRect whole = pixels(video), seen = intersection(whole, pixels(bounds));
    if (isEmpty(seen))
        return;
    PreviewPicture& picture = previews_[item.key];
    if (picture.prepare(*item.preview, whole, seen))
        ++counters_.previewConversions;
    const std::size_t stride = 4 * static_cast<std::size_t>(seen.width);
    std::vector<std::uint8_t> upright(stride * static_cast<std::size_t>(seen.height));
    picture.convert(seen,
        upright.data() - static_cast<std::ptrdiff_t>(seen.y) * static_cast<std::ptrdiff_t>(stride) - 4 * seen.x,
        stride);
    const Image image(imageOver(upright.data(), stride, seen.width, seen.height, false));
    const CGAffineTransform toLayer { 1 / across, 0, 0, 1 / down, seen.x / across, seen.y / down };
    if (!stretch(image.get(), CGAffineTransformConcat(toLayer, item.toTarget), false))
        return;
    const Image opacity(opacityMask(item.opacity));
    target.clip(region);
    target.composite(PIXMAN_OP_OVER, image.get(), opacity.get(), item.rect, item.rect.x, item.rect.y, 0, 0);
}

void Compositor::drawGroup(const Target& target, const Items& items, std::size_t index, const Region& region)
{
    const SceneItem& group = items[index];
    const bool looksBeneath = !isEmpty(group.reach);
    Region drawn(region);
    if (looksBeneath)
        drawn.add(intersection(group.reach, target.bounds));
    const DisplayRect extent = drawn.extent();
    const std::size_t stride = 4 * static_cast<std::size_t>(extent.width);
    const std::size_t bytes = stride * static_cast<std::size_t>(extent.height);
    std::vector<std::uint8_t> pixels(bytes);
    const Target inside(pixels.data(), stride, extent);
    if (looksBeneath) // over a copy of what lies beneath the same comes out as over nothing
        inside.composite(PIXMAN_OP_SRC, target.image.get(), nullptr, extent, extent.x - target.bounds.x,
            extent.y - target.bounds.y, 0, 0);
    drawRange(inside, items, index + 1, group.end, region);

    if (group.mask) {
        std::vector<std::uint8_t> maskPixels(bytes);
        const Target mask(maskPixels.data(), stride, extent);
        drawRange(mask, *group.mask, 0, group.mask->size(), region);
        pixman_image_set_clip_region32(mask.image.get(), nullptr);
        inside.clip(Region(extent));
        inside.composite(PIXMAN_OP_IN_REVERSE, mask.image.get(), nullptr, extent, 0, 0, 0, 0);
    }
    if (group.content) {
        const Image rounding(imageOver(*group.content, group.content->whole()));
        if (!stretch(rounding.get(), group.toTarget, false))
            return;
        inside.clip(Region(extent));
        inside.composite(PIXMAN_OP_IN_REVERSE, rounding.get(), nullptr, extent, extent.x, extent.y, 0, 0);
    }
    pixman_image_set_clip_region32(inside.image.get(), nullptr);
    const Image opacity(opacityMask(group.opacity));
    target.clip(region);
    const auto operation = group.screens ? PIXMAN_OP_SCREEN : PIXMAN_OP_OVER;
    target.composite(operation, inside.image.get(), opacity.get(), extent, 0, 0, 0, 0);
}

void Compositor::drawBackdrop(const Target& target, const SceneItem& item, const Region& region)
{
    const DisplayRect source = intersection(item.reach, target.bounds);
    const std::uint8_t* from = target.pixels + static_cast<std::size_t>(source.y - target.bounds.y) * target.stride
        + 4 * static_cast<std::size_t>(source.x - target.bounds.x);
    const BlurredPicture picture = blurred(from, target.stride, source.width, source.height, item.blur);
    const Image image(imageOver(
        picture.pixels.data(), 4 * static_cast<std::size_t>(picture.width), picture.width, picture.height, false));
    const double factor = picture.factor;
    const CGAffineTransform toTarget { factor, 0, 0, factor, static_cast<double>(source.x),
        static_cast<double>(source.y) };
    if (!stretch(image.get(), toTarget, true))
        return;
    const Image rounding(item.content ? imageOver(*item.content, item.content->whole()) : nullptr);
    if (rounding.get() && !stretch(rounding.get(), item.toTarget, false))
        return;
    target.clip(region);
    const DisplayRect rect = item.rect;
    target.composite(PIXMAN_OP_OVER, image.get(), rounding.get(), rect, rect.x, rect.y, rect.x, rect.y);
}

}
