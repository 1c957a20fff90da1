// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace velmora {

/// A rectangle in a tree of rectangles. `position` is where the middle of the layer lies in its superlayer.
///
/// The tree may be changed from any thread; geometry belongs to the thread that draws.
class VELMORA_EXPORT CALayer : public NSObject {
public:
    CALayer() = default;
    ~CALayer() override;
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// The layer's own coordinates; its origin moves the sublayers.
    CGRect bounds() const { return bounds_; }
    void setBounds(CGRect bounds) { bounds_ = bounds; }
    CGPoint position() const { return position_; }
    void setPosition(CGPoint position) { position_ = position; }
    /// In the superlayer's coordinates; made of bounds and position, and setting it sets both.
    CGRect frame() const;
    void setFrame(CGRect frame);

    std::shared_ptr<CALayer> superlayer() const;
    /// From the back to the front.
    std::vector<std::shared_ptr<CALayer>> sublayers() const;
    /// At the front. A layer that has another superlayer leaves it. Throws NSException for the layer itself or one
    /// that holds it.
    void addSublayer(const std::shared_ptr<CALayer>& layer);
    /// 0 is the back; an index beyond the end is the front.
    void insertSublayer(const std::shared_ptr<CALayer>& layer, std::uint32_t index);
    void removeFromSuperlayer();

    /// `point` of this layer in the coordinates of `other`; both must be in one tree, else their roots coincide.
    CGPoint convertPoint(CGPoint point, const std::shared_ptr<CALayer>& other) const;

private:
    CGPoint toRoot(CGPoint point) const;
    std::shared_ptr<CALayer> leaveSuperlayer(); // inside the lock of the tree; answers the one it left

    CGRect bounds_;
    CGPoint position_;
    std::weak_ptr<CALayer> superlayer_;
    std::vector<std::shared_ptr<CALayer>> sublayers_;
};

}
