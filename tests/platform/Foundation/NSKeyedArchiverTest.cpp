// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSKeyedArchiver.h"

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSURL.h"

#include "tests/support/ArchivedRecord.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace velmora::tests {

namespace {

std::shared_ptr<NSData> archived(const std::shared_ptr<NSObject>& root)
{
    return NSKeyedArchiver::archivedDataWithRootObject(root);
}

ArchiveValue throughArchive(const std::shared_ptr<NSObject>& root)
{
    registerRecords();
    return NSKeyedUnarchiver::unarchiveTopLevelObject(archived(root)->bytes());
}

std::shared_ptr<Record> recordThroughArchive(const std::shared_ptr<Record>& record)
{
    return objectIn<Record>(throughArchive(record));
}

/// What archiving fails with; empty when it does not.
std::string refusal(const std::shared_ptr<NSObject>& root)
{
    try {
        archived(root);
    } catch (const NSError& error) {
        EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
        EXPECT_EQ(error.code(), NSCoderInvalidValueError);
        return error.localizedDescription();
    }
    return {};
}

/// What a Python script prints that finds the archive's property list as `p` and its objects as `o`.
std::string pythonSees(const std::shared_ptr<NSObject>& root, const std::string& script)
{
    const TemporaryFolder folder;
    const std::string file = folder.write("archive", archived(root)->bytes());
    const std::string lines = "import plistlib\np = plistlib.load(open('" + file
        + "', 'rb'))\no = p['$objects']\n"
          "r = o[p['$top']['root'].data]\n"
        + script + "\n";
    const std::string program
        = folder.write("read.py", { reinterpret_cast<const std::uint8_t*>(lines.data()), lines.size() });
    return runCommand("python3 " + program).output;
}

class Plain : public NSObject { };

/// Holds whatever it is given later, itself too.
class Ring : public NSObject, public NSCoding {
public:
    void encodeWithCoder(NSCoder& coder) const override { coder.encodeObject(next.lock(), "next"); }
    std::weak_ptr<Ring> next;
};

class Rewriting : public NSObject, public NSCoding {
public:
    void encodeWithCoder(NSCoder& coder) const override
    {
        coder.encodeObject(ArchiveValue(std::string("early")), "first");
        coder.encodeObject(ArchiveValue(std::string("x")), "second");
        coder.encodeObject(ArchiveValue(std::string("late")), "first");
        coder.encodeObject(ArchiveValue(true), "$class");
    }
};

}

TEST(NSKeyedArchiver, KeepsEveryKindOfValue)
{
    const auto values = make<NSDictionary>(ArchiveDictionary { { "flag", true }, { "count", std::int64_t { -7 } },
        { "large", std::int64_t { 9223372036854775807 } }, { "real", 0.1 },
        { "text", std::string("Kr\u00fcmel \U0001F4F7") },
        { "data", make<NSData>(std::vector<std::uint8_t> { 0, 255 }) }, { "when", make<NSDate>(789015845.25) },
        { "list", make<NSArray>(std::vector<ArchiveValue> { ArchiveValue(), std::string() }) } });

    const ArchiveValue read = throughArchive(values);

    EXPECT_TRUE(isEqual(read, ArchiveValue(values))) << description(read);
}

TEST(NSKeyedArchiver, KeepsTheTypeOfNumbers)
{
    const auto read
        = objectIn<NSArray>(throughArchive(make<NSArray>(std::vector<ArchiveValue> { true, std::int64_t { 1 }, 1.0 })));

    EXPECT_TRUE(std::holds_alternative<bool>(read->values()[0]));
    EXPECT_TRUE(std::holds_alternative<std::int64_t>(read->values()[1]));
    EXPECT_TRUE(std::holds_alternative<double>(read->values()[2]));
}

TEST(NSKeyedArchiver, KeepsObjectsOfRegisteredClasses)
{
    const auto inner = make<SpecialRecord>(std::string("inner"));
    const auto read
        = recordThroughArchive(make<Record>(std::string("outer"), ArchiveValue(std::shared_ptr<NSObject>(inner))));

    ASSERT_TRUE(read);
    EXPECT_EQ(std::get<std::string>(read->name), "outer");
    EXPECT_TRUE(objectIn<Record>(read->other));
}

TEST(NSKeyedArchiver, WritesASharedObjectOnce)
{
    const auto shared = make<NSData>(std::vector<std::uint8_t>(100000, 7));
    const auto both = make<NSArray>(std::vector<ArchiveValue> { shared, shared });

    EXPECT_LT(archived(both)->length(), 101000U);
    const auto read = objectIn<NSArray>(throughArchive(both));
    EXPECT_EQ(
        std::get<std::shared_ptr<NSData>>(read->values()[0]), std::get<std::shared_ptr<NSData>>(read->values()[1]));
}

TEST(NSKeyedArchiver, KeepsAFileAddress)
{
    const auto read = objectIn<NSURL>(throughArchive(NSURL::fileURLWithPath("/a b/\u00fc%.mov")));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->path(), "/a b/\u00fc%.mov");
}

TEST(NSKeyedArchiver, ANilRootIsNil)
{
    EXPECT_TRUE(std::holds_alternative<std::monostate>(throughArchive(nullptr)));
}

TEST(NSKeyedArchiver, ARecordThatDecodesAsNilLeavesItsFieldNil)
{
    const auto broken = make<Record>(ArchiveValue());
    const auto read
        = recordThroughArchive(make<Record>(std::string("a"), ArchiveValue(std::shared_ptr<NSObject>(broken))));

    ASSERT_TRUE(read);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(read->other));
    EXPECT_FALSE(recordThroughArchive(broken));
}

