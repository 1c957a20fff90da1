// SPDX-License-Identifier: Apache-2.0
#include "platform/SwiftUI/UIHostingView.h"

#include <utility>

namespace velmora {

UIHostingView::UIHostingView(AnyView root, CGRect frame)
    : UIView(frame)
    , root_(std::move(root))
{
}

UIHostingView::~UIHostingView()
{
    if (shown_)
        root_.content()->dismantleView(shown_);
}

const ClassInfo& UIHostingView::staticClass()
{
    static const ClassInfo info { "Velmora.UIHostingView", &UIView::staticClass() };
    return info;
}

void UIHostingView::didConstruct()
{
    UIView::didConstruct();
    setRootView(std::exchange(root_, {}));
}

void UIHostingView::setRootView(const AnyView& root)
{
    const auto next = moved(root_, shown_, root);
    root_ = root;
    if (next == shown_)
        return;
    if (shown_)
        shown_->removeFromSuperview();
    shown_ = next;
    if (next)
        addSubview(next);
    setNeedsLayout();
}

void UIHostingView::layoutSubviews()
{
    UIView::layoutSubviews();
    if (shown_)
        shown_->setFrame(bounds());
}

}
