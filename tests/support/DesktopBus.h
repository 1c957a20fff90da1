// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/support/Child.h"
#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"

#include <memory>
#include <string>

namespace velmora::tests {

/// A message bus of its own, for both kinds, and the desktop's services that a test names on it.
class DesktopBus {
public:
    static constexpr const char *geoclue = "org.freedesktop.GeoClue2", *sensors = "net.hadess.SensorProxy",
                                *portal = "org.freedesktop.portal.Desktop";
    /// `cameras` is the socket of a PipeWire daemon that the camera portal opens.
    explicit DesktopBus(const std::string& services, const std::string& cameras = {});
    static bool isHere();

    /// A command of tests/support/dbus/desktop.py; it is done when this returns.
    void tell(const std::string& command);
    /// What the services were asked for, up to a line that begins so.
    std::string heard(const std::string& beginning) const { return services_->readUntil(beginning); }

private:
    TemporaryFolder folder_;
    std::string address_;
    std::unique_ptr<Child> bus_;
    std::unique_ptr<Environment> system_, session_;
    std::unique_ptr<Child> services_;
};

}
