// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIView.h"

namespace velmora {

/// A view as one area of its tint colour. Main thread only.
class VELMORA_EXPORT QVCameraReturnBarView : public UIView {
public:
    explicit QVCameraReturnBarView(CGRect frame = CGRectZero);
    explicit QVCameraReturnBarView(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    void tintColorDidChange() override;
};

}
