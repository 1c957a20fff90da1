// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/QuartzCore/CADisplay.h"

#include "drivers/offscreen/OffscreenDisplay.h"

#include "tests/support/SessionTest.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace velmora::tests {
namespace {

using Color = std::array<int, 3>;

constexpr int scaled = 4; // levels that scaling of chroma by whole weights may lose

/// Levels of luma, blueness and redness.
struct Tone {
    std::uint8_t y, cb, cr;
};
// One for each quarter of the sensor's picture: top left, top right, bottom left, bottom right.
constexpr std::array<Tone, 4> tones { { { 100, 100, 180 }, { 150, 90, 90 }, { 80, 170, 110 }, { 200, 128, 128 } } };
constexpr std::array<Color, 4> shown { { { 173, 73, 50 }, { 97, 190, 83 }, { 55, 78, 154 }, { 200, 200, 200 } } };

std::shared_ptr<CVPixelBuffer> quarters(int width = 640, int height = 480)
{
    auto buffer = CVPixelBuffer::create(width, height, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
    const auto tone = [&](int x, int y) {
        return tones[static_cast<std::size_t>((2 * x >= width ? 1 : 0) + (2 * y >= height ? 2 : 0))];
    };
    const auto &luma = buffer->planes()[0], &chroma = buffer->planes()[1];
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            luma.data[static_cast<std::size_t>(y) * luma.stride + static_cast<std::size_t>(x)] = tone(x, y).y;
    for (int y = 0; y < height; y += 2)
        for (int x = 0; x < width; x += 2) {
            std::uint8_t* pair
                = chroma.data + static_cast<std::size_t>(y / 2) * chroma.stride + static_cast<std::size_t>(x);
            pair[0] = tone(x, y).cb;
            pair[1] = tone(x, y).cr;
        }
    return buffer;
}

/// A preview layer of the back camera on a display of 300 by 400 pixels, for frames that the test makes or the camera.
class Preview : public SessionTest {
protected:
    Preview()
    {
        add("back");
        layer = AVCaptureVideoPreviewLayer::initWithSession(session);
        layer->setFrame(CGRectMake(0, 0, 300, 400));
        display->rootLayer()->addSublayer(layer);
        settle();
    }
    void show(const std::shared_ptr<CVPixelBuffer>& frame)
    {
        layer->receive(make<CMSampleBuffer>(frame, CMTimeMake(1, 30), 1));
        display->renderIfNeeded();
    }
    void expectColour(CGPoint at, Color expected, const char* where)
    {
        const Color seen = screen->colorAt(static_cast<int>(at.x), static_cast<int>(at.y));
        for (std::size_t c = 0; c < 3; ++c)
            EXPECT_NEAR(seen[c], expected[c], scaled) << where << ", component " << c;
    }

    std::shared_ptr<drivers::offscreen::OffscreenDisplay> screen
        = drivers::offscreen::OffscreenDisplay::withSize({ 300, 400 }, 1);
    std::shared_ptr<CADisplay> display = make<CADisplay>(screen);
    std::shared_ptr<AVCaptureVideoPreviewLayer> layer;
};

TEST_F(Preview, EveryPlaceOfTheSensorIsShownWhereItIsConvertedTo)
{
    show(quarters());
    constexpr std::array<CGPoint, 4> middles { { { 0.25, 0.25 }, { 0.75, 0.25 }, { 0.25, 0.75 }, { 0.75, 0.75 } } };
    for (int orientation = 1; orientation <= 4; ++orientation)
        for (const bool mirrored : { false, true })
            for (const char* gravity : { AVLayerVideoGravityResize, AVLayerVideoGravityResizeAspect }) {
                SCOPED_TRACE(std::to_string(orientation) + (mirrored ? " mirrored " : " ") + gravity);
                layer->connection()->setVideoOrientation(static_cast<AVCaptureVideoOrientation>(orientation));
                layer->connection()->setVideoMirrored(mirrored);
                layer->setVideoGravity(gravity);
                display->renderIfNeeded();
                for (std::size_t i = 0; i < 4; ++i) {
                    const CGPoint at = layer->pointForCaptureDevicePointOfInterest(middles[i]);
                    expectColour(at, shown[i], "quarter");
                    const CGPoint back = layer->captureDevicePointOfInterestForPoint(at);
                    EXPECT_NEAR(back.x, middles[i].x, 1e-12);
                    EXPECT_NEAR(back.y, middles[i].y, 1e-12);
                }
            }
}

TEST_F(Preview, HeldUprightTheSensorsLeftIsAbove)
{
    show(quarters()); // 480 by 640 upright, exactly the layer's shape
    expectColour({ 75, 100 }, shown[2], "the sensor's bottom left is at the top left");
    expectColour({ 225, 100 }, shown[0], "top right");
    expectColour({ 75, 300 }, shown[3], "bottom left");
    expectColour({ 225, 300 }, shown[1], "bottom right");
}

TEST_F(Preview, AspectLeavesBarsAndFillCutsTheSides)
{
    layer->setFrame(CGRectMake(0, 0, 300, 200));
    clock.advance(0.3); // layers without a view move there
    show(quarters());
    EXPECT_EQ(layer->videoRect(), CGRectMake(75, 0, 150, 200));
    expectColour({ 70, 100 }, { 0, 0, 0 }, "the bar");
    expectColour({ 80, 50 }, shown[2], "beside it");

    layer->setVideoGravity(AVLayerVideoGravityResizeAspectFill);
    display->renderIfNeeded();
    EXPECT_EQ(layer->videoRect(), CGRectMake(0, -100, 300, 400));
    expectColour({ 5, 5 }, shown[2], "the corner");
    expectColour({ 5, 220 }, { 0, 0, 0 }, "below the layer");
}

TEST_F(Preview, APictureOfItsOwnSizeIsConvertedWithinTwoLevels)
{
    layer->connection()->setVideoOrientation(AVCaptureVideoOrientationLandscapeRight); // the sensor's own
    layer->setFrame(CGRectMake(0, 0, 160, 120));
    clock.advance(0.3);
    layer->setVideoGravity(AVLayerVideoGravityResize);
    const auto frame = CVPixelBuffer::create(160, 120, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
    const auto &luma = frame->planes()[0], &chroma = frame->planes()[1];
    for (std::size_t y = 0; y < 120; ++y)
        for (std::size_t x = 0; x < 160; ++x)
            luma.data[y * luma.stride + x] = static_cast<std::uint8_t>(40 + x);
    for (std::size_t y = 0; y < 60; ++y)
        for (std::size_t x = 0; x < 160; ++x)
            chroma.data[y * chroma.stride + x] = static_cast<std::uint8_t>(x % 2 == 0 ? 108 + y : 98 + x / 4);
    show(frame);
    for (int y = 0; y < 120; y += 7)
        for (int x = 0; x < 160; x += 11) {
            const double Y = 40 + x, cb = 108 + y / 2 - 128, cr = 98 + (x / 2 * 2 + 1) / 4 - 128;
            const auto seen = screen->colorAt(x, y);
            EXPECT_NEAR(seen[0], std::clamp(Y + 1.402 * cr, 0.0, 255.0), 2);
            EXPECT_NEAR(seen[1], std::clamp(Y - 0.344136 * cb - 0.714136 * cr, 0.0, 255.0), 2);
            EXPECT_NEAR(seen[2], std::clamp(Y + 1.772 * cb, 0.0, 255.0), 2);
        }
}

TEST_F(Preview, DamageLimitedFramesEqualFullOnes)
{
    show(quarters());
    const auto mark = CALayer::layer();
    mark->setBackgroundColor(CGColor { 1, 1, 1, 0.5 });
    mark->setFrame(CGRectMake(11, 13, 33, 27));
    display->rootLayer()->addSublayer(mark);
    for (int step = 0; step < 20; ++step) {
        mark->setPosition({ 31.0 + 13 * step, 300.0 - 11 * step });
        display->renderIfNeeded();
        const auto partly = screen->pixels();
        display->renderAll();
        ASSERT_EQ(partly, screen->pixels()) << "after step " << step;
    }
    EXPECT_EQ(display->counters().previewConversions, 1U) << "one frame is scaled once, however often it is drawn";
}

TEST_F(Preview, ARunningCameraIsShownAtItsRate)
{
    session->startRunning();
    clock.advance(1);
    const auto before = display->counters();
    clock.advance(1);
    EXPECT_NEAR(static_cast<double>(display->counters().frames - before.frames), 30, 1);
    EXPECT_EQ(
        display->counters().previewConversions - before.previewConversions, display->counters().frames - before.frames);
    EXPECT_EQ(display->counters().rasterCount, before.rasterCount);
    EXPECT_EQ(display->counters().previewCopies, 0U);
}

TEST_F(Preview, TheLastFrameStaysWhenTheSessionStops)
{
    session->startRunning();
    clock.advance(0.5);
    session->stopRunning();
    clock.advance(0.5);
    const auto pixels = screen->pixels();
    const auto frames = display->counters().frames;
    EXPECT_NE(pixels[4 * (300 * 200 + 150)], 0);
    clock.advance(5);
    EXPECT_EQ(display->counters().frames, frames);
    EXPECT_EQ(screen->pixels(), pixels);
}

TEST_F(Preview, BehindAClosedShutterNothingIsConvertedAndNobodyWakes)
{
    session->startRunning();
    clock.advance(0.5);
    const auto shutter = CALayer::layer();
    shutter->setFrame(CGRectMake(0, 0, 300, 400));
    shutter->setBackgroundColor(CGColor { 0, 0, 0, 1 });
    display->rootLayer()->addSublayer(shutter);
    clock.advance(0.1);
    const auto before = display->counters();
    clock.advance(2);
    EXPECT_EQ(display->counters().previewConversions, before.previewConversions);
    EXPECT_EQ(display->counters().frames, before.frames);
    EXPECT_EQ(display->counters().ticks, before.ticks);

    shutter->removeFromSuperlayer();
    clock.advance(1);
    EXPECT_GE(display->counters().frames, before.frames + 29);
}

TEST_F(Preview, OfFramesThatComeFasterThanTheDisplayOnlyTheNewestIsShown)
{
    clock.advance(0.1);
    const auto before = display->counters().previewConversions;
    for (int i = 0; i < 5; ++i)
        layer->receive(make<CMSampleBuffer>(quarters(), CMTimeMake(i, 30), 1));
    clock.advance(0.1);
    EXPECT_EQ(display->counters().previewConversions - before, 1U);
}

TEST_F(Preview, FramesAreHeldNotCopied)
{
    auto frame = quarters();
    const std::weak_ptr<CVPixelBuffer> weak = frame;
    show(frame);
    frame.reset();
    EXPECT_FALSE(weak.expired());
    show(quarters());
    EXPECT_TRUE(weak.expired()) << "only the newest one is held";
}

TEST_F(Preview, WithoutACameraItShowsNothing)
{
    show(quarters());
    session->removeInput(session->inputs().front());
    clock.advance(0.1);
    EXPECT_EQ(screen->colorAt(150, 200), (Color { 0, 0, 0 }));
    EXPECT_EQ(layer->pointForCaptureDevicePointOfInterest({ 0.1, 0.9 }), CGPointMake(150, 200));
}

TEST_F(Preview, ATranslucentOneLetsTheGroundShineThrough)
{
    display->rootLayer()->setBackgroundColor(CGColor { 0, 0, 1, 1 });
    layer->setOpacity(0.5);
    clock.advance(0.3);
    show(quarters());
    expectColour({ 225, 100 }, { 87, 36, 152 }, "half the picture, half blue");
}

}
}
