// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreGraphics/CGContext.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/CoreGraphics/CGTextLayout.h"
#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/NSException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace velmora::tests {
namespace {

constexpr CGColor white { 1, 1, 1, 1 };

int alphaAt(const CGContext& context, int x, int y)
{
    return context.makeImage()->pixel(x, y)[3];
}

double coverage(const CGContext& context)
{
    const auto image = context.makeImage();
    double sum = 0;
    for (int y = 0; y < image->height(); ++y)
        for (int x = 0; x < image->width(); ++x)
            sum += image->pixel(x, y)[3] / 255.0;
    return sum / (context.scale() * context.scale());
}

void strokeVertical(CGContext& context)
{
    CGPath line;
    line.moveToPoint({ 5, 0 });
    line.addLineToPoint({ 5, 10 });
    context.setLineWidth(1);
    context.strokePath(line);
}

TEST(Transform, RotationByMinusPiEqualsItselfExactly)
{
    EXPECT_TRUE(CGAffineTransformEqualToTransform(
        CGAffineTransformMakeRotation(-std::numbers::pi), CGAffineTransformMakeRotation(-std::numbers::pi)));
    EXPECT_FALSE(CGAffineTransformIsIdentity(CGAffineTransformMakeRotation(-std::numbers::pi)));
}

TEST(Transform, TheFirstOfAConcatenationHappensFirst)
{
    const auto t = CGAffineTransformConcat(CGAffineTransformMakeScale(2, 2), CGAffineTransformMakeTranslation(10, 0));
    EXPECT_EQ(CGPointApplyAffineTransform({ 3, 4 }, t), CGPointMake(16, 8));
    const auto added = CGAffineTransformScale(CGAffineTransformMakeTranslation(10, 0), 2, 2);
    EXPECT_EQ(CGPointApplyAffineTransform({ 3, 4 }, added), CGPointMake(16, 8));
}

TEST(Transform, TheInverseLeadsBack)
{
    const CGAffineTransform t { 2, 1, -1, 3, 5, 7 };
    const CGPoint back
        = CGPointApplyAffineTransform(CGPointApplyAffineTransform({ 4, -2 }, t), CGAffineTransformInvert(t));
    EXPECT_NEAR(back.x, 4, 1e-12);
    EXPECT_NEAR(back.y, -2, 1e-12);
    const CGAffineTransform flat { 1, 1, 1, 1, 0, 0 };
    EXPECT_EQ(CGAffineTransformInvert(flat), flat);
}

TEST(Geometry, ARectangleContainsItsLeastEdgesOnly)
{
    const CGRect rect = CGRectMake(10, 20, 30, 40);
    EXPECT_TRUE(CGRectContainsPoint(rect, { 10, 20 }));
    EXPECT_FALSE(CGRectContainsPoint(rect, { 40, 20 }));
    EXPECT_FALSE(CGRectContainsPoint(rect, { 10, 60 }));
    EXPECT_EQ(CGRectInset(CGRectMake(50, 0, 200, 200), 10, 10), CGRectMake(60, 10, 180, 180));
    EXPECT_EQ(CGRectInset(CGRectMake(0, 0, 10, 10), 8, 2), CGRectMake(5, 2, 0, 6));
}

TEST(Path, ItsElementsCanBeLookedAt)
{
    CGPath path;
    path.moveToPoint({ 1, 2 });
    path.addLineToPoint({ 3, 4 });
    path.closeSubpath();
    ASSERT_EQ(path.elements().size(), 3U);
    EXPECT_EQ(path.elements()[0].type, kCGPathElementMoveToPoint);
    EXPECT_EQ(path.elements()[1].points[0], CGPointMake(3, 4));
    EXPECT_EQ(path.currentPoint(), CGPointMake(1, 2));
}

TEST(Path, TheBoundingBoxLiesAroundTheCurveNotItsControlPoints)
{
    CGPath path;
    path.moveToPoint({ 0, 0 });
    path.addCurveToPoint({ 0, 40 }, { 100, 40 }, { 100, 0 });
    EXPECT_EQ(path.boundingBox(), CGRectMake(0, 0, 100, 30)); // three quarters of the way to the controls
}

TEST(Path, AnArcRunsTheWayThatIsAsked)
{
    CGPath down, up;
    down.addArc({ 0, 0 }, 10, 0, std::numbers::pi, true);
    up.addArc({ 0, 0 }, 10, 0, std::numbers::pi, false);
    EXPECT_NEAR(CGRectGetMaxY(down.boundingBox()), 10, 0.01);
    EXPECT_NEAR(CGRectGetMinY(down.boundingBox()), 0, 0.01);
    EXPECT_NEAR(CGRectGetMinY(up.boundingBox()), -10, 0.01);
    EXPECT_NEAR(CGRectGetMaxY(up.boundingBox()), 0, 0.01);
}

TEST(Path, AFullTurnIsACircle)
{
    CGPath path;
    path.addArc({ 50, 50 }, 20, 0.3, 0.3 + 2 * std::numbers::pi, true);
    EXPECT_TRUE(path.containsPoint({ 50, 31 }));
    EXPECT_FALSE(path.containsPoint({ 50, 29 }));
}

TEST(Path, EvenOddLeavesOutWhatIsCoveredTwice)
{
    auto path = CGPath::withRect(CGRectMake(0, 0, 30, 30));
    path.addRect(CGRectMake(10, 10, 10, 10));
    EXPECT_TRUE(path.containsPoint({ 15, 15 }));
    EXPECT_FALSE(path.containsPoint({ 15, 15 }, true));
    EXPECT_TRUE(path.containsPoint({ 5, 5 }, true));
}

TEST(Path, ItIsTrimmedByLength)
{
    CGPath path;
    path.moveToPoint({ 0, 0 });
    path.addLineToPoint({ 100, 0 });
    path.addLineToPoint({ 100, 100 });
    const auto part = path.trimmed(0.25, 0.75);
    EXPECT_EQ(part.boundingBox(), CGRectMake(50, 0, 50, 50));
}

TEST(Drawing, ALineOfOnePointOnWholePointsCoversHalfAPixelOnBothSides)
{
    CGContext one({ 10, 10 }, 1), two({ 10, 10 }, 2), three({ 10, 10 }, 3);
    for (CGContext* context : { &one, &two, &three })
        strokeVertical(*context);
    EXPECT_NEAR(alphaAt(one, 4, 5), 128, 2);
    EXPECT_NEAR(alphaAt(one, 5, 5), 128, 2);
    EXPECT_EQ(alphaAt(two, 8, 5), 0);
    EXPECT_EQ(alphaAt(two, 9, 5), 255);
    EXPECT_EQ(alphaAt(two, 10, 5), 255);
    EXPECT_EQ(alphaAt(two, 11, 5), 0);
    EXPECT_NEAR(alphaAt(three, 13, 5), 128, 2);
    EXPECT_EQ(alphaAt(three, 14, 5), 255);
    EXPECT_EQ(alphaAt(three, 15, 5), 255);
    EXPECT_NEAR(alphaAt(three, 16, 5), 128, 2);
}

TEST(Drawing, AnEllipseHasItsArea)
{
    for (const double scale : { 1.0, 2.0, 3.0 }) {
        CGContext context({ 64, 64 }, scale);
        context.fillPath(CGPath::withEllipseInRect(CGRectMake(0, 0, 64, 64)));
        EXPECT_NEAR(coverage(context), 3216.99, 3216.99 * 0.005) << scale;
    }
}

TEST(Drawing, AClipCutsUntilItIsTakenBack)
{
    CGContext context({ 20, 20 }, 1);
    context.saveGState();
    context.clipToRect(CGRectMake(0, 0, 10, 20));
    context.fillRect(CGRectMake(0, 0, 20, 10));
    context.restoreGState();
    context.fillRect(CGRectMake(0, 10, 20, 10));
    EXPECT_EQ(alphaAt(context, 15, 5), 0);
    EXPECT_EQ(alphaAt(context, 5, 5), 255);
    EXPECT_EQ(alphaAt(context, 15, 15), 255);
    context.restoreGState(); // one too much
}

TEST(Drawing, OneOpaqueColourIsKnown)
{
    CGContext context({ 20, 20 }, 1);
    EXPECT_TRUE(context.isEmpty());
    EXPECT_EQ(context.soleColor(), std::nullopt);
    context.setFillColor(white);
    context.fillRect(CGRectMake(0, 0, 5, 5));
    context.setStrokeColor(white);
    context.strokeRect(CGRectMake(8, 8, 5, 5));
    EXPECT_EQ(context.soleColor(), white);
    context.setFillColor({ 1, 0, 0, 1 });
    context.fillRect(CGRectMake(0, 0, 1, 1));
    EXPECT_EQ(context.soleColor(), std::nullopt);
}

TEST(Drawing, ATransparentColourIsNotSole)
{
    CGContext context({ 20, 20 }, 1);
    context.setFillColor({ 1, 1, 1, 0.5 });
    context.fillRect(CGRectMake(0, 0, 5, 5));
    EXPECT_EQ(context.soleColor(), std::nullopt);
}

TEST(Drawing, ASizeThatNoMemoryHoldsIsRefused)
{
    EXPECT_THROW(CGContext({ 20000, 10 }, 1), NSException);
    EXPECT_THROW(CGContext({ std::numeric_limits<double>::quiet_NaN(), 10 }, 1), NSException);
}

TEST(Image, ATransparentBufferIsPremultiplied)
{
    const auto buffer = CVPixelBuffer::create(2, 1, kCVPixelFormatType_32BGRA);
    std::uint8_t* row = buffer->planes()[0].data;
    const std::uint8_t pixels[] = { 255, 100, 0, 128, 255, 100, 0, 255 };
    std::copy(std::begin(pixels), std::end(pixels), row);
    const auto image = CGImage::withPixelBuffer(buffer);
    EXPECT_FALSE(image->isOpaque());
    EXPECT_EQ(image->pixel(0, 0)[0], 128);
    EXPECT_EQ(image->pixel(0, 0)[1], 50);
    EXPECT_EQ(image->pixel(1, 0)[0], 255);
}

TEST(Image, AnOpaqueBufferIsHeldAsItIs)
{
    const auto buffer = CVPixelBuffer::create(2, 1, kCVPixelFormatType_32BGRA);
    std::fill_n(buffer->planes()[0].data, 8, std::uint8_t { 255 });
    EXPECT_EQ(CGImage::withPixelBuffer(buffer)->pixels(), buffer->planes()[0].data);
    EXPECT_EQ(CGImage::withPixelBuffer(nullptr), nullptr);
    EXPECT_THROW(CGImage::withPixels(2, 2, { 1, 2, 3 }), NSException);
}

TEST(Text, IsDrawnInsideItsMeasuredSize)
{
    CGTextStyle style;
    style.font.size = 18;
    const CGTextLayout text("Größe 1/125", style);
    const CGSize size = text.size();
    CGContext context({ std::ceil(size.width) + 20, std::ceil(size.height) + 20 }, 2);
    context.setFillColor(white);
    text.draw(context, { 10, 10 });
    const auto image = context.makeImage();
    int inside = 0, darkest = 0;
    for (int y = 0; y < image->height(); ++y)
        for (int x = 0; x < image->width(); ++x) {
            const int alpha = image->pixel(x, y)[3];
            darkest = std::max(darkest, alpha);
            inside += alpha > 0 ? 1 : 0;
            const bool within = x >= 18 && y >= 18 && x < image->width() - 18 && y < image->height() - 18;
            ASSERT_TRUE(within || alpha == 0) << x << ", " << y;
        }
    EXPECT_GT(inside, 200);
    EXPECT_GT(darkest, 240);
    EXPECT_EQ(context.soleColor(), white);
}

TEST(Text, BreaksAtItsWidthAndShortensAtItsLines)
{
    CGTextStyle style;
    const CGTextLayout free("one two three four five six", style);
    EXPECT_EQ(free.lineCount(), 1);
    style.width = free.size().width / 2;
    const CGTextLayout broken("one two three four five six", style);
    EXPECT_GE(broken.lineCount(), 2);
    EXPECT_LE(broken.size().width, style.width + 0.01);
    style.lines = 1;
    EXPECT_EQ(CGTextLayout("one two three four five six", style).lineCount(), 1);
}

TEST(Text, FitsTheSizeThatItWasMeasuredToHave)
{
    CGTextStyle style;
    for (const char* words : { "1/125", "ISO 400", "Auto", "Kamera" }) {
        style.width = 0;
        style.width = CGTextLayout(words, style).size().width;
        EXPECT_EQ(CGTextLayout(words, style).lineCount(), 1) << words;
    }
}

TEST(Text, BrokenBytesAndNothingAreMeasuredToo)
{
    EXPECT_GT(CGTextLayout("\xff\xfe").size().width, 0);
    EXPECT_EQ(CGTextLayout("").size().width, 0);
    EXPECT_GT(CGTextLayout("").size().height, 0);
}

TEST(Text, EasternLettersHaveGlyphs)
{
    const double box = CGTextLayout("\U000F0000").size().width; // no font has it
    for (const char* letter : { "カ", "相", "机" })
        EXPECT_NEAR(CGTextLayout(letter).size().width, 17, 1.5) << letter << " (a missing one is " << box << " wide)";
}

TEST(Text, BoldIsWiderAndMetricsAddUp)
{
    CGTextStyle regular, bold;
    bold.font.weight = 700;
    EXPECT_GT(CGTextLayout("Velmora", bold).size().width, CGTextLayout("Velmora", regular).size().width);
    EXPECT_GT(regular.font.ascender(), 0);
    EXPECT_LT(regular.font.descender(), 0);
    EXPECT_NEAR(CGTextLayout("Velmora", regular).size().height, regular.font.lineHeight(), 1);
}

}
}
