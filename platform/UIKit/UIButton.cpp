// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIButton.h"

#include "platform/UIKit/InterfaceValues.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UILabel.h"

#include <algorithm>

namespace velmora {

namespace {

constexpr double pressedAlpha = 0.3, disabledAlpha = 0.4;
constexpr double spacing = 4; // points between picture and title

template <class T> T valueFor(const std::map<UIControlState, T>& values, UIControlState state)
{
    const auto found = values.find(state);
    return found == values.end() ? T() : found->second;
}

/// The state's own value, else the normal one's.
template <class T> T shownFor(const std::map<UIControlState, T>& values, UIControlState state)
{
    const auto own = valueFor(values, state);
    return own ? own : valueFor(values, UIControlStateNormal);
}

}

UIButton::UIButton(CGRect frame, UIButtonType type)
    : UIControl(frame)
    , type_(type)
    , fontSize_(UIFont::buttonFontSize())
{
}

UIButton::UIButton(const NSCoder& coder)
    : UIControl(coder)
    , type_(static_cast<UIButtonType>(
          static_cast<std::int64_t>(decodedNumber(coder, "buttonType").value_or(UIButtonTypeCustom))))
    , fontSize_(decodedNumber(coder, "fontSize").value_or(UIFont::buttonFontSize()))
    , bold_(decodedFlag(coder, "bold").value_or(false))
{
    if (const auto title = decodedText(coder, "title"))
        titles_[UIControlStateNormal] = *title;
    if (const auto image = decodedText(coder, "image")) {
        const auto named = UIImage::imageNamed(*image);
        images_[UIControlStateNormal] = named ? named : UIImage::systemImageNamed(*image);
    }
}

const ClassInfo& UIButton::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIButton::buttonType>("buttonType"),
        method<&UIButton::titleForState>("titleForState:"), method<&UIButton::setTitle>("setTitle:forState:"),
        method<&UIButton::titleColorForState>("titleColorForState:"),
        method<&UIButton::setTitleColor>("setTitleColor:forState:"), method<&UIButton::imageForState>("imageForState:"),
        method<&UIButton::setImage>("setImage:forState:"), method<&UIButton::currentTitle>("currentTitle"),
        method<&UIButton::currentTitleColor>("currentTitleColor"), method<&UIButton::currentImage>("currentImage"),
        method<&UIButton::titleLabel>("titleLabel"), method<&UIButton::imageView>("imageView"));
    static constexpr auto classMethods = methodTable(initialiser<UIButton>("init"),
        initialiser<UIButton, CGRect>("initWithFrame:"), initialiser<UIButton, const NSCoder&>("initWithCoder:"),
        classMethod<&UIButton::buttonWithType>("buttonWithType:"));
    static const ClassInfo info { "Velmora.UIButton", &UIControl::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<UIButton> UIButton::buttonWithType(UIButtonType type)
{
    return make<UIButton>(CGRectZero, type);
}

void UIButton::didConstruct()
{
    UIControl::didConstruct();
    imageView_ = make<UIImageView>();
    imageView_->setContentMode(UIViewContentModeScaleAspectFit);
    addSubview(imageView_);
    label_ = make<UILabel>();
    label_->setFont(bold_ ? UIFont::boldSystemFontOfSize(fontSize_) : UIFont::systemFontOfSize(fontSize_));
    label_->setTextAlignment(NSTextAlignmentCenter);
    addSubview(label_);
    show();
}

std::optional<std::string> UIButton::titleForState(UIControlState state) const
{
    return valueFor(titles_, state);
}

void UIButton::setTitle(const std::optional<std::string>& title, UIControlState state)
{
    titles_[state] = title;
    show();
}

std::shared_ptr<UIColor> UIButton::titleColorForState(UIControlState state) const
{
    return valueFor(colors_, state);
}

void UIButton::setTitleColor(const std::shared_ptr<UIColor>& color, UIControlState state)
{
    colors_[state] = color;
    show();
}

std::shared_ptr<UIImage> UIButton::imageForState(UIControlState state) const
{
    return valueFor(images_, state);
}

void UIButton::setImage(const std::shared_ptr<UIImage>& image, UIControlState state)
{
    images_[state] = image;
    show();
}

std::optional<std::string> UIButton::currentTitle() const
{
    return shownFor(titles_, state());
}

std::shared_ptr<UIColor> UIButton::currentTitleColor() const
{
    if (auto color = shownFor(colors_, state()))
        return color;
    return type_ == UIButtonTypeSystem ? tintColor() : UIColor::whiteColor();
}

std::shared_ptr<UIImage> UIButton::currentImage() const
{
    return shownFor(images_, state());
}

void UIButton::setContentEdgeInsets(UIEdgeInsets insets)
{
    insets_ = insets;
    setNeedsLayout();
}

void UIButton::show()
{
    label_->setText(currentTitle());
    label_->setTextColor(currentTitleColor());
    imageView_->setImage(currentImage());
    const double alpha = !isEnabled() ? disabledAlpha : isHighlighted() ? pressedAlpha : 1;
    label_->setAlpha(alpha);
    imageView_->setAlpha(alpha);
    setNeedsLayout();
    invalidateIntrinsicContentSize();
}

void UIButton::stateDidChange()
{
    if (label_)
        show();
}

void UIButton::tintColorDidChange()
{
    UIControl::tintColorDidChange();
    if (label_)
        label_->setTextColor(currentTitleColor());
}

CGSize UIButton::sizeThatFits(CGSize) const
{
    const CGSize title = label_->sizeThatFits(CGSizeZero), image = imageView_->sizeThatFits(CGSizeZero);
    const double between = title.width > 0 && image.width > 0 ? spacing : 0;
    return { title.width + between + image.width + insets_.left + insets_.right,
        std::max(title.height, image.height) + insets_.top + insets_.bottom };
}

CGSize UIButton::intrinsicContentSize() const
{
    return sizeThatFits(CGSizeZero);
}

void UIButton::layoutSubviews()
{
    UIControl::layoutSubviews();
    const CGRect room = UIEdgeInsetsInsetRect(bounds(), insets_);
    const CGSize image = imageView_->sizeThatFits(CGSizeZero);
    CGSize title = label_->sizeThatFits(CGSizeZero);
    const double between = title.width > 0 && image.width > 0 ? spacing : 0;
    title.width = std::clamp(room.size.width - image.width - between, 0.0, title.width);
    double x = CGRectGetMidX(room) - (image.width + between + title.width) / 2;
    imageView_->setFrame(CGRectMake(x, CGRectGetMidY(room) - image.height / 2, image.width, image.height));
    x += image.width + between;
    label_->setFrame(CGRectMake(x, CGRectGetMidY(room) - title.height / 2, title.width, title.height));
}

}
