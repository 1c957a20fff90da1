// SPDX-License-Identifier: Apache-2.0
#include "drivers/iio/Accelerometer.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/SteppedTest.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace velmora::tests {

using drivers::iio::Accelerometer;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// A tree of files as the kernel shows its sensors; the chip has 256 steps to one g.
class IIOAccelerometer : public SteppedTest {
protected:
    using Files = std::map<std::string, std::string>;

    static Files chip(int x, int y, int z)
    {
        return { { "name", "accel_3d" }, { "in_accel_x_raw", std::to_string(x) },
            { "in_accel_y_raw", std::to_string(y) }, { "in_accel_z_raw", std::to_string(z) },
            { "in_accel_scale", "0.038307227" } }; // 9.80665 / 256
    }
    void write(const std::string& device, const Files& files) const
    {
        std::filesystem::create_directories(tree.file(device));
        for (const auto& [name, text] : files) {
            const std::string line = text + "\n";
            tree.write(device + "/" + name, std::span(reinterpret_cast<const std::uint8_t*>(line.data()), line.size()));
        }
    }
    void plus(Files& files, const Files& more) const { files.insert(more.begin(), more.end()); }

    std::shared_ptr<Accelerometer> find() const { return Accelerometer::find(tree.path()); }
    /// What it reads now.
    CMAcceleration read(Accelerometer& accelerometer)
    {
        CMAcceleration found { 99, 99, 99 };
        const auto updates = accelerometer.start(
            0.2, [&](const std::optional<CMAccelerometerData>& data, const std::optional<NSError>&) {
                if (data)
                    found = data->acceleration;
            });
        clock.advance(0.2);
        return found;
    }
    void expectReading(const Files& files, double x, double y, double z)
    {
        write("iio:device0", files);
        const auto accelerometer = find();
        ASSERT_TRUE(accelerometer);
        const auto read = this->read(*accelerometer);
        EXPECT_NEAR(read.x, x, 1e-6);
        EXPECT_NEAR(read.y, y, 1e-6);
        EXPECT_NEAR(read.z, z, 1e-6);
    }

    TemporaryFolder tree;
    CapturedLog log;
};

TEST_F(IIOAccelerometer, HeldUprightItReadsTheGravityDownTheScreen)
{
    expectReading(chip(0, 256, 0), 0, -1, 0); // the chip feels the hand that holds it up
}

TEST_F(IIOAccelerometer, OnATableItReadsTheGravityThroughTheBack)
{
    expectReading(chip(0, 0, 256), 0, 0, -1);
}

TEST_F(IIOAccelerometer, EachAxisMayHaveAScaleAndAnOffsetOfItsOwn)
{
    auto files = chip(64, 100, 0);
    plus(files, { { "in_accel_x_scale", "0.0766144" }, { "in_accel_y_offset", "28" } }); // x: 128 steps to one g
    expectReading(files, -0.5, -0.5, 0);
}

TEST_F(IIOAccelerometer, TheBoardsMountMatrixTurnsTheChipsAxesToTheDevices)
{
    auto files = chip(256, 0, 128);
    plus(files, { { "in_mount_matrix", "0, 1, 0; -1, 0, 0; 0, 0, -1" } });
    expectReading(files, 0, 1, 0.5);
}

TEST_F(IIOAccelerometer, TheMatrixOfTheAccelerometerGoesBeforeTheOneOfTheChip)
{
    auto files = chip(256, 0, 0);
    plus(files, { { "in_accel_mount_matrix", "0,1,0;1,0,0;0,0,1" }, { "in_mount_matrix", "1,0,0;0,1,0;0,0,1" } });
    expectReading(files, 0, -1, 0);
}

