// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureIndexPicker.h"

#include "platform/Foundation/NSLog.h"

#include <utility>

namespace velmora {

const ClassInfo& AVCaptureIndexPicker::staticClass()
{
    using Self = AVCaptureIndexPicker;
    static constexpr auto methods = methodTable(method<&Self::localizedTitle>("localizedTitle"),
        method<&Self::symbolName>("symbolName"), method<&Self::localizedIndexTitles>("localizedIndexTitles"),
        method<&Self::numberOfIndexes>("numberOfIndexes"), method<&Self::selectedIndex>("selectedIndex"),
        method<&Self::setSelectedIndex>("setSelectedIndex:"), method<&Self::setActionQueue>("setActionQueue:action:"));
    static constexpr auto classMethods
        = methodTable(initialiser<AVCaptureIndexPicker, std::string, std::string, std::vector<std::string>>(
            "initWithLocalizedTitle:symbolName:localizedIndexTitles:"));
    static const ClassInfo info { "Velmora.AVCaptureIndexPicker", &AVCaptureControl::staticClass(), methods,
        classMethods };
    return info;
}

AVCaptureIndexPicker::AVCaptureIndexPicker(
    std::string localizedTitle, std::string symbolName, std::vector<std::string> localizedIndexTitles)
    : localizedTitle_(std::move(localizedTitle))
    , symbolName_(std::move(symbolName))
    , localizedIndexTitles_(std::move(localizedIndexTitles))
{
}

bool AVCaptureIndexPicker::store(std::int64_t index)
{
    if (index < 0 || index >= numberOfIndexes()) {
        NSLog("[AVCaptureIndexPicker] Index %li is outside the %li titles. Ignored.", index, numberOfIndexes());
        return false;
    }
    const ChangeOfValue change(*this, "selectedIndex");
    selectedIndex_ = index;
    return true;
}

void AVCaptureIndexPicker::setSelectedIndex(std::int64_t index)
{
    store(index);
}

void AVCaptureIndexPicker::setActionQueue(const DispatchQueue& queue, Action action)
{
    target_.set({ queue, std::move(action) });
}

void AVCaptureIndexPicker::select(std::int64_t index)
{
    if (!isEnabled() || !store(index))
        return;
    if (auto target = target_.get(); target.queue && target.action)
        target.queue->async([action = std::move(target.action), index] { action(index); });
}

}
