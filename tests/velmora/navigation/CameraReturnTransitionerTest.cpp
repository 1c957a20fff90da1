// SPDX-License-Identifier: Apache-2.0
#include "velmora/navigation/QVCameraReturnTransitioner.h"

#include "platform/UIKit/UIViewControllerTransitionCoordinator.h"

#include <gmock/gmock.h>
#include <malloc.h>

#include <array>
#include <map>
#include <numbers>
#include <optional>
#include <vector>

#include "tests/velmora/navigation/ReturnTest.h"

namespace velmora::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A transition made by hand.
class Context : public UIViewControllerContextTransitioning {
public:
    std::shared_ptr<UIView> containerView() const override { return place; }
    std::shared_ptr<UIViewController> viewControllerForKey(const std::string& key) const override
    {
        return key == UITransitionContextFromViewControllerKey ? from
            : key == UITransitionContextToViewControllerKey    ? to
                                                               : nullptr;
    }
    std::shared_ptr<UIView> viewForKey(const std::string&) const override { return nullptr; } // controllers are asked
    bool isInteractive() const override { return interactive; }
    CGRect initialFrameForViewController(const std::shared_ptr<UIViewController>&) const override { return CGRectZero; }
    CGRect finalFrameForViewController(const std::shared_ptr<UIViewController>& controller) const override
    {
        const auto found = finalFrames.find(controller.get());
        return found == finalFrames.end() ? place->frame() : found->second;
    }
    void completeTransition(bool didComplete) override { completed.push_back(didComplete); }

    std::shared_ptr<UIView> place;
    std::shared_ptr<UIViewController> from, to;
    bool interactive = false;
    std::map<const UIViewController*, CGRect> finalFrames;
    std::vector<bool> completed;
};

/// A camera screen's view: writes down how it is moved and how often it is laid out.
class CameraView : public UIView {
public:
    using UIView::UIView;
    void setCenter(CGPoint center) override
    {
        animation = currentAnimation();
        UIView::setCenter(center);
    }
    void layoutSubviews() override { ++layouts; }
    std::optional<UIViewAnimation> animation;
    int layouts = 0;
};

/// How far a critically damped spring that lasts half a second has come after a quarter, a half and three quarters.
constexpr double quarter = 0.671068, half = 0.944477, threeQuarters = 0.992211;

/// A container of 300 x 400 points at (10, 30), unless a test says otherwise.
class Transitioner : public ReturnTest {
protected:
    Transitioner()
    {
        camera->setView(cameraView);
        window->setRootViewController(nullptr);
        window->addSubview(cameraView);
        context->place = add(CGRectMake(10, 30, 300, 400));
    }
    ~Transitioner() override { context->place->removeFromSuperview(); }
    void present()
    {
        context->from = camera;
        context->to = container;
        transitioner->setIsPresenting(true);
        transitioner->animateTransition(context);
    }
    /// With the container's view in its place.
    void dismiss()
    {
        context->from = container;
        context->to = camera;
        cameraView->removeFromSuperview();
        context->place->addSubview(container->view());
        transitioner->animateTransition(context);
    }
    /// Other places to stay at than the frame of the context's container.
    void giveFinalFrames()
    {
        context->finalFrames
            = { { camera.get(), CGRectMake(1, 2, 300, 400) }, { container.get(), CGRectMake(3, 4, 300, 400) } };
    }
    void turn(double radians)
    {
        container->view()->setTransform(CGAffineTransformMakeRotation(radians));
        context->place->setFrame(CGRectMake(10, 30, 400, 300));
    }
    static CGRect shown(const std::shared_ptr<UIView>& view) { return view->layer()->presentationLayer()->frame(); }

