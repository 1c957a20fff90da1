// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGTextLayout.h"
#include "platform/UIKit/UIView.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace velmora {

class UIFont;

using NSTextAlignment = CGTextAlignment;
inline constexpr NSTextAlignment NSTextAlignmentLeft = CGTextAlignmentLeft;
inline constexpr NSTextAlignment NSTextAlignmentCenter = CGTextAlignmentCenter;
inline constexpr NSTextAlignment NSTextAlignmentRight = CGTextAlignmentRight;
inline constexpr NSTextAlignment NSTextAlignmentJustified = CGTextAlignmentJustified;
inline constexpr NSTextAlignment NSTextAlignmentNatural = CGTextAlignmentNatural;

/// Shows a text, in the middle of its height. Gets no touches.
class VELMORA_EXPORT UILabel : public UIView {
public:
    explicit UILabel(CGRect frame = CGRectZero);
    /// Reads "text", "textColor", "fontSize" (points), "bold", "numberOfLines" and "textAlignment" besides what views
    /// read.
    explicit UILabel(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::optional<std::string>& text() const { return text_; } ///< UTF-8; nothing at first
    void setText(const std::optional<std::string>& text);
    const std::shared_ptr<UIColor>& textColor() const { return textColor_; } ///< black at first
    /// Nil is black.
    void setTextColor(const std::shared_ptr<UIColor>& color);
    const std::shared_ptr<UIFont>& font() const { return font_; } ///< the system's, 17 points, at first
    /// Nil is that one.
    void setFont(const std::shared_ptr<UIFont>& font);
    std::int64_t numberOfLines() const { return numberOfLines_; } ///< the most that are shown; 0: all. 1 at first
    void setNumberOfLines(std::int64_t lines);
    NSTextAlignment textAlignment() const { return alignment_; }
    void setTextAlignment(NSTextAlignment alignment);
    CGLineBreakMode lineBreakMode() const { return lineBreak_; }
    void setLineBreakMode(CGLineBreakMode mode);

    /// The text's own size within this width, rounded up to whole pixels of the main screen; one line has no width to
    /// break at.
    CGSize sizeThatFits(CGSize size) const override;
    CGSize intrinsicContentSize() const override;
    /// Draws the letters alone; their colour is the layer's, so that it changes without drawing.
    void drawRect(CGRect rect) override;

protected:
    void didConstruct() override;

private:
    CGTextLayout layoutFor(double width) const;

    std::optional<std::string> text_;
    std::shared_ptr<UIColor> textColor_;
    std::shared_ptr<UIFont> font_;
    std::int64_t numberOfLines_ = 1;
    NSTextAlignment alignment_ = NSTextAlignmentNatural;
    CGLineBreakMode lineBreak_ = CGLineBreakByTruncatingTail;
};

}
