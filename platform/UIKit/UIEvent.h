// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UITouch.h"

#include <cstdint>
#include <memory>
#include <string>

namespace velmora {

class UIWindow;

enum UIEventType : std::int64_t { UIEventTypeTouches = 0, UIEventTypePresses = 3 };

enum UIPressPhase : std::int64_t { UIPressPhaseBegan = 0, UIPressPhaseEnded = 3 };

/// A key that goes down or up.
struct UIPress {
    std::string key; ///< by what is printed on it: "a", "Space", "Return", "Escape" ...
    UIPressPhase phase = UIPressPhaseBegan;
    double timestamp = 0; ///< seconds, by the clock in force
    bool operator==(const UIPress&) const = default;
};

/// What a person did: all touches on the screen, with those that changed among them. Main thread only.
class VELMORA_EXPORT UIEvent : public NSObject {
public:
    UIEvent(UIEventType type, double timestamp, UITouches touches);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    UIEventType type() const { return type_; }
    double timestamp() const { return timestamp_; } ///< seconds, by the clock in force
    const UITouches& allTouches() const { return touches_; }
    UITouches touchesForWindow(const UIWindow& window) const;
    UITouches touchesForView(const UIView& view) const;

private:
    const UIEventType type_;
    const double timestamp_;
    const UITouches touches_;
};

}