    /// Of the camera screen and of the container at 0, 1/4, 1/2, 3/4 and 1 of the time.
    struct Places {
        std::array<CGPoint, 5> camera, photos;
    };
    Places sample()
    {
        Places places;
        for (std::size_t i = 0; i < 5; ++i) {
            places.camera[i] = shown(transitioner->cameraView()).origin;
            places.photos[i] = shown(transitioner->photosView()).origin;
            clock.advance(0.125);
        }
        return places;
    }
    static void expectPlaces(const std::array<CGPoint, 5>& places, double x0, double y0, double x, double y)
    {
        constexpr std::array<double, 5> way { 0, quarter, half, threeQuarters, 1 };
        for (std::size_t i = 0; i < 5; ++i) {
            EXPECT_NEAR(places[i].x, x0 + way[i] * (x - x0), 1e-3) << i;
            EXPECT_NEAR(places[i].y, y0 + way[i] * (y - y0), 1e-3) << i;
        }
    }

    std::shared_ptr<CameraView> cameraView = make<CameraView>(CGRectMake(0, 0, 320, 480));
    std::shared_ptr<Context> context = std::make_shared<Context>();
    std::shared_ptr<QVCameraReturnTransitioner> transitioner = make<QVCameraReturnTransitioner>();
};

TEST_F(Transitioner, TakesHalfASecond)
{
    EXPECT_EQ(transitioner->transitionDuration(context), 0.5);
    EXPECT_FALSE(transitioner->isPresenting());
}

TEST_F(Transitioner, MovesByACurveWithoutAName)
{
    present();
    ASSERT_TRUE(cameraView->animation);
    EXPECT_EQ(*cameraView->animation, (UIViewAnimation { 0.5, 0, static_cast<UIViewAnimationOptions>(0x70000), 0, 0 }));
}

// Presenting.

TEST_F(Transitioner, PresentingRaisesTheContainerFromBelowAndMovesTheCameraUp)
{
    present();
    EXPECT_EQ(container->view()->superview(), context->place);
    EXPECT_EQ(transitioner->photosView(), container->view());
    EXPECT_EQ(transitioner->cameraView(), cameraView);
    EXPECT_EQ(cameraView->superview(), window);
    const auto places = sample();
    // From (10, 430) to the frame of the context's container; the camera by the height of its bounds.
    expectPlaces(places.photos, 10, 430, 10, 30);
    expectPlaces(places.camera, 0, 0, 0, -400);
}

TEST_F(Transitioner, PresentingSamplesTheHandWrittenPlaces)
{
    context->place->setFrame(CGRectMake(0, 0, 320, 480));
    present();
    const std::array<double, 5> photos { 480, 157.888, 26.651, 3.739, 0 };
    const std::array<double, 5> cameras { 240, -82.112, -213.349, -236.261, -240 };
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_NEAR(shown(container->view()).origin.y, photos[i], 1e-2) << i;
        EXPECT_NEAR(cameraView->layer()->presentationLayer()->position().y, cameras[i], 1e-2) << i;
        EXPECT_EQ(context->completed.size(), i / 4);
        clock.advance(0.125);
    }
}

TEST_F(Transitioner, PresentingMovesTheCenterByTheBoundsOfTheContextsContainerAndTakesItsFrame)
{
    context->place->setTransform(CGAffineTransformMakeScale(0.5, 0.5)); // 150 x 200 at (85, 130)
    ASSERT_EQ(context->place->frame(), CGRectMake(85, 130, 150, 200));
    present();
    EXPECT_EQ(shown(container->view()), CGRectMake(85, 330, 150, 200));
    EXPECT_EQ(container->view()->frame(), CGRectMake(85, 130, 150, 200));
    EXPECT_EQ(cameraView->center(), CGPointMake(160, 240 - 400));
}

TEST_F(Transitioner, PresentingLaysTheCameraOutFirst)
{
    render();
    const int before = cameraView->layouts;
    cameraView->setNeedsLayout();
    present();
    EXPECT_EQ(cameraView->layouts, before + 1);
}

