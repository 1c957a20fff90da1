// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSUserDefaults.h"

#include "platform/Foundation/NSException.h"
#include "platform/Foundation/ProcessState.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Environment.h"
#include "tests/support/Require.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

namespace velmora::tests {

namespace {

class Defaults : public testing::Test {
protected:
    std::shared_ptr<NSUserDefaults> open() { return make<NSUserDefaults>(file); }
    void write(const std::string& text)
    {
        folder.write("defaults.plist", { reinterpret_cast<const std::uint8_t*>(text.data()), text.size() });
    }

    TemporaryFolder folder;
    std::string file = folder.file("defaults.plist");
};

/// Sets `count` keys that begin with `prefix`.
void setMany(const std::string& file, const std::string& prefix, int count)
{
    const auto defaults = make<NSUserDefaults>(file);
    for (int i = 0; i < count; ++i)
        defaults->setObject(std::int64_t { i }, prefix + std::to_string(i));
}

}

TEST_F(Defaults, ALaterProcessReadsWhatWasSet)
{
    const ArchiveDictionary values { { "text", std::string("  K\u00fcche & <Bad>\n") }, { "flag", true },
        { "count", std::int64_t { -3 } }, { "real", 0.1 },
        { "data", make<NSData>(std::vector<std::uint8_t> { 0, 255 }) }, { "when", make<NSDate>(-5.0) },
        { "empty", std::string() },
        { "nested",
            make<NSDictionary>(ArchiveDictionary { { "list", make<NSArray>(std::vector<ArchiveValue> { 1.5 }) } }) } };
    for (const auto& [key, value] : values)
        open()->setObject(value, key);

    const NSDictionary read(open()->dictionaryRepresentation());
    const NSDictionary expected(values);
    EXPECT_TRUE(read.isEqual(&expected)) << read.description();
}

TEST_F(Defaults, AnAbsentKeyIsNothing)
{
    const auto defaults = open();
    EXPECT_EQ(defaults->stringForKey("none"), std::nullopt);
    EXPECT_TRUE(isNilValue(defaults->objectForKey("none")));
}

TEST_F(Defaults, AnotherTypeIsNoString)
{
    open()->setObject(std::int64_t { 3 }, "key");
    EXPECT_EQ(open()->stringForKey("key"), std::nullopt);
}

TEST_F(Defaults, ARemovedKeyIsGone)
{
    open()->setObject(std::string("a"), "key");
    open()->setObject(std::string("b"), "other");
    open()->removeObjectForKey("key");
    open()->setObject(ArchiveValue(), "other");
    EXPECT_TRUE(open()->dictionaryRepresentation().empty());
}

TEST_F(Defaults, TheRepresentationIsACopy)
{
    const auto defaults = open();
    defaults->setObject(std::string("a"), "1");
    defaults->setObject(std::string("b"), "2");
    for (const auto& [key, value] : defaults->dictionaryRepresentation())
        defaults->removeObjectForKey(key);
    EXPECT_TRUE(defaults->dictionaryRepresentation().empty());
}

TEST_F(Defaults, SeeWhatAnotherOpenOneWrote)
{
    const auto first = open();
    const auto second = open();
    first->setObject(std::string("a"), "first");
    second->setObject(std::string("b"), "second");
    EXPECT_EQ(first->stringForKey("second"), "b");
    EXPECT_EQ(second->stringForKey("first"), "a");
}

TEST_F(Defaults, TwoProcessesLoseNothingOfEachOther)
{
    const pid_t child = fork();
    if (child == 0) {
        setMany(file, "child", 40);
        _exit(0);
    }
    setMany(file, "parent", 40);
    int status = -1;
    waitpid(child, &status, 0);

    EXPECT_EQ(status, 0);
    EXPECT_EQ(open()->dictionaryRepresentation().size(), 80U);
}

TEST_F(Defaults, ADamagedFileIsSetAsideAndLogged)
{
    write("<plist><dict><key>a</key><string>b</string>");
    const CapturedLog log;

    const auto defaults = open();
    EXPECT_EQ(defaults->stringForKey("a"), std::nullopt);
    defaults->setObject(std::string("new"), "a");

    EXPECT_EQ(open()->stringForKey("a"), "new");
    EXPECT_EQ(bytesOfFile(file + ".damaged").size(), 43U);
    EXPECT_EQ(log.lines(),
        std::vector<std::string> { "NSUserDefaults: " + file
            + " is damaged. It is no property list in XML, or not a whole one. The values begin anew; the file was "
              "kept as "
            + file + ".damaged." });
}

TEST_F(Defaults, NoDamageOfAFileCrashes)
{
    std::string deep = "<plist>";
    for (int i = 0; i < 100000; ++i)
        deep += "<array>";
    for (int i = 0; i < 100000; ++i)
        deep += "</array>";
    const CapturedLog log;
    for (const std::string& text : { deep + "</plist>", std::string("</plist>"), std::string("\0</plist>", 9),
             std::string("<plist><string>a</string></plist>"),
             std::string("<plist><dict><key>a</key></dict></plist>") }) {
        write(text);
        EXPECT_TRUE(open()->dictionaryRepresentation().empty()) << text.substr(0, 50);
    }
}

TEST_F(Defaults, RefuseWhatAPropertyListCannotHold)
{
    const auto defaults = open();
    EXPECT_THROW(defaults->setObject(make<NSObject>(), "key"), NSException);
    EXPECT_THROW(defaults->setObject(std::string("\x01"), "key"), NSException);
    EXPECT_THROW(defaults->setObject(make<NSArray>(std::vector<ArchiveValue> { ArchiveValue() }), "key"), NSException);
    EXPECT_TRUE(defaults->dictionaryRepresentation().empty());
}

TEST_F(Defaults, AChangeThatCannotBeWrittenIsLoggedAndWrittenLater)
{
    folder.write("blocked", {});
    const auto defaults = make<NSUserDefaults>(folder.file("blocked/defaults.plist"));
    const CapturedLog log;
    defaults->setObject(std::string("a"), "first");
    EXPECT_EQ(defaults->stringForKey("first"), "a");
    EXPECT_EQ(log.lines().size(), 1U);

    ASSERT_EQ(unlink(folder.file("blocked").c_str()), 0);
    defaults->setObject(std::string("b"), "second");
    EXPECT_EQ(make<NSUserDefaults>(folder.file("blocked/defaults.plist"))->stringForKey("first"), "a");
}

TEST_F(Defaults, AreReachedBySelector)
{
    const auto defaults = open();
    defaults->performSelector("setObject:forKey:", "text", "key");
    EXPECT_EQ(unbox<std::string>(defaults->performSelector("stringForKey:", "key")), "text");
    EXPECT_EQ(unbox<std::string>(defaults->performSelector("objectForKey:", "key")), "text");
    defaults->performSelector("removeObjectForKey:", "key");
    EXPECT_TRUE(isNil(defaults->performSelector("stringForKey:", "key")));
}

TEST_F(Defaults, PythonReadsTheFile)
{
    if (!requireTool("python3"))
        return;
    open()->setObject(std::string("\u00fc"), "key");
    EXPECT_EQ(runCommand("python3 -c \"import plistlib; print(plistlib.load(open('" + file + "', 'rb')))\"").output,
        "{'key': '\u00fc'}\n");
}

TEST(StandardDefaults, LiveInMemoryAfterAReset)
{
    const TemporaryFolder folder;
    const Environment configuration("XDG_CONFIG_HOME", folder.path());
    ProcessState::reset();
    NSUserDefaults::standardUserDefaults()->setObject(std::string("a"), "key");
    EXPECT_EQ(NSUserDefaults::standardUserDefaults()->stringForKey("key"), "a");

    ProcessState::reset();
    EXPECT_EQ(NSUserDefaults::standardUserDefaults()->stringForKey("key"), std::nullopt);
    EXPECT_NE(access((folder.path() + "/test_platform_Foundation").c_str(), F_OK), 0);
}

TEST(StandardDefaults, BeginWithGivenValues)
{
    NSUserDefaults::useVolatileDefaults({ { "key", std::string("given") } });
    EXPECT_EQ(NSUserDefaults::standardUserDefaults()->stringForKey("key"), "given");
    ProcessState::reset();
}

TEST(DefaultsThreads, ManyThreadsLoseNothingOfEachOther)
{
    const auto defaults = make<NSUserDefaults>(ArchiveDictionary());
    const auto set = [&defaults](const std::string& prefix) {
        for (int i = 0; i < 200; ++i) {
            defaults->setObject(std::int64_t { i }, prefix + std::to_string(i));
            defaults->stringForKey("a0");
        }
    };
    std::thread first(set, "a");
    std::thread second(set, "b");
    first.join();
    second.join();
    EXPECT_EQ(defaults->dictionaryRepresentation().size(), 400U);
}

}
