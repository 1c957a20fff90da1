// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSException.h"
#include "platform/ImageIO/ImageDecoder.h"

#include "drivers/media/install.h"

#include "tests/support/DisplayTest.h"
#include "tests/support/Pictures.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace velmora::tests {
namespace {

class Offscreen : public DisplayTest {
protected:
    Offscreen()
        : DisplayTest({ 50, 40 }, 2)
    {
    }
    static std::string contents(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        return { std::istreambuf_iterator<char>(file), {} };
    }
    TemporaryFolder folder;
};

TEST_F(Offscreen, WritesWhatItShowsAsAPNG)
{
    add(CGRectMake(10, 10, 20, 20), CGColor { 1, 0.5, 0, 1 });
    display->renderIfNeeded();
    const std::string path = folder.path() + "/screen.png";
    screen->writePNG(path);
    drivers::media::install();
    const auto picture = ImageDecoder::installed()->decodeFile(path);
    EXPECT_EQ(picture->width(), 100);
    EXPECT_EQ(picture->height(), 80);
    EXPECT_EQ(colourAt(*picture, 20, 20), (Color { 255, 128, 0 }));
    EXPECT_EQ(colourAt(*picture, 19, 20), (Color { 0, 0, 0 }));
}

TEST_F(Offscreen, TheSameFrameMakesTheSameFile)
{
    add(CGRectMake(10, 10, 20, 20), redColor);
    display->renderIfNeeded();
    screen->writePNG(folder.path() + "/a.png");
    display->renderAll();
    screen->writePNG(folder.path() + "/b.png");
    EXPECT_EQ(contents(folder.path() + "/a.png"), contents(folder.path() + "/b.png"));
}

TEST_F(Offscreen, AFileThatCannotBeWrittenIsNamed)
{
    try {
        screen->writePNG("/nowhere/screen.png");
        FAIL() << "nothing was thrown";
    } catch (const NSError& error) {
        EXPECT_NE(error.localizedDescription().find("/nowhere/screen.png"), std::string::npos);
    }
}

TEST_F(Offscreen, HandsOnTouchesWithTheirTime)
{
    std::vector<DisplayTouch> touches;
    DisplayEvents events;
    events.touch = [&](const DisplayTouch& touch) { touches.push_back(touch); };
    display->setEventHandlers(events);
    clock.advance(2);
    screen->touch(DisplayTouchPhase::Began, { 25, 20 }, 3);
    ASSERT_EQ(touches.size(), 1U);
    EXPECT_EQ(touches[0], (DisplayTouch { 3, DisplayTouchPhase::Began, { 25, 20 }, 2 }));
}

TEST_F(Offscreen, ImpossibleSizesAreRefused)
{
    using drivers::offscreen::OffscreenDisplay;
    EXPECT_THROW(OffscreenDisplay::withSize({ 0, 10 }, 1), NSException);
    EXPECT_THROW(OffscreenDisplay::withSize({ 10, 10 }, 0), NSException);
    EXPECT_THROW(OffscreenDisplay::withSize({ 20000, 10 }, 1), NSException);
    EXPECT_THROW(screen->colorAt(100, 0), NSException);
}

TEST_F(Offscreen, OpensOnlyWhenItIsAskedFor)
{
    int opened = 0;
    DisplayDriver::installOpening([&]() -> std::shared_ptr<DisplayDriver> {
        ++opened;
        return screen;
    });
    EXPECT_EQ(opened, 0);
    EXPECT_EQ(DisplayDriver::installed(), screen);
    EXPECT_EQ(DisplayDriver::installed(), screen);
    EXPECT_EQ(opened, 1);
    DisplayDriver::install(nullptr);
}

}
}
