// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIVisualEffectView.h"

#include "platform/QuartzCore/CABackdropLayer.h"
#include "platform/UIKit/InterfaceValues.h"
#include "platform/UIKit/UIColor.h"

#include <utility>

namespace velmora {

namespace {

constexpr double blurRadius = 10; // points
constexpr UIViewAutoresizing withTheView = UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight;

class BackdropView final : public UIView {
public:
    using UIView::UIView;
    std::shared_ptr<CALayer> makeLayer() const override { return CABackdropLayer::layer(); }
    void setBlurRadius(double radius) { static_cast<CABackdropLayer&>(*layer()).setBlurRadius(radius); }
};

/// What lies over the blurred picture.
std::shared_ptr<UIColor> veil(UIBlurEffectStyle style)
{
    switch (style) {
    case UIBlurEffectStyleExtraLight:
        return UIColor::colorWithWhite(1, 0.8);
    case UIBlurEffectStyleLight:
        return UIColor::colorWithWhite(1, 0.3);
    case UIBlurEffectStyleDark:
        break;
    }
    return UIColor::colorWithWhite(0, 0.5);
}

std::shared_ptr<UIVisualEffect> decodedEffect(const NSCoder& coder)
{
    const auto style = decodedNumber(coder, "blurStyle");
    if (!style)
        return nullptr;
    return UIBlurEffect::effectWithStyle(static_cast<UIBlurEffectStyle>(static_cast<std::int64_t>(*style)));
}

}

const ClassInfo& UIVisualEffect::staticClass()
{
    static const ClassInfo info { "Velmora.UIVisualEffect", &NSObject::staticClass() };
    return info;
}

UIBlurEffect::UIBlurEffect(UIBlurEffectStyle style)
    : style_(style)
{
}

const ClassInfo& UIBlurEffect::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIBlurEffect::style>("style"));
    static constexpr auto classMethods = methodTable(classMethod<&UIBlurEffect::effectWithStyle>("effectWithStyle:"));
    static const ClassInfo info { "Velmora.UIBlurEffect", &UIVisualEffect::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<UIBlurEffect> UIBlurEffect::effectWithStyle(UIBlurEffectStyle style)
{
    return make<UIBlurEffect>(style);
}

UIVibrancyEffect::UIVibrancyEffect(std::shared_ptr<UIBlurEffect> blur)
    : blur_(std::move(blur))
{
}

const ClassInfo& UIVibrancyEffect::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIVibrancyEffect::blurEffect>("blurEffect"));
    static constexpr auto classMethods
        = methodTable(classMethod<&UIVibrancyEffect::effectForBlurEffect>("effectForBlurEffect:"));
    static const ClassInfo info { "Velmora.UIVibrancyEffect", &UIVisualEffect::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<UIVibrancyEffect> UIVibrancyEffect::effectForBlurEffect(const std::shared_ptr<UIBlurEffect>& blur)
{
    return make<UIVibrancyEffect>(blur);
}

UIVisualEffectView::UIVisualEffectView(std::shared_ptr<UIVisualEffect> effect)
    : effect_(std::move(effect))
{
}

UIVisualEffectView::UIVisualEffectView(const NSCoder& coder)
    : UIView(coder)
    , effect_(decodedEffect(coder))
{
}

const ClassInfo& UIVisualEffectView::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIVisualEffectView::effect>("effect"),
        method<&UIVisualEffectView::setEffect>("setEffect:"), method<&UIVisualEffectView::contentView>("contentView"));
    static constexpr auto classMethods = methodTable(initialiser<UIVisualEffectView>("init"),
        initialiser<UIVisualEffectView, std::shared_ptr<UIVisualEffect>>("initWithEffect:"),
        initialiser<UIVisualEffectView, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.UIVisualEffectView", &UIView::staticClass(), methods, classMethods };
    return info;
}

void UIVisualEffectView::didConstruct()
{
    UIView::didConstruct();
    backdropView_ = make<BackdropView>(bounds());
    backdropView_->setUserInteractionEnabled(false);
    contentView_ = make<UIView>(bounds());
    for (const auto& view : { backdropView_, contentView_ }) {
        view->setAutoresizingMask(withTheView);
        addSubview(view);
    }
    show();
}

void UIVisualEffectView::setEffect(const std::shared_ptr<UIVisualEffect>& effect)
{
    effect_ = effect;
    show();
}

void UIVisualEffectView::show()
{
    const auto blur = std::dynamic_pointer_cast<UIBlurEffect>(effect_);
    backdropView_->setHidden(!blur);
    static_cast<BackdropView&>(*backdropView_).setBlurRadius(blur ? blurRadius : 0);
    backdropView_->setBackgroundColor(blur ? veil(blur->style()) : nullptr);

    const auto vibrancy = std::dynamic_pointer_cast<UIVibrancyEffect>(effect_);
    const bool dark = vibrancy && vibrancy->blurEffect() && vibrancy->blurEffect()->style() == UIBlurEffectStyleDark;
    contentView_->layer()->setCompositingFilter(vibrancy && !dark ? kCAFilterScreenBlendMode : "");
}

}