TEST_F(IIOAccelerometer, ReadsAgainAtEveryIntervalUntilItIsEnded)
{
    write("iio:device0", chip(0, 256, 0));
    const auto accelerometer = find();
    ASSERT_TRUE(accelerometer);
    std::vector<double> moments, xs;
    {
        const auto updates = accelerometer->start(
            0.2, [&](const std::optional<CMAccelerometerData>& data, const std::optional<NSError>&) {
                moments.push_back(data->timestamp);
                xs.push_back(data->acceleration.x);
            });
        EXPECT_THAT(moments, IsEmpty());
        clock.advance(0.25);
        write("iio:device0", chip(-256, 0, 0));
        clock.advance(0.25);
    }
    clock.advance(10);
    ASSERT_THAT(moments, SizeIs(2));
    EXPECT_NEAR(moments[1] - moments[0], 0.2, 1e-9);
    EXPECT_NEAR(xs[0], 0, 1e-6);
    EXPECT_NEAR(xs[1], 1, 1e-6);
}

TEST_F(IIOAccelerometer, AReadingThatFailsIsAnErrorThatNamesTheFileAndTheNextOneIsTried)
{
    write("iio:device0", chip(0, 256, 0));
    const auto accelerometer = find();
    ASSERT_TRUE(accelerometer);
    std::vector<std::string> errors;
    int readings = 0;
    const auto updates = accelerometer->start(
        0.2, [&](const std::optional<CMAccelerometerData>& data, const std::optional<NSError>& error) {
            EXPECT_NE(data.has_value(), error.has_value());
            if (error)
                errors.push_back(error->localizedDescription());
            else
                ++readings;
        });
    write("iio:device0", { { "in_accel_y_raw", "oops" } });
    clock.advance(0.2);
    write("iio:device0", chip(0, 256, 0));
    clock.advance(0.2);
    EXPECT_THAT(errors, ElementsAre(HasSubstr("iio:device0/in_accel_y_raw holds \"oops")));
    EXPECT_EQ(readings, 1);
}

TEST_F(IIOAccelerometer, OtherSensorsAreNotTakenForOne)
{
    write("iio:device0", { { "name", "als" }, { "in_illuminance_raw", "7" } });
    write("trigger0", chip(0, 256, 0));
    EXPECT_FALSE(find());
    write("iio:device10", chip(0, 256, 0));
    EXPECT_TRUE(find());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(IIOAccelerometer, TheOneInAKeyboardsHalfIsLeftAlone)
{
    auto base = chip(0, 0, 256);
    plus(base, { { "label", "accel-base" } });
    auto display = chip(0, 256, 0);
    plus(display, { { "label", "accel-display" } });
    write("iio:device0", base);
    write("iio:device1", display);
    const auto accelerometer = find();
    ASSERT_TRUE(accelerometer);
    EXPECT_NEAR(read(*accelerometer).y, -1, 1e-6);
}

TEST_F(IIOAccelerometer, DevicesAreTriedByNumber)
{
    write("iio:device10", chip(256, 0, 0));
    write("iio:device2", chip(0, 256, 0));
    const auto accelerometer = find();
    ASSERT_TRUE(accelerometer);
    EXPECT_NEAR(read(*accelerometer).y, -1, 1e-6);
}

TEST_F(IIOAccelerometer, ADamagedOneIsLeftOutWithALineThatSaysWhy)
{
    auto files = chip(0, 256, 0);
    files["in_accel_scale"] = "fine";
    write("iio:device0", files);
    write("iio:device1", chip(0, 256, 0));
    EXPECT_TRUE(find());
    EXPECT_THAT(log.lines(),
        ElementsAre(testing::AllOf(HasSubstr("[Accelerometer] " + tree.path() + "/iio:device0 is left out: "),
            HasSubstr("in_accel_scale holds \"fine\", which is not a number."))));
}

TEST_F(IIOAccelerometer, ADamagedMatrixSaysWhatItShouldLookLike)
{
    for (const char* damaged : { "1, 0, 0; 0, 1, 0", "1, 0; 0, 1; 0, 0", "a, 0, 0; 0, 1, 0; 0, 0, 1", "" }) {
        log.clear();
        auto files = chip(0, 256, 0);
        plus(files, { { "in_mount_matrix", damaged } });
        write("iio:device0", files);
        EXPECT_FALSE(find()) << damaged;
        EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("wanted are three rows of three numbers"))) << damaged;
    }
}

TEST_F(IIOAccelerometer, AFolderThatIsNotThereHasNone)
{
    EXPECT_FALSE(Accelerometer::find(tree.file("nowhere")));
    EXPECT_THAT(log.lines(), IsEmpty());
}

}
