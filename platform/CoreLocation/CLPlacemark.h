// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSCoder.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class CLLocation;

/// What a place is called. A value behind a pointer: equal by content, archivable.
class VELMORA_EXPORT CLPlacemark : public NSObject, public NSCoding {
public:
    /// Names in the language of the source; an absent one is not known.
    struct Names {
        std::optional<std::string> name {}, subLocality {}, locality {}, subAdministrativeArea {},
            administrativeArea {}, country {}, isoCountryCode {};
        /// Landmarks, nearest first; an entry may be nil.
        std::optional<std::vector<std::optional<std::string>>> areasOfInterest {};
    };

    explicit CLPlacemark(Names names, std::shared_ptr<CLLocation> location = nullptr);
    static std::shared_ptr<CLPlacemark> initWithCoder(const NSCoder& coder);
    static const ClassInfo& staticClass();
    const ClassInfo& classInfo() const override { return staticClass(); }

    const Names& names() const { return names_; }
    std::optional<std::string> name() const { return names_.name; }
    std::optional<std::string> subLocality() const { return names_.subLocality; } ///< part of a town
    std::optional<std::string> locality() const { return names_.locality; } ///< town
    std::optional<std::string> subAdministrativeArea() const { return names_.subAdministrativeArea; } ///< county
    std::optional<std::string> administrativeArea() const { return names_.administrativeArea; } ///< state, region
    std::optional<std::string> country() const { return names_.country; }
    std::optional<std::string> isoCountryCode() const { return names_.isoCountryCode; }
    const std::optional<std::vector<std::optional<std::string>>>& areasOfInterest() const
    {
        return names_.areasOfInterest;
    }
    std::shared_ptr<CLLocation> location() const { return location_; }

    void encodeWithCoder(NSCoder& coder) const override;
    bool isEqual(const NSObject* other) const override;
    std::string description() const override;

private:
    Names names_;
    std::shared_ptr<CLLocation> location_;
};

}
