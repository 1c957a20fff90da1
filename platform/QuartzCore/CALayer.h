// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGColor.h"
#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/NSObject.h"
#include "platform/QuartzCore/CAAnimation.h"
#include "platform/QuartzCore/CATransform3D.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class AnimationBatch;
class CADisplay;
class CALayer;
class CGContext;
class CGImage;
class CVPixelBuffer;
class LayerAnimations;
class LayerContent;

inline constexpr const char* kCAGravityResize = "resize";
inline constexpr const char* kCAGravityResizeAspect = "resizeAspect";
inline constexpr const char* kCAGravityResizeAspectFill = "resizeAspectFill";
inline constexpr const char* kCAGravityCenter = "center";
inline constexpr const char* kCAGravityTop = "top";
inline constexpr const char* kCAGravityBottom = "bottom";
inline constexpr const char* kCAGravityLeft = "left";
inline constexpr const char* kCAGravityRight = "right";
inline constexpr const char* kCAGravityTopLeft = "topLeft";
inline constexpr const char* kCAGravityTopRight = "topRight";
inline constexpr const char* kCAGravityBottomLeft = "bottomLeft";
inline constexpr const char* kCAGravityBottomRight = "bottomRight";

/// Brightens what lies beneath, and never darkens it: 1 - (1 - a)(1 - b).
inline constexpr const char* kCAFilterScreenBlendMode = "screenBlendMode";

/// What a layer leaves to its owner, usually a view. Main thread only.
class VELMORA_EXPORT CALayerDelegate {
public:
    virtual ~CALayerDelegate() = default;
    /// Sets what the layer shows. False: it does not, and drawLayer is asked instead.
    virtual bool displayLayer(const std::shared_ptr<CALayer>&) { return false; }
    /// Draws what the layer shows, in the layer's own coordinates. False: it draws nothing, and no memory is spent.
    virtual bool drawsLayer(const std::shared_ptr<CALayer>&) { return false; }
    virtual void drawLayer(const std::shared_ptr<CALayer>&, CGContext&) { }
    /// Lays the sublayers out: a layout pass came to this layer.
    virtual void layoutSublayersOfLayer(const std::shared_ptr<CALayer>&) { }
    /// How a change of the property `key` is animated: an animation, which the layer completes with values where it has
    /// none, or empty for not at all. Not asked inside a block of CATransaction::animateBlock.
    virtual std::shared_ptr<CAAnimation> actionForLayer(const std::shared_ptr<CALayer>&, const std::string& /*key*/)
    {
        return nullptr;
    }
};

/// The properties of every layer that can move in time.
struct CALayerValues {
    CGRect bounds;
    CGPoint position, anchorPoint { 0.5, 0.5 };
    CATransform3D transform;
    double opacity = 1, cornerRadius = 0, borderWidth = 0, zPosition = 0;
    std::optional<CGColor> backgroundColor, borderColor, contentsTintColor;
};

/// One thing that a layer shows: a rasterised content, or coverage in a colour. For the compositor.
struct LayerPiece {
    std::shared_ptr<const LayerContent> content;
    CGRect frame; ///< where all of the content lies, in the layer's coordinates
    std::optional<CGColor> color; ///< of coverage, and of a tinted picture
};

/// A camera's newest frame and how it lies in the layer. For the compositor.
struct LayerPreview {
    std::shared_ptr<CVPixelBuffer> frame; ///< by reference
    int rotation = 0; ///< degrees clockwise, 0 to 270, then mirrored
    bool mirrored = false;
    CGRect videoRect; ///< where all of the upright picture lies, in the layer's coordinates; the bounds cut it
};

/// At which scale contents are rasterised.
struct LayerRasterising {
    double scale = 1; ///< pixels for a point
    bool moving = false; ///< what is there already will do, whatever its size
};

/// A picture, a colour or a drawing in a tree of such.
///
/// The tree may be changed from any thread; everything else belongs to the main thread. A layer in the tree of a
/// CADisplay asks for a frame when it changes.
class VELMORA_EXPORT CALayer : public NSObject {
public:
    CALayer();
    ~CALayer() override;
    static std::shared_ptr<CALayer> layer();
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// The layer's own coordinates, in points; its origin moves the sublayers.
    CGRect bounds() const { return values_.bounds; }
    void setBounds(CGRect bounds);
    /// Where the anchor point lies in the superlayer.
    CGPoint position() const { return values_.position; }
    void setPosition(CGPoint position);
    /// In fractions of the bounds: (0.5, 0.5) is the middle. The transform turns and scales about it.
    CGPoint anchorPoint() const { return values_.anchorPoint; }
    void setAnchorPoint(CGPoint anchorPoint);
    const CATransform3D& transform() const { return values_.transform; }
    void setTransform(const CATransform3D& transform);
    CGAffineTransform affineTransform() const { return CATransform3DGetAffineTransform(values_.transform); }
    void setAffineTransform(const CGAffineTransform& transform);
    /// In the superlayer's coordinates, the upright rectangle around the transformed bounds; made of the four above,
    /// and setting it sets bounds and position.
    CGRect frame() const;
    void setFrame(CGRect frame);
    /// Higher ones lie in front of lower ones among the sublayers of one layer; equal ones in order.
    double zPosition() const { return values_.zPosition; }
    void setZPosition(double z);

