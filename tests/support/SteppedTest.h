// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/ManualClock.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/Foundation/SteppedScheduler.h"

#include <gtest/gtest.h>

namespace velmora::tests {

/// Everything runs on the test's own thread, and time is moved by hand.
class SteppedTest : public testing::Test {
protected:
    SteppedTest() { ProcessState::reset(); }

    ManualClock clock;
    SteppedScheduler scheduler { clock };
    ScopedScheduler inForce { scheduler };
};

}
