// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIView.h"
#include "platform/UIKit/UIVisualEffect.h"

#include <memory>

namespace velmora {

/// Shows an effect where it stands; views are added to its content view.
class VELMORA_EXPORT UIVisualEffectView : public UIView {
public:
    /// No effect where it is empty.
    explicit UIVisualEffectView(std::shared_ptr<UIVisualEffect> effect = {});
    /// Reads "blurStyle" besides what views read.
    explicit UIVisualEffectView(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::shared_ptr<UIVisualEffect>& effect() const { return effect_; }
    void setEffect(const std::shared_ptr<UIVisualEffect>& effect);
    const std::shared_ptr<UIView>& contentView() const { return contentView_; }

protected:
    void didConstruct() override;

private:
    void show();

    std::shared_ptr<UIVisualEffect> effect_;
    std::shared_ptr<UIView> backdropView_, contentView_;
};

}
