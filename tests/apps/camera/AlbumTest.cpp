// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "tests/apps/camera/CameraProgram.h"

namespace velmora::tests {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

class Album : public CameraProgram {
protected:
    ProgramOutcome shoot(const std::string& arguments) const
    {
        return run("--phone small.json --camera virtual --library library --json shoot " + arguments);
    }
    std::vector<std::string> photos() const
    {
        auto names = filesIn("library");
        std::erase_if(names, [](const auto& name) { return name.starts_with(".photos.sqlite"); });
        return names;
    }
};

TEST_F(Album, ANewOneIsEmpty)
{
    const auto outcome = run("--library library album Roof");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "The album \"Roof\" is empty.\n");
}

TEST_F(Album, ListsWhatWasShotIntoItOldestFirst)
{
    ASSERT_EQ(shoot("--album Roof --count 2").status, 0);
    ASSERT_EQ(shoot("--album Cellar").status, 0);
    ASSERT_EQ(shoot("--album Roof").status, 0);
    const auto json = run("--library library --json album Roof").json();
    EXPECT_EQ(json["version"], 1);
    EXPECT_EQ(json["title"], "Roof");
    EXPECT_EQ(json["identifier"], "Roof");
    EXPECT_EQ(json["localIdentifier"].get<std::string>().size(), 36U);
    ASSERT_EQ(json["photos"].size(), 3U);
    for (const auto& photo : json["photos"])
        EXPECT_TRUE(std::filesystem::path(photo.get<std::string>()).is_absolute());
    const auto lines = run("--library library album Roof").out;
    EXPECT_EQ(lines,
        json["photos"][0].get<std::string>() + "\n" + json["photos"][1].get<std::string>() + "\n"
            + json["photos"][2].get<std::string>() + "\n");
}

TEST_F(Album, IsTheSameOneAtEveryRun)
{
    const auto first = run("--library library --json album Roof").json(),
               second = run("--library library --json album Roof").json();
    EXPECT_EQ(first["localIdentifier"], second["localIdentifier"]);
}

TEST_F(Album, LiesInItsFolder)
{
    EXPECT_EQ(run("--library library album Roof --folder House").status, 0);
    EXPECT_EQ(run("--library library album Cellar --folder House").status, 0);
    EXPECT_EQ(run("--library library album Roof --folder House --json").json()["title"], "Roof");
}

TEST_F(Album, WithoutALibraryItIsInThePicturesFolder)
{
    ASSERT_EQ(run("--phone small.json --camera virtual shoot --album Roof --quiet").status, 0);
    EXPECT_THAT(run("album Roof").out, MatchesRegex(".*/home/Pictures/Camera/IMG_[0-9]+_[0-9]+\\.jpg\n"));
}

TEST_F(Album, AShotIntoItTellsItsFiles)
{
    const auto outcome = shoot("--album Roof --raw plus");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto photo = outcome.json()["photos"][0];
    EXPECT_THAT(photo["jpg"].get<std::string>(), MatchesRegex(".*/library/IMG_[0-9]+_[0-9]+\\.jpg"));
    EXPECT_THAT(photo["dng"].get<std::string>(), MatchesRegex(".*/library/IMG_[0-9]+_[0-9]+\\.dng"));
    EXPECT_EQ(photos().size(), 2U);
    EXPECT_EQ(run("--library library --json album Roof").json()["photos"], (nlohmann::json::array({ photo["jpg"] })));
}

TEST_F(Album, ALivePhotoKeepsItsMovie)
{
    const auto outcome = shoot("--album Roof --live");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.json()["photos"][0]["movie"].get<std::string>(), MatchesRegex(".*/library/IMG_.*\\.mov"));
    EXPECT_EQ(photos().size(), 2U);
}

TEST_F(Album, PhotosOfOtherProgramsAreThereButInNoAlbum)
{
    ASSERT_EQ(shoot("--album Roof").status, 0);
    std::filesystem::copy_file(path("library/" + photos().front()), path("library/OTHER.jpg"));
    EXPECT_EQ(run("--library library --json album Roof").json()["photos"].size(), 1U);
    EXPECT_EQ(photos().size(), 2U);
}

TEST_F(Album, ARenamedPhotoStaysInIt)
{
    ASSERT_EQ(shoot("--album Roof").status, 0);
    std::filesystem::rename(path("library/" + photos().front()), path("library/NOON.jpg"));
    EXPECT_EQ(run("--library library album Roof").out, path("library/NOON.jpg") + "\n");
}

TEST_F(Album, NeedsATitle)
{
    EXPECT_EQ(run("album").status, 2);
    EXPECT_EQ(run("shoot --album Roof --out photos").status, 2);
}

TEST_F(Album, WithoutPermissionNothingIsShotIntoIt)
{
    auto phone = std::string(smallPhone);
    for (const auto* permission : { "denied", "notDetermined" }) {
        write("denied.json",
            phone.substr(0, phone.rfind('}')) + R"(, "permissions": { "photos": ")" + permission + "\" } }");
        const auto outcome = run("--phone denied.json --camera virtual --library library --quiet shoot --album Roof");
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err, HasSubstr("photo library"));
        EXPECT_THAT(photos(), IsEmpty());
    }
}

TEST_F(Album, WhereThereCanBeNoLibraryThatIsSaid)
{
    write("file", "");
    const auto outcome = run("--library file/library --json album Roof");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("There is no photo library at"));
    EXPECT_THAT(outcome.json()["error"]["what"].get<std::string>(), HasSubstr("photo library"));
}

}
