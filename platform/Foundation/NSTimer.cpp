// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSTimer.h"

#include "platform/Foundation/NSRunLoop.h"
#include "platform/Foundation/Scheduler.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace velmora {

const ClassInfo& NSTimer::staticClass()
{
    static constexpr auto methods
        = methodTable(method<&NSTimer::invalidate>("invalidate"), method<&NSTimer::isValid>("isValid"),
            method<&NSTimer::timeInterval>("timeInterval"), method<&NSTimer::userInfo>("userInfo"));
    static constexpr auto classMethods = methodTable(classMethod<&NSTimer::scheduledTimerWithTimeInterval>(
        "scheduledTimerWithTimeInterval:target:selector:userInfo:repeats:"));
    static const ClassInfo info { "Velmora.NSTimer", &NSObject::staticClass(), methods, classMethods };
    return info;
}

std::shared_ptr<NSTimer> NSTimer::scheduledTimerWithTimeInterval(
    double seconds, std::shared_ptr<NSObject> target, std::string selector, Value userInfo, bool repeats)
{
    constexpr double shortest = 0.0001; // as the platform's: a repeating timer never spins
    auto timer = make<NSTimer>();
    timer->interval_ = std::max(seconds, shortest);
    timer->repeats_ = repeats;
    timer->selector_ = std::move(selector);
    timer->userInfo_ = std::move(userInfo);
    timer->target_ = std::move(target);
    timer->valid_ = true;
    timer->due_ = Scheduler::current().clock().now();
    timer->schedule(timer->interval_);
    return timer;
}

void NSTimer::schedule(double seconds)
{
    due_ += seconds;
    const double wait = due_ - Scheduler::current().clock().now();
    NSRunLoop::currentRunLoop().performAfter(wait, [self = sharedFromThis(*this)] { self->fire(); });
}

void NSTimer::fire()
{
    std::shared_ptr<NSObject> target;
    {
        const std::lock_guard lock(mutex_);
        target = target_;
    }
    if (!valid_ || !target)
        return;
    if (!repeats_)
        invalidate();
    if (selector_.ends_with(':'))
        target->performSelector(selector_, sharedFromThis(*this));
    else
        target->performSelector(selector_);
    if (!valid_)
        return;

    const double missed = std::floor((Scheduler::current().clock().now() - due_) / interval_);
    schedule(interval_ * (1 + std::max(0.0, missed)));
}

void NSTimer::invalidate()
{
    std::shared_ptr<NSObject> target; // destroyed outside the lock: it may invalidate in turn
    valid_ = false;
    const std::lock_guard lock(mutex_);
    target.swap(target_);
}

}
