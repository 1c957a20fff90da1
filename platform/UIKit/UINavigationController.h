// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIViewController.h"

#include <memory>
#include <vector>

namespace velmora {

class UINavigationBar;

/// Hears which controller a navigation controller shows. Main thread only.
class VELMORA_EXPORT UINavigationControllerDelegate {
public:
    virtual ~UINavigationControllerDelegate() = default;
    /// Before every show: the top controller is the new one already, and the coordinator is there where it is animated.
    virtual void willShowViewController(const std::shared_ptr<UINavigationController>&,
        const std::shared_ptr<UIViewController>& /*controller*/, bool /*animated*/)
    {
    }
    virtual void didShowViewController(const std::shared_ptr<UINavigationController>&,
        const std::shared_ptr<UIViewController>& /*controller*/, bool /*animated*/)
    {
    }
};

/// Controllers on a stack, of which the top one is shown, below a bar with its title. Main thread only.
class VELMORA_EXPORT UINavigationController : public UIViewController {
public:
    UINavigationController() = default;
    explicit UINavigationController(const std::shared_ptr<UIViewController>& root);
    explicit UINavigationController(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::vector<std::shared_ptr<UIViewController>>& viewControllers() const { return stack_; } ///< the top last
    /// Shows the last one.
    void setViewControllers(const std::vector<std::shared_ptr<UIViewController>>& controllers, bool animated);
    std::shared_ptr<UIViewController> topViewController() const;
    /// What the top one presents, else the top one.
    std::shared_ptr<UIViewController> visibleViewController() const;
    void pushViewController(const std::shared_ptr<UIViewController>& controller, bool animated);
    /// The one that went; empty where only one is left.
    std::shared_ptr<UIViewController> popViewControllerAnimated(bool animated);
    void popToRootViewControllerAnimated(bool animated);

    const std::shared_ptr<UINavigationBar>& navigationBar();
    bool isNavigationBarHidden() const { return barHidden_; }
    void setNavigationBarHidden(bool hidden, bool animated = false);
    // Held weakly.
    std::shared_ptr<UINavigationControllerDelegate> delegate() const { return delegate_.lock(); }
    void setDelegate(const std::weak_ptr<UINavigationControllerDelegate>& delegate) { delegate_ = delegate; }

    void loadView() override;
    void viewDidLayoutSubviews() override;
    void viewWillAppear(bool animated) override;
    void viewDidAppear(bool animated) override;
    std::shared_ptr<UIViewController> childViewControllerForStatusBarHidden() override { return topViewController(); }
    UIInterfaceOrientationMask supportedInterfaceOrientations() override;

protected:
    void didConstruct() override;
    std::vector<std::shared_ptr<UIViewController>> childrenThatAppear() const override;

private:
    void goBack();
    void stackChanged(const std::shared_ptr<UIViewController>& before, bool animated, bool forwards);
    void show();
    void move(const std::shared_ptr<UIViewController>& from, bool animated, bool forwards);
    void slideIn(const std::shared_ptr<UIView>& view, const std::shared_ptr<UIViewController>& from, bool forwards);
    void arrived(const std::shared_ptr<UIViewController>& from, bool animated);
    void updateBar();
    void layOut();
    void settleShown();

    std::vector<std::shared_ptr<UIViewController>> stack_;
    std::shared_ptr<UIViewController> shown_; // whose view is there
    std::shared_ptr<UIView> content_;
    std::shared_ptr<UINavigationBar> bar_;
    bool barHidden_ = false, announces_ = false;
    std::weak_ptr<UINavigationControllerDelegate> delegate_;
    std::shared_ptr<UIViewControllerTransitionCoordinator> moving_;
    std::weak_ptr<UIViewController> movingFrom_;
};

}
