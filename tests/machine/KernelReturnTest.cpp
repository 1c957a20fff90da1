// SPDX-License-Identifier: Apache-2.0
#include "tests/machine/MachineTest.h"

namespace velmora::tests {

/// Cameras that are pulled out and plugged in again.
class KernelReturn : public MachineTest {
protected:
    void TearDown() override
    {
        MachineTest::TearDown();
        plugIn(); // where the test left it out
    }
    static void write(const std::string& file)
    {
        std::ofstream("/sys/bus/platform/drivers/vivid/" + file) << "vivid.0";
    }
    static void pullOut() { write("unbind"); }
    static void plugIn() { write("bind"); }
    bool isListed() const
    {
        for (const auto& device : capture->devices())
            if (device->description().uniqueID == first)
                return true;
        return false;
    }
};

TEST_F(KernelReturn, ACameraThatVanishesForAMomentGoesOn)
{
    const auto camera = run();
    ASSERT_TRUE(camera);
    listen(*camera);
    {
        const Controls unplugging("/dev/video0");
        ASSERT_TRUE(unplugging.set("Disconnect", 1));
    }
    ASSERT_TRUE(events.waitFor(2, 10));
    EXPECT_THAT(events.all(), testing::ElementsAre("interrupted", "ended"));
    EXPECT_EQ(open(), camera) << "the same object";
    frames.clear();
    ASSERT_FALSE(start(camera, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange));
    EXPECT_TRUE(frames.waitFor(3, 10));
}

TEST_F(KernelReturn, ACameraThatIsPulledOutIsGone)
{
    wish.returnWithin = 30;
    const auto camera = run();
    ASSERT_TRUE(camera);
    listen(*camera);
    frames.clear();
    pullOut();
    ASSERT_TRUE(events.waitFor(1, 10));
    EXPECT_FALSE(isListed());
    const auto refusal = start(camera);
    ASSERT_TRUE(refusal);
    EXPECT_THAT(refusal->localizedDescription(), testing::HasSubstr("is not plugged in"));
}

TEST_F(KernelReturn, CamerasThatGoAndComeAreTold)
{
    ASSERT_TRUE(open());
    const auto told = std::make_shared<Collected<std::string>>();
    capture->setDevicePresence([told](const std::shared_ptr<CaptureDeviceDriver>& device, bool isThere) {
        told->add(device->description().uniqueID + (isThere ? " came" : " went"));
    });
    pullOut();
    EXPECT_TRUE(told->waitFor(2, 10));
    EXPECT_THAT(told->all(), testing::UnorderedElementsAre("platform:vivid-000/0 went", "platform:vivid-001/0 went"));
    told->clear();
    plugIn();
    EXPECT_TRUE(told->waitFor(2, 20));
    EXPECT_THAT(told->all(), testing::UnorderedElementsAre("platform:vivid-000/0 came", "platform:vivid-001/0 came"));
    capture->setDevicePresence(nullptr);
}

TEST_F(KernelReturn, ACameraThatStaysAwayHasFailed)
{
    wish.returnWithin = 0.5;
    const auto camera = run();
    ASSERT_TRUE(camera);
    listen(*camera);
    pullOut();
    ASSERT_TRUE(events.waitFor(2, 10));
    EXPECT_THAT(events.all(),
        testing::ElementsAre("interrupted", "failed: The camera \"platform:vivid-000/0\" was unplugged."));
}

TEST_F(KernelReturn, ACameraThatIsPluggedInAgainGoesOn)
{
    wish.returnWithin = 30;
    const auto camera = run();
    ASSERT_TRUE(camera);
    listen(*camera);
    frames.clear();
    pullOut();
    ASSERT_TRUE(events.waitFor(1, 10));
    frames.clear(); // the kernel keeps a device until nobody holds anything of it
    plugIn();
    ASSERT_TRUE(events.waitFor(2, 20));
    EXPECT_EQ(events.all()[1], "ended");
    EXPECT_TRUE(isListed());
    ASSERT_FALSE(start(camera, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange));
    EXPECT_TRUE(frames.waitFor(3, 10));
}

}
