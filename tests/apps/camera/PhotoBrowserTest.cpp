// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/StringTable.h"

#include <png.h>

#include <filesystem>

#include "tests/apps/camera/Snapshot.h"

namespace velmora::tests {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// A screen of 180 by 360 points, whose newest photo stands at (27, 308). The grid has columns of 59 points; its first
/// row is seen at 105.
class PhotoBrowser : public Snapshot {
protected:
    /// So many photos of each colour; the last colour is the newest.
    void shoot(const std::vector<std::string>& colours, int count = 1) const
    {
        for (const auto& colour : colours) {
            writePicture(colour);
            EXPECT_EQ(run("--phone small.json --camera virtual --footage " + colour
                          + ".png --library shots --quiet shoot --album Velmora --count " + std::to_string(count))
                          .status,
                0);
        }
    }
    /// What is seen after these touches; the browser is opened before them, in 2 s.
    ProgramOutcome browse(const std::string& touches, const std::string& options = {}) const
    {
        std::filesystem::remove(path("a.png"));
        write("script.txt", "0.1 down 27 308\n0.2 up 27 308\n" + touches);
        return run("--phone small.json --quiet --library shots " + options
            + " snapshot --size 180x360 --scale 1 --png a.png --script script.txt");
    }
    /// "red", "green", "blue", "white", "black", or another word.
    std::string seenAt(int x, int y) const
    {
        const auto [red, green, blue] = colorAt("a.png", x, y);
        const auto isHigh = [](int level) { return level > 160; };
        const auto isLow = [](int level) { return level < 90; };
        if (isHigh(red) && isHigh(green) && isHigh(blue))
            return "white";
        if (isLow(red) && isLow(green) && isLow(blue))
            return "black";
        if (isHigh(red) && isLow(green) && isLow(blue))
            return "red";
        if (isLow(red) && isHigh(green) && isLow(blue))
            return "green";
        if (isLow(red) && isLow(green) && isHigh(blue))
            return "blue";
        return "(" + std::to_string(red) + ", " + std::to_string(green) + ", " + std::to_string(blue) + ")";
    }
    std::vector<std::string> photos() const
    {
        auto names = filesIn("shots");
        std::erase_if(names, [](const auto& name) { return name.starts_with(".photos.sqlite"); });
        return names;
    }
    std::string newest() const { return run("--library shots --json album Velmora").json()["photos"].back(); }

