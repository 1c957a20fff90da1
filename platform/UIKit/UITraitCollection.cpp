// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UITraitCollection.h"

namespace velmora {

namespace {

constexpr double regularWidth = 600, regularHeight = 480; // points

}

UITraitCollection::UITraitCollection(
    UIUserInterfaceSizeClass horizontal, UIUserInterfaceSizeClass vertical, double displayScale)
    : horizontal_(horizontal)
    , vertical_(vertical)
    , displayScale_(displayScale)
{
}

const ClassInfo& UITraitCollection::staticClass()
{
    static constexpr auto methods = methodTable(method<&UITraitCollection::horizontalSizeClass>("horizontalSizeClass"),
        method<&UITraitCollection::verticalSizeClass>("verticalSizeClass"),
        method<&UITraitCollection::displayScale>("displayScale"));
    static const ClassInfo info { "Velmora.UITraitCollection", &NSObject::staticClass(), methods };
    return info;
}

std::shared_ptr<UITraitCollection> UITraitCollection::forSize(double width, double height, double displayScale)
{
    return make<UITraitCollection>(
        width < regularWidth ? UIUserInterfaceSizeClassCompact : UIUserInterfaceSizeClassRegular,
        height < regularHeight ? UIUserInterfaceSizeClassCompact : UIUserInterfaceSizeClassRegular, displayScale);
}

bool UITraitCollection::isEqual(const NSObject* other) const
{
    const auto* traits = dynamic_cast<const UITraitCollection*>(other);
    return traits && traits->horizontal_ == horizontal_ && traits->vertical_ == vertical_
        && traits->displayScale_ == displayScale_;
}

}
