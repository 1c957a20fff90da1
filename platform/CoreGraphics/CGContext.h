// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGColor.h"
#include "platform/CoreGraphics/CGPath.h"
#include "platform/Foundation/Export.h"

#include <memory>
#include <optional>
#include <vector>

namespace velmora {

class CGImage;

/// A picture that is being drawn: clear at first, in points, the origin at the top left. One thread at a time.
class VELMORA_EXPORT CGContext {
public:
    /// `scale`: pixels for a point. The picture is as many whole pixels as hold the size, at least one each way. Throws
    /// NSException for a size that no memory holds.
    CGContext(CGSize sizeInPoints, double scale);
    ~CGContext();
    CGContext(const CGContext&) = delete;
    CGContext& operator=(const CGContext&) = delete;

    CGSize size() const { return size_; } ///< points
    double scale() const { return scale_; }
    int pixelWidth() const;
    int pixelHeight() const;

    // Transform, clip, colours and line. Saved and restored in pairs; a restore too much does nothing.
    void saveGState();
    void restoreGState();
    void concatCTM(const CGAffineTransform& transform);
    void clipToRect(CGRect rect);
    void clipToPath(const CGPath& path, bool evenOdd = false);
    void setFillColor(CGColor color);
    void setStrokeColor(CGColor color);
    CGColor fillColor() const;
    void setLineWidth(double points);
    void setLineCap(CGLineCap cap);
    void setLineJoin(CGLineJoin join);
    void setMiterLimit(double limit);
    /// Lengths of dashes and gaps, in turn; empty for a full line.
    void setLineDash(double phase, const std::vector<double>& lengths);

    void fillPath(const CGPath& path, bool evenOdd = false);
    void strokePath(const CGPath& path);
    void fillRect(CGRect rect);
    void strokeRect(CGRect rect);
    void clearRect(CGRect rect);
    /// Stretched to the rectangle; `alpha` from 0 to 1.
    void drawImage(const CGImage& image, CGRect rect, double alpha = 1);
    /// Its coverage alone, in the fill colour.
    void drawImageMask(const CGImage& image, CGRect rect);

    /// A copy of what was drawn so far.
    std::shared_ptr<const CGImage> makeImage() const;
    /// The opaque colour, when all that was drawn had that one: then coverage says everything. Empty otherwise, and
    /// while nothing was drawn.
    std::optional<CGColor> soleColor() const;
    bool isEmpty() const; ///< Nothing was drawn.
    /// Rows of the picture as CGImage has them; good until the next drawing.
    const std::uint8_t* pixels(std::size_t& stride) const;

private:
    friend class CGTextLayout;
    struct Surface;
    struct State;
    void note(CGColor color); ///< something of this colour is drawn
    void notePicture();

    CGSize size_;
    double scale_;
    std::unique_ptr<Surface> surface_;
};

}
