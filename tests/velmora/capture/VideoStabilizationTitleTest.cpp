// SPDX-License-Identifier: Apache-2.0
#include "velmora/capture/QVVideoStabilizationTitle.h"

#include "tests/support/PhoneTest.h"

namespace velmora::tests {

using namespace drivers::phone;

class StabilisationTitle : public PhoneTest {
protected:
    StabilisationTitle()
        : PhoneTest(withTexts())
    {
    }
    static PhoneDescription withTexts()
    {
        auto description = smallPhone();
        description.frameworkStrings = { { "OFF", "Aus" }, { "STANDARD", "Normal" }, { "CINEMATIC", "Kino" } };
        description.applicationStrings = { { "Automatic", "Automatisch" }, { "Cinematic Extended", "Kino lang" },
            { "Preview Optimized", "Vorschau" }, { "Cinematic Extended Enhanced", "nobody asks for this" } };
        return description;
    }
    static std::string title(int mode)
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
    phone.change([](PhoneDescription& description) { description.applicationStrings.clear(); });

    EXPECT_EQ(title(-1), "Automatic");
    EXPECT_EQ(title(3), "Cinematic Extended");
    EXPECT_EQ(title(4), "Preview Optimized");
}

TEST_F(StabilisationTitle, FiveAndUnknownModesAreOneFixedText)
{
    for (const int mode : { 5, 6, 99, -2 })
        EXPECT_EQ(title(mode), "Cinematic Extended Enhanced") << mode;
}

}
