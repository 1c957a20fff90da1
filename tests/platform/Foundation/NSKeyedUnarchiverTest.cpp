// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSKeyedArchiver.h"

#include "tests/support/ArchivedRecord.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace velmora::tests {

namespace {

using Bytes = std::vector<std::uint8_t>;

/// The archive that Python makes of `objects` (after "$null"), an expression that may use U(n), C(name) and
/// D(**fields).
Bytes writtenByPython(const std::string& objects, const std::string& top = "{'root': U(1)}")
{
    const TemporaryFolder folder;
    const std::string lines = "import plistlib, datetime\nU = plistlib.UID\n"
                              "C = lambda n: {'$classname': n, '$classes': [n, 'NSObject']}\n"
                              "plistlib.dump({'$archiver': 'NSKeyedArchiver', '$version': 100000, '$top': "
        + top + ", '$objects': ['$null'] + " + objects + "}, open('" + folder.file("archive")
        + "', 'wb'), fmt=plistlib.FMT_BINARY, sort_keys=False)\n";
    const std::string program
        = folder.write("write.py", { reinterpret_cast<const std::uint8_t*>(lines.data()), lines.size() });
    const Outcome outcome = runCommand("python3 " + program);
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    return bytesOfFile(folder.file("archive"));
}

ArchiveValue unarchived(const Bytes& bytes)
{
    registerRecords();
    return NSKeyedUnarchiver::unarchiveTopLevelObject(bytes);
}

/// What reading fails with; empty when it does not.
std::string refusal(const Bytes& bytes)
{
    try {
        unarchived(bytes);
    } catch (const NSError& error) {
        EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
        EXPECT_EQ(error.code(), NSCoderReadCorruptError);
        return error.localizedDescription();
    }
    return {};
}

/// A list of one-byte offsets and references.
Bytes propertyList(const std::vector<Bytes>& objects)
{
    const std::string header = "bplist00";
    Bytes bytes(header.begin(), header.end());
    Bytes offsets;
    for (const Bytes& object : objects) {
        offsets.push_back(static_cast<std::uint8_t>(bytes.size()));
        bytes.insert(bytes.end(), object.begin(), object.end());
    }
    const auto table = static_cast<std::uint8_t>(bytes.size());
    bytes.insert(bytes.end(), offsets.begin(), offsets.end());
    const auto count = static_cast<std::uint8_t>(objects.size());
    const Bytes trailer { 0, 0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, count, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
        0, table };
    bytes.insert(bytes.end(), trailer.begin(), trailer.end());
    return bytes;
}

class NSKeyedUnarchiverFromPython : public testing::Test {
protected:
    void SetUp() override
    {
        if (!requireTool("python3"))
            return;
    }
};

}

TEST_F(NSKeyedUnarchiverFromPython, ReadsARecordWithEveryForm)
{
    const Bytes bytes
        = writtenByPython("[{'name': U(2), 'other': U(3), 'a third': 7, '$class': U(6)}, 'Tour Eiffel \u00e9', "
                          "{'NS.time': 700000000.5, '$class': U(4)}, C('NSDate'), 0, C('Velmora.Record')]");
    const auto record = objectIn<Record>(unarchived(bytes));

    ASSERT_TRUE(record);
    EXPECT_EQ(std::get<std::string>(record->name), "Tour Eiffel \u00e9");
    EXPECT_EQ(objectIn<NSDate>(record->other)->timeIntervalSinceReferenceDate(), 700000000.5);
    EXPECT_EQ(std::get<std::int64_t>(record->third), 7);
}

TEST_F(NSKeyedUnarchiverFromPython, ReadsMutableCollectionsAndTheirNull)
{
    const Bytes bytes
        = writtenByPython("[{'NS.keys': [U(2)], 'NS.objects': [U(3)], '$class': U(4)}, 'list', {'NS.objects': "
                          "[U(5), U(6), 2.5], '$class': U(7)}, C('NSMutableDictionary'), {'$class': U(8)}, "
                          "{'NS.string': 'text', '$class': U(9)}, C('NSMutableArray'), C('NSNull'), "
                          "C('NSMutableString')]");
    EXPECT_EQ(description(unarchived(bytes)), "{list = ((null), text, 2.5)}");
}

TEST_F(NSKeyedUnarchiverFromPython, ReadsDataInBothForms)
{
    const auto read = [](const std::string& objects) {
        return NSKeyedUnarchiver::unarchiveObject<NSData>(writtenByPython(objects))->length();
    };
    EXPECT_EQ(read("[b'abc']"), 3U);
    EXPECT_EQ(read("[{'NS.data': b'abcd', '$class': U(2)}, C('NSMutableData')]"), 4U);
}

TEST_F(NSKeyedUnarchiverFromPython, NamesAClassThatIsNotKnown)
{
    EXPECT_EQ(refusal(writtenByPython(
                  "[{'name': U(2), '$class': U(4)}, {'$class': U(3)}, C('Other.Thing'), C('Velmora.Record')]")),
        "The archive cannot be read at \"root.name\": the class Other.Thing is not known here. Register it with "
        "NSKeyedUnarchiver::registerClasses.");
}

