// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/geoclue/DesktopLocation.h"

#include <memory>
#include <string>

namespace velmora::drivers::geoclue {

/// The service on the system bus.
class GeoClue final : public PositionService {
public:
    static constexpr const char* name = "org.freedesktop.GeoClue2";

    explicit GeoClue(std::shared_ptr<Bus> bus);
    void begin(std::function<void(const BusDictionary&)> moved) override;
    void end() override;

private:
    const std::shared_ptr<Bus> bus_;
    const DispatchQueue queue_ { "org.velmora.geoclue.positions" };
    BusObject client_;
    Cancellable updates_;
};

}