    const std::string end = "9 down 179 1\n"; // nothing happens there
    const std::string openFirst = "2 down 30 105\n2.1 up 30 105\n";

private:
    void writePicture(const std::string& colour) const
    {
        constexpr int side = 32;
        png_image image {};
        image.version = PNG_IMAGE_VERSION;
        image.width = image.height = side;
        image.format = PNG_FORMAT_RGB;
        std::vector<std::uint8_t> pixels;
        for (int i = 0; i < side * side; ++i)
            for (const char* name : { "red", "green", "blue" })
                pixels.push_back(colour == name ? 255 : 0);
        png_image_write_to_file(&image, path(colour + ".png").c_str(), 0, pixels.data(), 0, nullptr);
    }
};

TEST_F(PhotoBrowser, ShowsTheNewestPhotosFirst)
{
    shoot({ "blue", "green", "red" });
    ASSERT_EQ(browse(end).status, 0);
    EXPECT_EQ(seenAt(30, 105), "red");
    EXPECT_EQ(seenAt(90, 105), "green");
    EXPECT_EQ(seenAt(150, 105), "blue");
    EXPECT_EQ(seenAt(90, 300), "white"); // the ground
}

TEST_F(PhotoBrowser, WithoutPhotosSaysSo)
{
    ASSERT_EQ(browse(end).status, 0);
    EXPECT_EQ(seenAt(30, 105), "white");
    const auto seen = picture("a.png");
    int dark = 0; // of the text
    for (int x = 20; x < 160; ++x)
        for (int y = 150; y < 300; ++y)
            dark += colourAt(*seen, x, y)[0] < 200 ? 1 : 0;
    EXPECT_GT(dark, 100);
}

TEST_F(PhotoBrowser, APhotoThatIsTakenMeanwhileComesIn)
{
    // The shutter's photo is on its way when the browser opens.
    shoot({ "green", "red" });
    write("script.txt", "0.1 down 90 308\n0.12 up 90 308\n0.14 down 27 308\n0.16 up 27 308\n" + end);
    ASSERT_EQ(run("--phone small.json --footage green.png --quiet --library shots snapshot --size 180x360 --scale 1 "
                  "--png a.png --script script.txt")
                  .status,
        0);
    EXPECT_THAT(photos(), SizeIs(3));
    EXPECT_EQ(seenAt(30, 105), "red"); // the clock of the screen is in the past: its photo is the oldest
    EXPECT_EQ(seenAt(150, 105), "green");
}

TEST_F(PhotoBrowser, ATapShowsAPhotoOverTheWholeScreen)
{
    shoot({ "green", "red" });
    ASSERT_EQ(browse(openFirst + end).status, 0);
    EXPECT_EQ(seenAt(90, 180), "red");
    EXPECT_EQ(seenAt(5, 180), "red");
    EXPECT_EQ(seenAt(90, 50), "black"); // between the bar and the picture, which is 180 by 240
}

TEST_F(PhotoBrowser, ASwipeLeadsToTheNextPhotoAndBack)
{
    shoot({ "green", "red" });
    const std::string on = "4 down 150 180\n4.05 move 130 180\n4.1 move 60 180\n4.15 move 40 180\n4.2 up 40 180\n",
                      back = "6 down 40 180\n6.05 move 60 180\n6.1 move 130 180\n6.15 move 150 180\n6.2 up 150 180\n";
    ASSERT_EQ(browse(openFirst + on + end).status, 0);
    EXPECT_EQ(seenAt(90, 180), "green");
    ASSERT_EQ(browse(openFirst + on + back + end).status, 0);
    EXPECT_EQ(seenAt(90, 180), "red");
}

TEST_F(PhotoBrowser, AShortSlowSwipeComesBack)
{
    shoot({ "green", "red" });
    const std::string swipe = "4 down 150 180\n4.5 move 120 180\n5 move 110 180\n5.5 up 110 180\n";
    ASSERT_EQ(browse(openFirst + swipe + end).status, 0);
    EXPECT_EQ(seenAt(90, 180), "red");
}

TEST_F(PhotoBrowser, BesideTheLastPhotoThereIsNothing)
{
    shoot({ "red" });
    const std::string on = "4 down 150 180\n4.05 move 130 180\n4.1 move 40 180\n";
    ASSERT_EQ(browse(openFirst + on).status, 0);
    EXPECT_EQ(seenAt(175, 180), "black"); // it follows the finger, less and less
    ASSERT_EQ(browse(openFirst + on + "4.15 up 40 180\n" + end).status, 0);
    EXPECT_EQ(seenAt(175, 180), "red");
}

TEST_F(PhotoBrowser, TwoTapsEnlargeAndTwoMoreMakeItFitAgain)
{
    shoot({ "red" });
    const std::string twice = "4 down 90 180\n4.05 up 90 180\n4.15 down 90 180\n4.2 up 90 180\n",
                      again = "6 down 90 180\n6.05 up 90 180\n6.15 down 90 180\n6.2 up 90 180\n";
    ASSERT_EQ(browse(openFirst + twice + end).status, 0);
    EXPECT_EQ(seenAt(90, 50), "red");
    ASSERT_EQ(browse(openFirst + twice + again + end).status, 0);
    EXPECT_EQ(seenAt(90, 50), "black");
}

TEST_F(PhotoBrowser, TwoFingersEnlargeAndAnEnlargedPhotoIsMovedNotTurned)
{
    shoot({ "green", "red" });
    const std::string pinch = "4 down 80 180\n4 down 100 180 2\n4.1 move 60 180\n4.1 move 120 180 2\n"
                              "4.2 up 60 180\n4.2 up 120 180 2\n",
                      swipe = "6 down 150 180\n6.05 move 130 180\n6.1 move 60 180\n6.15 move 40 180\n6.2 up 40 180\n";
    ASSERT_EQ(browse(openFirst + pinch + end).status, 0);
    EXPECT_EQ(seenAt(90, 50), "red");
    ASSERT_EQ(browse(openFirst + pinch + swipe + end).status, 0);
    EXPECT_EQ(seenAt(90, 180), "red");
}

TEST_F(PhotoBrowser, APhotoThatTwoFingersMakeTooSmallFitsAgain)
{
    shoot({ "red" });
    const std::string pinch = "4 down 40 180\n4 down 140 180 2\n4.1 move 60 180\n4.1 move 120 180 2\n";
    ASSERT_EQ(browse(openFirst + pinch).status, 0);
    EXPECT_EQ(seenAt(5, 180), "black");
    ASSERT_EQ(browse(openFirst + pinch + "4.2 up 60 180\n4.2 up 120 180 2\n" + end).status, 0);
    EXPECT_EQ(seenAt(5, 180), "red");
}

TEST_F(PhotoBrowser, SharingTellsThePathOfThePhoto)
{
    shoot({ "green", "red" });
    const auto outcome = browse(openFirst + "4 down 30 335\n4.1 up 30 335\n" + end);
    ASSERT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, newest() + "\n" + path("a.png") + "\n");
    EXPECT_EQ(seenAt(20, 300), "white"); // the sheet
}

TEST_F(PhotoBrowser, InJSONSharedPathsStandBesideTheRest)
{
    shoot({ "red" });
    const auto outcome = browse(openFirst + "4 down 30 335\n4.1 up 30 335\n" + end, "--json");
    EXPECT_THAT(outcome.json()["shared"], ElementsAre(newest()));
    EXPECT_EQ(outcome.json()["png"], path("a.png"));
}

