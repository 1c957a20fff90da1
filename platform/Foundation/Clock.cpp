// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/Clock.h"

#include "platform/Foundation/Scheduler.h"

#include <ctime>

namespace velmora {

namespace {
double read(clockid_t clock)
{
    timespec time {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}
}

double SteadyClock::now() const
{
    return read(CLOCK_MONOTONIC);
}

double SteadyClock::absoluteTime() const
{
    return read(CLOCK_REALTIME) - NSTimeIntervalSince1970;
}

double CFAbsoluteTimeGetCurrent()
{
    return Scheduler::current().clock().absoluteTime();
}

}
