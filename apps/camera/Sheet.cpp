// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/Sheet.h"

#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIScreen.h"

#include <algorithm>
#include <utility>

namespace velmora::camera {

namespace {

// Points.
constexpr double margin = 16, buttonHeight = 50, cornerRadius = 14, textSize = 15, widest = 440;

constexpr double slideTime = 0.25; // seconds
constexpr double darkness = 0.4;

}

void Sheet::present(
    UIViewController& over, const std::string& message, const std::optional<Action>& action, const std::string& closing)
{
    over.presentViewController(make<Sheet>(message, action, closing), false);
}

Sheet::Sheet(std::string message, std::optional<Action> action, std::string closing)
    : message_(std::move(message))
    , action_(std::move(action))
    , closing_(std::move(closing))
{
    setModalPresentationStyle(UIModalPresentationOverFullScreen);
}

void Sheet::loadView()
{
    const auto root = make<UIView>(UIScreen::mainScreen()->bounds());
    setView(root);
    beside_ = make<UIControl>();
    beside_->setBackgroundColor(UIColor::blackColor());
    beside_->setAlpha(0.02); // what is all but transparent gets no touches
    root->addSubview(beside_);
    panel_ = make<UIView>();
    panel_->setBackgroundColor(UIColor::colorWithWhite(0.97));
    panel_->setClipsToBounds(true);
    panel_->layer()->setCornerRadius(cornerRadius);
    root->addSubview(panel_);

    label_ = make<UILabel>();
    label_->setText(message_);
    label_->setFont(UIFont::systemFontOfSize(textSize));
    label_->setTextColor(UIColor::darkGrayColor());
    label_->setTextAlignment(NSTextAlignmentCenter);
    label_->setNumberOfLines(0);
    label_->setLineBreakMode(CGLineBreakByWordWrapping);
    panel_->addSubview(label_);
    if (action_)
        addButton(action_->title, UIColor::colorWithRed(0.85, 0.15, 0.1), action_->perform);
    addButton(closing_, UIColor::systemBlueColor(), nullptr);
    actions_.push_back(beside_->addAction(UIControlEventTouchUpInside, [this] { close(nullptr); }));
}

void Sheet::addButton(const std::string& title, const std::shared_ptr<UIColor>& color, std::function<void()> then)
{
    const auto line = make<UIView>();
    line->setBackgroundColor(UIColor::colorWithWhite(0.82));
    const auto button = make<UIButton>(CGRectZero, UIButtonTypeSystem);
    button->setTitle(title, UIControlStateNormal);
    button->setTintColor(color);
    button->addSubview(line);
    panel_->addSubview(button);
    buttons_.push_back(button);
    actions_.push_back(button->addAction(UIControlEventTouchUpInside, [this, then = std::move(then)] { close(then); }));
}

CGRect Sheet::panelFrame(bool shown)
{
    const CGRect bounds = view()->bounds();
    const double width = std::min(bounds.size.width - 2 * margin, widest);
    const double text = label_->sizeThatFits({ width - 2 * margin, bounds.size.height }).height;
    const double height = text + 2 * margin + buttonHeight * static_cast<double>(buttons_.size());
    const double bottom = bounds.size.height - margin - view()->safeAreaInsets().bottom;
    return CGRectMake((bounds.size.width - width) / 2, shown ? bottom - height : bounds.size.height, width, height);
}

void Sheet::viewDidLayoutSubviews()
{
    beside_->setFrame(view()->bounds());
    const CGRect frame = panelFrame(shown_);
    panel_->setFrame(frame);
    double y = frame.size.height - buttonHeight * static_cast<double>(buttons_.size());
    label_->setFrame(CGRectMake(margin, margin, frame.size.width - 2 * margin, y - 2 * margin));
    for (const auto& button : buttons_) {
        button->setFrame(CGRectMake(0, y, frame.size.width, buttonHeight));
        button->subviews().back()->setFrame(CGRectMake(0, 0, frame.size.width, 1));
        y += buttonHeight;
    }
}

void Sheet::viewDidAppear(bool animated)
{
    UIViewController::viewDidAppear(animated);
    shown_ = true;
    UIView::animateWithDuration(slideTime, [this] {
        beside_->setAlpha(darkness);
        panel_->setFrame(panelFrame(true));
    });
}

void Sheet::close(const std::function<void()>& then)
{
    if (!std::exchange(shown_, false))
        return; // it is going
    UIView::animateWithDuration(
        slideTime,
        [this] {
            beside_->setAlpha(0);
            panel_->setFrame(panelFrame(false));
        },
        [self = sharedFromThis(*this), then](bool) { self->dismissViewControllerAnimated(false, then); });
}

}
