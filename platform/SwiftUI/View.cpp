// SPDX-License-Identifier: Apache-2.0
#include "platform/SwiftUI/View.h"

namespace velmora {

std::shared_ptr<UIView> moved(const AnyView& from, const std::shared_ptr<UIView>& view, const AnyView& to)
{
    if (view && !from.isEmpty() && !to.isEmpty() && from.content()->kind() == to.content()->kind())
        return to.content()->updateView(view);
    if (view && !from.isEmpty())
        from.content()->dismantleView(view);
    return to.isEmpty() ? nullptr : to.content()->makeView();
}

namespace {

/// Two views, one in front of the other; what lies behind fills it, aligned where it has a size of its own.
class LayeredView final : public UIView {
public:
    using UIView::UIView;
    void show(const AnyView& behind, const AnyView& front, Alignment alignment)
    {
        alignment_ = alignment;
        place(behindView_, moved(behind_, behindView_, behind), 0);
        place(frontView_, moved(front_, frontView_, front), subviews().size());
        behind_ = behind;
        front_ = front;
        setNeedsLayout();
    }
    void dismantle() { show({}, {}, alignment_); }
    void layoutSubviews() override
    {
        UIView::layoutSubviews();
        if (frontView_)
            frontView_->setFrame(bounds());
        if (behindView_)
            behindView_->setFrame(placeBehind());
    }
    CGSize sizeThatFits(CGSize size) const override
    {
        return frontView_ ? frontView_->sizeThatFits(size) : size; // what lies behind has no say
    }

private:
    void place(std::shared_ptr<UIView>& present, const std::shared_ptr<UIView>& next, std::size_t index)
    {
        if (present != next && present)
            present->removeFromSuperview();
        present = next;
        if (next && next->superview().get() != this)
            insertSubview(next, index);
    }
    CGRect placeBehind() const
    {
        const CGSize own = behindView_->intrinsicContentSize();
        CGRect frame = bounds();
        if (own.width >= 0 && own.height >= 0) {
            frame = CGRectMake(CGRectGetMidX(bounds()) - own.width / 2, CGRectGetMidY(bounds()) - own.height / 2,
                own.width, own.height);
            if (alignment_ == Alignment::Leading)
                frame.origin.x = CGRectGetMinX(bounds());
            if (alignment_ == Alignment::Trailing)
                frame.origin.x = CGRectGetMaxX(bounds()) - own.width;
            if (alignment_ == Alignment::Top)
                frame.origin.y = CGRectGetMinY(bounds());
            if (alignment_ == Alignment::Bottom)
                frame.origin.y = CGRectGetMaxY(bounds()) - own.height;
        }
        return frame;
    }

    AnyView behind_, front_;
    Alignment alignment_ = Alignment::Center;
    std::shared_ptr<UIView> behindView_, frontView_;
};

class Background final : public ViewContent {
public:
    Background(AnyView front, AnyView behind, Alignment alignment)
        : front_(std::move(front))
        , behind_(std::move(behind))
        , alignment_(alignment)
    {
    }
    const std::type_info& kind() const override { return typeid(Background); }
    std::shared_ptr<UIView> makeView() const override
    {
        const auto view = make<LayeredView>();
        view->show(behind_, front_, alignment_);
        return view;
    }
    std::shared_ptr<UIView> updateView(const std::shared_ptr<UIView>& view) const override
    {
        std::static_pointer_cast<LayeredView>(view)->show(behind_, front_, alignment_);
        return view;
    }
    void dismantleView(const std::shared_ptr<UIView>& view) const override
    {
        std::static_pointer_cast<LayeredView>(view)->dismantle();
    }

private:
    const AnyView front_, behind_;
    const Alignment alignment_;
};

}

AnyView AnyView::background(const AnyView& behind, Alignment alignment) const
{
    if (behind.isEmpty())
        return *this;
    return AnyView(std::make_shared<Background>(*this, behind, alignment));
}

}
