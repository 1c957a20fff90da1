// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIControl.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace velmora {

class UIImage;
class UIImageView;
class UILabel;

enum UIButtonType : std::int64_t {
    UIButtonTypeCustom = 0, ///< a white title
    UIButtonTypeSystem = 1, ///< a title and templates in the tint colour
};

/// A picture and a title, side by side in the middle, that can be pressed; pale while it is pressed.
class VELMORA_EXPORT UIButton : public UIControl {
public:
    explicit UIButton(CGRect frame = CGRectZero, UIButtonType type = UIButtonTypeCustom);
    /// Reads "title", "image", "buttonType", "fontSize" (points) and "bold" besides what controls read.
    explicit UIButton(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
    static std::shared_ptr<UIButton> buttonWithType(UIButtonType type);

    UIButtonType buttonType() const { return type_; }
    /// What was set for exactly this state; what is shown falls back to the normal state's.
    std::optional<std::string> titleForState(UIControlState state) const;
    void setTitle(const std::optional<std::string>& title, UIControlState state);
    std::shared_ptr<UIColor> titleColorForState(UIControlState state) const;
    void setTitleColor(const std::shared_ptr<UIColor>& color, UIControlState state);
    std::shared_ptr<UIImage> imageForState(UIControlState state) const;
    void setImage(const std::shared_ptr<UIImage>& image, UIControlState state);
    std::optional<std::string> currentTitle() const;
    std::shared_ptr<UIColor> currentTitleColor() const;
    std::shared_ptr<UIImage> currentImage() const;

    const std::shared_ptr<UILabel>& titleLabel() const { return label_; }
    const std::shared_ptr<UIImageView>& imageView() const { return imageView_; }
    /// Around picture and title, in points.
    UIEdgeInsets contentEdgeInsets() const { return insets_; }
    void setContentEdgeInsets(UIEdgeInsets insets);

    CGSize sizeThatFits(CGSize size) const override;
    CGSize intrinsicContentSize() const override;
    void layoutSubviews() override;
    void tintColorDidChange() override;

protected:
    void didConstruct() override;
    void stateDidChange() override;

private:
    void show();

    const UIButtonType type_;
    std::map<UIControlState, std::optional<std::string>> titles_;
    std::map<UIControlState, std::shared_ptr<UIColor>> colors_;
    std::map<UIControlState, std::shared_ptr<UIImage>> images_;
    std::shared_ptr<UILabel> label_;
    std::shared_ptr<UIImageView> imageView_;
    UIEdgeInsets insets_;
    double fontSize_;
    bool bold_ = false;
};

}
