// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/QuartzCore/CADisplay.h"
#include "platform/QuartzCore/CALayer.h"

#include "drivers/offscreen/OffscreenDisplay.h"

#include "tests/support/SteppedTest.h"

#include <array>
#include <memory>
#include <utility>

namespace velmora::tests {

/// A display in memory, 100 by 80 points at scale 1 unless a test says otherwise; everything runs on the test's own
/// thread, and time is moved by hand.
class DisplayTest : public SteppedTest {
protected:
    explicit DisplayTest(CGSize size = { 100, 80 }, double scale = 1)
        : screen(drivers::offscreen::OffscreenDisplay::withSize(size, scale))
        , display(make<CADisplay>(screen))
    {
    }

    std::shared_ptr<CALayer> add(CGRect frame, std::optional<CGColor> color = std::nullopt)
    {
        auto layer = CALayer::layer();
        layer->setFrame(frame);
        layer->setBackgroundColor(color);
        display->rootLayer()->addSublayer(layer);
        return layer;
    }
    std::array<int, 3> colorAt(int x, int y) const { return screen->colorAt(x, y); }

    std::shared_ptr<drivers::offscreen::OffscreenDisplay> screen;
    std::shared_ptr<CADisplay> display;
};

using Color = std::array<int, 3>;
inline constexpr CGColor redColor { 1, 0, 0, 1 }, greenColor { 0, 1, 0, 1 }, blueColor { 0, 0, 1, 1 },
    whiteColor { 1, 1, 1, 1 };

}
