// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIColor.h"

#include "platform/CoreGraphics/CGContext.h"
#include "platform/UIKit/UIGraphics.h"

#include <sstream>

namespace velmora {

UIColor::UIColor(CGColor color)
    : color_(color)
{
}

const ClassInfo& UIColor::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIColor::cgColor>("CGColor"),
        method<&UIColor::colorWithAlphaComponent>("colorWithAlphaComponent:"), method<&UIColor::set>("set"),
        method<&UIColor::setFill>("setFill"), method<&UIColor::setStroke>("setStroke"));
    static constexpr auto classMethods = methodTable(classMethod<&UIColor::colorWithCGColor>("colorWithCGColor:"),
        classMethod<&UIColor::colorWithRed>("colorWithRed:green:blue:alpha:"),
        classMethod<&UIColor::colorWithWhite>("colorWithWhite:alpha:"), classMethod<&UIColor::blackColor>("blackColor"),
        classMethod<&UIColor::whiteColor>("whiteColor"), classMethod<&UIColor::clearColor>("clearColor"),
        classMethod<&UIColor::lightGrayColor>("lightGrayColor"), classMethod<&UIColor::grayColor>("grayColor"),
        classMethod<&UIColor::darkGrayColor>("darkGrayColor"), classMethod<&UIColor::redColor>("redColor"),
        classMethod<&UIColor::greenColor>("greenColor"), classMethod<&UIColor::blueColor>("blueColor"),
        classMethod<&UIColor::yellowColor>("yellowColor"), classMethod<&UIColor::orangeColor>("orangeColor"),
        classMethod<&UIColor::systemBlueColor>("systemBlueColor"));
    static const ClassInfo info { "Velmora.UIColor", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<UIColor> UIColor::colorWithCGColor(CGColor color)
{
    return make<UIColor>(color);
}

std::shared_ptr<UIColor> UIColor::colorWithRed(double red, double green, double blue, double alpha)
{
    return make<UIColor>(CGColor { red, green, blue, alpha });
}

std::shared_ptr<UIColor> UIColor::colorWithWhite(double white, double alpha)
{
    return colorWithRed(white, white, white, alpha);
}

std::shared_ptr<UIColor> UIColor::blackColor()
{
    return colorWithWhite(0);
}

std::shared_ptr<UIColor> UIColor::whiteColor()
{
    return colorWithWhite(1);
}

std::shared_ptr<UIColor> UIColor::clearColor()
{
    return colorWithWhite(0, 0);
}

std::shared_ptr<UIColor> UIColor::lightGrayColor()
{
    return colorWithWhite(2.0 / 3);
}

std::shared_ptr<UIColor> UIColor::grayColor()
{
    return colorWithWhite(0.5);
}

std::shared_ptr<UIColor> UIColor::darkGrayColor()
{
    return colorWithWhite(1.0 / 3);
}

std::shared_ptr<UIColor> UIColor::redColor()
{
    return colorWithRed(1, 0, 0);
}

std::shared_ptr<UIColor> UIColor::greenColor()
{
    return colorWithRed(0, 1, 0);
}

std::shared_ptr<UIColor> UIColor::blueColor()
{
    return colorWithRed(0, 0, 1);
}

std::shared_ptr<UIColor> UIColor::yellowColor()
{
    return colorWithRed(1, 1, 0);
}

std::shared_ptr<UIColor> UIColor::orangeColor()
{
    return colorWithRed(1, 0.5, 0);
}

std::shared_ptr<UIColor> UIColor::systemBlueColor()
{
    return colorWithRed(0, 122.0 / 255, 1);
}

std::shared_ptr<UIColor> UIColor::colorWithAlphaComponent(double alpha) const
{
    return colorWithRed(color_.red, color_.green, color_.blue, alpha);
}

void UIColor::set() const
{
    setFill();
    setStroke();
}

void UIColor::setFill() const
{
    if (auto* context = UIGraphicsGetCurrentContext())
        context->setFillColor(color_);
}

void UIColor::setStroke() const
{
    if (auto* context = UIGraphicsGetCurrentContext())
        context->setStrokeColor(color_);
}

bool UIColor::isEqual(const NSObject* other) const
{
    const auto* color = dynamic_cast<const UIColor*>(other);
    return color && color->color_ == color_;
}

std::string UIColor::description() const
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << "UIColor " << color_.red << ' ' << color_.green << ' ' << color_.blue << ' ' << color_.alpha;
    return text.str();
}

std::optional<CGColor> layerColorOf(const std::shared_ptr<UIColor>& color)
{
    return color ? std::optional(color->cgColor()) : std::nullopt;
}

bool sameColor(const std::shared_ptr<UIColor>& a, const std::shared_ptr<UIColor>& b)
{
    return a ? a->isEqual(b.get()) : !b;
}

}