TEST_F(Transitioner, PresentingEndsWithTheContainerAlone)
{
    giveFinalFrames();
    container->loadViewIfNeeded();
    container->view()->setHidden(true);
    present();
    clock.advance(0.4);
    EXPECT_THAT(context->completed, IsEmpty());
    EXPECT_EQ(cameraView->superview(), window);
    clock.advance(0.2);
    EXPECT_THAT(context->completed, ElementsAre(true));
    EXPECT_EQ(cameraView->superview(), nullptr);
    EXPECT_FALSE(container->view()->isHidden());
    EXPECT_EQ(container->view()->frame(), CGRectMake(3, 4, 300, 400));
    EXPECT_EQ(container->view()->superview(), context->place);
}

// Dismissing.

TEST_F(Transitioner, DismissingSlidesAPictureDownWhileTheCameraDropsInFromAbove)
{
    dismiss();
    EXPECT_EQ(transitioner->cameraView(), cameraView);
    EXPECT_NE(transitioner->photosView(), container->view());
    EXPECT_THAT(context->place->subviews(), ElementsAre(container->view(), cameraView, transitioner->photosView()));
    EXPECT_EQ(shown(cameraView).size, CGSizeMake(300, 400));
    EXPECT_EQ(shown(transitioner->photosView()).size, CGSizeMake(300, 400));
    const auto places = sample();
    // From -h to the frame's y; from there to h, wherever the frame begins.
    expectPlaces(places.camera, 10, -400, 10, 30);
    expectPlaces(places.photos, 10, 30, 10, 400);
}

TEST_F(Transitioner, DismissingSamplesTheHandWrittenPlaces)
{
    context->place->setFrame(CGRectMake(0, 0, 320, 480));
    dismiss();
    const std::array<double, 5> cameras { -480, -157.888, -26.651, -3.739, 0 };
    const std::array<double, 5> photos { 0, 322.112, 453.349, 476.261, 480 };
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_NEAR(shown(cameraView).origin.y, cameras[i], 1e-2) << i;
        EXPECT_NEAR(shown(transitioner->photosView()).origin.y, photos[i], 1e-2) << i;
        clock.advance(0.125);
    }
}

TEST_F(Transitioner, AWideTurnedContainerGoesToTheRightWhileTheCameraComesFromTheLeft)
{
    turn(std::numbers::pi / 2);
    dismiss();
    EXPECT_EQ(transitioner->photosView()->transform(), CGAffineTransformMakeRotation(std::numbers::pi / 2));
    const auto places = sample();
    expectPlaces(places.camera, -400, 30, 10, 30);
    expectPlaces(places.photos, 10, 30, 400, 30);
}

TEST_F(Transitioner, DismissingSidewaysSamplesTheHandWrittenPlaces)
{
    turn(-std::numbers::pi / 2);
    context->place->setFrame(CGRectMake(0, 0, 480, 320));
    dismiss();
    const std::array<double, 5> cameras { -480, -157.888, -26.651, -3.739, 0 };
    const std::array<double, 5> photos { 0, 322.112, 453.349, 476.261, 480 };
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_NEAR(shown(cameraView).origin.x, cameras[i], 1e-2) << i;
        EXPECT_NEAR(shown(transitioner->photosView()).origin.x, photos[i], 1e-2) << i;
        EXPECT_NEAR(shown(cameraView).origin.y, 0, 1e-9) << i;
        clock.advance(0.125);
    }
}

TEST_F(Transitioner, AWideContainerThatIsNotTurnedGoesDown)
{
    context->place->setFrame(CGRectMake(10, 30, 400, 300));
    dismiss();
    expectPlaces(sample().photos, 10, 30, 10, 300);
}

TEST_F(Transitioner, AWideContainerThatIsTurnedByAHalfGoesDownAndItsPictureStandsUpright)
{
    turn(-std::numbers::pi);
    dismiss();
    EXPECT_EQ(transitioner->photosView()->transform(), CGAffineTransformIdentity);
    const auto places = sample();
    expectPlaces(places.photos, 10, 30, 10, 300);
    expectPlaces(places.camera, 10, -300, 10, 30);
}

