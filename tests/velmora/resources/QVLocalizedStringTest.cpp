// SPDX-License-Identifier: Apache-2.0
#include "velmora/resources/QVLocalizedString.h"

#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSString.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/Foundation/StringTable.h"

#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace velmora::tests {

namespace {

class LocalizedString : public testing::Test {
protected:
    LocalizedString() { ProcessState::reset(); }
    ~LocalizedString() override { ProcessState::reset(); }

    Environment list { "LANGUAGE", std::nullopt };
    Environment all { "LC_ALL", "fr_FR.UTF-8" };
};

}

TEST_F(LocalizedString, SpeaksTheLanguageOfThePerson)
{
    EXPECT_EQ(QVLocalizedString("BACK_TO_CAMERA"), "Retour \u00e0 l\u2019appareil photo");
    EXPECT_EQ(QVLocalizedString("STANDARD"), "Standard");
}

TEST_F(LocalizedString, AMissingKeyAnswersItself)
{
    EXPECT_EQ(QVLocalizedString("NO_SUCH_KEY"), "NO_SUCH_KEY");
}

TEST_F(LocalizedString, AMissingBundleAnswersNothing)
{
    NSBundle::hideBundle(std::string(frameworkBundleIdentifier));
    EXPECT_EQ(QVLocalizedString("OFF"), std::nullopt);
}

TEST_F(LocalizedString, FollowsTheTextsOfASimulation)
{
    NSBundle::bundleWithIdentifier(frameworkBundleIdentifier)->overrideStrings({ { "OFF", "x" } });
    EXPECT_EQ(QVLocalizedString("OFF"), "x");
    EXPECT_EQ(QVLocalizedString("STANDARD"), "STANDARD");
}

TEST(LocalizedStringTables, EveryLanguageHasEveryKey)
{
    for (const std::string language : { "en", "de", "fr", "es", "ja", "zh-Hans" }) {
        const auto bytes
            = bytesOfFile(VELMORA_SOURCE_DIR "/velmora/resources/" + language + ".lproj/Localizable.strings");
        const StringTable table = StringTable::parse({ reinterpret_cast<const char*>(bytes.data()), bytes.size() });
        EXPECT_FALSE(table.damage) << language;
        EXPECT_EQ(table.texts.size(), 6U) << language;
        for (const std::string key :
            { "OFF", "STANDARD", "CINEMATIC", "CAMERA", "ACCESS_DENIED_MESSAGE_FORMAT", "BACK_TO_CAMERA" })
            EXPECT_NE(table.texts.find(key), table.texts.end()) << language << ' ' << key;
    }
}

TEST_F(LocalizedString, TheMessageOfDeniedAccessNamesTheCameraTwice)
{
    const std::string camera = *QVLocalizedString("CAMERA");
    EXPECT_EQ(stringWithRuntimeFormat(*QVLocalizedString("ACCESS_DENIED_MESSAGE_FORMAT"), { camera, camera }),
        "Appareil photo : l\u2019acc\u00e8s n\u2019est pas autoris\u00e9. Vous pouvez l\u2019autoriser dans les "
        "r\u00e9glages de "
        "confidentialit\u00e9, sous \u00ab Appareil photo \u00bb.");
}

}
