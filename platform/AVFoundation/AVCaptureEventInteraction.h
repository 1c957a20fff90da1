// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureButtonDriver.h"
#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIInteraction.h"

#include <functional>
#include <memory>

namespace velmora {

/// One press of a button, at one of its phases.
class VELMORA_EXPORT AVCaptureEvent : public NSObject {
public:
    explicit AVCaptureEvent(AVCaptureEventPhase phase)
        : phase_(phase)
    {
    }
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
    AVCaptureEventPhase phase() const { return phase_; }

private:
    const AVCaptureEventPhase phase_;
};

/// Hears of the buttons that take pictures while its view is in a window: camera and volume keys of the housing, and
/// space, return, volume and camera keys of a keyboard that no view wants. Of several the one that was attached last
/// hears; what began with one ends with it. A key that repeats is one press. Main thread only.
class VELMORA_EXPORT AVCaptureEventInteraction : public NSObject, public UIInteraction {
public:
    using Handler = std::function<void(const std::shared_ptr<AVCaptureEvent>& event)>; ///< on the main thread

    explicit AVCaptureEventInteraction(Handler handler);
    ~AVCaptureEventInteraction() override;
    static std::shared_ptr<AVCaptureEventInteraction> initWithEventHandler(Handler handler);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    bool isEnabled() const { return enabled_; } ///< YES at first
    void setEnabled(bool enabled) { enabled_ = enabled; }

    std::shared_ptr<UIView> view() const override { return view_.lock(); }
    void willMoveToView(const std::shared_ptr<UIView>& view) override;
    void didMoveToView(const std::shared_ptr<UIView>& view) override;

    // For what tells of buttons.
    bool canHear() const; ///< enabled, and its view is in a window
    void hear(AVCaptureEventPhase phase) const;

private:
    Handler handler_;
    std::weak_ptr<UIView> view_;
    bool enabled_ = true;
};

}
