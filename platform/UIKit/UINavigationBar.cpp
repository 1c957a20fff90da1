// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UINavigationBar.h"

#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UILabel.h"

#include <algorithm>

namespace velmora {

namespace {

constexpr double plainHeight = 44, largeTitleHeight = 52, margin = 16; // points
constexpr double titleSize = 17, largeTitleSize = 34; // points

}

UINavigationBar::UINavigationBar(CGRect frame)
    : UIView(frame)
{
}

UINavigationBar::UINavigationBar(const NSCoder& coder)
    : UIView(coder)
{
}

const ClassInfo& UINavigationBar::staticClass()
{
    static constexpr auto methods = methodTable(method<&UINavigationBar::prefersLargeTitles>("prefersLargeTitles"),
        method<&UINavigationBar::setPrefersLargeTitles>("setPrefersLargeTitles:"),
        method<&UINavigationBar::title>("title"), method<&UINavigationBar::setTitle>("setTitle:"));
    static constexpr auto classMethods
        = methodTable(initialiser<UINavigationBar>("init"), initialiser<UINavigationBar, CGRect>("initWithFrame:"),
            initialiser<UINavigationBar, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.UINavigationBar", &UIView::staticClass(), methods, classMethods };
    return info;
}

void UINavigationBar::didConstruct()
{
    UIView::didConstruct();
    background_ = make<UIView>();
    background_->setBackgroundColor(UIColor::colorWithWhite(0.97));
    background_->setUserInteractionEnabled(false);
    addSubview(background_);
    content_ = make<UIView>();
    addSubview(content_);
    titleLabel_ = make<UILabel>();
    titleLabel_->setFont(UIFont::boldSystemFontOfSize(titleSize));
    titleLabel_->setTextAlignment(NSTextAlignmentCenter);
    content_->addSubview(titleLabel_);
    back_ = make<UIButton>(CGRectZero, UIButtonTypeSystem);
    back_->setImage(UIImage::systemImageNamed("chevron.left"), UIControlStateNormal);
    back_->setHidden(true);
    content_->addSubview(back_);
}

void UINavigationBar::setPrefersLargeTitles(bool prefers)
{
    if (prefersLargeTitles_ == prefers)
        return;
    prefersLargeTitles_ = prefers;
    if (prefers) {
        large_ = make<UIView>();
        largeLabel_ = make<UILabel>();
        largeLabel_->setFont(UIFont::boldSystemFontOfSize(largeTitleSize));
        largeLabel_->setText(title_);
        large_->addSubview(largeLabel_);
        addSubview(large_);
    } else {
        large_->removeFromSuperview();
        large_ = nullptr;
        largeLabel_ = nullptr;
    }
    titleLabel_->setHidden(prefers);
    setNeedsLayout();
    if (const auto above = superview())
        above->setNeedsLayout();
}

void UINavigationBar::setTitle(const std::optional<std::string>& title)
{
    title_ = title;
    titleLabel_->setText(title);
    if (largeLabel_)
        largeLabel_->setText(title);
}

double UINavigationBar::barHeight() const
{
    return plainHeight + (prefersLargeTitles_ ? largeTitleHeight : 0);
}

CGSize UINavigationBar::sizeThatFits(CGSize size) const
{
    return { size.width, barHeight() };
}

void UINavigationBar::layoutSubviews()
{
    UIView::layoutSubviews();
    const double width = bounds().size.width;
    const auto around = superview();
    const double above = around ? around->safeAreaInsets().top : 0; // the background goes up to the screen's edge
    background_->setFrame(CGRectMake(0, -above, width, bounds().size.height + above));
    content_->setFrame(CGRectMake(0, 0, width, plainHeight));
    back_->setFrame(CGRectMake(0, 0, plainHeight, plainHeight));
    titleLabel_->setFrame(CGRectMake(plainHeight, 0, std::max(0.0, width - 2 * plainHeight), plainHeight));
    if (!large_)
        return;
    large_->setFrame(CGRectMake(0, plainHeight, width, largeTitleHeight));
    largeLabel_->setFrame(CGRectMake(margin, 0, std::max(0.0, width - 2 * margin), largeTitleHeight));
}

}
