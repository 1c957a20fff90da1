// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVCaptureControl.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/Guarded.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// A menu of titles, of which one is selected. From any thread.
class VELMORA_EXPORT AVCaptureIndexPicker final : public AVCaptureControl {
public:
    using Action = std::function<void(std::int64_t index)>;

    /// `symbolName` is the picture beside the title; the first index is selected.
    AVCaptureIndexPicker(
        std::string localizedTitle, std::string symbolName, std::vector<std::string> localizedIndexTitles);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::string& localizedTitle() const { return localizedTitle_; }
    const std::string& symbolName() const { return symbolName_; }
    const std::vector<std::string>& localizedIndexTitles() const { return localizedIndexTitles_; }
    std::int64_t numberOfIndexes() const { return static_cast<std::int64_t>(localizedIndexTitles_.size()); }

    /// Observable.
    std::int64_t selectedIndex() const { return selectedIndex_; }
    /// Shows another index and calls nobody. One outside the titles is logged and ignored.
    void setSelectedIndex(std::int64_t index);
    /// Called on `queue` with what a person selects, also when it was selected already. An empty one calls nobody.
    void setActionQueue(const DispatchQueue& queue, Action action);

    /// What a person does with it; for the driver that shows the control. Nothing while it is disabled.
    void select(std::int64_t index);

private:
    struct Target {
        std::optional<DispatchQueue> queue;
        Action action;
    };

    bool store(std::int64_t index);

    const std::string localizedTitle_, symbolName_;
    const std::vector<std::string> localizedIndexTitles_;
    std::atomic<std::int64_t> selectedIndex_ { 0 };
    Guarded<Target> target_;
};

}
