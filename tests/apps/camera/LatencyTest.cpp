// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "tests/apps/camera/CameraProgram.h"

namespace velmora::tests {

using testing::HasSubstr;

class Latency : public CameraProgram {
protected:
    ProgramOutcome measure(const std::string& arguments) const
    {
        return run("--phone small.json --camera virtual --json --quiet latency " + arguments);
    }
};

TEST_F(Latency, OfEachPhotoIsTheSumOfItsSteps)
{
    const auto outcome = measure("--count 3");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto json = outcome.json();
    EXPECT_EQ(json["driver"], "virtual");
    EXPECT_EQ(json["camera"], "back-wide");
    EXPECT_GT(json["firstFrame"], 0);
    ASSERT_EQ(json["photos"].size(), 3U);
    for (const auto& photo : json["photos"]) {
        const auto& steps = photo["milliseconds"];
        EXPECT_GE(steps["exposure"], 0);
        EXPECT_GT(steps["data"], 0);
        EXPECT_GT(steps["file"], 0);
        EXPECT_NEAR(steps["exposure"].get<double>() + steps["data"].get<double>() + steps["file"].get<double>(),
            steps["whole"].get<double>(), 0.01);
    }
}

TEST_F(Latency, IsSummedUpByItsQuantiles)
{
    const auto json = measure("--count 5").json();
    std::vector<double> whole;
    for (const auto& photo : json["photos"])
        whole.push_back(photo["milliseconds"]["whole"]);
    std::sort(whole.begin(), whole.end());
    ASSERT_EQ(whole.size(), 5U);
    const auto& summary = json["milliseconds"];
    EXPECT_EQ(summary["whole"]["median"], whole[2]);
    EXPECT_EQ(summary["whole"]["p90"], whole[4]);
    EXPECT_EQ(summary["whole"]["p99"], whole[4]);
    for (const char* step : { "frame", "exposure", "data", "file", "sinceLast" })
        EXPECT_LE(summary[step]["median"], summary[step]["p99"]) << step;
    EXPECT_GE(summary["sinceLast"]["median"], whole[0]) << "one photo is asked for when the one before is stored";
}

TEST_F(Latency, OfOnePhotoTellsNothingOfTheNext)
{
    const auto json = measure("--count 1").json();
    EXPECT_FALSE(json["milliseconds"].contains("sinceLast"));
    EXPECT_EQ(json["milliseconds"]["whole"]["median"], json["photos"][0]["milliseconds"]["whole"]);
}

TEST_F(Latency, LeavesNoPhotosBehind)
{
    const auto outcome
        = run("--phone small.json --camera virtual --json --quiet latency --count 1", "TMPDIR='" + path(".") + "'");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    for (const auto& file : filesIn("."))
        EXPECT_EQ(file.find(".jpg"), std::string::npos) << file;
}

TEST_F(Latency, KeepsThePhotosWhereItIsTold)
{
    ASSERT_EQ(measure("--count 2 --out photos").status, 0);
    EXPECT_EQ(filesIn("photos").size(), 2U);
}

TEST_F(Latency, IsToldInLinesToo)
{
    const auto outcome = run("--phone small.json --camera virtual --quiet latency --count 2");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("first frame after "));
    EXPECT_THAT(outcome.out, HasSubstr("a frame, from sensor to processor: median "));
    EXPECT_THAT(outcome.out, HasSubstr("photo 2: request -> "));
    EXPECT_THAT(outcome.out, HasSubstr("request to exposure: median "));
    EXPECT_THAT(outcome.out, HasSubstr("one request to the next: median "));
}

TEST_F(Latency, OfNoPhotosIsAWrongCommandLine)
{
    EXPECT_EQ(measure("--count 0").status, 2);
}

}
