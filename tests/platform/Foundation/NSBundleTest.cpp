// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSBundle.h"

#include "platform/Foundation/NSLocale.h"
#include "platform/Foundation/ProcessState.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace velmora::tests {

namespace {

using Languages = std::vector<std::string>;

/// What the environment says of the language: LANGUAGE, LC_ALL, LC_MESSAGES, LANG; an empty one is not set.
Languages languages(
    const std::string& list, const std::string& all, const std::string& messages, const std::string& lang)
{
    const auto unlessEmpty
        = [](const std::string& value) { return value.empty() ? std::nullopt : std::optional(value); };
    const Environment first("LANGUAGE", unlessEmpty(list));
    const Environment second("LC_ALL", unlessEmpty(all));
    const Environment third("LC_MESSAGES", unlessEmpty(messages));
    const Environment fourth("LANG", unlessEmpty(lang));
    ProcessState::reset();
    const auto locale = NSLocale::currentLocale();
    ProcessState::reset();
    return locale->languages();
}

class Bundle : public testing::Test {
protected:
    Bundle()
    {
        ProcessState::reset();
        write("en.lproj", "Localizable.strings", "\"HELLO\" = \"Hello\"; \"ONLY\" = \"English only\";");
        write("de.lproj", "Localizable.strings", "\"HELLO\" = \"Hallo\";");
        write("de-AT.lproj", "Other.strings", "\"HELLO\" = \"Servus\";");
        write("de.lproj", "Other.strings", "\"HELLO\" = \"Guten Tag\";");
        write(".", "Localizable.strings", "\"ROOT\" = \"for all\";");
        write(".", "Info.plist",
            "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>Usage</key><string>maps</string></dict></plist>");
    }
    ~Bundle() override { ProcessState::reset(); }

    void write(const std::string& place, const std::string& name, const std::string& text)
    {
        std::filesystem::create_directories(folder.file(place));
        folder.write(place + "/" + name, { reinterpret_cast<const std::uint8_t*>(text.data()), text.size() });
    }
    std::shared_ptr<NSBundle> bundle() { return make<NSBundle>("org.example.App", folder.path()); }

    TemporaryFolder folder;
    Environment language { "LANGUAGE", std::nullopt };
    Environment all { "LC_ALL", "de_AT.UTF-8" };
};

}

TEST(NSLocale, GoesFromTheParticularToTheGeneral)
{
    EXPECT_EQ(languages("", "", "", "de_AT.UTF-8"), (Languages { "de-AT", "de", "en" }));
    EXPECT_EQ(languages("", "", "", "ca_ES@valencia"), (Languages { "ca-ES", "ca", "en" }));
}

TEST(NSLocale, TheListComesFirstThenTheOverriding)
{
    EXPECT_EQ(languages("fr:es", "de_DE.UTF-8", "", "ja_JP"), (Languages { "fr", "es", "de-DE", "de", "en" }));
    EXPECT_EQ(languages("", "", "ja_JP.UTF-8", "de_DE"), (Languages { "ja-JP", "ja", "en" }));
}

TEST(NSLocale, ThePlainLocaleIsEnglish)
{
    EXPECT_EQ(languages("fr", "C", "", ""), (Languages { "en" }));
    EXPECT_EQ(languages("", "", "", "C.UTF-8"), (Languages { "en" }));
    EXPECT_EQ(languages("", "", "", ""), (Languages { "en" }));
}

TEST(NSLocale, ChineseRegionsMeanAScript)
{
    EXPECT_EQ(languages("", "", "", "zh_CN.UTF-8"), (Languages { "zh-CN", "zh-Hans", "zh", "en" }));
    EXPECT_EQ(languages("", "", "", "zh_TW.UTF-8"), (Languages { "zh-TW", "zh-Hant", "zh", "en" }));
}

TEST_F(Bundle, SpeaksTheLanguageOfThePerson)
{
    EXPECT_EQ(bundle()->localizedStringForKey("HELLO"), "Hallo");
    EXPECT_EQ(bundle()->localizedStringForKey("HELLO", "", "Other"), "Servus");
}

TEST_F(Bundle, FallsBackToEnglishAndToTheFolder)
{
    EXPECT_EQ(bundle()->localizedStringForKey("ONLY"), "English only");
    EXPECT_EQ(bundle()->localizedStringForKey("ROOT"), "for all");
}

