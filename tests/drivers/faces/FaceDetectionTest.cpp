// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureMetadataOutput.h"
#include "platform/AVFoundation/AVCaptureVideoDataOutput.h"
#include "platform/AVFoundation/FaceDetector.h"
#include "platform/ImageIO/ImageDecoder.h"

#include "drivers/faces/ModuleFaceDetector.h"
#include "drivers/faces/install.h"
#include "drivers/media/install.h"

#include "tests/support/Pictures.h"
#include "tests/support/Require.h"
#include "tests/support/SessionTest.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <png.h>

#include <cmath>
#include <numbers>

namespace velmora::tests {

using namespace drivers::phone;
using drivers::faces::ModuleFaceDetector;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

struct Found : AVCaptureMetadataOutputObjectsDelegate {
    void captureOutput(const std::shared_ptr<AVCaptureOutput>&, const Objects& objects,
        const std::shared_ptr<AVCaptureConnection>&) override
    {
        all.push_back(objects);
    }
    std::vector<Objects> all;
};

struct Frames : AVCaptureVideoDataOutputSampleBufferDelegate {
    void captureOutput(const std::shared_ptr<AVCaptureOutput>&, const std::shared_ptr<CMSampleBuffer>&,
        const std::shared_ptr<AVCaptureConnection>&) override
    {
        ++count;
    }
    int count = 0;
};

/// The module and its data are optional; where CI asks for them they must be there.
bool hasDetector()
{
    return requirePart(
        "opencv", ModuleFaceDetector(drivers::faces::moduleFile(), drivers::faces::cascadeFile).isAvailable());
}

/// How the portrait is placed on a canvas of its size: shrunk, turned around the middle, mirrored. Grey elsewhere.
struct Placement {
    double scale = 1, degrees = 0;
    bool mirrored = false;
};

void writePortrait(const std::string& path, const Placement& placement)
{
    const auto portrait = ImageDecoder::installed()->decodeFile(footage("portrait.png"));
    const int size = portrait->width();
    const double angle = placement.degrees * std::numbers::pi / 180;
    std::vector<std::uint8_t> rgb;
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            const double dx = (x - size / 2.0) / placement.scale, dy = (y - size / 2.0) / placement.scale;
            double fromX = size / 2.0 + std::cos(angle) * dx + std::sin(angle) * dy;
            const double fromY = size / 2.0 - std::sin(angle) * dx + std::cos(angle) * dy;
            if (placement.mirrored)
                fromX = size - 1 - fromX;
            std::array<int, 3> colour { 128, 128, 128 };
            if (fromX >= 0 && fromY >= 0 && fromX < size && fromY < size)
                colour = colourAt(*portrait, static_cast<int>(fromX), static_cast<int>(fromY));
            for (const int channel : colour)
                rgb.push_back(static_cast<std::uint8_t>(channel));
        }
    png_image image {};
    image.version = PNG_IMAGE_VERSION;
    image.width = image.height = static_cast<png_uint_32>(size);
    image.format = PNG_FORMAT_RGB;
    ASSERT_NE(png_image_write_to_file(&image, path.c_str(), 0, rgb.data(), 0, nullptr), 0);
}

}

/// A running camera that looks at a picture, and who is told of faces.
class FaceDetection : public SessionTest {
protected:
    FaceDetection()
    {
        drivers::media::install();
        before = FaceDetector::installed();
        drivers::faces::install();
        phone.change([](PhoneDescription& description) { description.metadataTypes = {}; });
    }
    ~FaceDetection() override { FaceDetector::install(before); }

    void see(const std::string& picture)
    {
        phone.change([&](PhoneDescription& description) { description.footage = picture; });
    }
    void see(const Placement& placement)
    {
        const auto file = folder.file("portrait" + std::to_string(++files) + ".png");
        writePortrait(file, placement);
        see(file);
    }
    void start()
    {
        add("back");
        session->addOutput(output);
        output->setMetadataObjectTypes({ AVMetadataObjectTypeFace });
        output->setMetadataObjectsDelegate(delegate, DispatchQueue::main());
        session->startRunning();
    }
    /// The faces seen last, within a second.
    AVCaptureMetadataOutputObjectsDelegate::Objects facesSoon()
    {
        delegate->all.clear();
        clock.advance(1);
        return delegate->all.empty() ? AVCaptureMetadataOutputObjectsDelegate::Objects {} : delegate->all.back();
    }
    /// One face, and its middle as a person sees the picture upright: 0 to 1 of the sensor's picture on its side.
    CGPoint uprightMiddle()
    {
        const auto faces = facesSoon();
        EXPECT_THAT(faces, SizeIs(1));
        if (faces.empty())
            return {};
        const CGRect bounds = faces[0]->bounds();
        return { 1 - (bounds.origin.y + bounds.size.height / 2), bounds.origin.x + bounds.size.width / 2 };
    }

