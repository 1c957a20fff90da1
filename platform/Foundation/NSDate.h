// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <memory>

namespace velmora {

/// A moment.
class VELMORA_EXPORT NSDate : public NSObject {
public:
    /// Seconds since 2001-01-01 00:00 UTC.
    explicit NSDate(double timeIntervalSinceReferenceDate);
    /// Now, by the clock in force.
    static std::shared_ptr<NSDate> date();
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    double timeIntervalSinceReferenceDate() const { return seconds_; }
    double timeIntervalSince1970() const;
    bool isEqual(const NSObject* other) const override;
    std::string description() const override; ///< "2026-01-02 03:04:05 +0000"

private:
    double seconds_;
};

}