TEST_F(NSKeyedUnarchiverFromPython, AnAbsentKeyIsNil)
{
    const auto record
        = objectIn<Record>(unarchived(writtenByPython("[{'name': 'n', '$class': U(2)}, C('Velmora.Record')]")));
    ASSERT_TRUE(record);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(record->other));
}

TEST_F(NSKeyedUnarchiverFromPython, RefusesAUIDBeyondTheObjects)
{
    EXPECT_EQ(refusal(writtenByPython("['x']", "{'root': U(2)}")),
        "The archive cannot be read at \"root\": UID 2 is beyond its 2 objects.");
}

TEST_F(NSKeyedUnarchiverFromPython, RefusesACircleOfUIDs)
{
    EXPECT_EQ(refusal(writtenByPython("[{'NS.objects': [U(1)], '$class': U(2)}, C('NSArray')]")),
        "The archive cannot be read at \"root[0]\": object 1 holds itself.");
}

TEST_F(NSKeyedUnarchiverFromPython, RefusesMoreThanTwoHundredLevels)
{
    EXPECT_EQ(refusal(writtenByPython(
                          "[{'NS.objects': [U(i + 2)], '$class': U(1001)} for i in range(1000)] + [C('NSArray')]"))
                  .substr(0, 42),
        "The archive cannot be read at \"root[0][0][");
}

TEST_F(NSKeyedUnarchiverFromPython, RefusesWrongTypesInPlacesOfTheLayout)
{
    for (const std::string objects :
        { "[{'NS.keys': [U(2)], 'NS.objects': [], '$class': U(3)}, 'k', C('NSDictionary')]",
            "[{'NS.keys': [U(2)], 'NS.objects': [U(2)], '$class': U(3)}, 5, C('NSDictionary')]",
            "[{'NS.objects': 'x', '$class': U(2)}, C('NSArray')]", "[{'NS.time': 'noon', '$class': U(2)}, C('NSDate')]",
            "[{'NS.relative': 'https://example.org/a', '$class': U(2)}, C('NSURL')]", "[{'a': 1}]",
            "[{'$class': U(1)}]", "[{'$class': 'Velmora.Record'}]", "[['bare']]" })
        EXPECT_NE(refusal(writtenByPython(objects)), "") << objects;
}

TEST_F(NSKeyedUnarchiverFromPython, AnEqualTextThatStandsAThousandTimesIsNoAttack)
{
    const auto list = objectIn<NSArray>(
        unarchived(writtenByPython("[{'NS.objects': [U(2)] * 10000, '$class': U(3)}, 'x' * 1000, C('NSArray')]")));
    ASSERT_TRUE(list);
    EXPECT_EQ(list->values().size(), 10000U);
}

TEST_F(NSKeyedUnarchiverFromPython, RefusesASmallArchiveThatUnfoldsIntoGigabytes)
{
    EXPECT_EQ(refusal(writtenByPython("[{'NS.objects': [U(2)] * 100000, '$class': U(3)}, 'x' * 100000, C('NSArray')]")),
        "The property list is damaged: its objects share bytes, so that it would unfold into far more than it holds.");
}

TEST(NSKeyedUnarchiver, RefusesWhatIsNoPropertyList)
{
    EXPECT_EQ(refusal({}), "The data is no binary property list: it does not begin with \"bplist00\" or is too short.");
    EXPECT_NE(refusal(Bytes(100, 'x')), "");
}

TEST(NSKeyedUnarchiver, RefusesAPropertyListThatIsNoArchive)
{
    EXPECT_EQ(refusal(propertyList({ { 0xD0 } })),
        "The archive cannot be read at \"root\": it has no \"$archiver\" of the right kind.");
}

TEST(NSKeyedUnarchiver, RefusesReferencesAndLengthsThatLeaveTheList)
{
    EXPECT_NE(refusal(propertyList({ { 0xD1, 7, 7 } })), "");
    EXPECT_NE(refusal(propertyList({ { 0xDF, 0x13, 0x7F, 255, 255, 255, 255, 255, 255, 255 } })), "");
    EXPECT_NE(refusal(propertyList({})), "");
}

TEST(NSKeyedUnarchiver, RefusesAnArchiveCutAnywhere)
{
    const auto record = make<Record>(std::string("name"), ArchiveValue(make<NSDate>(1.0)), std::int64_t { 300 });
    const auto archive = NSKeyedArchiver::archivedDataWithRootObject(record);
    const auto whole = archive->bytes();
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_NE(refusal(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))), "") << length;
}

TEST(NSKeyedUnarchiver, ReadsTheRootAsItsClassOnly)
{
    registerRecords();
    const auto archive = NSKeyedArchiver::archivedDataWithRootObject(make<Record>(std::string("n")));
    EXPECT_TRUE(NSKeyedUnarchiver::unarchiveObject<Record>(archive->bytes()));
    EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObject<NSDictionary>(archive->bytes()));
}

}
