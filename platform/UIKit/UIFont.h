// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGTextLayout.h"
#include "platform/Foundation/NSObject.h"

#include <memory>

namespace velmora {

/// Letters of one family, weight and size. Immutable.
class VELMORA_EXPORT UIFont : public NSObject {
public:
    explicit UIFont(CGFont font);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    // Sizes in points; a size of 0 or less counts as the size of labels.
    static std::shared_ptr<UIFont> systemFontOfSize(double size);
    static std::shared_ptr<UIFont> boldSystemFontOfSize(double size);
    static std::shared_ptr<UIFont> italicSystemFontOfSize(double size);
    static double labelFontSize() { return 17; }
    static double buttonFontSize() { return 18; }

    const CGFont& font() const { return font_; }
    double pointSize() const { return font_.size; }
    double ascender() const { return font_.ascender(); }
    double descender() const { return font_.descender(); } ///< negative
    double lineHeight() const { return font_.lineHeight(); }
    bool isBold() const { return font_.weight >= 600; }
    std::shared_ptr<UIFont> fontWithSize(double size) const;

    bool isEqual(const NSObject* other) const override;

private:
    const CGFont font_;
};

}