TEST_F(Transitioner, AHalfTurnTheOtherWayIsATurn)
{
    turn(std::numbers::pi);
    dismiss();
    EXPECT_EQ(transitioner->photosView()->transform(), CGAffineTransformMakeRotation(std::numbers::pi));
    expectPlaces(sample().photos, 10, 30, 400, 30);
}

TEST_F(Transitioner, ATallOrSquareContainerThatIsTurnedGoesDown)
{
    for (const double width : { 200., 300. }) {
        turn(std::numbers::pi / 2);
        context->place->setFrame(CGRectMake(10, 30, width, 300));
        dismiss();
        const CGRect end = transitioner->photosView()->frame();
        EXPECT_NEAR(end.origin.x, 10, 1e-9) << width;
        EXPECT_NEAR(end.origin.y, 300, 1e-9) << width;
        clock.advance(1);
    }
}

TEST_F(Transitioner, TheContainersPictureIsTakenWithoutWaiting)
{
    dismiss();
    const auto picture = std::dynamic_pointer_cast<UISnapshotView>(transitioner->photosView());
    ASSERT_TRUE(picture);
    EXPECT_FALSE(picture->isAfterScreenUpdates());
}

TEST_F(Transitioner, DismissingEndsWithTheCameraAlone)
{
    giveFinalFrames();
    cameraView->setHidden(true);
    dismiss();
    const std::weak_ptr<UIView> picture = transitioner->photosView();
    clock.advance(0.4);
    EXPECT_THAT(context->completed, IsEmpty());
    clock.advance(0.2);
    EXPECT_THAT(context->completed, ElementsAre(true));
    EXPECT_FALSE(cameraView->isHidden());
    EXPECT_EQ(cameraView->frame(), CGRectMake(1, 2, 300, 400));
    EXPECT_THAT(context->place->subviews(), ElementsAre(cameraView));
    transitioner = nullptr;
    EXPECT_TRUE(picture.expired());
}

// In an interactive context.

TEST_F(Transitioner, AnInteractiveDismissalPreparesItsViewsAndStops)
{
    context->interactive = true;
    dismiss();
    const auto picture = std::dynamic_pointer_cast<UISnapshotView>(transitioner->cameraView());
    ASSERT_TRUE(picture);
    EXPECT_TRUE(picture->isAfterScreenUpdates());
    EXPECT_FALSE(std::dynamic_pointer_cast<UISnapshotView>(transitioner->photosView())->isAfterScreenUpdates());
    EXPECT_THAT(context->place->subviews(), ElementsAre(container->view(), picture, transitioner->photosView()));
    clock.advance(1);
    EXPECT_EQ(picture->frame(), CGRectMake(10, -400, 300, 400));
    EXPECT_EQ(transitioner->photosView()->frame(), CGRectMake(10, 30, 300, 400));
    EXPECT_THAT(context->completed, IsEmpty());
}

TEST_F(Transitioner, AnInteractivePresentationMovesAllTheSame)
{
    context->interactive = true;
    present();
    clock.advance(1);
    EXPECT_EQ(transitioner->cameraView(), cameraView);
    EXPECT_THAT(context->completed, ElementsAre(true));
}

// Cleaning up.

TEST_F(Transitioner, CleaningUpRemovesBothPictures)
{
    giveFinalFrames();
    context->interactive = true;
    dismiss();
    transitioner->performSelector(
        "_finish:completed:", std::static_pointer_cast<UIViewControllerContextTransitioning>(context), true);
    EXPECT_THAT(context->place->subviews(), IsEmpty());
    EXPECT_EQ(cameraView->frame(), CGRectMake(1, 2, 300, 400));
    EXPECT_THAT(context->completed, ElementsAre(true));
}

