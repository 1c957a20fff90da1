// SPDX-License-Identifier: Apache-2.0
#include "platform/CoreLocation/CLGeocoder.h"

#include "platform/Foundation/DispatchQueue.h"

#include "tests/support/PhoneTest.h"
#include "tests/support/SteppedTest.h"

using namespace velmora;

namespace {

std::shared_ptr<CLPlacemark> town(const std::string& name)
{
    return make<CLPlacemark>(CLPlacemark::Names { .locality = name });
}

class Geocoder : public tests::PhoneTest {
protected:
    void ask(const std::shared_ptr<CLLocation>& location)
    {
        make<CLGeocoder>()->reverseGeocodeLocation(location, [this](const auto& places, const auto& error) {
            onMain = onMain && DispatchQueue::main().isCurrent();
            answers.push_back(error   ? "error " + std::to_string(error->code())
                    : !places         ? "nothing"
                    : places->empty() ? "empty"
                                      : places->front()->locality().value_or(""));
        });
    }

    std::shared_ptr<CLLocation> here = make<CLLocation>(1.0, 2.0);
    std::vector<std::string> answers;
    bool onMain = true;
};

class NoGeocodingDriver : public tests::SteppedTest { };

}

TEST_F(Geocoder, AnswersOnTheMainQueueAndNotBeforeItReturned)
{
    phone.answerNextGeocode({ .places = { { town("Kyoto") } }, .delay = 0 });
    ask(here);
    EXPECT_TRUE(answers.empty());
    clock.advance(0);
    EXPECT_EQ(answers, std::vector<std::string> { "Kyoto" });
    EXPECT_TRUE(onMain);
}

TEST_F(Geocoder, TellsAnEmptyListAndNothingApart)
{
    phone.answerNextGeocode({ .places = { {} } });
    phone.answerNextGeocode({});
    ask(here);
    ask(here);
    clock.advance(1);
    EXPECT_EQ(answers, (std::vector<std::string> { "empty", "nothing" }));
}

TEST_F(Geocoder, AnswersMayComeOutOfOrder)
{
    phone.answerNextGeocode({ .places = { { town("late") } }, .delay = 2 });
    phone.answerNextGeocode({ .places = { { town("early") } }, .delay = 1 });
    ask(here);
    ask(here);
    clock.advance(3);
    EXPECT_EQ(answers, (std::vector<std::string> { "early", "late" }));
}

TEST_F(Geocoder, WithoutALocationIsAnError)
{
    ask(nullptr);
    clock.advance(0);
    EXPECT_EQ(answers, std::vector<std::string> { "error 8" });
}

TEST_F(NoGeocodingDriver, IsAnErrorThatSaysWhatToDo)
{
    const auto before = GeocodingDriver::installed();
    GeocodingDriver::install(nullptr);
    std::string text;
    make<CLGeocoder>()->reverseGeocodeLocation(make<CLLocation>(1.0, 2.0),
        [&text](const auto&, const auto& error) { text = error ? error->localizedDescription() : "none"; });
    clock.advance(0);
    GeocodingDriver::install(before);
    EXPECT_NE(text.find("installDefaults"), std::string::npos) << text;
}
