// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <memory>
#include <string>

namespace velmora {

/// By which key objects are put in order, and in which direction.
class VELMORA_EXPORT NSSortDescriptor : public NSObject {
public:
    static std::shared_ptr<NSSortDescriptor> sortDescriptorWithKey(std::string key, bool ascending);
    NSSortDescriptor(std::string key, bool ascending);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const std::string& key() const { return key_; }
    bool ascending() const { return ascending_; }
    bool isEqual(const NSObject* other) const override;

private:
    std::string key_;
    bool ascending_;
};

}
