// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UILayoutGuide.h"

#include "platform/UIKit/UIView.h"

namespace velmora {

UILayoutGuide::UILayoutGuide(const std::weak_ptr<UIView>& view)
    : view_(view)
{
}

const ClassInfo& UILayoutGuide::staticClass()
{
    static constexpr auto methods = methodTable(
        method<&UILayoutGuide::owningView>("owningView"), method<&UILayoutGuide::layoutFrame>("layoutFrame"));
    static const ClassInfo info { "Velmora.UILayoutGuide", &NSObject::staticClass(), methods };
    return info;
}

CGRect UILayoutGuide::layoutFrame() const
{
    const auto view = owningView();
    return view ? UIEdgeInsetsInsetRect(view->bounds(), view->safeAreaInsets()) : CGRectZero;
}

}
