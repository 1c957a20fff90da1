// SPDX-License-Identifier: Apache-2.0
#include "drivers/pipewire/openPipeWire.h"

#include "tests/support/Require.h"

#include "tests/apps/camera/CameraProgram.h"

namespace velmora::tests {

using testing::HasSubstr;

class CameraChoice : public CameraProgram { };

TEST_F(CameraChoice, WithoutACameraNoPhotoIsInvented)
{
    const auto outcome = run("shoot --out photos");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
        "velmora-camera: There is no camera: none of the drivers that were built found one on this machine; use "
        "--camera virtual, the virtual phone, perhaps with --footage FILE.\n");
    EXPECT_TRUE(filesIn("photos").empty());
}

TEST_F(CameraChoice, WhoDescribesTheVirtualPhoneGetsItAndIsTold)
{
    const auto outcome = run("--phone small.json shoot --out photos");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("velmora-camera: this machine has no camera; using the virtual phone.\n"));
    EXPECT_EQ(filesIn("photos").size(), 1U);
}

TEST_F(CameraChoice, AKernelWithoutACameraIsRefusedWithAdvice)
{
    const auto outcome = run("shoot --camera v4l2");
    if (std::filesystem::exists("/dev/video0"))
        GTEST_SKIP() << "This machine has a camera.";
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
        "velmora-camera: There is no camera: v4l2 was asked and has none; plug one in, or use --camera virtual, the "
        "virtual phone.\n");
}

TEST_F(CameraChoice, ADaemonThatDoesNotRunIsRefusedWithAdvice)
{
    if (!requirePart("pipewire", drivers::pipewire::isBuilt()))
        return;
    const auto outcome = run("shoot --camera pipewire");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
        "velmora-camera: --camera pipewire cannot be used: No PipeWire daemon runs here; start pipewire and "
        "wireplumber, and try again; use --camera virtual, the virtual phone.\n");
}

TEST_F(CameraChoice, AnUnknownPhoneIsRefused)
{
    const auto outcome = run("--phone quadruple shoot --out photos --quiet");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
        "velmora-camera: There is no virtual phone \"quadruple\": it is neither built in nor a file; use triple, "
        "single, none, or a JSON description.\n");
}

TEST_F(CameraChoice, ADescriptionThatIsNoJSONIsRefused)
{
    write("broken.json", "{ \"cameras\": [");
    const auto outcome = run("--phone broken.json shoot --out photos --quiet");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("velmora-camera: The virtual phone cannot be read: "));
    EXPECT_THAT(outcome.err, HasSubstr("broken.json"));
}

TEST_F(CameraChoice, APhoneWithoutCamerasIsRefused)
{
    const auto outcome = run("--phone none shoot --out photos --quiet");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("There is no camera: this phone has none; use another --phone."));
}

TEST_F(CameraChoice, ALensThatIsMissingIsRefusedWithThoseThatAreThere)
{
    const auto outcome = run("--phone small.json shoot --lens tele --out photos --quiet");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
        "velmora-camera: There is no tele camera at the back: this phone has none there; use --lens with one of: "
        "wide.\n");
}

TEST_F(CameraChoice, ASideWithoutACameraIsRefused)
{
    const auto outcome = run("--phone small.json shoot --position front --out photos --quiet");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("There is no front camera: this phone has none there; use --position back."));
}

TEST_F(CameraChoice, EachLensAndSideTakesItsCamera)
{
    EXPECT_EQ(run("--camera virtual --json shoot --lens tele --out photos").json()["camera"], "back-tele");
    EXPECT_EQ(run("--camera virtual --json shoot --position front --out photos").json()["camera"], "front-wide");
}

TEST_F(CameraChoice, FootageThatIsMissingIsRefused)
{
    const auto outcome = run("--footage nowhere.jpg shoot --out photos --quiet");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
        "velmora-camera: The footage cannot be used: The footage nowhere.jpg cannot be opened: No such file or "
        "directory; give a JPEG, a PNG or a movie with --footage FILE.\n");
    EXPECT_TRUE(filesIn("photos").empty());
}

TEST_F(CameraChoice, FootageThatIsNoPictureIsRefused)
{
    write("words.txt", "no picture at all");
    const auto outcome = run("--footage words.txt shoot --out photos --quiet");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("The footage cannot be used: "));
    EXPECT_THAT(outcome.err, HasSubstr("words.txt"));
    EXPECT_THAT(outcome.err, HasSubstr("give a JPEG, a PNG or a movie with --footage FILE.\n"));
    EXPECT_TRUE(filesIn("photos").empty());
}

}
