// SPDX-License-Identifier: Apache-2.0
#include "platform/ImageIO/ImageDecoder.h"

#include "drivers/media/install.h"

#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"

#include "tests/apps/camera/Snapshot.h"

namespace velmora::tests {

using testing::HasSubstr;

TEST_F(Snapshot, DrawsTheScreenInItsSizeTimesItsScale)
{
    const auto outcome = run("--phone small.json --quiet --json snapshot --png a.png --size 120x200 --scale 2");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.json()["png"], path("a.png"));
    EXPECT_EQ(outcome.json()["driver"], "virtual");
    drivers::media::install();
    const auto pixels = ImageDecoder::installed()->decodeFile(path("a.png"));
    EXPECT_EQ(pixels->width(), 240);
    EXPECT_EQ(pixels->height(), 400);
}

TEST_F(Snapshot, TheSameInputGivesTheSameBytes)
{
    ASSERT_EQ(snapshot("--png a.png").status, 0);
    ASSERT_EQ(snapshot("--png b.png").status, 0);
    EXPECT_EQ(bytes("a.png"), bytes("b.png"));
    EXPECT_FALSE(bytes("a.png").empty());
}

TEST_F(Snapshot, ShowsTheOpenedViewfinderAndTheButton)
{
    ASSERT_EQ(snapshot("--png a.png").status, 0);
    EXPECT_EQ(colorAt("a.png", 90, 308), (std::array { 255, 255, 255 })); // the button's disc
    EXPECT_EQ(colorAt("a.png", 2, 355), (std::array { 0, 0, 0 })); // the screen's ground
    EXPECT_NE(colorAt("a.png", 20, 140), (std::array { 0, 0, 0 })); // the picture
}

TEST_F(Snapshot, FollowsTheTouchesOfAScript)
{
    write("press.txt", "# the shutter button\n0.1 down 90 308\n\n0.8 move 91 308 # held\n");
    ASSERT_EQ(snapshot("--png a.png --script press.txt").status, 0);
    EXPECT_EQ(colorAt("a.png", 90, 308), (std::array { 170, 170, 170 })); // pressed: light grey
    EXPECT_EQ(colorAt("a.png", 90 - 30, 308), (std::array { 0, 0, 0 })); // and smaller
}

TEST_F(Snapshot, AWrongLineOfAScriptIsNamed)
{
    write("wrong.txt", "0.1 down 90 308\n0.2 wave 1 2\n");
    const auto outcome = snapshot("--png a.png --script wrong.txt");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err,
        "velmora-camera: Line 2 of wrong.txt is no touch: it says \"0.2 wave 1 2\"; a line is SECONDS "
        "down|move|up|cancel X Y [FINGER].\n");
    EXPECT_TRUE(bytes("a.png").empty());
}

TEST_F(Snapshot, TimesThatGoBackAreRefused)
{
    write("back.txt", "0.5 down 90 308\n0.2 up 90 308\n");
    EXPECT_THAT(snapshot("--png a.png --script back.txt").err, HasSubstr("Line 2 of back.txt comes too late"));
}

TEST_F(Snapshot, NoFileIsReplaced)
{
    write("a.png", "mine");
    const auto outcome = snapshot("--png a.png");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("a file is there already"));
    EXPECT_EQ(bytes("a.png"), "mine");
}

TEST_F(Snapshot, AFolderThatIsMissingIsAClearError)
{
    const auto outcome = snapshot("--png nowhere/a.png");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("The snapshot cannot be written"));
}

TEST_F(Snapshot, ARealCameraHasNoClockOfItsOwn)
{
    EXPECT_EQ(run("--camera pipewire snapshot --png a.png").status, 2);
    EXPECT_EQ(run("snapshot").status, 2); // no --png
    EXPECT_EQ(snapshot("--png a.png --scale 0").status, 2);
}

TEST_F(Snapshot, APhotoGoesIntoTheAlbum)
{
    write("shot.txt", "0.1 down 90 308\n0.2 up 90 308\n2 down 2 2\n");
    ASSERT_EQ(snapshot("--library shots --album Roof --png a.png --script shot.txt").status, 0);
    const auto album = run("--library shots --json album Roof").json();
    ASSERT_EQ(album["photos"].size(), 1U);
    EXPECT_THAT(album["photos"][0], testing::EndsWith("/shots/IMG_20260102_084906.jpg")); // 03:04:06 UTC in Kathmandu
    EXPECT_TRUE(std::filesystem::exists(album["photos"][0].get<std::string>()));
}