TEST_F(Bundle, AMissingKeyAnswersTheDefaultOrItself)
{
    EXPECT_EQ(bundle()->localizedStringForKey("NONE"), "NONE");
    EXPECT_EQ(bundle()->localizedStringForKey("NONE", "default"), "default");
    EXPECT_EQ(bundle()->localizedStringForKey("HELLO", "", "NoSuchTable"), "HELLO");
}

TEST_F(Bundle, LogsADamagedTableOnceAndUsesWhatStandsBefore)
{
    write("de-AT.lproj", "Localizable.strings", "\"HELLO\" = \"Servus\";\n\"ONLY\" \"x\";");
    const CapturedLog log;
    const auto damaged = bundle();

    EXPECT_EQ(damaged->localizedStringForKey("HELLO"), "Servus");
    EXPECT_EQ(damaged->localizedStringForKey("ONLY"), "English only");
    EXPECT_EQ(log.lines(),
        std::vector<std::string> { "NSBundle: " + folder.path()
            + "/de-AT.lproj/Localizable.strings, line 2: the entry \"ONLY\" does not end in \";\". The entries before "
              "it count." });
}

TEST_F(Bundle, FindsResourcesOfTheLanguageFirst)
{
    write("de.lproj", "picture.png", "x");
    write(".", "picture.png", "x");
    write(".", "plain", "x");
    EXPECT_EQ(bundle()->pathForResource("picture", "png"), folder.path() + "/de.lproj/picture.png");
    EXPECT_EQ(bundle()->pathForResource("plain", ""), folder.path() + "/plain");
    EXPECT_EQ(bundle()->pathForResource("none", "png"), std::nullopt);
}

TEST_F(Bundle, ReadsItsInformation)
{
    EXPECT_EQ(description(*bundle()->objectForInfoDictionaryKey("Usage")), "maps");
    EXPECT_EQ(bundle()->objectForInfoDictionaryKey("None"), std::nullopt);
}

TEST_F(Bundle, IsReachedBySelector)
{
    const auto object = bundle();
    EXPECT_EQ(unbox<std::string>(object->performSelector("localizedStringForKey:value:table:", "HELLO", "", nullptr)),
        "Hallo");
    EXPECT_EQ(unbox<std::string>(object->performSelector("objectForInfoDictionaryKey:", "Usage")), "maps");
}

TEST_F(Bundle, IsFoundByItsIdentifier)
{
    const auto registered = bundle();
    NSBundle::registerBundle(registered);
    EXPECT_EQ(NSBundle::bundleWithIdentifier("org.example.App"), registered);
    EXPECT_EQ(NSBundle::bundleWithIdentifier("org.example.Unknown"), nullptr);
}

TEST_F(Bundle, TheMainBundleIsCalledByTheExecutable)
{
    EXPECT_EQ(NSBundle::mainBundle()->bundleIdentifier(), "test_platform_Foundation");
    EXPECT_EQ(NSBundle::bundleWithIdentifier("test_platform_Foundation"), NSBundle::mainBundle());
}

TEST_F(Bundle, OverridesHoldUntilTheStateIsReset)
{
    const auto main = NSBundle::mainBundle();
    main->overrideStrings({ { "Automatic", "Selbstt\u00e4tig" } });
    main->overrideInformation({ { "Usage", std::string("x") } });
    EXPECT_EQ(main->localizedStringForKey("Automatic"), "Selbstt\u00e4tig");
    EXPECT_EQ(main->localizedStringForKey("Other"), "Other");
    EXPECT_TRUE(main->objectForInfoDictionaryKey("Usage"));

    ProcessState::reset();
    EXPECT_EQ(main->localizedStringForKey("Automatic"), "Automatic");
    EXPECT_FALSE(main->objectForInfoDictionaryKey("Usage"));
}

TEST_F(Bundle, AHiddenBundleComesBackWithAReset)
{
    NSBundle::hideBundle(std::string(frameworkBundleIdentifier));
    EXPECT_FALSE(NSBundle::bundleWithIdentifier(frameworkBundleIdentifier));
    ProcessState::reset();
    EXPECT_TRUE(NSBundle::bundleWithIdentifier(frameworkBundleIdentifier));
}

}
