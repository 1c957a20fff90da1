// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <nlohmann/json.hpp>

#include <filesystem>

#include "tests/machine/MachineTest.h"

namespace velmora::tests {

using testing::HasSubstr;

/// The program as a person runs it on a machine whose only cameras are the kernel's.
class KernelProgram : public testing::Test {
protected:
    Outcome run(const std::string& arguments) const
    {
        return runCommand("cd '" + folder.path() + "' && '" VELMORA_CAMERA "' " + arguments);
    }
    nlohmann::json answer(const std::string& arguments) const
    {
        const auto outcome = run("--json --quiet " + arguments + " 2>err");
        EXPECT_EQ(outcome.status, 0) << runCommand("cat '" + folder.path() + "/err'").output;
        return nlohmann::json::parse(outcome.output, nullptr, false);
    }

    const TemporaryFolder folder;
};

TEST_F(KernelProgram, FindsTheCamerasWithoutBeingTold)
{
    const auto devices = answer("devices");
    EXPECT_EQ(devices["driver"], "v4l2");
    ASSERT_EQ(devices["devices"].size(), 2U);
    EXPECT_EQ(devices["devices"][0]["id"], "platform:vivid-000/0");
}

TEST_F(KernelProgram, SaysThatTheDriverWorks)
{
    EXPECT_THAT(run("--camera v4l2 devices").output, HasSubstr("driver v4l2: works\n"));
}

TEST_F(KernelProgram, ShootsPhotosWithTheSettingsOfTheCommandLine)
{
    const auto shot = answer("--camera v4l2 shoot --count 2 --out photos --iso 400");
    EXPECT_EQ(shot["driver"], "v4l2");
    ASSERT_EQ(shot["photos"].size(), 2U);
    EXPECT_NEAR(shot["photos"][1]["iso"].get<double>(), 400, 5);
    EXPECT_TRUE(std::filesystem::exists(shot["photos"][1]["jpg"].get<std::string>()));
}

TEST_F(KernelProgram, CountsItsFrames)
{
    EXPECT_EQ(answer("--camera v4l2 frames --count 10")["delivered"], 10);
}

}
