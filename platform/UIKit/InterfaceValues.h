// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/NSCoder.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

class UIColor;

// What views read of a coder, whether the value came typed or as the text of an interface file. Nothing where the key
// is absent; NSException, with key and text, where it cannot be read.

VELMORA_EXPORT std::optional<double> decodedNumber(const NSCoder& coder, std::string_view key);
VELMORA_EXPORT std::optional<bool> decodedFlag(const NSCoder& coder, std::string_view key);
VELMORA_EXPORT std::optional<CGRect> decodedRect(
    const NSCoder& coder, std::string_view key); ///< "{{x, y}, {width, height}}"
VELMORA_EXPORT std::shared_ptr<UIColor> decodedColor(
    const NSCoder& coder, std::string_view key); ///< "#RRGGBB", "#RRGGBBAA"
VELMORA_EXPORT std::optional<std::string> decodedText(const NSCoder& coder, std::string_view key);

}
