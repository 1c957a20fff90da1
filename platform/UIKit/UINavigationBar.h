// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/UIKit/UIView.h"

#include <memory>
#include <optional>
#include <string>

namespace velmora {

class UIButton;
class UILabel;

/// The bar above the controllers of a navigation controller. Its subviews are the background, then what the bar holds,
/// then, with large titles only, the large title.
class VELMORA_EXPORT UINavigationBar : public UIView {
public:
    explicit UINavigationBar(CGRect frame = CGRectZero);
    explicit UINavigationBar(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    bool prefersLargeTitles() const { return prefersLargeTitles_; }
    void setPrefersLargeTitles(bool prefers);
    const std::optional<std::string>& title() const { return title_; }
    void setTitle(const std::optional<std::string>& title);
    /// What goes back; hidden where there is nothing to go back to.
    const std::shared_ptr<UIButton>& backButton() const { return back_; }
    /// Points: 44, and 96 with large titles.
    double barHeight() const;

    CGSize sizeThatFits(CGSize size) const override;
    void layoutSubviews() override;

protected:
    void didConstruct() override;

private:
    bool prefersLargeTitles_ = false;
    std::optional<std::string> title_;
    std::shared_ptr<UIView> background_, content_, large_;
    std::shared_ptr<UILabel> titleLabel_, largeLabel_;
    std::shared_ptr<UIButton> back_;
};

}
