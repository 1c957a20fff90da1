// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVVideoStabilizationTitle.h"
#include "velmora/resources/QVFrameworkIdentifier.h"

#include "platform/Foundation/NSBundle.h"

#include "tests/support/SteppedTest.h"

namespace velmora::tests {

class StabilisationTitle : public SteppedTest {
protected:
    StabilisationTitle()
    {
        NSBundle::bundleWithIdentifier(QVFrameworkIdentifier)
            ->overrideStrings({ { "OFF", "Aus" }, { "STANDARD", "Normal" }, { "CINEMATIC", "Kino" } });
        NSBundle::mainBundle()->overrideStrings({ { "Automatic", "Automatisch" }, { "Cinematic Extended", "Kino lang" },
            { "Preview Optimized", "Vorschau" }, { "Cinematic Extended Enhanced", "nobody asks for this" } });
    }
    static std::optional<std::string> title(int mode)
    {
        return QVCameraLocalizedTitleForVideoStabilizationMode(static_cast<AVCaptureVideoStabilizationMode>(mode));
    }
};

TEST_F(StabilisationTitle, ThreeModesAreNamedByTheFramework)
{
    EXPECT_EQ(title(0), "Aus");
    EXPECT_EQ(title(1), "Normal");
    EXPECT_EQ(title(2), "Kino");
}

TEST_F(StabilisationTitle, ThreeModesAreNamedByTheApplication)
{
    EXPECT_EQ(title(-1), "Automatisch");
    EXPECT_EQ(title(3), "Kino lang");
    EXPECT_EQ(title(4), "Vorschau");
}

TEST_F(StabilisationTitle, AnApplicationWithoutTextsShowsTheKeys)
{
    NSBundle::mainBundle()->overrideStrings({});

    EXPECT_EQ(title(-1), "Automatic");
    EXPECT_EQ(title(3), "Cinematic Extended");
    EXPECT_EQ(title(4), "Preview Optimized");
}

TEST_F(StabilisationTitle, WithoutTheFrameworksTextsThereIsNone)
{
    NSBundle::hideBundle(QVFrameworkIdentifier);

    EXPECT_EQ(title(0), std::nullopt);
}

TEST_F(StabilisationTitle, FiveAndUnknownModesAreOneFixedText)
{
    for (const int mode : { 5, 6, 99, -2 })
        EXPECT_EQ(title(mode), "Cinematic Extended Enhanced") << mode;
}

}
