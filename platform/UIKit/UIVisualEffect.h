// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <memory>

namespace velmora {

enum UIBlurEffectStyle : std::int64_t {
    UIBlurEffectStyleExtraLight = 0,
    UIBlurEffectStyleLight = 1,
    UIBlurEffectStyleDark = 2,
};

/// What a UIVisualEffectView does with what lies beneath it. Immutable.
class VELMORA_EXPORT UIVisualEffect : public NSObject {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
};

/// Blurs it, and lightens or darkens it by the style.
class VELMORA_EXPORT UIBlurEffect : public UIVisualEffect {
public:
    explicit UIBlurEffect(UIBlurEffectStyle style);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
    static std::shared_ptr<UIBlurEffect> effectWithStyle(UIBlurEffectStyle style);

    UIBlurEffectStyle style() const { return style_; }

private:
    const UIBlurEffectStyle style_;
};

/// Lets it shine through the content, which brightens it (a light blur's) or covers it (a dark one's).
class VELMORA_EXPORT UIVibrancyEffect : public UIVisualEffect {
public:
    explicit UIVibrancyEffect(std::shared_ptr<UIBlurEffect> blur);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
    static std::shared_ptr<UIVibrancyEffect> effectForBlurEffect(const std::shared_ptr<UIBlurEffect>& blur);

    const std::shared_ptr<UIBlurEffect>& blurEffect() const { return blur_; } ///< may be empty

private:
    const std::shared_ptr<UIBlurEffect> blur_;
};

}