TEST(NSKeyedArchiver, RefusesAnObjectWithoutCodingByClassAndPath)
{
    const auto list = make<NSArray>(std::vector<ArchiveValue> { 1.5, ArchiveValue(make<NSObject>()) });
    const auto record
        = make<Record>(std::string("a"), ArchiveValue(make<NSDictionary>(ArchiveDictionary { { "list", list } })));

    EXPECT_EQ(refusal(record),
        "Velmora.NSObject at \"root.other.list[1]\" cannot be archived: the class does not adopt NSCoding. Leave it "
        "out "
        "or store what describes it.");
}

TEST(NSKeyedArchiver, RefusesACircle)
{
    const auto first = make<Ring>();
    const auto second = make<Ring>();
    first->next = second;
    second->next = first;

    EXPECT_EQ(
        refusal(first), "Velmora.NSObject at \"root.next.next\" cannot be archived: it holds itself in a circle.");
}

TEST(NSKeyedArchiver, RefusesTextThatIsNotUTF8)
{
    EXPECT_EQ(
        refusal(make<Record>(std::string("\xff"))), "The text at \"root.name\" cannot be archived: it is not UTF-8.");
}

TEST(NSKeyedArchiver, TakesTwoHundredLevelsAndNoMore)
{
    std::shared_ptr<NSArray> nested = make<NSArray>();
    for (int i = 0; i < 200; ++i)
        nested = make<NSArray>(std::vector<ArchiveValue> { nested });
    EXPECT_TRUE(isEqual(throughArchive(nested), ArchiveValue(nested)));

    EXPECT_NE(refusal(make<NSArray>(std::vector<ArchiveValue> { nested })), "");
}

TEST(NSKeyedArchiver, PythonFindsTheLayout)
{
    if (!requireTool("python3"))
        return;
    EXPECT_EQ(pythonSees(make<Record>(std::string("n")),
                  "print(p['$archiver'], p['$version'], p['$top'], o[0], sep=', ')\nprint(list(r))\n"
                  "print(o[r['name'].data], r['other'])\nprint(o[r['$class'].data])"),
        "NSKeyedArchiver, 100000, {'root': UID(1)}, $null\n"
        "['name', 'other', 'a third', '$class']\n"
        "n UID(0)\n"
        "{'$classname': 'Velmora.Record', '$classes': ['Velmora.Record', 'NSObject']}\n");
}

TEST(NSKeyedArchiver, PythonFindsTheClassChainOfASubclass)
{
    if (!requireTool("python3"))
        return;
    EXPECT_EQ(pythonSees(make<SpecialRecord>(std::string("n")), "print(o[r['$class'].data]['$classes'])"),
        "['Velmora.SpecialRecord', 'Velmora.Record', 'NSObject']\n");
}

TEST(NSKeyedArchiver, PythonFindsValuesUnderThePlatformsNames)
{
    if (!requireTool("python3"))
        return;
    const auto values
        = make<NSDictionary>(ArchiveDictionary { { "data", make<NSData>(std::vector<std::uint8_t> { 1, 2 }) },
            { "nil", ArchiveValue() }, { "number", 0.5 }, { "when", make<NSDate>(12.5) } });
    EXPECT_EQ(pythonSees(values,
                  "print([o[k.data] for k in r['NS.keys']])\nv = [o[k.data] for k in r['NS.objects']]\n"
                  "print(v[0], o[v[1]['$class'].data]['$classname'], v[2], v[3]['NS.time'], "
                  "o[v[3]['$class'].data]['$classes'])"),
        "['data', 'nil', 'number', 'when']\nb'\\x01\\x02' NSNull 0.5 12.5 ['NSDate', 'NSObject']\n");
}

TEST(NSKeyedArchiver, AKeyThatIsWrittenAgainKeepsItsPlace)
{
    if (!requireTool("python3"))
        return;
    EXPECT_EQ(pythonSees(make<Rewriting>(), "print([k for k in r], o[r['first'].data], o[r['$$class'].data])"),
        "['first', 'second', '$$class', '$class'] late True\n");
}

TEST(NSKeyedArchiver, GNUstepReadsWhatWasArchived)
{
    if (!requireTool("gnustep", "gnustep-config"))
        return;
    const TemporaryFolder folder;
    const Outcome compiled = runCommand("gcc $(gnustep-config --objc-flags) -o " + folder.file("readArchive")
        + " " VELMORA_SOURCE_DIR "/tests/outside/readArchive.m $(gnustep-config --base-libs)");
    ASSERT_EQ(compiled.status, 0) << compiled.output;
    const auto values = make<NSDictionary>(ArchiveDictionary { { "count", std::int64_t { 300 } },
        { "data", make<NSData>(std::vector<std::uint8_t>(1000, 1)) },
        { "list", make<NSArray>(std::vector<ArchiveValue> { std::string("a"), std::int64_t { -2 }, 0.5 }) },
        { "place", std::string("K\u00f6ln") }, { "when", make<NSDate>(12.25) } });

    const Outcome read
        = runCommand(folder.file("readArchive") + " " + folder.write("archive", archived(values)->bytes()));

    EXPECT_EQ(read.output, "count: 300\ndata: 1000 bytes\nlist: a, -2, 0.5\nplace: K\u00f6ln\nwhen: date 12.25\n");
}

}
