// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIView.h"

#include <cstdint>
#include <memory>

namespace velmora {

/// Framing marks that lie over the picture.
enum QVViewfinderOverlays : std::uint8_t {
    QVViewfinderOverlayCornerMarks = 1, ///< brackets at the corners of a square in the middle
    QVViewfinderOverlayCrosshair = 2, ///< a small cross in the middle
};
template <> inline constexpr bool isOptionSet<QVViewfinderOverlays> = true;

/// A transparent view that draws framing marks, in lines one point wide. Main thread only.
class VELMORA_EXPORT QVViewfinderOverlayView : public UIView {
public:
    explicit QVViewfinderOverlayView(CGRect frame = CGRectZero);
    /// Reads "overlays" (the mask as a number) and "color" besides what views read.
    explicit QVViewfinderOverlayView(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// White when none is set.
    std::shared_ptr<UIColor> color() const;
    /// Draws again when the colours are not equal; where none was set, always.
    void setColor(std::shared_ptr<UIColor> color);
    QVViewfinderOverlays overlays() const { return overlays_; } ///< none at first
    void setOverlays(QVViewfinderOverlays overlays);

    void drawRect(CGRect rect) override;

protected:
    void didConstruct() override;

private:
    std::shared_ptr<UIColor> color_;
    QVViewfinderOverlays overlays_ {};
};

}
