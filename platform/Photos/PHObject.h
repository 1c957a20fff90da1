// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <string>

namespace velmora {

/// Something in the photo library, as it was when it was fetched. Does not change; from any thread.
class VELMORA_EXPORT PHObject : public NSObject {
public:
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    /// Stays with the object for as long as it is in the library, whatever it is called and wherever it moves.
    const std::string& localIdentifier() const { return localIdentifier_; }
    /// Equal by identifier.
    bool isEqual(const NSObject* other) const override;
    std::string description() const override; ///< "<Velmora.PHAsset: 0x...> IDENTIFIER"

protected:
    explicit PHObject(std::string localIdentifier);

private:
    std::string localIdentifier_;
};

/// Stands for an object that the running change makes, until it can be fetched by the same identifier.
class VELMORA_EXPORT PHObjectPlaceholder : public PHObject {
public:
    explicit PHObjectPlaceholder(std::string localIdentifier);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }
};

}
