// SPDX-License-Identifier: Apache-2.0
// A camera screen that presents its photos in a container which leads back to it. Draws one moment of that into
// camera_return.png:  camera_return [rest|pulled|armed|presenting|dismissing|sideways] [WIDTH HEIGHT]
#include "velmora/Velmora.h"

#include "platform/Foundation/ManualClock.h"
#include "platform/QuartzCore/CADisplay.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UIScrollView.h"
#include "platform/UIKit/UIWindow.h"

#include "drivers/installDefaults.h"
#include "drivers/offscreen/OffscreenDisplay.h"
#include "drivers/phone/VirtualPhone.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <string>

using namespace velmora;

namespace {

/// Coloured tiles in the place of photos. It has the bar, and can be pulled down.
class Photos : public UIViewController, public QVCCameraReturnViewControllerChild {
public:
    bool prefersCameraReturnBarHidden() override { return false; }
    bool prefersFullScreenWhenCameraReturnBarHidden() override { return false; }
    bool allowsDragToDismiss() override { return true; }

    void viewDidLoad() override
    {
        UIViewController::viewDidLoad();
        setTitle("Photos");
        view()->setBackgroundColor(UIColor::whiteColor());
        scrollView_ = make<UIScrollView>(view()->bounds());
        scrollView_->setAlwaysBounceVertical(true);
        view()->addSubview(scrollView_); // the first subview: the one that the container watches
        for (int i = 0; i < tiles; ++i) {
            const auto tile = make<UIView>();
            const double hue = i * 0.7;
            tile->setBackgroundColor(UIColor::colorWithRed(
                0.55 + 0.3 * std::sin(hue), 0.55 + 0.3 * std::sin(hue + 2), 0.55 + 0.3 * std::sin(hue + 4)));
            scrollView_->addSubview(tile);
        }
    }
    void viewDidLayoutSubviews() override
    {
        UIViewController::viewDidLayoutSubviews();
        scrollView_->setFrame(view()->bounds());
        const double width = view()->bounds().size.width, side = width / std::max(3.0, std::floor(width / 120));
        const int columns = static_cast<int>(std::lround(width / side));
        for (int i = 0; i < tiles; ++i)
            scrollView_->subviews()[static_cast<std::size_t>(i)]->setFrame(
                CGRectMake(i % columns * side + 1, static_cast<int>(i / columns) * side + 1, side - 2, side - 2));
        scrollView_->setContentSize({ width, std::ceil(static_cast<double>(tiles) / columns) * side });
    }

private:
    static constexpr int tiles = 30;
    std::shared_ptr<UIScrollView> scrollView_;
};

class CameraScreen : public QVCameraViewController {
public:
    void viewDidLoad() override
    {
        setViewfinderView(make<QVViewfinderView>(view()->bounds()));
        viewfinderView()->setShutterColor(UIColor::colorWithWhite(0.12));
        view()->addSubview(viewfinderView());
        setCaptureButton(make<QVCaptureButton>(CGRectMake(0, 0, 72, 72)));
        captureButton()->setTintColor(UIColor::whiteColor());
        view()->addSubview(captureButton());
        QVCameraViewController::viewDidLoad();
    }
    void viewDidLayoutSubviews() override
    {
        const CGSize size = view()->bounds().size;
        viewfinderView()->setFrame(view()->bounds());
        captureButton()->setCenter({ size.width / 2, size.height - 52 });
        QVCameraViewController::viewDidLayoutSubviews();
    }
};

/// A finger that goes down and stays there; past its top the content follows it less and less.
void pull(drivers::offscreen::OffscreenDisplay& display, ManualClock& clock, CGSize size, double points)
{
    const CGPoint start { size.width / 2, 80 };
    display.touch(DisplayTouchPhase::Began, start);
    clock.advance(0.05);
    display.touch(DisplayTouchPhase::Moved, { start.x, start.y + 10 });
    clock.advance(0.05);
    const double height = size.height - 20;
    display.touch(DisplayTouchPhase::Moved, { start.x, start.y + 10 + height / 0.55 * points / (height - points) });
    clock.advance(0.4); // what pops up is there
}

}

int main(int argc, char** argv)
{
    const std::string moment = argc > 1 ? argv[1] : "rest";
    const bool sideways = moment == "sideways";
    CGSize size = sideways ? CGSizeMake(844, 390) : CGSizeMake(360, 720); // points
    if (argc > 3)
        size = { std::atof(argv[2]), std::atof(argv[3]) };

    drivers::installDefaults();
    drivers::phone::VirtualPhone phone(drivers::phone::single()); // on a clock of its own
    const auto display = drivers::offscreen::OffscreenDisplay::withSize(size, 1);
    DisplayDriver::install(display);
    const auto window = make<UIWindow>();
    const auto camera = make<CameraScreen>();
    window->setRootViewController(camera);
    window->makeKeyAndVisible();
    phone.clock().advance(1);

    const auto photos = make<QVCameraReturnViewController>(make<Photos>());
    photos->setBarColor(UIColor::colorWithRed(1, 0.78, 0.1));
    photos->setBarButtonColor(UIColor::blackColor());
    if (sideways) // photos that stand upright on a phone that lies on its side
        photos->view()->setTransform(CGAffineTransformMakeRotation(-std::numbers::pi / 2));
    camera->presentViewController(photos, true);
    const double arrived = 1, midway = 0.07; // seconds
    phone.clock().advance(moment == "presenting" ? midway : arrived);
    if (moment == "pulled")
        pull(*display, phone.clock(), size, 44);
    else if (moment == "armed")
        pull(*display, phone.clock(), size, 96);
    if (moment == "dismissing" || sideways) {
        photos->dismiss();
        phone.clock().advance(midway);
    }
    UIScreen::mainScreen()->display()->renderIfNeeded();
    display->writePNG("camera_return.png");
    phone.clock().advance(arrived);
    window->setRootViewController(nullptr);
    phone.clock().advance(arrived);
}
