// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/SwiftUI/View.h"

#include <memory>

namespace velmora {

/// A view that shows a description, filling itself with it. Main thread only.
class VELMORA_EXPORT UIHostingView : public UIView {
public:
    explicit UIHostingView(AnyView root = {}, CGRect frame = CGRectZero);
    ~UIHostingView() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const AnyView& rootView() const { return root_; }
    /// Views of the same kind stay, and are updated.
    void setRootView(const AnyView& root);

    void layoutSubviews() override;

protected:
    void didConstruct() override;

private:
    AnyView root_;
    std::shared_ptr<UIView> shown_;
};

}
