// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/SystemVersion.h"

#include <mutex>
#include <utility>

namespace velmora {

namespace {
struct Installed {
    std::mutex mutex;
    SystemVersion::Source source;
};
Installed& installed()
{
    static auto* made = new Installed; // outlives the static objects that ask
    return *made;
}
}

SystemVersion SystemVersion::current()
{
    Source source; // asked without the lock: it may look anything up
    {
        const std::lock_guard lock(installed().mutex);
        source = installed().source;
    }
    return source ? source() : SystemVersion {};
}

SystemVersion::Source SystemVersion::install(Source source)
{
    const std::lock_guard lock(installed().mutex);
    return std::exchange(installed().source, std::move(source));
}

}
