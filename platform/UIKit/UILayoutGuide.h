// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/NSObject.h"

#include <memory>

namespace velmora {

class UIView;

/// The part of a view that its safe area leaves, as something that constraints can name. Main thread only.
class VELMORA_EXPORT UILayoutGuide : public NSObject {
public:
    explicit UILayoutGuide(const std::weak_ptr<UIView>& view);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    std::shared_ptr<UIView> owningView() const { return view_.lock(); }
    CGRect layoutFrame() const; ///< in the view's coordinates; CGRectZero when it has gone

private:
    const std::weak_ptr<UIView> view_;
};

}
