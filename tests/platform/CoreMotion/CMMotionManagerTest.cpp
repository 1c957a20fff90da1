// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreMotion/CMMotionManager.h"

#include "tests/support/PhoneTest.h"
#include "tests/support/SteppedTest.h"

using namespace velmora;

namespace {

class Motion : public tests::PhoneTest {
protected:
    void start()
    {
        manager->startAccelerometerUpdatesToQueue(
            NSOperationQueue::mainQueue(), [this](const CMAccelerometerData* data, const auto& error) {
                onMain = onMain && DispatchQueue::main().isCurrent();
                if (error)
                    errors.push_back(error->code());
                if (data)
                    seen.push_back(data->acceleration.x);
            });
    }
    /// Scripted motion is read at the interval.
    void lieStill()
    {
        phone.change([](auto& description) { description.motion = { { 0, { 0, -1, 0 } } }; });
    }

    std::shared_ptr<CMMotionManager> manager = make<CMMotionManager>();
    std::vector<double> seen;
    std::vector<std::int64_t> errors;
    bool onMain = true;
};

class NoMotionDriver : public tests::SteppedTest { };

}

TEST_F(Motion, DeliversReadingsOnItsQueue)
{
    start();
    phone.tilt(0.5, -0.5, 0);
    EXPECT_TRUE(seen.empty());
    clock.advance(0);
    EXPECT_EQ(seen, std::vector<double> { 0.5 });
    EXPECT_TRUE(onMain);
}

TEST_F(Motion, DeliversAnErrorInsteadOfAReading)
{
    start();
    phone.tilt(0, 0, 0, NSError("CMErrorDomain", 103));
    clock.advance(0);
    EXPECT_TRUE(seen.empty());
    EXPECT_EQ(errors, std::vector<std::int64_t> { 103 });
}

TEST_F(Motion, DeliversNothingAfterStopping)
{
    start();
    phone.tilt(1, 0, 0);
    manager->stopAccelerometerUpdates();
    phone.tilt(1, 0, 0);
    clock.advance(1);
    EXPECT_TRUE(seen.empty());
    EXPECT_FALSE(manager->isAccelerometerActive());
}

TEST_F(Motion, StoppingTwiceDoesNoHarm)
{
    manager->stopAccelerometerUpdates();
    start();
    manager->stopAccelerometerUpdates();
    manager->stopAccelerometerUpdates();
    EXPECT_FALSE(manager->isAccelerometerActive());
}

TEST_F(Motion, ANewHandlerReplacesTheOldOne)
{
    start();
    phone.tilt(1, 0, 0);
    std::vector<double> heard;
    manager->startAccelerometerUpdatesToQueue(NSOperationQueue::mainQueue(),
        [&heard](const CMAccelerometerData* data, const auto&) { heard.push_back(data->acceleration.x); });
    phone.tilt(0.25, 0, 0);
    clock.advance(0);
    EXPECT_TRUE(seen.empty());
    EXPECT_EQ(heard, std::vector<double> { 0.25 });
}

TEST_F(Motion, ReadsAtItsInterval)
{
    lieStill();
    manager->setAccelerometerUpdateInterval(0.25);
    start();
    clock.advance(1.1);
    EXPECT_EQ(seen.size(), 4U);
}

TEST_F(Motion, AChangedIntervalCountsFromTheNextStart)
{
    lieStill();
    manager->setAccelerometerUpdateInterval(0.25);
    start();
    manager->setAccelerometerUpdateInterval(0.5);
    clock.advance(1.1);
    EXPECT_EQ(seen.size(), 4U);
    seen.clear();
    start();
    clock.advance(1.1);
    EXPECT_EQ(seen.size(), 2U);
}

TEST_F(Motion, ReadsNoFasterThanAHundredTimesASecond)
{
    lieStill();
    manager->setAccelerometerUpdateInterval(0);
    start();
    clock.advance(0.105);
    EXPECT_EQ(seen.size(), 10U);
}

TEST_F(Motion, StopsWhenTheManagerGoes)
{
    start();
    phone.tilt(1, 0, 0);
    manager = nullptr;
    clock.advance(1);
    EXPECT_TRUE(seen.empty());
}

TEST_F(Motion, AnswersItsSelectors)
{
    manager->performSelector("setAccelerometerUpdateInterval:", 0.20000000298023224);
    EXPECT_EQ(unbox<double>(manager->performSelector("accelerometerUpdateInterval")), 0.20000000298023224);
    EXPECT_FALSE(unbox<bool>(manager->performSelector("isAccelerometerActive")));
    start();
    EXPECT_TRUE(unbox<bool>(manager->performSelector("isAccelerometerActive")));
    manager->performSelector("stopAccelerometerUpdates");
    EXPECT_FALSE(manager->isAccelerometerActive());
}

TEST_F(NoMotionDriver, StartingDoesNothing)
{
    const auto before = MotionDriver::installed();
    MotionDriver::install(nullptr);
    const auto manager = make<CMMotionManager>();
    manager->startAccelerometerUpdatesToQueue(NSOperationQueue::mainQueue(), [](const auto*, const auto&) {});
    EXPECT_FALSE(manager->isAccelerometerActive());
    MotionDriver::install(before);
}
