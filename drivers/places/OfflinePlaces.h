// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/LocationDriver.h"

#include <memory>
#include <string>

namespace velmora::drivers::places {

/// Names towns from GeoNames' tables on this machine, without a network. The tables are read at the first question;
/// questions are answered in order on a queue of its own.
class VELMORA_EXPORT OfflinePlaces : public GeocodingDriver {
public:
    /// Where Debian's libtimezonemap-data keeps the tables.
    static constexpr const char* defaultFolder = "/usr/share/libtimezonemap/ui";

    explicit OfflinePlaces(std::string folder = defaultFolder);

    /// Answers one place mark, or an empty list far from every town; an error when the tables are missing or the
    /// coordinate is none.
    void reverseGeocode(std::shared_ptr<CLLocation> location, Answer answer) override;

private:
    struct Tables;

    std::shared_ptr<Tables> tables_;
};

}