    double opacity() const { return values_.opacity; } ///< 0 to 1; with all that is inside
    void setOpacity(double opacity);
    bool isHidden() const { return hidden_; }
    void setHidden(bool hidden);
    /// A promise that what is drawn covers the whole layer, so that nothing below is composited.
    bool isOpaque() const { return opaque_; }
    void setOpaque(bool opaque);
    /// Cuts what is inside at the bounds, corner radius included.
    bool masksToBounds() const { return masksToBounds_; }
    void setMasksToBounds(bool masks);
    /// Only what this layer covers is seen; in this layer's coordinates. It has no superlayer.
    const std::shared_ptr<CALayer>& mask() const { return mask_; }
    void setMask(const std::shared_ptr<CALayer>& mask);

    const std::optional<CGColor>& backgroundColor() const { return values_.backgroundColor; }
    void setBackgroundColor(const std::optional<CGColor>& color);
    /// Rounds the background and the border; what is inside only with masksToBounds. Points.
    double cornerRadius() const { return values_.cornerRadius; }
    void setCornerRadius(double radius);
    /// Inside the bounds, over everything that is inside. Points.
    double borderWidth() const { return values_.borderWidth; }
    void setBorderWidth(double width);
    const std::optional<CGColor>& borderColor() const { return values_.borderColor; }
    void setBorderColor(const std::optional<CGColor>& color);

    /// How it is put upon what lies beneath it: empty covers it, kCAFilterScreenBlendMode; other texts count as empty.
    const std::string& compositingFilter() const { return compositingFilter_; }
    void setCompositingFilter(const std::string& filter);

    /// A picture in place of a drawing.
    std::shared_ptr<const CGImage> contents() const;
    void setContents(std::shared_ptr<const CGImage> image);
    /// How the content fills the bounds; kCAGravityResize at first, other texts count as that.
    const std::string& contentsGravity() const { return contentsGravity_; }
    void setContentsGravity(const std::string& gravity);
    /// Pixels of the content for a point; what gravities that do not stretch go by. A drawing is made at this scale, at
    /// the display's when nobody set it.
    double contentsScale() const;
    void setContentsScale(double scale);
    /// Shows the content's coverage in one colour; for template pictures.
    const std::optional<CGColor>& contentsTintColor() const { return values_.contentsTintColor; }
    void setContentsTintColor(const std::optional<CGColor>& color);

    std::shared_ptr<CALayer> superlayer() const;
    /// From the back to the front.
    std::vector<std::shared_ptr<CALayer>> sublayers() const;
    /// At the front. A layer that has another superlayer leaves it. Throws NSException for the layer itself or one
    /// that holds it.
    void addSublayer(const std::shared_ptr<CALayer>& layer);
    /// 0 is the back; an index beyond the end is the front.
    void insertSublayer(const std::shared_ptr<CALayer>& layer, std::uint32_t index);
    /// Directly behind or in front of a sublayer; at the back or the front where that is none.
    void insertSublayerBelow(const std::shared_ptr<CALayer>& layer, const std::shared_ptr<CALayer>& sibling);
    void insertSublayerAbove(const std::shared_ptr<CALayer>& layer, const std::shared_ptr<CALayer>& sibling);
    /// Ends the animations of blocks that run on the layer, unfinished.
    void removeFromSuperlayer();

    // Held weakly.
    std::shared_ptr<CALayerDelegate> delegate() const { return delegate_.lock(); }
    void setDelegate(const std::weak_ptr<CALayerDelegate>& delegate);

    /// The next frame lays out and draws it again; displayIfNeeded and layoutIfNeeded do it now. A changed size marks
    /// the layout by itself, and the drawing where needsDisplayOnBoundsChange says so.
    virtual void setNeedsDisplay();
    bool needsDisplay() const { return needsDisplay_; }
    void displayIfNeeded();
    bool needsDisplayOnBoundsChange() const { return needsDisplayOnBoundsChange_; }
    void setNeedsDisplayOnBoundsChange(bool needs) { needsDisplayOnBoundsChange_ = needs; }
    void setNeedsLayout();
    bool needsLayout() const { return needsLayout_; }
    /// This layer and all below it that are marked, from the top down; layers that a layout marks are laid out too.
    void layoutIfNeeded();

    /// `point` of this layer in the coordinates of `other`; both must be in one tree, else their roots coincide. Empty
    /// is the root.
    CGPoint convertPoint(CGPoint point, const std::shared_ptr<CALayer>& other) const;
    CGPoint convertPointFromLayer(CGPoint point, const std::shared_ptr<CALayer>& other) const;
    /// The upright rectangle around the four corners.
    CGRect convertRect(CGRect rect, const std::shared_ptr<CALayer>& other) const;
    bool containsPoint(CGPoint point) const;
    /// The frontmost layer that contains `point` of the superlayer's coordinates, or empty. Hidden and transparent ones
    /// and what a mask cuts off are not hit.
    std::shared_ptr<CALayer> hitTest(CGPoint point);

