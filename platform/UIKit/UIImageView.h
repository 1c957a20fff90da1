// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIView.h"

#include <memory>

namespace velmora {

class UIImage;

/// Shows a picture, as the content mode says; a template in the tint colour. Gets no touches.
class VELMORA_EXPORT UIImageView : public UIView {
public:
    explicit UIImageView(CGRect frame = CGRectZero);
    /// As large as the picture.
    explicit UIImageView(std::shared_ptr<UIImage> image);
    /// Reads "image", the name of a picture of the coder's bundle or of a system symbol, besides what views read.
    explicit UIImageView(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::shared_ptr<UIImage>& image() const { return image_; }
    void setImage(const std::shared_ptr<UIImage>& image);

    CGSize sizeThatFits(CGSize size) const override; ///< the picture's
    CGSize intrinsicContentSize() const override;
    void tintColorDidChange() override;
    bool displayLayer(const std::shared_ptr<CALayer>&) override { return true; } // the picture is all

protected:
    void didConstruct() override;

private:
    void show();

    std::shared_ptr<UIImage> image_;
};

}
