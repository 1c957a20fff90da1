// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSRunLoop.h"
#include "platform/QuartzCore/CADisplay.h"
#include "platform/QuartzCore/CALayer.h"

#include "drivers/offscreen/OffscreenDisplay.h"
#include "drivers/openDisplay.h"
#include "drivers/sdl/openWindow.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Environment.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/drivers/sdl/Desktop.h"

namespace velmora::tests {
namespace {

/// A window on a desktop that nobody sees, with real time and real events.
class Window : public testing::Test {
protected:
    void SetUp() override
    {
        if (!requireTool("Xvfb") || !requireTool("xdotool"))
            GTEST_SKIP() << "needs Xvfb and xdotool";
        desktop = std::make_unique<Desktop>();
        ASSERT_TRUE(desktop->runs());
        environment.emplace("DISPLAY", desktop->name());
    }
    void TearDown() override
    {
        display.reset();
        window.reset(); // before the desktop goes
    }
    void open(CGSize size = { 200, 150 }, double scale = 1)
    {
        window = drivers::sdl::openWindow("Velmora test", size, scale);
        display = make<CADisplay>(window);
        DisplayEvents events;
        events.touch = [this](const DisplayTouch& touch) { touches.push_back(touch); };
        events.key = [this](const DisplayKey& key) { keys.push_back(key); };
        events.modeChanged = [this](const DisplayMode& mode) { modes.push_back(mode); };
        display->setEventHandlers(std::move(events));
    }
    /// Turns the main run loop until it is so; the time limit is only for a test that fails.
    static bool comes(const std::function<bool()>& so)
    {
        for (int turns = 0; turns < 400 && !so(); ++turns)
            NSRunLoop::mainRunLoop().turn(0.05);
        return so();
    }
    static void user(const std::string& what)
    {
        const auto outcome = runCommand("xdotool " + what);
        ASSERT_EQ(outcome.status, 0) << outcome.output;
    }
    static void fill(const std::shared_ptr<CADisplay>& target)
    {
        for (int i = 0; i < 3; ++i) {
            const auto layer = CALayer::layer();
            layer->setFrame(CGRectMake(20.0 + 30 * i, 15.0 + 20 * i, 60, 50));
            layer->setCornerRadius(6.0 * i);
            layer->setBackgroundColor(CGColor { 0.9, 0.3 * i, 0.2, 0.4 + 0.3 * i });
            target->rootLayer()->addSublayer(layer);
        }
    }

