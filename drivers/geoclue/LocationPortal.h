// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/geoclue/DesktopLocation.h"

#include <memory>
#include <string>

namespace velmora::drivers::geoclue {

/// The desktop's portal, which asks the user on behalf of a program in a sandbox.
class LocationPortal final : public PositionService {
public:
    static constexpr const char* name = "org.freedesktop.portal.Desktop";

    explicit LocationPortal(std::shared_ptr<Bus> bus);
    void begin(std::function<void(const BusDictionary&)> moved) override;
    void end() override;

private:
    const std::shared_ptr<Bus> bus_;
    std::string session_;
    Cancellable updates_;
};

}
