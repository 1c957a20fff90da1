// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIOrientation.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace velmora {

class CGContext;
class CGImage;
class NSBundle;

enum UIImageRenderingMode : std::int64_t {
    UIImageRenderingModeAutomatic = 0,
    UIImageRenderingModeAlwaysOriginal = 1,
    UIImageRenderingModeAlwaysTemplate = 2,
};

/// A picture with what is needed to show it: pixels for a point, where its top is, and whether its colours count.
/// Immutable; from any thread, but pictures are found by name on the main thread.
class VELMORA_EXPORT UIImage : public NSObject {
public:
    /// `scale`: pixels for a point, above 0.
    explicit UIImage(std::shared_ptr<const CGImage> image, double scale = 1,
        UIImageOrientation orientation = UIImageOrientationUp,
        UIImageRenderingMode mode = UIImageRenderingModeAutomatic);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// NAME@3x, NAME@2x or NAME with .png or .jpg, the one that fits the screen best first; empty where the bundle (the
    /// main one, when none is given) has none or it cannot be read, which is logged. A name with an ending is taken as
    /// it is.
    static std::shared_ptr<UIImage> imageNamed(const std::string& name, const std::shared_ptr<NSBundle>& bundle = {});
    /// Empty when it cannot be read, which is logged. "@2x" and "@3x" before the ending say the scale.
    static std::shared_ptr<UIImage> imageWithContentsOfFile(const std::string& path);
    static std::shared_ptr<UIImage> imageWithData(std::span<const std::uint8_t> data, double scale = 1);
    static std::shared_ptr<UIImage> imageWithCGImage(
        const std::shared_ptr<const CGImage>& image, double scale, UIImageOrientation orientation);
    /// A symbol of ours, 24 points wide at most, as a template: "camera", "camera.fill", "chevron.down",
    /// "chevron.compact.down", "chevron.left", "plus", "minus", "bolt.fill", "bolt.slash.fill", "timer", "xmark",
    /// "photo", "square.and.arrow.up", "trash". Empty for any other name.
    static std::shared_ptr<UIImage> systemImageNamed(const std::string& name);
    /// What `draw` draws, in points, with its context as the current one.
    static std::shared_ptr<UIImage> imageByDrawing(
        CGSize points, double scale, const std::function<void(CGContext&)>& draw);

    const std::shared_ptr<const CGImage>& cgImage() const { return image_; } ///< as it is stored
    double scale() const { return scale_; }
    UIImageOrientation imageOrientation() const { return orientation_; }
    UIImageRenderingMode renderingMode() const { return mode_; }
    CGSize size() const; ///< points, upright
    bool isTemplate() const { return mode_ == UIImageRenderingModeAlwaysTemplate; }
    /// The same pixels; a template keeps the alpha alone and is shown in the tint.
    std::shared_ptr<UIImage> imageWithRenderingMode(UIImageRenderingMode mode) const;
    /// The pixels turned as the orientation says: itself where that is up.
    std::shared_ptr<const CGImage> uprightImage() const;

    // Into the current context, upright; nothing happens without one. A template is drawn in the fill colour.
    void drawInRect(CGRect rect) const;
    void drawAtPoint(CGPoint point) const;

    /// The same pixels, shown alike.
    bool isEqual(const NSObject* other) const override;

private:
    const std::shared_ptr<const CGImage> image_;
    const double scale_;
    const UIImageOrientation orientation_;
    const UIImageRenderingMode mode_;
};

}
