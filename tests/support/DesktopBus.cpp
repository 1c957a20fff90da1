// SPDX-License-Identifier: Apache-2.0
#include "tests/support/DesktopBus.h"

#include "drivers/geoclue/install.h"

#include "tests/support/Require.h"

#include <unistd.h>

#include <cstdlib>

namespace velmora::tests {

DesktopBus::DesktopBus(const std::string& services, const std::string& cameras)
    : address_("unix:path=" + folder_.file("bus"))
{
    bus_ = std::make_unique<Child>(std::vector<std::string> { "dbus-daemon", "--session", "--nofork", "--nopidfile",
                                       "--print-address", "--address=" + address_ },
        std::vector<std::string> {});
    bus_->readUntil("unix:");
    system_ = std::make_unique<Environment>("DBUS_SYSTEM_BUS_ADDRESS", address_);
    session_ = std::make_unique<Environment>("DBUS_SESSION_BUS_ADDRESS", address_);
    services_ = std::make_unique<Child>(
        std::vector<std::string> { "/usr/bin/python3", VELMORA_SOURCE_DIR "/tests/support/dbus/desktop.py" },
        std::vector<std::string> { "VELMORA_TEST_SERVICES=" + services, "VELMORA_TEST_CAMERAS=" + cameras });
    services_->readUntil("ready");
}

bool DesktopBus::isHere()
{
    static const bool python = std::system("/usr/bin/python3 -c 'import dbus, gi' 2>/dev/null") == 0;
    const bool daemon = access("/usr/bin/dbus-daemon", X_OK) == 0;
    return requirePart("dbus", python && daemon && drivers::geoclue::isBuilt());
}

void DesktopBus::tell(const std::string& command)
{
    services_->write(command + "\n");
    services_->readUntil("done");
}

}
