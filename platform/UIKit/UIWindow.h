// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIView.h"

#include <memory>

namespace velmora {

class UIScreen;
class UIViewController;

using UIWindowLevel = double;
inline constexpr UIWindowLevel UIWindowLevelNormal = 0, UIWindowLevelStatusBar = 1000, UIWindowLevelAlert = 2000;

/// The outermost view: it stands on the screen and hands touches to the views in it. Whoever makes one holds it; it is
/// hidden until it is shown. Main thread only.
class VELMORA_EXPORT UIWindow : public UIView {
public:
    /// As large as the main screen.
    UIWindow();
    explicit UIWindow(CGRect frame);
    ~UIWindow() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::shared_ptr<UIScreen>& screen() const { return screen_; }
    /// Windows of a higher level lie in front; of one level, the one that was shown last.
    UIWindowLevel windowLevel() const { return layer()->zPosition(); }
    void setWindowLevel(UIWindowLevel level) { layer()->setZPosition(level); }
    /// Shows it in front of its level and lets keys go to it.
    void makeKeyAndVisible();
    void makeKeyWindow();
    bool isKeyWindow() const;
    void setHidden(bool hidden) override;

    /// Its view fills the window; it appears when the window is shown, or at once.
    const std::shared_ptr<UIViewController>& rootViewController() const { return root_; }
    void setRootViewController(const std::shared_ptr<UIViewController>& controller);

    /// What the screen's own bars and corners cover, in points; what safe areas are made of.
    UIEdgeInsets screenInsets() const { return screenInsets_; }
    void setScreenInsets(UIEdgeInsets insets);

    /// Hands the event's touches to recognisers, then to views.
    virtual void sendEvent(const std::shared_ptr<UIEvent>& event);

    std::shared_ptr<UIWindow> window() const override;
    std::shared_ptr<UIResponder> nextResponder() const override;

protected:
    void didConstruct() override;

private:
    void begin(const std::shared_ptr<UITouch>& touch, const UIEvent& event) const;
    void tellRecognizers(UITouchPhase phase, const UITouches& touches, const std::shared_ptr<UIEvent>& event);
    void tellViews(UITouchPhase phase, const UITouches& touches, const std::shared_ptr<UIEvent>& event);

    void showRoot(bool visible);

    std::shared_ptr<UIScreen> screen_;
    std::shared_ptr<UIViewController> root_;
    UIEdgeInsets screenInsets_;
};

}
