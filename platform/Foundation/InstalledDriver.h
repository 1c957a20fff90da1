// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace velmora {

/// The one driver of a kind that is in force for the process. For the sources of driver interfaces.
template <class Driver> class InstalledDriver {
public:
    std::shared_ptr<Driver> get() const
    {
        const std::lock_guard lock(mutex_);
        return driver_;
    }
    void set(std::shared_ptr<Driver> driver)
    {
        const std::lock_guard lock(mutex_);
        driver_.swap(driver);
    }

private:
    mutable std::mutex mutex_;
    std::shared_ptr<Driver> driver_;
};

/// One for each kind, made at first use and never destroyed.
template <class Driver> InstalledDriver<Driver>& installedDriver()
{
    static auto* driver = new InstalledDriver<Driver>;
    return *driver;
}

}
