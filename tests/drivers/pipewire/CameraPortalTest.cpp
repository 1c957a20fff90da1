// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/openCameraPortal.h"

#include "tests/support/DesktopBus.h"

#include "tests/drivers/pipewire/PipeWireTest.h"

namespace velmora::tests {

/// A portal that opens the test's daemon, when the user allows it.
class PipeWirePortal : public PipeWireTest {
protected:
    void SetUp() override
    {
        PipeWireTest::SetUp();
        if (!daemon || !DesktopBus::isHere())
            return;
        bus = std::make_unique<DesktopBus>(DesktopBus::portal, daemon->socket());
        publish("one", { "offers=NV12:320x240:60" });
        capture = drivers::pipewire::openCameraPortal(wish());
        ASSERT_TRUE(capture);
    }
    bool ask()
    {
        const auto before = answers->all().size();
        capture->requestAccess(AVMediaTypeVideo, [to = answers](bool yes) { to->add(yes ? 1 : 0); });
        return answers->waitFor(before + 1) && answers->all().back() == 1;
    }

    std::unique_ptr<DesktopBus> bus;
    const std::shared_ptr<Collected<int>> answers = std::make_shared<Collected<int>>();
};

TEST_F(PipeWirePortal, HasNoCamerasBeforeTheUserIsAsked)
{
    EXPECT_EQ(capture->authorizationStatus(AVMediaTypeVideo), AVAuthorizationStatusNotDetermined);
    EXPECT_TRUE(capture->devices().empty());
}

TEST_F(PipeWirePortal, GivesTheDaemonsCamerasWhenTheUserAllowsThem)
{
    ASSERT_TRUE(ask());
    EXPECT_EQ(capture->authorizationStatus(AVMediaTypeVideo), AVAuthorizationStatusAuthorized);
    const auto camera = open("one");
    ASSERT_TRUE(camera);
    ASSERT_FALSE(start(camera));
    EXPECT_TRUE(frames.waitFor(3));
}

TEST_F(PipeWirePortal, GivesNothingWhenTheUserRefuses)
{
    bus->tell("deny");
    EXPECT_FALSE(ask());
    EXPECT_EQ(capture->authorizationStatus(AVMediaTypeVideo), AVAuthorizationStatusDenied);
    EXPECT_TRUE(capture->devices().empty());
    bus->tell("allow");
    EXPECT_TRUE(ask()) << "the user changed his mind";
}

TEST_F(PipeWirePortal, ThatTakesTheCamerasBackInterruptsAndFailsThem)
{
    ASSERT_TRUE(ask());
    const auto camera = open("one");
    listen(*camera);
    ASSERT_FALSE(start(camera));
    ASSERT_TRUE(frames.waitFor(1));
    daemon->kill(); // the connection ends, and only the portal can open another
    ASSERT_TRUE(events.waitFor(2));
    EXPECT_THAT(events.all(), testing::ElementsAre("interrupted", "failed: The camera \"one\" was unplugged."));
    EXPECT_EQ(capture->authorizationStatus(AVMediaTypeVideo), AVAuthorizationStatusDenied);
}

}
