// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIEvent.h"

#include <memory>

namespace velmora {

/// Somebody who can be handed events. What one does not want goes to the next: from a view to its controller or its
/// superview, and on to the window and the application. Main thread only.
class VELMORA_EXPORT UIResponder : public NSObject {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    virtual std::shared_ptr<UIResponder> nextResponder() const { return nullptr; }
    virtual bool canBecomeFirstResponder() const { return false; }
    virtual bool canResignFirstResponder() const { return true; }
    /// The one that keys go to first. False where one of the two may not.
    virtual bool becomeFirstResponder();
    virtual bool resignFirstResponder();
    bool isFirstResponder() const;

    // As they are, these hand the event to the next responder; but a touch belongs to the deepest view alone, and views
    // keep it.
    virtual void touchesBegan(const UITouches& touches, const std::shared_ptr<UIEvent>& event);
    virtual void touchesMoved(const UITouches& touches, const std::shared_ptr<UIEvent>& event);
    virtual void touchesEnded(const UITouches& touches, const std::shared_ptr<UIEvent>& event);
    virtual void touchesCancelled(const UITouches& touches, const std::shared_ptr<UIEvent>& event);
    virtual void pressBegan(const UIPress& press);
    virtual void pressEnded(const UIPress& press);
};

}