    TemporaryFolder folder;
    int files = 0;
    std::shared_ptr<FaceDetector> before;
    std::shared_ptr<AVCaptureMetadataOutput> output = AVCaptureMetadataOutput::init();
    std::shared_ptr<Found> delegate = std::make_shared<Found>();
};

TEST_F(FaceDetection, FindsAFaceInItsWholeSizeAndSaysWhereItIs)
{
    if (!hasDetector())
        return;
    see(footage("portrait.png"));
    start();
    // The face fills a third of the picture's width, above and left of the middle; the upright frame shows the
    // middle three quarters of it.
    const auto middle = uprightMiddle();
    EXPECT_NEAR(middle.x, 0.42, 0.05);
    EXPECT_NEAR(middle.y, 0.25, 0.05);
}

TEST_F(FaceDetection, FindsAFaceAtHalfAndAtAThirdOfTheSize)
{
    if (!hasDetector())
        return;
    see(Placement { .scale = 0.5 });
    start();
    const auto half = uprightMiddle();
    EXPECT_NEAR(half.x, 0.46, 0.04);
    EXPECT_NEAR(half.y, 0.375, 0.04);
    see(Placement { .scale = 1.0 / 3 });
    const auto third = uprightMiddle();
    EXPECT_NEAR(third.x, 0.475, 0.04);
    EXPECT_NEAR(third.y, 0.417, 0.04);
}

TEST_F(FaceDetection, FindsAMirroredFace)
{
    if (!hasDetector())
        return;
    see(Placement { .mirrored = true });
    start();
    EXPECT_NEAR(uprightMiddle().x, 1 - 0.42, 0.05);
}

TEST_F(FaceDetection, FindsAFaceThatIsTurnedALittleToEitherSide)
{
    if (!hasDetector())
        return;
    start();
    for (const double degrees : { -15.0, -10.0, 10.0, 15.0 }) {
        see(Placement { .degrees = degrees });
        EXPECT_THAT(facesSoon(), SizeIs(1)) << degrees;
    }
}

TEST_F(FaceDetection, FindsNoneInALandscape)
{
    if (!hasDetector())
        return;
    see(footage("field.jpg"));
    start();
    clock.advance(2);
    EXPECT_THAT(delegate->all, IsEmpty());
}

TEST_F(FaceDetection, FindsAFaceHoweverThePhoneIsHeld)
{
    if (!hasDetector())
        return;
    see(footage("portrait.png"));
    start();
    const std::array<std::array<double, 3>, 4> holds { { { 0, -1, 0 }, { -1, 0, 0 }, { 0, 1, 0 }, { 1, 0, 0 } } };
    for (const auto& [x, y, z] : holds) {
        phone.tilt(x, y, z);
        clock.advance(1.25); // a look for each way up
        EXPECT_THAT(facesSoon(), SizeIs(1)) << x << ' ' << y;
    }
}

TEST_F(FaceDetection, AFaceKeepsItsNumberWhileItStaysAndAnotherOneGetsAnother)
{
    if (!hasDetector())
        return;
    see(footage("portrait.png"));
    start();
    const auto number = [](const std::shared_ptr<AVMetadataObject>& face) {
        return std::dynamic_pointer_cast<AVMetadataFaceObject>(face)->faceID();
    };
    const auto first = facesSoon();
    see(Placement { .degrees = 5 });
    const auto later = facesSoon();
    see(footage("field.jpg"));
    clock.advance(1);
    see(footage("portrait.png"));
    const auto back = facesSoon();
    ASSERT_EQ(first.size() + later.size() + back.size(), 3U);
    EXPECT_EQ(number(first[0]), number(later[0]));
    EXPECT_NE(number(first[0]), number(back[0]));
}

