// SPDX-License-Identifier: Apache-2.0
#include "platform/UIKit/UIImageView.h"

#include "platform/UIKit/InterfaceValues.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIImage.h"

#include <utility>

namespace velmora {

namespace {

std::shared_ptr<UIImage> decodedImage(const NSCoder& coder)
{
    if (auto image = decodedObject<UIImage>(coder, "image"))
        return image;
    const auto name = decodedText(coder, "image");
    if (!name)
        return nullptr;
    auto image = UIImage::imageNamed(*name);
    return image ? image : UIImage::systemImageNamed(*name);
}

}

UIImageView::UIImageView(CGRect frame)
    : UIView(frame)
{
}

UIImageView::UIImageView(std::shared_ptr<UIImage> image)
    : UIView(CGRect { {}, image ? image->size() : CGSizeZero })
    , image_(std::move(image))
{
}

UIImageView::UIImageView(const NSCoder& coder)
    : UIView(coder)
    , image_(decodedImage(coder))
{
}

const ClassInfo& UIImageView::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&UIImageView::image>("image"), method<&UIImageView::setImage>("setImage:"));
    static constexpr auto classMethods
        = methodTable(initialiser<UIImageView>("init"), initialiser<UIImageView, CGRect>("initWithFrame:"),
            initialiser<UIImageView, std::shared_ptr<UIImage>>("initWithImage:"),
            initialiser<UIImageView, const NSCoder&>("initWithCoder:"));
    static const ClassInfo info { "Velmora.UIImageView", &UIView::staticClass(), methods, classMethods };
    return info;
}

void UIImageView::didConstruct()
{
    UIView::didConstruct();
    setUserInteractionEnabled(false);
    show();
}

void UIImageView::setImage(const std::shared_ptr<UIImage>& image)
{
    if (image_ == image)
        return;
    image_ = image;
    show();
    invalidateIntrinsicContentSize();
}

void UIImageView::show()
{
    layer()->setContents(image_ ? image_->uprightImage() : nullptr);
    if (image_)
        layer()->setContentsScale(image_->scale());
    const bool tinted = image_ && image_->isTemplate();
    layer()->setContentsTintColor(tinted ? std::optional(tintColor()->cgColor()) : std::nullopt);
}

void UIImageView::tintColorDidChange()
{
    UIView::tintColorDidChange();
    if (image_ && image_->isTemplate())
        layer()->setContentsTintColor(tintColor()->cgColor());
}

CGSize UIImageView::sizeThatFits(CGSize) const
{
    return image_ ? image_->size() : CGSizeZero;
}

CGSize UIImageView::intrinsicContentSize() const
{
    return image_ ? image_->size() : UIView::intrinsicContentSize();
}

}
