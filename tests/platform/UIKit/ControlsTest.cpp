// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreGraphics/CGContext.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/NSBundle.h"
#include "platform/ImageIO/ImageDecoder.h"
#include "platform/UIKit/UIBezierPath.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIGraphics.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIVisualEffectView.h"

#include "drivers/media/install.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WindowTest.h"

#include <gtest/gtest.h>

#include <fstream>
#include <numbers>

namespace velmora::tests {
namespace {

class Pieces : public WindowTest {
protected:
    /// Brightness of the dullest and the brightest pixel of a rectangle of the screen.
    std::pair<int, int> extremes(int left, int top, int width, int height) const
    {
        int low = 255, high = 0;
        for (int y = top; y < top + height; ++y)
            for (int x = left; x < left + width; ++x) {
                low = std::min(low, colorAt(x, y)[0]);
                high = std::max(high, colorAt(x, y)[0]);
            }
        return { low, high };
    }
};

std::shared_ptr<const CGImage> redAndBlue() // left red, right blue, 2 by 1
{
    return CGImage::withPixels(2, 1, { 0, 0, 255, 255, 255, 0, 0, 255 });
}

TEST_F(Pieces, ColoursAreEqualByTheirComponents)
{
    EXPECT_TRUE(UIColor::redColor()->isEqual(UIColor::colorWithRed(1, 0, 0).get()));
    EXPECT_FALSE(UIColor::redColor()->isEqual(UIColor::colorWithRed(1, 0, 0, 0.5).get()));
    EXPECT_FALSE(UIColor::blackColor()->isEqual(nullptr));
    EXPECT_EQ(UIColor::clearColor()->cgColor(), (CGColor { 0, 0, 0, 0 }));
    EXPECT_NEAR(UIColor::lightGrayColor()->cgColor().green, 0.6667, 1e-4);
    EXPECT_EQ(UIColor::redColor()->colorWithAlphaComponent(0.25)->cgColor(), (CGColor { 1, 0, 0, 0.25 }));
}

TEST_F(Pieces, FontsSayTheirSize)
{
    EXPECT_EQ(UIFont::systemFontOfSize(14)->pointSize(), 14);
    EXPECT_FALSE(UIFont::systemFontOfSize(14)->isBold());
    EXPECT_TRUE(UIFont::boldSystemFontOfSize(18)->isBold());
    EXPECT_GT(UIFont::boldSystemFontOfSize(18)->lineHeight(), 18);
    EXPECT_TRUE(UIFont::systemFontOfSize(12)->isEqual(UIFont::systemFontOfSize(12).get()));
    EXPECT_FALSE(UIFont::systemFontOfSize(12)->isEqual(UIFont::boldSystemFontOfSize(12).get()));
}

TEST_F(Pieces, PathsShowTheirElements)
{
    const auto path = UIBezierPath::bezierPath();
    path->moveToPoint({ 1, 2 });
    path->addLineToPoint({ 3, 4 });
    path->closePath();
    const auto& elements = path->cgPath().elements();
    ASSERT_EQ(elements.size(), 3U);
    EXPECT_EQ(elements[0].type, kCGPathElementMoveToPoint);
    EXPECT_EQ(elements[1].points[0], CGPointMake(3, 4));
    EXPECT_EQ(elements[2].type, kCGPathElementCloseSubpath);
    EXPECT_EQ(UIBezierPath::bezierPathWithOvalInRect(CGRectMake(1, 2, 30, 40))->bounds(), CGRectMake(1, 2, 30, 40));
}

TEST_F(Pieces, PathsDrawIntoTheCurrentContext)
{
    const auto image = UIImage::imageByDrawing({ 20, 20 }, 1, [](CGContext&) {
        UIColor::redColor()->setStroke();
        UIColor::greenColor()->setFill();
        const auto ring = UIBezierPath::bezierPathWithOvalInRect(CGRectMake(2, 2, 16, 16));
        ring->appendPath(UIBezierPath::bezierPathWithOvalInRect(CGRectMake(6, 6, 8, 8)));
        ring->setUsesEvenOddFillRule(true);
        ring->fill();
        const auto line = UIBezierPath::bezierPath();
        line->moveToPoint({ 0, 10 });
        line->addLineToPoint({ 20, 10 });
        line->setLineWidth(2);
        line->stroke();
    });
    const auto pixel = [&](int x, int y) {
        const auto* p = image->cgImage()->pixel(x, y);
        return std::array<int, 4> { p[2], p[1], p[0], p[3] };
    };
    EXPECT_EQ(pixel(10, 4), (std::array { 0, 255, 0, 255 }));
    EXPECT_EQ(pixel(10, 7), (std::array { 0, 0, 0, 0 }));
    EXPECT_EQ(pixel(1, 10), (std::array { 255, 0, 0, 255 }));
    EXPECT_EQ(UIGraphicsGetCurrentContext(), nullptr);
}

TEST_F(Pieces, ALabelTakesTheSizeOfItsText)
{
    const auto label = add<UILabel>(CGRectMake(10, 10, 0, 0));
    label->setText("Shutter");
    label->sizeToFit();
    const CGRect first = label->frame();
    EXPECT_GT(first.size.width, 30);
    EXPECT_GT(first.size.height, 10);
    EXPECT_EQ(first.origin, CGPointMake(10, 10));
    label->setText("Shutter and more");
    label->sizeToFit();
    EXPECT_GT(label->frame().size.width, first.size.width);
    EXPECT_EQ(label->frame().size.height, first.size.height);
    label->setText(std::nullopt);
    label->sizeToFit();
    EXPECT_EQ(label->bounds().size, CGSizeZero);
}

TEST_F(Pieces, ALabelDrawsItsTextInsideItself)
{
    const auto label = add<UILabel>(CGRectMake(100, 100, 100, 40));
    label->setText("I");
    label->setTextColor(UIColor::whiteColor());
    label->setTextAlignment(NSTextAlignmentCenter);
    label->setFont(UIFont::boldSystemFontOfSize(18));
    render();
    EXPECT_GT(extremes(140, 105, 20, 30).second, 200); // in the middle
    EXPECT_EQ(extremes(100, 100, 35, 40).second, 0);
    label->setTextAlignment(NSTextAlignmentLeft);
    render();
    EXPECT_EQ(extremes(140, 105, 20, 30).second, 0);
    EXPECT_GT(extremes(100, 100, 35, 40).second, 200);
}

TEST_F(Pieces, ALabelsColourChangesInTimeAndWithoutDrawing)
{
    const auto label = add<UILabel>(CGRectMake(100, 100, 100, 40));
    label->setText("IIII");
    label->setTextColor(UIColor::whiteColor());
    render();
    const auto before = UIScreen::mainScreen()->display()->counters().rasterCount;
    UIView::animateWithDuration(
        1, 0, UIViewAnimationOptionCurveLinear, [&] { label->setTextColor(UIColor::colorWithWhite(0.2)); });
    clock.advance(0.5);
    EXPECT_NEAR(label->layer()->presentationLayer()->contentsTintColor()->red, 0.6, 1e-6);
    clock.advance(0.6);
    EXPECT_NEAR(extremes(100, 100, 60, 40).second, 51, 2);
    EXPECT_EQ(UIScreen::mainScreen()->display()->counters().rasterCount, before);
}

TEST_F(Pieces, ALabelBreaksIntoAsManyLinesAsItMay)
{
    const auto label = make<UILabel>(CGRectMake(0, 0, 60, 0));
    label->setText("one two three four five six");
    const double one = label->sizeThatFits({ 60, 0 }).height;
    label->setNumberOfLines(2);
    EXPECT_NEAR(label->sizeThatFits({ 60, 0 }).height, 2 * one, 2);
    label->setNumberOfLines(0);
    EXPECT_GT(label->sizeThatFits({ 60, 0 }).height, 2.5 * one);
}

TEST_F(Pieces, LabelsAndImageViewsLeaveTouchesToTheViewBelow)
{
    const auto control = add<UIControl>(CGRectMake(0, 0, 50, 50));
    control->addSubview(make<UILabel>(CGRectMake(0, 0, 50, 50)));
    control->addSubview(make<UIImageView>(CGRectMake(0, 0, 50, 50)));
    EXPECT_EQ(window->hitTest({ 10, 10 }, nullptr), control);
}

TEST_F(Pieces, AnImageViewTakesItsPicturesSize)
{
    const auto view = make<UIImageView>(UIImage::imageWithCGImage(redAndBlue(), 0.5, UIImageOrientationUp));
    EXPECT_EQ(view->bounds().size, CGSizeMake(4, 2));
}

TEST_F(Pieces, AnImageViewShowsItsPictureByItsContentMode)
{
    const auto view = add<UIImageView>(CGRectMake(0, 0, 40, 40));
    view->setImage(make<UIImage>(redAndBlue()));
    render();
    EXPECT_EQ(colorAt(2, 20), (std::array { 255, 0, 0 }));
    EXPECT_EQ(colorAt(2, 2), (std::array { 255, 0, 0 })); // stretched
    view->setContentMode(UIViewContentModeScaleAspectFit);
    render();
    EXPECT_EQ(colorAt(2, 2), (std::array { 0, 0, 0 }));
    EXPECT_EQ(colorAt(37, 20), (std::array { 0, 0, 255 }));
    view->setContentMode(UIViewContentModeCenter);
    render();
    EXPECT_EQ(colorAt(2, 20), (std::array { 0, 0, 0 }));
    EXPECT_EQ(colorAt(19, 20), (std::array { 255, 0, 0 }));
    view->setImage(nullptr);
    render();
    EXPECT_EQ(colorAt(19, 20), (std::array { 0, 0, 0 }));
}

TEST_F(Pieces, ATemplateIsShownInTheTint)
{
    const auto view = add<UIImageView>(CGRectMake(0, 0, 40, 40));
    view->setImage(make<UIImage>(redAndBlue())->imageWithRenderingMode(UIImageRenderingModeAlwaysTemplate));
    window->setTintColor(UIColor::greenColor());
    render();
    EXPECT_EQ(colorAt(2, 2), (std::array { 0, 255, 0 }));
}

struct Turned {
    UIImageOrientation orientation;
    int width, redX, redY;
};
class Orientations : public testing::TestWithParam<Turned> { };

/// The stored picture is red on the left and blue on the right.
TEST_P(Orientations, TurnThePictureUpright)
{
    const auto image = make<UIImage>(redAndBlue(), 1, GetParam().orientation);
    const auto upright = image->uprightImage();
    EXPECT_EQ(upright->width(), GetParam().width);
    EXPECT_EQ(upright->height(), 3 - GetParam().width);
    EXPECT_EQ(image->size(), CGSizeMake(GetParam().width, 3 - GetParam().width));
    EXPECT_EQ(upright->pixel(GetParam().redX, GetParam().redY)[2], 255);
}

INSTANTIATE_TEST_SUITE_P(All, Orientations,
    testing::Values(Turned { UIImageOrientationUp, 2, 0, 0 }, Turned { UIImageOrientationDown, 2, 1, 0 },
        Turned { UIImageOrientationLeft, 1, 0, 1 }, Turned { UIImageOrientationRight, 1, 0, 0 },
        Turned { UIImageOrientationUpMirrored, 2, 1, 0 }, Turned { UIImageOrientationDownMirrored, 2, 0, 0 },
        Turned { UIImageOrientationLeftMirrored, 1, 0, 0 }, Turned { UIImageOrientationRightMirrored, 1, 0, 1 }));

TEST_F(Pieces, SymbolsAreTemplatesOfOurs)
{
    for (const char* name : { "camera", "camera.fill", "chevron.down", "chevron.compact.down", "chevron.left", "plus",
             "minus", "bolt.fill", "bolt.slash.fill", "timer", "xmark", "photo" }) {
        const auto symbol = UIImage::systemImageNamed(name);
        ASSERT_TRUE(symbol) << name;
        EXPECT_TRUE(symbol->isTemplate());
        EXPECT_EQ(symbol->size(), CGSizeMake(24, 24));
    }
    EXPECT_EQ(UIImage::systemImageNamed("nothing.of.this.name"), nullptr);
    const auto minus = UIImage::systemImageNamed("minus");
    EXPECT_EQ(minus->cgImage()->pixel(12, 12)[3], 255);
    EXPECT_EQ(minus->cgImage()->pixel(12, 5)[3], 0);
}

class PicturesOnDisk : public WindowTest {
protected:
    PicturesOnDisk()
    {
        drivers::media::install();
        const auto display = drivers::offscreen::OffscreenDisplay::withSize({ 4, 2 }, 1);
        display->writePNG(folder.path() + "/plain.png");
        display->writePNG(folder.path() + "/sharp@2x.png");
    }
    TemporaryFolder folder;
    std::shared_ptr<NSBundle> bundle = make<NSBundle>("org.example.pictures", folder.path());
};

TEST_F(PicturesOnDisk, AreFoundByNameWithTheirScale)
{
    EXPECT_EQ(UIImage::imageNamed("plain", bundle)->size(), CGSizeMake(4, 2));
    EXPECT_EQ(UIImage::imageNamed("plain.png", bundle)->size(), CGSizeMake(4, 2));
    EXPECT_EQ(UIImage::imageNamed("sharp", bundle)->size(), CGSizeMake(2, 1));
    EXPECT_EQ(UIImage::imageNamed("missing", bundle), nullptr);
}

TEST_F(PicturesOnDisk, SayWhyTheyCannotBeRead)
{
    std::ofstream(folder.path() + "/broken.png") << "no picture";
    CapturedLog log;
    EXPECT_EQ(UIImage::imageWithContentsOfFile(folder.path() + "/broken.png"), nullptr);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_NE(log.lines()[0].find("broken.png"), std::string::npos);
}

TEST_F(Pieces, AButtonShowsTheTitleOfItsState)
{
    const auto button = add<UIButton>(CGRectMake(0, 0, 100, 40), UIButtonTypeSystem);
    button->setTitle("CAMERA", UIControlStateNormal);
    button->setTitle("GONE", UIControlStateDisabled);
    EXPECT_EQ(button->titleForState(UIControlStateNormal), "CAMERA");
    EXPECT_EQ(button->titleForState(UIControlStateSelected), std::nullopt);
    EXPECT_EQ(button->titleLabel()->text(), "CAMERA");
    button->setEnabled(false);
    EXPECT_EQ(button->titleLabel()->text(), "GONE");
    button->setEnabled(true);
    EXPECT_EQ(button->currentTitle(), "CAMERA");
}

TEST_F(Pieces, ASystemButtonsTitleHasTheTint)
{
    const auto button = add<UIButton>(CGRectMake(0, 0, 100, 40), UIButtonTypeSystem);
    button->setTintColor(UIColor::redColor());
    EXPECT_TRUE(button->titleLabel()->textColor()->isEqual(UIColor::redColor().get()));
    button->setTitleColor(UIColor::greenColor(), UIControlStateNormal);
    EXPECT_TRUE(button->titleLabel()->textColor()->isEqual(UIColor::greenColor().get()));
}

TEST_F(Pieces, AButtonPutsPictureAndTitleInItsMiddle)
{
    const auto button = add<UIButton>(CGRectMake(0, 0, 200, 40));
    button->setTitle("Go", UIControlStateNormal);
    button->setImage(UIImage::systemImageNamed("camera"), UIControlStateNormal);
    button->layoutIfNeeded();
    const CGRect image = button->imageView()->frame(), title = button->titleLabel()->frame();
    EXPECT_EQ(image.size, CGSizeMake(24, 24));
    EXPECT_EQ(CGRectGetMinX(title) - CGRectGetMaxX(image), 4);
    EXPECT_NEAR((CGRectGetMinX(image) + CGRectGetMaxX(title)) / 2, 100, 1e-9);
    EXPECT_EQ(button->sizeThatFits(CGSizeZero).width, 24 + 4 + title.size.width);
}

TEST_F(Pieces, AButtonIsPaleWhileItIsPressed)
{
    const auto button = add<UIButton>(CGRectMake(0, 0, 100, 40));
    touchDown({ 10, 10 });
    EXPECT_LT(button->titleLabel()->alpha(), 0.5);
    lift({ 10, 10 });
    EXPECT_EQ(button->titleLabel()->alpha(), 1);
}

class Blur : public Pieces {
protected:
    Blur()
    {
        add(CGRectMake(0, 0, 320, 240))->setBackgroundColor(UIColor::whiteColor());
        view = make<UIVisualEffectView>(UIBlurEffect::effectWithStyle(UIBlurEffectStyleDark));
        view->setFrame(CGRectMake(100, 140, 120, 200));
        window->addSubview(view);
        render();
    }
    std::shared_ptr<UIVisualEffectView> view;
};

TEST_F(Blur, SoftensTheEdgeBeneathAndLeavesTheRest)
{
    EXPECT_EQ(colorAt(50, 239)[0], 255);
    EXPECT_EQ(colorAt(50, 240)[0], 0);
    EXPECT_EQ(colorAt(99, 239)[0], 255);
    EXPECT_NEAR(colorAt(160, 150)[0], 128, 1); // white under half a veil
    EXPECT_NEAR(colorAt(160, 240)[0], 64, 4); // half of it beneath the edge
    EXPECT_NEAR(colorAt(160, 250)[0], 20, 4); // a deviation from it: 0.159 of the white
    EXPECT_EQ(colorAt(160, 300)[0], 0);
}

TEST_F(Blur, FollowsWhatChangesBeneathIt)
{
    const auto patch = make<UIView>(CGRectMake(90, 280, 140, 40));
    patch->setBackgroundColor(UIColor::whiteColor());
    window->insertSubviewBelow(patch, view);
    render();
    EXPECT_GT(colorAt(160, 300)[0], 100);
    const auto after = screen->pixels();
    UIScreen::mainScreen()->display()->renderAll();
    EXPECT_TRUE(after == screen->pixels());
}

TEST_F(Blur, IsTheSameWhenSomethingCoversPartOfIt)
{
    const auto cover = add(CGRectMake(150, 200, 100, 100));
    cover->setBackgroundColor(UIColor::redColor());
    render();
    const int before = colorAt(145, 245)[0];
    cover->removeFromSuperview();
    render();
    EXPECT_EQ(colorAt(145, 245)[0], before);
    EXPECT_NEAR(colorAt(200, 240)[0], 64, 4);
}

TEST_F(Blur, WorksInRoundCornersAndHalfTransparent)
{
    view->layer()->setCornerRadius(30);
    view->setClipsToBounds(true);
    render();
    EXPECT_EQ(colorAt(101, 141)[0], 255); // outside the corner
    EXPECT_NEAR(colorAt(160, 240)[0], 64, 4);
    view->setAlpha(0.5);
    render();
    EXPECT_NEAR(colorAt(160, 150)[0], 191, 2);
    const auto after = screen->pixels();
    UIScreen::mainScreen()->display()->renderAll();
    EXPECT_TRUE(after == screen->pixels());
}

TEST_F(Blur, ContentLiesOverIt)
{
    const auto dot = make<UIView>(CGRectMake(10, 10, 10, 10));
    dot->setBackgroundColor(UIColor::blueColor());
    view->contentView()->addSubview(dot);
    render();
    EXPECT_EQ(colorAt(115, 155), (std::array { 0, 0, 255 }));
}

TEST_F(Blur, VibrancyBrightensWhatLiesBeneath)
{
    view->setEffect(UIVibrancyEffect::effectForBlurEffect(UIBlurEffect::effectWithStyle(UIBlurEffectStyleLight)));
    const auto dot = make<UIView>(CGRectMake(0, 0, 120, 200));
    dot->setBackgroundColor(UIColor::colorWithWhite(0.5));
    view->contentView()->addSubview(dot);
    render();
    EXPECT_EQ(colorAt(160, 150)[0], 255);
    EXPECT_NEAR(colorAt(160, 300)[0], 128, 1);
}

}
}
