// SPDX-License-Identifier: Apache-2.0
#include "velmora/results/QVCaptureLocationInfo.h"
#include "velmora/results/QVPhotoCaptureOutput.h"

#include "platform/CoreLocation/CLLocation.h"
#include "platform/Foundation/NSKeyedArchiver.h"

#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <string_view>

using namespace velmora;
using tests::TemporaryFolder;

namespace {

std::string runPython(const TemporaryFolder& folder, std::string_view script)
{
    const auto program
        = folder.write("script.py", { reinterpret_cast<const std::uint8_t*>(script.data()), script.size() });
    const auto outcome = tests::runCommand("cd '" + folder.path() + "' && python3 '" + program + "'");
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    return outcome.output;
}

std::shared_ptr<QVPhotoCaptureOutput> photo()
{
    const auto output = make<QVPhotoCaptureOutput>(
        nullptr, QVPhotoCaptureOutput::JpgImageData { make<NSData>(std::vector<std::uint8_t> { 0xFF, 0xD8 }) });
    output->setExifDictionary({ { "Orientation", std::int64_t { 6 } } });
    output->setCreationDate(make<NSDate>(789015845.0));
    output->setLocationInfo(make<QVCaptureLocationInfo>(make<CLLocation>(48.8584, 2.2945)));
    return output;
}

constexpr std::string_view reader = R"(
import plistlib
archive = plistlib.load(open('archive', 'rb'))
objects = archive['$objects']
at = lambda reference: objects[reference.data]
root = at(archive['$top']['root'])
named = lambda thing: at(thing['$class'])['$classname']
)";

/// What `script` prints of the photo's archive.
std::string plistlibSees(std::string_view script)
{
    const TemporaryFolder folder;
    folder.write("archive", NSKeyedArchiver::archivedDataWithRootObject(photo())->bytes());
    std::string whole;
    whole.append(reader).append(script);
    return runPython(folder, whole);
}

/// Reads an archive whose `objects` a script lists; the photo is the first after '$null'.
std::shared_ptr<QVPhotoCaptureOutput> photoWrittenByPlistlib(std::string_view objects)
{
    constexpr std::string_view before = R"(
import plistlib
U = plistlib.UID
C = lambda name: {'$classname': name, '$classes': [name, 'NSObject']}
)",
                               after = R"(
plistlib.dump({'$archiver': 'NSKeyedArchiver', '$version': 100000, '$top': {'root': U(1)}, '$objects': objects},
    open('archive', 'wb'), fmt=plistlib.FMT_BINARY)
)";
    const TemporaryFolder folder;
    std::string whole;
    whole.append(before).append(objects).append(after);
    runPython(folder, whole);
    return NSKeyedUnarchiver::unarchiveObject<QVPhotoCaptureOutput>(tests::bytesOfFile(folder.file("archive")));
}

}

TEST(ArchiveReadByPlistlib, HasTheFixedKeysInOrderUnderTheQualifiedClassName)
{
    if (!tests::requireTool("python3"))
        return;
    EXPECT_EQ(plistlibSees(R"(
print(archive['$archiver'], named(root))
print(*[key for key in root if key != '$class'])
print(at(root['jpgImageData']).hex(), at(root['dngImageData']), at(root['userInfo']))
)"),
        "NSKeyedArchiver Velmora.QVPhotoCaptureOutput\n"
        "jpgImageData dngImageData exifDictionary creationDate locationInfo userInfo\n"
        "ffd8 $null $null\n");
}

TEST(ArchiveReadByPlistlib, HoldsThePlaceAsARecordOfItsOwn)
{
    if (!tests::requireTool("python3"))
        return;
    EXPECT_EQ(plistlibSees(R"(
place = at(root['locationInfo'])
where = at(place['location'])
value = lambda key: where[key] if isinstance(where[key], float) else at(where[key])
print(named(place), *[key for key in place if key != '$class'])
print(named(where), value('latitude'), value('longitude'))
)"),
        "Velmora.QVCaptureLocationInfo location landmarkName localeName placemark\n"
        "Velmora.CLLocation 48.8584 2.2945\n");
}

TEST(ArchiveWrittenByPlistlib, IsReadAsAPhotoWithItsPlace)
{
    if (!tests::requireTool("python3"))
        return;
    const auto output = photoWrittenByPlistlib(R"(
objects = ['$null',
    {'$class': U(2), 'jpgImageData': U(3), 'dngImageData': U(0), 'exifDictionary': U(4), 'creationDate': U(9),
     'locationInfo': U(11), 'userInfo': U(0)},
    C('Velmora.QVPhotoCaptureOutput'),
    b'\xff\xd8',
    {'$class': U(5), 'NS.keys': [U(6)], 'NS.objects': [U(7)]}, C('NSDictionary'), 'Orientation', 6, 'unused',
    {'$class': U(10), 'NS.time': 789015845.0}, C('NSDate'),
    {'$class': U(12), 'location': U(13), 'landmarkName': U(17), 'localeName': U(0), 'placemark': U(0)},
    C('Velmora.QVCaptureLocationInfo'),
    {'$class': U(14), 'latitude': U(15), 'longitude': U(16)}, C('Velmora.CLLocation'), 48.8584, 2,
    'Tour Eiffel']
)");
    ASSERT_TRUE(output);
    EXPECT_EQ(output->jpgImageData()->length(), 2U);
    EXPECT_FALSE(output->dngImageData());
    EXPECT_EQ(valueIn<std::int64_t>(output->exifDictionary(), "Orientation"), 6);
    EXPECT_EQ(output->creationDate()->timeIntervalSinceReferenceDate(), 789015845.0);
    ASSERT_TRUE(output->locationInfo());
    EXPECT_EQ(output->locationInfo()->landmarkName(), "Tour Eiffel");
    EXPECT_EQ(output->locationInfo()->location()->coordinate().longitude, 2);
}

TEST(ArchiveWrittenByPlistlib, WhosePlaceHasNoLocationIsReadWithoutAPlace)
{
    if (!tests::requireTool("python3"))
        return;
    const auto output = photoWrittenByPlistlib(R"(
objects = ['$null',
    {'$class': U(2), 'dngImageData': U(3), 'exifDictionary': U(4), 'locationInfo': U(6)},
    C('Velmora.QVPhotoCaptureOutput'), b'II*\0',
    {'$class': U(5), 'NS.keys': [], 'NS.objects': []}, C('NSDictionary'),
    {'$class': U(7), 'landmarkName': U(8)}, C('Velmora.QVCaptureLocationInfo'), 'Tour Eiffel']
)");
    ASSERT_TRUE(output);
    EXPECT_FALSE(output->locationInfo());
    EXPECT_EQ(output->dngImageData()->length(), 4U);
}
