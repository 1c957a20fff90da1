// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <memory>

namespace velmora {

enum UIUserInterfaceSizeClass : std::int64_t {
    UIUserInterfaceSizeClassUnspecified = 0,
    UIUserInterfaceSizeClassCompact = 1,
    UIUserInterfaceSizeClassRegular = 2,
};

/// How much room there is. Immutable.
class VELMORA_EXPORT UITraitCollection : public NSObject {
public:
    UITraitCollection(UIUserInterfaceSizeClass horizontal, UIUserInterfaceSizeClass vertical, double displayScale);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
    /// For so many points: below 600 across is compact, and so is below 480 down, which is a phone lying on its side.
    static std::shared_ptr<UITraitCollection> forSize(double width, double height, double displayScale);

    UIUserInterfaceSizeClass horizontalSizeClass() const { return horizontal_; }
    UIUserInterfaceSizeClass verticalSizeClass() const { return vertical_; }
    double displayScale() const { return displayScale_; } ///< pixels for a point
    bool isEqual(const NSObject* other) const override;

private:
    const UIUserInterfaceSizeClass horizontal_, vertical_;
    const double displayScale_;
};

}
