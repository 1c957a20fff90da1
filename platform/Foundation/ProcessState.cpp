// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/ProcessState.h"

#include <mutex>
#include <utility>
#include <vector>

namespace velmora {

namespace {
struct Resets {
    std::mutex mutex;
    std::vector<std::function<void()>> all;
    bool wasReset = false;
};
Resets& resets()
{
    static auto* made = new Resets;
    return *made;
}
}

void ProcessState::add(std::function<void()> reset)
{
    const std::lock_guard lock(resets().mutex);
    resets().all.push_back(std::move(reset));
}

void ProcessState::reset()
{
    std::vector<std::function<void()>> all;
    {
        const std::lock_guard lock(resets().mutex);
        all = resets().all;
        resets().wasReset = true;
    }
    for (const auto& each : all)
        each();
}

bool ProcessState::wasReset()
{
    const std::lock_guard lock(resets().mutex);
    return resets().wasReset;
}

}
