// SPDX-License-Identifier: Apache-2.0
#include "tests/apps/camera/CameraProgram.h"

namespace velmora::tests {

using testing::EndsWith;
using testing::HasSubstr;

class Signals : public CameraProgram {
protected:
    /// Shoots without end, and gets the signal after the first photo.
    ProgramOutcome interrupt(const std::string& signal) const
    {
        // A shell's background jobs ignore SIGINT unless told otherwise.
        return runLine(
            "mkfifo report; env --default-signal=INT $camera --camera virtual --phone small.json --quiet shoot "
            "--count 100000 --out photos >report & exec 3<report; read first <&3; kill -"
            + signal + " $!; cat <&3 >/dev/null; wait $!");
    }
};

TEST_F(Signals, AnInterruptEndsWith130)
{
    const auto outcome = interrupt("INT");
    EXPECT_EQ(outcome.status, 130);
    EXPECT_EQ(outcome.err, "velmora-camera: Stopped: a signal came; start again to go on.\n");
}

TEST_F(Signals, ATerminationEndsWith143)
{
    EXPECT_EQ(interrupt("TERM").status, 143);
}

TEST_F(Signals, EveryFileThatIsThereIsComplete)
{
    interrupt("TERM");
    const auto files = filesIn("photos");
    ASSERT_FALSE(files.empty());
    for (const auto& file : files)
        EXPECT_THAT(file, EndsWith(".jpg"));
}

TEST_F(Signals, WhoeverAskedToIgnoreInterruptsIsObeyed)
{
    const auto outcome
        = runLine("mkfifo report; env --ignore-signal=INT $camera --camera virtual --phone small.json "
                  "--quiet shoot --count 3 --out photos >report & exec 3<report; read first <&3; kill -INT $!; "
                  "cat <&3 >/dev/null; wait $!");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(filesIn("photos").size(), 3U);
}

}
