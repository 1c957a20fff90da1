// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <cstdint>
#include <span>
#include <vector>

namespace velmora {

/// Bytes that do not change; shared, never copied.
class VELMORA_EXPORT NSData : public NSObject {
public:
    explicit NSData(std::vector<std::uint8_t> bytes);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    std::span<const std::uint8_t> bytes() const { return bytes_; }
    std::size_t length() const { return bytes_.size(); }
    /// Equal by content.
    bool isEqual(const NSObject* other) const override;
    std::string description() const override; ///< "{length = N}"

private:
    std::vector<std::uint8_t> bytes_;
};

}
