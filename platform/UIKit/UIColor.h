// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGColor.h"
#include "platform/Foundation/NSObject.h"

#include <memory>
#include <optional>
#include <string>

namespace velmora {

/// A colour as views take it. Immutable; from any thread.
class VELMORA_EXPORT UIColor : public NSObject {
public:
    explicit UIColor(CGColor color);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    static std::shared_ptr<UIColor> colorWithCGColor(CGColor color);
    /// Each from 0 to 1; sRGB, not premultiplied.
    static std::shared_ptr<UIColor> colorWithRed(double red, double green, double blue, double alpha = 1);
    static std::shared_ptr<UIColor> colorWithWhite(double white, double alpha = 1);
    static std::shared_ptr<UIColor> blackColor();
    static std::shared_ptr<UIColor> whiteColor();
    static std::shared_ptr<UIColor> clearColor(); ///< transparent black
    static std::shared_ptr<UIColor> lightGrayColor(); ///< two thirds of white
    static std::shared_ptr<UIColor> grayColor();
    static std::shared_ptr<UIColor> darkGrayColor(); ///< a third of white
    static std::shared_ptr<UIColor> redColor();
    static std::shared_ptr<UIColor> greenColor();
    static std::shared_ptr<UIColor> blueColor();
    static std::shared_ptr<UIColor> yellowColor();
    static std::shared_ptr<UIColor> orangeColor();
    /// What views are tinted with where nobody set a tint.
    static std::shared_ptr<UIColor> systemBlueColor();

    CGColor cgColor() const { return color_; }
    /// The same colour with this alpha, whatever it had.
    std::shared_ptr<UIColor> colorWithAlphaComponent(double alpha) const;

    // Of the current context; nothing happens without one.
    void set() const; ///< both
    void setFill() const;
    void setStroke() const;

    /// Equal components.
    bool isEqual(const NSObject* other) const override;
    std::string description() const override; ///< "UIColor 1 0.5 0 1": red, green, blue, alpha

private:
    const CGColor color_;
};

/// What a layer is given for it: none where there is no colour.
VELMORA_EXPORT std::optional<CGColor> layerColorOf(const std::shared_ptr<UIColor>& color);

/// Equal colours, or none on both sides.
VELMORA_EXPORT bool sameColor(const std::shared_ptr<UIColor>& a, const std::shared_ptr<UIColor>& b);

}