TEST_F(Transitioner, CleaningUpWhatDidNotCompleteKeepsTheOneThatWouldHaveGone)
{
    giveFinalFrames();
    dismiss();
    container->view()->setHidden(true);
    transitioner->performSelector(
        "_finish:completed:", std::static_pointer_cast<UIViewControllerContextTransitioning>(context), false);
    EXPECT_FALSE(container->view()->isHidden());
    EXPECT_EQ(container->view()->frame(), CGRectMake(3, 4, 300, 400));
    EXPECT_THAT(context->place->subviews(), ElementsAre(container->view()));
    EXPECT_EQ(cameraView->superview(), nullptr);
    EXPECT_THAT(context->completed, ElementsAre(false));
    context->completed.clear();
}

TEST_F(Transitioner, APresentationThatDidNotCompleteKeepsTheCamera)
{
    giveFinalFrames();
    present();
    transitioner->performSelector(
        "_finish:completed:", std::static_pointer_cast<UIViewControllerContextTransitioning>(context), false);
    EXPECT_EQ(cameraView->superview(), window);
    EXPECT_EQ(cameraView->frame(), CGRectMake(1, 2, 300, 400));
    EXPECT_EQ(container->view()->superview(), nullptr);
    EXPECT_THAT(context->completed, ElementsAre(false));
}

TEST_F(Transitioner, WithoutAControllerNothingIsCleanedUpAndNothingCompletes)
{
    for (const bool lacksTo : { true, false }) {
        dismiss();
        const auto picture = transitioner->photosView();
        (lacksTo ? context->to : context->from) = nullptr;
        clock.advance(1);
        EXPECT_THAT(context->completed, IsEmpty());
        EXPECT_EQ(picture->superview(), context->place);
        EXPECT_EQ(container->view()->superview(), context->place);
        picture->removeFromSuperview();
    }
}

TEST_F(Transitioner, WithoutACameraScreenTheContainerMovesAlone)
{
    context->to = container;
    transitioner->setIsPresenting(true);
    transitioner->animateTransition(context);
    EXPECT_EQ(transitioner->cameraView(), nullptr);
    clock.advance(1);
    EXPECT_EQ(container->view()->frame(), CGRectMake(10, 30, 300, 400));
    EXPECT_THAT(context->completed, IsEmpty());
    context->from = container;
    context->to = nullptr;
    transitioner->setIsPresenting(false);
    transitioner->animateTransition(context);
    EXPECT_EQ(transitioner->photosView()->frame(), CGRectMake(10, 400, 300, 400));
    clock.advance(1);
    EXPECT_THAT(context->completed, IsEmpty());
}

TEST_F(Transitioner, AnInterruptedTransitionReportsCompletionAllTheSame)
{
    dismiss();
    clock.advance(0.1);
    UIView::animateWithDuration(2, [&] {
        cameraView->setFrame(CGRectMake(0, 0, 10, 10));
        transitioner->photosView()->setFrame(CGRectMake(0, 0, 10, 10));
    });
    clock.advance(0.1);
    EXPECT_THAT(context->completed, ElementsAre(true));
}

TEST_F(Transitioner, OnlyContainersAreMoved)
{
    const auto plain = make<UIViewController>();
    context->from = plain;
    context->to = camera;
    EXPECT_DEATH(transitioner->animateTransition(context), "QVCameraReturnViewController only");
    transitioner->setIsPresenting(true);
    EXPECT_DEATH(transitioner->animateTransition(context), "QVCameraReturnViewController only");
}

// As the camera screen presents it.

class Transition : public ReturnTest {
protected:
    static std::size_t countViews(const std::shared_ptr<UIView>& view)
    {
        std::size_t count = 1;
        for (const auto& inside : view->subviews())
            count += countViews(inside);
        return count;
    }
    static std::size_t countLayers(const std::shared_ptr<CALayer>& layer)
    {
        std::size_t count = 1;
        for (const auto& inside : layer->sublayers())
            count += countLayers(inside);
        return count;
    }
    static double topOf(const std::shared_ptr<UIView>& view)
    {
        return view->layer()->presentationLayer()->frame().origin.y;
    }
};

