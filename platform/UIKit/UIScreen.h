// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/NSObject.h"

#include <memory>

namespace velmora {

class CADisplay;

/// What windows are shown on. Main thread only.
class VELMORA_EXPORT UIScreen : public NSObject {
public:
    /// On the installed display driver, which opens its display now; a screen without a size where there is none.
    static std::shared_ptr<UIScreen> mainScreen();
    /// In place of the one above, until the process's state is reset; empty: that one again.
    static void setMainScreen(const std::shared_ptr<UIScreen>& screen);

    /// `display` may be empty.
    explicit UIScreen(std::shared_ptr<CADisplay> display);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    CGRect bounds() const; ///< points
    double scale() const; ///< pixels for a point; 1 without a display
    const std::shared_ptr<CADisplay>& display() const { return display_; }

private:
    const std::shared_ptr<CADisplay> display_;
};

}