TEST_F(PhotoBrowser, DeletingAsksFirst)
{
    shoot({ "green", "red" });
    ASSERT_EQ(browse(openFirst + "4 down 150 335\n4.1 up 150 335\n" + end).status, 0);
    EXPECT_THAT(photos(), SizeIs(2));
    EXPECT_EQ(seenAt(30, 320), "white"); // the sheet
}

TEST_F(PhotoBrowser, CancellingKeepsThePhoto)
{
    shoot({ "green", "red" });
    const std::string ask = "4 down 150 335\n4.1 up 150 335\n", cancel = "5 down 90 320\n5.1 up 90 320\n";
    ASSERT_EQ(browse(openFirst + ask + cancel + end).status, 0);
    EXPECT_THAT(photos(), SizeIs(2));
    EXPECT_EQ(seenAt(90, 180), "red");
    EXPECT_EQ(seenAt(90, 280), "red"); // the sheet has gone
}

TEST_F(PhotoBrowser, ADeletedPhotoIsGoneWithItsFileAndTheNextOneIsSeen)
{
    shoot({ "green", "red" });
    const auto doomed = newest();
    const std::string ask = "4 down 150 335\n4.1 up 150 335\n", confirm = "5 down 90 270\n5.1 up 90 270\n";
    ASSERT_EQ(browse(openFirst + ask + confirm + end).status, 0);
    EXPECT_THAT(photos(), SizeIs(1));
    EXPECT_FALSE(std::filesystem::exists(doomed));
    EXPECT_EQ(seenAt(90, 180), "green");
}

TEST_F(PhotoBrowser, AfterTheLastPhotoTheGridIsEmpty)
{
    shoot({ "red" });
    const std::string ask = "4 down 150 335\n4.1 up 150 335\n", confirm = "5 down 90 270\n5.1 up 90 270\n";
    ASSERT_EQ(browse(openFirst + ask + confirm + end).status, 0);
    EXPECT_THAT(photos(), IsEmpty());
    EXPECT_EQ(seenAt(30, 105), "white");
}

TEST_F(PhotoBrowser, TheBarLeadsBackToTheCamera)
{
    shoot({ "red" });
    ASSERT_EQ(browse("2 down 90 10\n2.1 up 90 10\n" + end).status, 0);
    EXPECT_EQ(seenAt(90, 308), "white"); // the shutter button
    EXPECT_EQ(seenAt(2, 355), "black");
}

TEST_F(PhotoBrowser, AfterTheWayBackTheCameraTakesPhotosAgain)
{
    shoot({ "red" });
    ASSERT_EQ(browse("2 down 90 10\n2.1 up 90 10\n5 down 90 308\n5.1 up 90 308\n" + end).status, 0);
    EXPECT_THAT(photos(), SizeIs(2));
}

TEST_F(PhotoBrowser, PullingDownFarLeadsBackToTheCamera)
{
    // The grid resists: 80 points of it take 190 of the finger.
    const auto pullTo = [](int y) {
        std::string touches = "2 down 90 90\n";
        for (int i = 1; i <= 10; ++i)
            touches += std::to_string(2 + 0.1 * i) + " move 90 " + std::to_string(90 + (y - 90) * i / 10) + "\n";
        return touches + "3.1 up 90 " + std::to_string(y) + "\n";
    };
    shoot({ "red" });
    ASSERT_EQ(browse(pullTo(330) + end).status, 0);
    EXPECT_EQ(seenAt(2, 355), "black");
    ASSERT_EQ(browse(pullTo(200) + end).status, 0);
    EXPECT_EQ(seenAt(2, 355), "white"); // not far enough
}

TEST_F(PhotoBrowser, ALongAlbumScrolls)
{
    // Seven rows of three, of which fewer than five are seen; the oldest photo is the last of all.
    shoot({ "green" });
    shoot({ "red" }, 20);
    ASSERT_EQ(browse(end).status, 0);
    EXPECT_EQ(seenAt(150, 330), "red");
    ASSERT_EQ(browse("2 down 90 300\n2.1 move 90 280\n2.2 move 90 80\n2.3 up 90 80\n" + end).status, 0);
    EXPECT_EQ(seenAt(150, 330), "green");
}

TEST(ProgramTexts, EveryLanguageHasEveryKey)
{
    for (const std::string language : { "en", "de", "fr", "es", "ja", "zh-Hans" }) {
        std::ifstream file(VELMORA_SOURCE_DIR "/apps/camera/resources/" + language + ".lproj/Localizable.strings");
        const std::string text { std::istreambuf_iterator<char>(file), {} };
        const StringTable table = StringTable::parse(text);
        EXPECT_FALSE(table.damage) << language;
        EXPECT_EQ(table.texts.size(), 9U) << language;
        for (const std::string key : { "NO_PHOTOS", "PHOTO_UNREADABLE", "PHOTO_PATH", "DELETE_QUESTION", "DELETE_PHOTO",
                 "CANCEL", "CLOSE", "NO_CAMERA", "LENS" })
            EXPECT_NE(table.texts.find(key), table.texts.end()) << language << ' ' << key;
    }
}

}
