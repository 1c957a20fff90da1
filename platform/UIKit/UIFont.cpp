// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIFont.h"

namespace velmora {

namespace {

constexpr int regularWeight = 400, boldWeight = 700;

std::shared_ptr<UIFont> made(double size, int weight, bool italic = false)
{
    CGFont font;
    font.size = size > 0 ? size : UIFont::labelFontSize();
    font.weight = weight;
    font.italic = italic;
    return make<UIFont>(font);
}

}

UIFont::UIFont(CGFont font)
    : font_(std::move(font))
{
}

const ClassInfo& UIFont::staticClass()
{
    static constexpr auto methods = methodTable(method<&UIFont::pointSize>("pointSize"),
        method<&UIFont::ascender>("ascender"), method<&UIFont::descender>("descender"),
        method<&UIFont::lineHeight>("lineHeight"), method<&UIFont::fontWithSize>("fontWithSize:"));
    static constexpr auto classMethods = methodTable(classMethod<&UIFont::systemFontOfSize>("systemFontOfSize:"),
        classMethod<&UIFont::boldSystemFontOfSize>("boldSystemFontOfSize:"),
        classMethod<&UIFont::italicSystemFontOfSize>("italicSystemFontOfSize:"),
        classMethod<&UIFont::labelFontSize>("labelFontSize"), classMethod<&UIFont::buttonFontSize>("buttonFontSize"));
    static const ClassInfo info { "Velmora.UIFont", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<UIFont> UIFont::systemFontOfSize(double size)
{
    return made(size, regularWeight);
}

std::shared_ptr<UIFont> UIFont::boldSystemFontOfSize(double size)
{
    return made(size, boldWeight);
}

std::shared_ptr<UIFont> UIFont::italicSystemFontOfSize(double size)
{
    return made(size, regularWeight, true);
}

std::shared_ptr<UIFont> UIFont::fontWithSize(double size) const
{
    return made(size, font_.weight, font_.italic);
}

bool UIFont::isEqual(const NSObject* other) const
{
    const auto* font = dynamic_cast<const UIFont*>(other);
    return font && font->font_ == font_;
}

}
