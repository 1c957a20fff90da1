// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/navigation/QVCCameraReturnViewControllerChild.h"
#include "velmora/navigation/QVCameraReturnBarView.h"
#include "velmora/navigation/QVCameraReturnViewController.h"

#include "platform/UIKit/NSLayoutConstraint.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UINavigationBar.h"
#include "platform/UIKit/UIPanGestureRecognizer.h"
#include "platform/UIKit/UIScrollView.h"

#include "tests/support/WindowTest.h"

#include <memory>
#include <utility>

namespace velmora::tests {

/// A page of photos that scrolls up and down and has no wishes about the bar.
class Page : public UIViewController {
public:
    Page() { setTitle("Photos"); }
    void viewDidLoad() override
    {
        UIViewController::viewDidLoad();
        view()->setBackgroundColor(UIColor::whiteColor());
        scrollView = make<UIScrollView>(view()->bounds());
        scrollView->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
        scrollView->setContentSize({ view()->bounds().size.width, 2000 });
        view()->addSubview(scrollView);
    }
    std::shared_ptr<UIScrollView> scrollView;
};

/// One that has.
class ChoosyPage : public Page, public QVCCameraReturnViewControllerChild {
public:
    bool prefersCameraReturnBarHidden() override { return hidesBar; }
    bool prefersFullScreenWhenCameraReturnBarHidden() override { return fillsScreen; }
    bool allowsDragToDismiss() override { return allowsDrag; }
    bool prefersStatusBarHidden() override { return hidesStatusBar; }

    bool hidesBar = false, fillsScreen = false, allowsDrag = true, hidesStatusBar = false;
};

/// A camera screen in a window, and a container with a page that it can present.
class ReturnTest : public WindowTest {
protected:
    explicit ReturnTest(CGSize size = { 320, 480 }, double scale = 1)
        : WindowTest(size, scale)
    {
        camera->view()->setBackgroundColor(UIColor::darkGrayColor());
        window->setRootViewController(camera);
        contain(page);
    }
    void contain(const std::shared_ptr<UIViewController>& content)
    {
        container = make<QVCameraReturnViewController>(content);
    }
    void present()
    {
        camera->presentViewController(container, true);
        settle();
    }
    /// Time for what moves to end, and for what is marked to be laid out.
    void settle()
    {
        clock.advance(1);
        render();
    }
    bool isPresented() const { return camera->presentedViewController() == container; }
    double barHeight() const { return container->barViewHeightConstraint()->constant(); }
    double childTop() const { return container->childViewTopConstraint()->constant(); }
    double barTop() const { return container->barViewTopConstraint()->constant(); }

    std::shared_ptr<UIViewController> camera = make<UIViewController>();
    std::shared_ptr<ChoosyPage> choosy = make<ChoosyPage>();
    std::shared_ptr<Page> page = make<Page>();
    std::shared_ptr<QVCameraReturnViewController> container;
};

}