TEST_F(Snapshot, WithoutAnAlbumsNameItIsVelmora)
{
    write("shot.txt", "0.1 down 90 308\n0.2 up 90 308\n2 down 2 2\n");
    ASSERT_EQ(snapshot("--library shots --png a.png --script shot.txt").status, 0);
    EXPECT_EQ(run("--library shots --json album Velmora").json()["photos"].size(), 1U);
}

TEST_F(Snapshot, WithoutALibraryNothingOfTheUsersIsTouched)
{
    write("shot.txt", "0.1 down 90 308\n0.2 up 90 308\n2 down 2 2\n");
    ASSERT_EQ(snapshot("--png a.png --script shot.txt").status, 0);
    EXPECT_THAT(filesIn("home/Pictures"), testing::IsEmpty());
}

TEST_F(Snapshot, TheNewestPhotoSlidesInBesideTheButton)
{
    // The thumbnail is 38 points from (8, 289). The photo is there 0.1 s after the touch, and 0.25 s later its picture,
    // which waits for another 0.25 s and takes half a second.
    const auto after = [&](const std::string& seconds, const std::string& png) {
        write("shot.txt", "0.1 down 90 308\n0.2 up 90 308\n" + seconds + " down 2 2\n");
        EXPECT_EQ(snapshot("--library " + png + ".photos --png " + png + " --script shot.txt").status, 0);
    };
    constexpr std::array empty { 51, 51, 51 };
    after("0.7", "before.png");
    EXPECT_EQ(colorAt("before.png", 27, 292), empty);
    EXPECT_EQ(colorAt("before.png", 27, 323), empty);
    after("1.05", "sliding.png");
    EXPECT_NE(colorAt("sliding.png", 27, 292), empty);
    EXPECT_EQ(colorAt("sliding.png", 27, 323), empty);
    after("2", "there.png");
    EXPECT_NE(colorAt("there.png", 27, 292), empty);
    EXPECT_NE(colorAt("there.png", 27, 323), empty);
}

TEST_F(Snapshot, WhatTheAlbumHoldsAlreadyIsThereAtOnce)
{
    ASSERT_EQ(run("--phone small.json --camera virtual --library shots --quiet shoot --album Velmora").status, 0);
    ASSERT_EQ(snapshot("--library shots --png a.png").status, 0);
    EXPECT_NE(colorAt("a.png", 27, 308), (std::array { 51, 51, 51 }));
}

TEST_F(Snapshot, ALibraryThatCannotBeWrittenIsRefusedBeforeTheScreenOpens)
{
    write("notes", "a file");
    const auto outcome = snapshot("--library notes --png a.png");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("The album \"Velmora\" cannot be made: There is no photo library at"));
}

class ScreenProgram : public CameraProgram { };

TEST_F(ScreenProgram, WithoutADesktopItSaysSo)
{
    const auto outcome = run("--camera virtual --phone small.json --quiet", "unset DISPLAY;");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
        "velmora-camera: The camera screen cannot be shown: there is no desktop: DISPLAY is not set; start it on a "
        "desktop, or draw it with velmora-camera snapshot --png FILE.\n");
}

TEST_F(ScreenProgram, InAWindowAClickOnTheButtonStoresAPhoto)
{
    if (!requireTool("Xvfb") || !requireTool("xdotool"))
        return;
    // The window fills its desktop; the button is 36 points above its lower edge. Everything is waited for. A server
    // that resets when its last client goes would drop the program while xdotool looks for it.
    const auto outcome
        = runLine("Xvfb -displayfd 9 -noreset -screen 0 360x720x24 -nolisten tcp 9>number >/dev/null 2>&1 & server=$!; "
                  "until grep -qs . number; do kill -0 $server || exit 9; done; export DISPLAY=:$(cat number); "
                  "$camera --camera virtual --phone small.json --quiet --library shots screen & program=$!; "
                  "until xdotool search --name Velmora >/dev/null 2>&1; do kill -0 $program || exit 8; done; "
                  "until ls shots/*.jpg >/dev/null 2>&1; do kill -0 $program || exit 7; "
                  "xdotool mousemove 180 668 click 1; done; "
                  "kill -TERM $program; wait $program; status=$?; kill $server; exit $status");
    EXPECT_EQ(outcome.status, 143) << outcome.err;
    EXPECT_GE(run("--library shots --json album Velmora").json()["photos"].size(), 1U);
}

}