TEST_F(Transition, TheContainerPushesTheCameraOffTheScreen)
{
    camera->presentViewController(container, true);
    EXPECT_EQ(topOf(container->view()), 480);
    EXPECT_EQ(topOf(camera->view()), 0);
    clock.advance(0.125);
    EXPECT_NEAR(topOf(container->view()), 157.888, 1e-2);
    EXPECT_NEAR(topOf(camera->view()), -322.112, 1e-2);
    settle();
    EXPECT_EQ(camera->view()->window(), nullptr);
    EXPECT_EQ(container->view()->frame(), CGRectMake(0, 0, 320, 480));
}

TEST_F(Transition, TheCameraPushesThePictureOffTheScreen)
{
    present();
    container->dismiss();
    EXPECT_EQ(topOf(camera->view()), -480);
    clock.advance(0.125);
    EXPECT_NEAR(topOf(camera->view()), -157.888, 1e-2);
    settle();
    EXPECT_EQ(camera->view()->frame(), CGRectMake(0, 0, 320, 480));
    EXPECT_EQ(camera->view()->superview(), window);
    EXPECT_EQ(container->view()->superview(), nullptr);
}

TEST_F(Transition, ATurnedContainerOnAWideScreenGoesToTheRight)
{
    screen->setSize({ 480, 320 }, 1);
    container->view()->setTransform(CGAffineTransformMakeRotation(-std::numbers::pi / 2));
    present();
    EXPECT_NEAR(container->view()->bounds().size.width, 320, 1e-9);
    container->dismiss();
    EXPECT_EQ(camera->view()->layer()->presentationLayer()->frame(), CGRectMake(-480, 0, 480, 320));
    clock.advance(0.125);
    EXPECT_NEAR(camera->view()->layer()->presentationLayer()->frame().origin.x, -157.888, 1e-2);
    settle();
    EXPECT_EQ(camera->view()->frame(), CGRectMake(0, 0, 480, 320));
    EXPECT_FALSE(isPresented());
}

TEST_F(Transition, TheSamePlacesMeetOnTheScreen)
{
    container->setBarColor(UIColor::redColor());
    camera->view()->setBackgroundColor(UIColor::blueColor());
    present();
    container->dismiss();
    clock.advance(0.05);
    render();
    const int seam = static_cast<int>(topOf(camera->view()) + 480);
    ASSERT_GT(seam, 20);
    ASSERT_LT(seam, 440);
    EXPECT_EQ(colorAt(5, seam - 3), (std::array<int, 3> { 0, 0, 255 }));
    EXPECT_EQ(colorAt(5, seam + 5), (std::array<int, 3> { 255, 0, 0 }));
    settle();
}

TEST_F(Transition, PresentingAndDismissingFiveHundredTimesLeavesNothingBehind)
{
    constexpr int warmUp = 100, times = 500;
    const std::size_t views = countViews(window), layers = countLayers(window->layer());
    std::size_t inUse = 0;
    for (int i = 0; i < warmUp + times; ++i) {
        page = make<Page>();
        contain(page);
        present();
        ASSERT_TRUE(isPresented());
        if (i % 2 == 0) {
            page->scrollView->setDragging(true);
            page->scrollView->setContentOffset({ 0, -144 });
            page->scrollView->setDragging(false);
            page->scrollView->setContentOffset({ 0, -143 });
        } else {
            container->dismiss();
        }
        const std::array<std::weak_ptr<NSObject>, 7> held { container, page, page->scrollView,
            container->navigationController(), container->view(), container->barView(),
            container->barViewHeightConstraint() };
        settle();
        ASSERT_FALSE(isPresented());
        page = nullptr;
        container = nullptr;
        for (const auto& each : held)
            ASSERT_TRUE(each.expired());
        ASSERT_EQ(countViews(window), views);
        ASSERT_EQ(countLayers(window->layer()), layers);
        if (i == warmUp)
            inUse = mallinfo2().uordblks;
    }
    EXPECT_LT(mallinfo2().uordblks, inUse + 10'000); // bytes; sanitizers count none
}

}
}
