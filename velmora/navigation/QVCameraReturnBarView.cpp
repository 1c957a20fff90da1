// SPDX-License-Identifier: Apache-2.0
#include "velmora/navigation/QVCameraReturnBarView.h"

namespace velmora {

QVCameraReturnBarView::QVCameraReturnBarView(CGRect frame)
    : UIView(frame)
{
}

QVCameraReturnBarView::QVCameraReturnBarView(const NSCoder& coder)
    : UIView(coder)
{
}

const ClassInfo& QVCameraReturnBarView::staticClass()
{
    using Self = QVCameraReturnBarView;
    static constexpr auto methods = methodTable(method<&Self::tintColorDidChange>("tintColorDidChange"));
    static constexpr auto classMethods = methodTable(initialiser<Self>("init"),
        initialiser<Self, CGRect>("initWithFrame:"), initialiser<Self, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.QVCameraReturnBarView", &UIView::staticClass(), methods, classMethods };
    return info;
}

void QVCameraReturnBarView::tintColorDidChange()
{
    UIView::tintColorDidChange();
    setBackgroundColor(tintColor());
}

}
