// SPDX-License-Identifier: Apache-2.0
#include "platform/QuartzCore/DisplayDriver.h"

#include <mutex>
#include <utility>

namespace velmora {

namespace {

struct InstalledDisplay {
    std::mutex mutex;
    std::shared_ptr<DisplayDriver> driver;
    std::function<std::shared_ptr<DisplayDriver>()> open;
};

InstalledDisplay& display()
{
    static auto* installed = new InstalledDisplay;
    return *installed;
}

void replace(std::shared_ptr<DisplayDriver> driver, std::function<std::shared_ptr<DisplayDriver>()> open)
{
    const std::lock_guard lock(display().mutex);
    display().driver.swap(driver);
    display().open = std::move(open);
}

}

std::shared_ptr<DisplayDriver> DisplayDriver::installed()
{
    const std::lock_guard lock(display().mutex);
    if (const auto open = std::exchange(display().open, nullptr))
        display().driver = open();
    return display().driver;
}

void DisplayDriver::install(std::shared_ptr<DisplayDriver> driver)
{
    replace(std::move(driver), nullptr);
}

void DisplayDriver::installOpening(std::function<std::shared_ptr<DisplayDriver>()> open)
{
    replace(nullptr, std::move(open));
}

}