    std::unique_ptr<Desktop> desktop;
    std::optional<Environment> environment;
    std::shared_ptr<DisplayDriver> window;
    std::shared_ptr<CADisplay> display;
    std::vector<DisplayTouch> touches;
    std::vector<DisplayKey> keys;
    std::vector<DisplayMode> modes;
};

TEST_F(Window, ShowsThePixelsThatTheDisplayInMemoryShows)
{
    open();
    fill(display);
    display->renderAll();

    const auto memory = drivers::offscreen::OffscreenDisplay::withSize({ 200, 150 }, 1);
    const auto other = make<CADisplay>(memory);
    fill(other);
    other->renderAll();
    const DisplayPixels shown = window->beginFrame();
    ASSERT_EQ(shown.mode, (DisplayMode { 200, 150, 1 }));
    for (std::size_t y = 0; y < 150; ++y)
        for (std::size_t x = 0; x < 200; ++x)
            ASSERT_EQ(
                std::memcmp(shown.data + y * shown.stride + 4 * x, memory->pixels().data() + 4 * (200 * y + x), 3), 0)
                << "at " << x << ", " << y;
}

TEST_F(Window, AClickIsATouchInPoints)
{
    open({ 200, 150 }, 2);
    user("search --sync --onlyvisible --name 'Velmora test' mousemove --window %1 100 60 mousedown 1");
    ASSERT_TRUE(comes([&] { return !touches.empty(); }));
    EXPECT_EQ(touches[0].phase, DisplayTouchPhase::Began);
    EXPECT_EQ(touches[0].point, CGPointMake(50, 30));

    user("search --name 'Velmora test' mousemove --window %1 120 80 mouseup 1");
    ASSERT_TRUE(comes([&] { return !touches.empty() && touches.back().phase == DisplayTouchPhase::Ended; }));
    ASSERT_GE(touches.size(), 3U);
    EXPECT_EQ(touches[1].phase, DisplayTouchPhase::Moved);
    EXPECT_EQ(touches.back().point, CGPointMake(60, 40));
    for (const auto& touch : touches)
        EXPECT_EQ(touch.id, touches[0].id) << "one pointer came as two";
}

TEST_F(Window, APointerWithoutAButtonIsNoTouch)
{
    open();
    user("search --sync --onlyvisible --name 'Velmora test' mousemove --window %1 10 10 mousemove --window %1 50 50");
    user("search --name 'Velmora test' click --window %1 3");
    user("search --name 'Velmora test' mousemove --window %1 70 50 click 1");
    ASSERT_TRUE(comes([&] { return touches.size() >= 2; }));
    EXPECT_EQ(touches[0].phase, DisplayTouchPhase::Began);
    EXPECT_EQ(touches[0].point, CGPointMake(70, 50));
    EXPECT_EQ(touches[1].phase, DisplayTouchPhase::Ended);
}

TEST_F(Window, AKeyIsNamedByWhatIsPrintedOnIt)
{
    open();
    user("search --sync --onlyvisible --name 'Velmora test' windowfocus %1 key space");
    ASSERT_TRUE(comes([&] { return keys.size() == 2; }));
    EXPECT_EQ(keys[0].name, "Space");
    EXPECT_EQ(keys[0].phase, DisplayKeyPhase::Pressed);
    EXPECT_EQ(keys[1].phase, DisplayKeyPhase::Released);
}

TEST_F(Window, ANewSizeReachesTheRootLayerAndIsDrawnWhole)
{
    open();
    display->renderIfNeeded();
    user("search --sync --onlyvisible --name 'Velmora test' windowsize %1 300 220");
    ASSERT_TRUE(comes([&] { return !modes.empty(); }));
    EXPECT_EQ(display->rootLayer()->bounds(), CGRectMake(0, 0, 300, 220));
    const auto pixels = display->counters().presentedPixels;
    display->rootLayer()->setBackgroundColor(CGColor { 0, 0, 1, 1 });
    ASSERT_TRUE(comes([&] { return display->counters().presentedPixels >= pixels + std::uint64_t { 300 } * 220; }));
    EXPECT_EQ(window->beginFrame().mode, (DisplayMode { 300, 220, 1 }));
}

TEST_F(Window, NoGraphicsLibraryComesWithIt)
{
    open();
    display->renderAll();
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        EXPECT_EQ(line.find("libGL"), std::string::npos) << line;
        EXPECT_EQ(line.find("libEGL"), std::string::npos) << line;
    }
}

TEST_F(Window, WithADesktopTheDefaultDisplayIsAWindow)
{
    const auto opened = drivers::openDisplay({ "Velmora test", { 100, 80 }, 1 });
    EXPECT_EQ(std::dynamic_pointer_cast<drivers::offscreen::OffscreenDisplay>(opened), nullptr);
    EXPECT_EQ(opened->mode(), (DisplayMode { 100, 80, 1 }));
}

TEST(DefaultDisplay, WithoutADesktopItIsMemory)
{
    const Environment none("DISPLAY", std::nullopt);
    const auto opened = drivers::openDisplay({ "Velmora test", { 100, 80 }, 2 });
    EXPECT_NE(std::dynamic_pointer_cast<drivers::offscreen::OffscreenDisplay>(opened), nullptr);
    EXPECT_EQ(opened->mode(), (DisplayMode { 200, 160, 2 }));
}

TEST(DefaultDisplay, ADesktopThatDoesNotRunIsNamedInTheLog)
{
    const Environment gone("DISPLAY", ":4711");
    CapturedLog log;
    const auto opened = drivers::openDisplay({ "Velmora test", { 100, 80 }, 1 });
    EXPECT_NE(std::dynamic_pointer_cast<drivers::offscreen::OffscreenDisplay>(opened), nullptr);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_NE(log.lines()[0].find("No window could be opened"), std::string::npos) << log.lines()[0];
}

}
}