    /// Adds a copy. A second one under the same key replaces the first, which stops unfinished. An empty key is no key.
    void addAnimation(const std::shared_ptr<CAAnimation>& animation, const std::string& key);
    std::shared_ptr<CAAnimation> animationForKey(const std::string& key) const;
    std::vector<std::string> animationKeys() const;
    void removeAnimationForKey(const std::string& key);
    void removeAllAnimations();
    /// What is shown now: a copy of the layer with its values at this moment of the clock in force, without sublayers.
    std::shared_ptr<CALayer> presentationLayer() const;

    /// Draws what the layer shows, in its own coordinates: what a subclass that draws itself overrides, with draws().
    virtual void drawInContext(CGContext& context);
    virtual bool draws() const { return false; }

    /// Draws the layer and all that is in it, as they are shown now, as a picture of its bounds; nothing outside them.
    /// `scale`: pixels for a point. Without `update`, what waits for layout or drawing is taken as it was.
    std::shared_ptr<const CGImage> image(double scale, bool update = true);

    // For the compositor and the display.
    /// From the back to the front as they are seen, by their z positions.
    std::vector<std::shared_ptr<CALayer>> sublayersFromBack() const;
    /// What it shows besides its colours, rasterised where that was not done yet.
    virtual std::vector<LayerPiece> pieces(const LayerRasterising& rasterising);
    /// How far what lies beneath is blurred where the layer shows it: the standard deviation, points; 0: it does not.
    virtual double backdropBlur() const { return 0; }
    /// What a camera shows in bounds of this kind, newest; empty for other layers and without a frame.
    virtual std::optional<LayerPreview> preview(CGRect /*bounds*/) { return std::nullopt; }
    /// Whether the last frame showed something of the preview. While it does not, new camera frames ask for no frame.
    virtual void setPreviewSeen(bool /*seen*/) { }
    CGAffineTransform toSuperlayer() const;
    /// The layer with its values of this moment: itself when nothing moves.
    std::shared_ptr<CALayer> shown();
    void setDisplay(const std::weak_ptr<CADisplay>& display);
    /// The display whose tree it is in; empty without one.
    std::shared_ptr<CADisplay> display() const;
    bool isMoving() const; ///< an animation with a visible effect runs
    void markSeen() { seen_ = true; }
    /// Of the layer and its copies; never used again for another layer.
    std::uint64_t identity() const { return identity_; }

protected:
    /// A new layer of the same class, and the values of another one of it: what presentation layers are made by.
    virtual std::shared_ptr<CALayer> emptyCopy() const;
    virtual void copyValues(const CALayer& other);
    /// An animatable property by its key; monostate where the class has none of that name.
    virtual CAValue animatableValue(std::string_view key) const;
    /// Stores it and does nothing else.
    virtual void setAnimatableValue(std::string_view key, const CAValue& value);

    /// Stores the value of an animatable property, starts what animates the change and asks for a frame.
    template <class T> void assign(T& member, const T& value, const char* key)
    {
        if (member == value)
            return;
        const ChangeOfLayer change(*this, key);
        member = value;
    }
    void requestFrame();

private:
    friend class AnimationBatch;
    friend class LayerAnimations;
    /// Knows the value before the change and acts on the one after it.
    class VELMORA_EXPORT ChangeOfLayer {
    public:
        ChangeOfLayer(CALayer& layer, const char* key);
        ~ChangeOfLayer();
        ChangeOfLayer(const ChangeOfLayer&) = delete;
        ChangeOfLayer& operator=(const ChangeOfLayer&) = delete;

    private:
        CALayer& layer_;
        const char* key_;
        std::shared_ptr<CAAnimation> action_;
        CAValue before_;
    };
    struct Content;

    std::shared_ptr<CALayer> leaveSuperlayer(); // inside the lock of the tree; answers the one it left
    using Index = std::function<std::size_t(const std::vector<std::shared_ptr<CALayer>>&)>;
    void place(const std::shared_ptr<CALayer>& layer, const Index& index);
    void startAction(const std::shared_ptr<CAAnimation>& action, const char* key, const CAValue& before);
    LayerAnimations& animations();
    void endAnimationsBelow();
    void drawContent();
    CGRect frameOfContent(CGSize size) const;

    CALayerValues values_;
    bool hidden_ = false, opaque_ = false, masksToBounds_ = false;
    bool needsDisplay_ = false, needsLayout_ = false, needsDisplayOnBoundsChange_ = false;
    bool seen_ = false; // a frame showed it
    std::uint64_t identity_;
    std::optional<double> contentsScale_;
    std::string contentsGravity_ = kCAGravityResize;
    std::string compositingFilter_;
    std::shared_ptr<CALayer> mask_;
    std::weak_ptr<CALayerDelegate> delegate_;
    std::shared_ptr<Content> content_; // copies share it
    std::unique_ptr<LayerAnimations> animations_; // none until the first
    std::weak_ptr<CADisplay> display_; // of a root
    std::weak_ptr<CALayer> superlayer_;
    std::vector<std::shared_ptr<CALayer>> sublayers_;
};

}
