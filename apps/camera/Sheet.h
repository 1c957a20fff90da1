// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Cancellable.h"
#include "platform/UIKit/UIViewController.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {
class UIColor;
class UIControl;
class UILabel;
class UIView;
}

namespace velmora::camera {

/// A message with a button or two that comes up from the lower edge, over what another controller shows. The last
/// button, and a tap beside the sheet, only close it. Main thread only.
class Sheet final : public UIViewController {
public:
    struct Action {
        std::string title;
        std::function<void()> perform; ///< when the sheet has gone
    };
    /// The action is one that cannot be taken back: it is red.
    static void present(UIViewController& over, const std::string& message, const std::optional<Action>& action,
        const std::string& closing);

    Sheet(std::string message, std::optional<Action> action, std::string closing);

    void loadView() override;
    void viewDidLayoutSubviews() override;
    void viewDidAppear(bool animated) override;

private:
    void addButton(const std::string& title, const std::shared_ptr<UIColor>& color, std::function<void()> then);
    void close(const std::function<void()>& then);
    CGRect panelFrame(bool shown);

    const std::string message_;
    const std::optional<Action> action_;
    const std::string closing_;
    bool shown_ = false;
    std::shared_ptr<UIControl> beside_;
    std::shared_ptr<UIView> panel_;
    std::shared_ptr<UILabel> label_;
    std::vector<std::shared_ptr<UIView>> buttons_;
    std::vector<Cancellable> actions_;
};

}