TEST_F(FaceDetection, SaysOnceThatTheFaceHasGone)
{
    if (!hasDetector())
        return;
    see(footage("portrait.png"));
    start();
    EXPECT_THAT(facesSoon(), SizeIs(1));
    see(footage("field.jpg"));
    delegate->all.clear();
    clock.advance(3);
    EXPECT_THAT(delegate->all, ElementsAre(IsEmpty()));
}

TEST_F(FaceDetection, LooksFourTimesASecondAtMost)
{
    if (!hasDetector())
        return;
    see(footage("portrait.png"));
    start();
    clock.advance(0.05);
    delegate->all.clear();
    clock.advance(2);
    EXPECT_LE(delegate->all.size(), 8U);
    EXPECT_GE(delegate->all.size(), 6U);
}

TEST_F(FaceDetection, HoldsNoFrameBack)
{
    if (!hasDetector())
        return;
    see(footage("portrait.png"));
    const auto frames = std::make_shared<Frames>();
    const auto video = AVCaptureVideoDataOutput::init();
    video->setSampleBufferDelegate(frames, DispatchQueue::main());
    session->addOutput(video);
    start();
    clock.advance(1.01);
    EXPECT_GE(frames->count, 29);
    EXPECT_EQ(video->frameCounts().dropped(), 0U);
}

TEST_F(FaceDetection, TheLibraryIsOpenedWhenSomebodyLooksForFaces)
{
    if (!hasDetector())
        return;
    const auto detector
        = std::make_shared<ModuleFaceDetector>(drivers::faces::moduleFile(), drivers::faces::cascadeFile);
    FaceDetector::install(detector);
    see(footage("field.jpg"));
    add("back");
    session->startRunning();
    clock.advance(1);
    EXPECT_FALSE(detector->isLoaded());
    start();
    clock.advance(1);
    EXPECT_TRUE(detector->isLoaded());
}

TEST_F(FaceDetection, ACameraThatFindsFacesItselfIsNotHelped)
{
    if (!hasDetector())
        return;
    phone.change([](PhoneDescription& description) { description.metadataTypes = { "face" }; });
    see(footage("portrait.png"));
    start();
    phone.showFaces(3);
    clock.advance(0);
    delegate->all.clear();
    clock.advance(1);
    EXPECT_THAT(delegate->all, IsEmpty());
    phone.showFaces(2);
    EXPECT_THAT(facesSoon(), SizeIs(2));
}

TEST_F(FaceDetection, OneLineSaysThatTheDataIsDamagedAndNothingIsFound)
{
    if (!hasDetector())
        return;
    const std::string text = "<?xml version=\"1.0\"?><opencv_storage></opencv_storage>";
    const auto cascade
        = folder.write("cascade.xml", std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    FaceDetector::install(std::make_shared<ModuleFaceDetector>(drivers::faces::moduleFile(), cascade));
    see(footage("portrait.png"));
    start();
    clock.advance(1);
    EXPECT_THAT(delegate->all, IsEmpty());
    EXPECT_THAT(log.lines(),
        ElementsAre("[FaceDetector] No faces are found: " + cascade + " holds no cascade that can be used."));
}

TEST_F(FaceDetection, WithoutTheModuleACameraOffersNoFaces)
{
    FaceDetector::install(std::make_shared<ModuleFaceDetector>(folder.file("missing.so"), folder.file("missing.xml")));
    add("back");
    session->addOutput(output);
    EXPECT_THAT(output->availableMetadataObjectTypes(), IsEmpty());
}

TEST_F(FaceDetection, AModuleThatIsNoneIsALineOfTheLog)
{
    const auto file = folder.write("module.so", {});
    ModuleFaceDetector detector(file, drivers::faces::cascadeFile);
    EXPECT_THAT(detector.facesIn({ { 0 }, 1, 1 }), IsEmpty());
    EXPECT_THAT(detector.facesIn({ { 0 }, 1, 1 }), IsEmpty());
    ASSERT_THAT(log.lines(), SizeIs(1));
    EXPECT_THAT(log.lines()[0], testing::StartsWith("[FaceDetector] No faces are found: " + file));
}

}
