// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UILabel.h"

#include "platform/CoreGraphics/CGContext.h"
#include "platform/UIKit/InterfaceValues.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIGraphics.h"
#include "platform/UIKit/UIScreen.h"

#include <algorithm>
#include <cmath>

namespace velmora {

UILabel::UILabel(CGRect frame)
    : UIView(frame)
    , textColor_(UIColor::blackColor())
    , font_(UIFont::systemFontOfSize(UIFont::labelFontSize()))
{
}

UILabel::UILabel(const NSCoder& coder)
    : UIView(coder)
    , text_(decodedText(coder, "text"))
    , textColor_(decodedColor(coder, "textColor"))
    , numberOfLines_(static_cast<std::int64_t>(decodedNumber(coder, "numberOfLines").value_or(1)))
    , alignment_(static_cast<NSTextAlignment>(
          static_cast<std::int64_t>(decodedNumber(coder, "textAlignment").value_or(NSTextAlignmentNatural))))
{
    if (!textColor_)
        textColor_ = UIColor::blackColor();
    const double size = decodedNumber(coder, "fontSize").value_or(UIFont::labelFontSize());
    font_ = decodedFlag(coder, "bold").value_or(false) ? UIFont::boldSystemFontOfSize(size)
                                                       : UIFont::systemFontOfSize(size);
}

const ClassInfo& UILabel::staticClass()
{
    static constexpr auto methods = methodTable(method<&UILabel::text>("text"), method<&UILabel::setText>("setText:"),
        method<&UILabel::textColor>("textColor"), method<&UILabel::setTextColor>("setTextColor:"),
        method<&UILabel::font>("font"), method<&UILabel::setFont>("setFont:"),
        method<&UILabel::numberOfLines>("numberOfLines"), method<&UILabel::setNumberOfLines>("setNumberOfLines:"),
        method<&UILabel::textAlignment>("textAlignment"), method<&UILabel::setTextAlignment>("setTextAlignment:"),
        method<&UILabel::lineBreakMode>("lineBreakMode"), method<&UILabel::setLineBreakMode>("setLineBreakMode:"));
    static constexpr auto classMethods = methodTable(initialiser<UILabel>("init"),
        initialiser<UILabel, CGRect>("initWithFrame:"), initialiser<UILabel, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.UILabel", &UIView::staticClass(), methods, classMethods };
    return info;
}

void UILabel::didConstruct()
{
    UIView::didConstruct();
    setUserInteractionEnabled(false);
    setContentMode(UIViewContentModeRedraw); // a stretched text is none
    layer()->setContentsTintColor(textColor_->cgColor());
}

void UILabel::setText(const std::optional<std::string>& text)
{
    if (text_ == text)
        return;
    text_ = text;
    setNeedsDisplay();
    invalidateIntrinsicContentSize();
}

void UILabel::setTextColor(const std::shared_ptr<UIColor>& color)
{
    textColor_ = color ? color : UIColor::blackColor();
    layer()->setContentsTintColor(textColor_->cgColor());
}

void UILabel::setFont(const std::shared_ptr<UIFont>& font)
{
    font_ = font ? font : UIFont::systemFontOfSize(UIFont::labelFontSize());
    setNeedsDisplay();
    invalidateIntrinsicContentSize();
}

void UILabel::setNumberOfLines(std::int64_t lines)
{
    numberOfLines_ = std::max<std::int64_t>(0, lines);
    setNeedsDisplay();
    invalidateIntrinsicContentSize();
}

void UILabel::setTextAlignment(NSTextAlignment alignment)
{
    alignment_ = alignment;
    setNeedsDisplay();
}

void UILabel::setLineBreakMode(CGLineBreakMode mode)
{
    lineBreak_ = mode;
    setNeedsDisplay();
    invalidateIntrinsicContentSize();
}

CGTextLayout UILabel::layoutFor(double width) const
{
    CGTextStyle style;
    style.font = font_->font();
    style.alignment = alignment_;
    style.lineBreak = lineBreak_;
    style.width = width;
    style.lines = static_cast<int>(numberOfLines_);
    return CGTextLayout(text_.value_or(""), style);
}

CGSize UILabel::sizeThatFits(CGSize size) const
{
    if (!text_ || text_->empty())
        return CGSizeZero;
    const double width = numberOfLines_ == 1 ? 0 : std::max(0.0, size.width);
    const CGSize text = layoutFor(width).size();
    const double scale = UIScreen::mainScreen()->scale();
    return { std::ceil(text.width * scale) / scale, std::ceil(text.height * scale) / scale };
}

CGSize UILabel::intrinsicContentSize() const
{
    return sizeThatFits(CGSizeZero);
}

void UILabel::drawRect(CGRect rect)
{
    auto* context = UIGraphicsGetCurrentContext();
    if (!context || !text_ || text_->empty() || CGRectIsEmpty(rect))
        return;
    const CGTextLayout layout = layoutFor(rect.size.width);
    context->setFillColor({ 0, 0, 0, 1 });
    layout.draw(*context, { rect.origin.x, rect.origin.y + (rect.size.height - layout.size().height) / 2 });
}

}
