// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/apps/camera/CameraProgram.h"

namespace velmora::tests {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class PictureFiles : public CameraProgram {
protected:
    static constexpr auto shoot = "--phone small.json --camera virtual --quiet shoot ";
};

TEST_F(PictureFiles, WithoutAFolderTheyGoToThePicturesOfTheUser)
{
    EXPECT_EQ(run(shoot).status, 0);
    EXPECT_THAT(filesIn("home"), ElementsAre(StartsWith("Pictures/Camera/IMG_")));
}

TEST_F(PictureFiles, TheUsersOwnNameForThePicturesFolderIsHonoured)
{
    std::filesystem::create_directory(path("home/.config"));
    write("home/.config/user-dirs.dirs", "# made by a desktop\nXDG_PICTURES_DIR=\"$HOME/Bilder\"\n");
    EXPECT_EQ(run(shoot).status, 0);
    EXPECT_THAT(filesIn("home/Bilder"), ElementsAre(StartsWith("Camera/IMG_")));
}

TEST_F(PictureFiles, TheEnvironmentsPicturesFolderComesFirst)
{
    EXPECT_EQ(run(shoot, "XDG_PICTURES_DIR='" + path("shots") + "'").status, 0);
    EXPECT_THAT(filesIn("shots"), ElementsAre(StartsWith("Camera/IMG_")));
}

TEST_F(PictureFiles, TheLibraryOptionNamesTheFolderItself)
{
    EXPECT_EQ(run(std::string(shoot) + "--library album").status, 0);
    EXPECT_THAT(filesIn("album"), ElementsAre(StartsWith("IMG_")));
}

TEST_F(PictureFiles, WithoutAHomeAFolderMustBeChosen)
{
    const auto outcome = run(shoot, "env -u HOME");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
        "velmora-camera: The pictures folder cannot be found: HOME is not set; choose a folder with --library DIR.\n");
}

TEST_F(PictureFiles, AFolderThatCannotBeMadeIsRefused)
{
    write("file", "in the way");
    const auto outcome = run(std::string(shoot) + "--out file/photos");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
        "velmora-camera: " + path("file/photos")
            + " cannot be written: Not a directory; choose another folder with --out DIR.\n");
}

TEST_F(PictureFiles, AFileIsNoFolder)
{
    write("file", "in the way");
    const auto outcome = run(std::string(shoot) + "--out file");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr(path("file") + " cannot be written: Not a directory"));
}

TEST_F(PictureFiles, NothingIsEverReplaced)
{
    // Every name of the next minute is taken.
    const auto outcome = runLine("mkdir photos; now=$(date +%s); for s in $(seq -5 60); do "
                                 "echo mine >photos/IMG_$(date -d @$((now + s)) +%Y%m%d_%H%M%S).jpg; done; $camera "
        + std::string(shoot) + "--out photos");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, MatchesRegex(".*IMG_[0-9]+_[0-9]+_2\\.jpg\n.*"));
    EXPECT_EQ(runLine("grep -lx mine photos/*.jpg | wc -l").out, "66\n");
}

TEST_F(PictureFiles, ANameThatSomebodyIsWritingIsTaken)
{
    const auto outcome = runLine("mkdir photos; now=$(date +%s); for s in $(seq -5 60); do "
                                 "touch photos/.IMG_$(date -d @$((now + s)) +%Y%m%d_%H%M%S).jpg.part; done; $camera "
        + std::string(shoot) + "--out photos");
    EXPECT_THAT(outcome.out, MatchesRegex(".*IMG_[0-9]+_[0-9]+_2\\.jpg\n.*"));
}

TEST_F(PictureFiles, OnAFullDiskNoFileIsLeft)
{
    const auto outcome = runLine("ulimit -f 8; $camera " + std::string(shoot) + "--raw plus --out photos");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("there is no space left for it"));
    EXPECT_THAT(outcome.err, HasSubstr("free some, or choose another folder with --out DIR."));
    EXPECT_TRUE(filesIn("photos").empty());
}

TEST_F(PictureFiles, WhatWasStoredBeforeAFailureStaysAndIsReported)
{
    // The folder disappears under the program after the first photo.
    const auto outcome
        = runLine("mkfifo report; $camera --camera virtual --phone small.json --quiet shoot --count 100000 "
                  "--out photos >report & exec 3<report; read first <&3; mv photos kept; cat <&3 >/dev/null; "
                  "wait $!");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("cannot be written: No such file or directory"));
    EXPECT_FALSE(filesIn("kept").empty());
}

TEST_F(PictureFiles, AReportThatCannotBeWrittenIsAFailure)
{
    const auto outcome = runLine("$camera " + std::string(shoot) + "--out photos >/dev/full");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
        "velmora-camera: The report cannot be written: No space left on device; give a standard output that takes "
        "it.\n");
}

}
