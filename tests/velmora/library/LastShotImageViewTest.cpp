// SPDX-License-Identifier: Apache-2.0
#include "velmora/library/QVLastShotImageView.h"

#include "platform/Photos/PHAsset.h"
#include "platform/Photos/PHAssetCollection.h"
#include "platform/Photos/PHAssetCollectionChangeRequest.h"
#include "platform/Photos/PHFetchResult.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIImageView.h"

#include "drivers/media/install.h"

#include "tests/support/PhoneWindowTest.h"

#include <gtest/gtest.h>

#include <string>

namespace velmora::tests {
namespace {

using drivers::phone::ImageAnswer;

/// 48 by 48 points at (20, 600).
class LastShot : public PhoneWindowTest {
protected:
    LastShot() { drivers::media::install(); }
    std::shared_ptr<QVLastShotImageView> makeView()
    {
        view = add<QVLastShotImageView>(CGRectMake(20, 600, 48, 48));
        return view;
    }
    std::shared_ptr<UIImageView> current() const
    {
        return std::dynamic_pointer_cast<UIImageView>(view->subviews().at(0));
    }
    std::shared_ptr<UIImageView> incoming() const
    {
        return std::dynamic_pointer_cast<UIImageView>(view->subviews().at(1));
    }
    double shift() const { return incoming()->layer()->presentationLayer()->affineTransform().ty; }
    std::shared_ptr<PHAssetCollection> album(const std::string& title)
    {
        std::string identifier;
        PHPhotoLibrary::sharedPhotoLibrary()->performChangesAndWait([&] {
            identifier = PHAssetCollectionChangeRequest::creationRequestForAssetCollectionWithTitle(title)
                             ->placeholderForCreatedAssetCollection()
                             ->localIdentifier();
        });
        clock.advance(0);
        return PHAssetCollection::fetchAssetCollectionsWithLocalIdentifiers({ identifier }, nullptr)
            ->firstObjectAs<PHAssetCollection>();
    }
    /// What the next requests are answered with, one result each.
    void answer(int requests, ImageAnswer with)
    {
        for (int i = 0; i < requests; ++i)
            phone.answerNextImage({ with });
    }

    std::shared_ptr<QVLastShotImageView> view;
};

TEST_F(LastShot, SetUpMakesPicturesThatOverhangByTwoPoints)
{
    makeView();
    EXPECT_TRUE(view->insetToHidePhotoBorder());
    EXPECT_TRUE(view->clipsToBounds());
    EXPECT_EQ(view->layer()->cornerRadius(), 4);
    for (const auto& each : { current(), incoming() }) {
        EXPECT_EQ(each->frame(), CGRectMake(-2, -2, 52, 52));
        EXPECT_EQ(each->contentMode(), 2);
        EXPECT_EQ(each->autoresizingMask(), 18);
        EXPECT_TRUE(each->clipsToBounds());
    }
    EXPECT_EQ(view->_pointSize(), CGSizeMake(52, 52));
}

TEST_F(LastShot, TheSetterInsetsByTwoPointsOrNotAtAll)
{
    makeView();
    view->setInsetToHidePhotoBorder(true);
    EXPECT_EQ(current()->frame(), CGRectMake(2, 2, 44, 44));
    view->setInsetToHidePhotoBorder(false);
    EXPECT_EQ(current()->frame(), CGRectMake(0, 0, 48, 48));
    EXPECT_EQ(incoming()->frame(), CGRectMake(0, 0, 48, 48));
    EXPECT_FALSE(view->insetToHidePhotoBorder());
}

TEST_F(LastShot, AnEmptyLibraryShowsNothing)
{
    makeView();
    clock.advance(1);
    EXPECT_EQ(current()->image(), nullptr);
}

TEST_F(LastShot, TheNewestPhotoIsShownAtOnceWithoutAnimation)
{
    phone.addPhotos("", 3);
    answer(1, { true, false });
    makeView();
    EXPECT_EQ(view->latestPhotoFetchResult()->count(), 1U);
    clock.advance(0.2);
    EXPECT_NE(current()->image(), nullptr);
    EXPECT_EQ(incoming()->image(), nullptr);
}

TEST_F(LastShot, DegradedResultsAreShownWhenTheResultIsSet)
{
    phone.addPhotos("", 1);
    answer(1, { true, true });
    makeView();
    clock.advance(0.2);
    EXPECT_NE(current()->image(), nullptr);
}

TEST_F(LastShot, TheFirstPhotoSlidesInFromAboveAfterAQuarterOfASecondAndAnother)
{
    makeView();
    clock.advance(0.1);
    answer(1, { true, false, 0.1 });
    phone.addPhotos("", 1);
    clock.advance(0.24);
    EXPECT_EQ(incoming()->image(), nullptr);
    clock.advance(0.12); // 0.25 s and the request's 0.1 s
    ASSERT_NE(incoming()->image(), nullptr);
    EXPECT_EQ(current()->image(), nullptr);
    EXPECT_NEAR(shift(), -58, 0.1); // 10 points above its 48
    clock.advance(0.24); // the animation's own delay
    EXPECT_NEAR(shift(), -58, 0.5);
    clock.advance(0.25);
    EXPECT_NEAR(shift(), -29, 1.5); // the middle of an even curve
    clock.advance(0.3);
    EXPECT_NE(current()->image(), nullptr);
    EXPECT_EQ(incoming()->image(), nullptr);
}

TEST_F(LastShot, DegradedAndUnsaidResultsOfANewPhotoAreDropped)
{
    makeView();
    clock.advance(0.1);
    phone.answerNextImage({ { true, true, 0.05 }, { true, std::nullopt, 0.1 } });
    phone.addPhotos("", 1);
    clock.advance(2);
    EXPECT_EQ(current()->image(), nullptr);
    EXPECT_EQ(incoming()->image(), nullptr);
}

TEST_F(LastShot, DeletingTheNewestPhotoDoesNotChangeTheThumbnail)
{
    phone.addPhotos("", 2);
    answer(1, { true, false });
    makeView();
    clock.advance(0.5);
    const auto before = current()->image();
    ASSERT_NE(before, nullptr);
    phone.deleteNewestPhotos(1);
    clock.advance(2);
    EXPECT_EQ(current()->image(), before);
}

TEST_F(LastShot, AnEmptyAlbumEmptiesTheThumbnail)
{
    phone.addPhotos("", 1);
    answer(1, { true, false });
    makeView();
    clock.advance(0.5);
    view->setMonitoredAssetCollection(album("Mine"));
    EXPECT_EQ(current()->image(), nullptr);
    EXPECT_NE(view->latestPhotoFetchResult(), nullptr);
}

TEST_F(LastShot, AnAlbumsNewPhotoSlidesInAndOthersDoNot)
{
    makeView();
    view->setMonitoredAssetCollection(album("Mine"));
    clock.advance(0.1);
    phone.addPhotos("", 1);
    clock.advance(2);
    EXPECT_EQ(current()->image(), nullptr);
    answer(1, { true, false });
    phone.addPhotos("Mine", 1);
    clock.advance(2);
    EXPECT_NE(current()->image(), nullptr);
}

TEST_F(LastShot, NoAlbumEndsTheObservationAndDoesNotReturnToTheLibrary)
{
    makeView();
    view->setMonitoredAssetCollection(nullptr);
    EXPECT_EQ(view->latestPhotoFetchResult(), nullptr);
    answer(1, { true, false });
    phone.addPhotos("", 1);
    clock.advance(2);
    EXPECT_EQ(current()->image(), nullptr);
}

TEST_F(LastShot, NoAlbumCancelsARequestThatIsPending)
{
    phone.addPhotos("", 1);
    answer(1, { true, false, 0.5 });
    makeView();
    clock.advance(0.1);
    view->setMonitoredAssetCollection(nullptr);
    clock.advance(1);
    EXPECT_EQ(current()->image(), nullptr);
}

TEST_F(LastShot, TheRequestsIdentifierIsNotClearedByAnEmptyResultSoALateAnswerStillShows)
{
    phone.addPhotos("", 1);
    answer(1, { true, false, 0.5 });
    makeView();
    clock.advance(0.1);
    view->setMonitoredAssetCollection(album("Mine"));
    EXPECT_EQ(current()->image(), nullptr);
    clock.advance(1);
    EXPECT_NE(current()->image(), nullptr);
}

TEST_F(LastShot, ASlideThatIsInterruptedLeavesItsImageAllTheSame)
{
    phone.addPhotos("", 1);
    answer(1, { true, false });
    makeView();
    clock.advance(0.5);
    const auto image = current()->image();
    view->clearImageView(nullptr);
    view->setImage(image, true);
    clock.advance(0.4);
    EXPECT_EQ(current()->image(), nullptr);
    view->removeFromSuperview();
    clock.advance(0);
    EXPECT_EQ(current()->image(), image);
    EXPECT_EQ(incoming()->image(), nullptr);
}

TEST_F(LastShot, WithoutAccessItStaysEmpty)
{
    phone.addPhotos("", 1);
    phone.change([](drivers::phone::PhoneDescription& description) { description.permissions.photos = 2; });
    makeView();
    clock.advance(1);
    EXPECT_EQ(current()->image(), nullptr);
}

TEST_F(LastShot, ATouchThatEndsInsideSendsTouchUpInside)
{
    makeView();
    int sent = 0;
    const auto token = view->addAction(UIControlEventTouchUpInside, [&] { ++sent; });
    tap({ 40, 620 });
    EXPECT_EQ(sent, 1);
}

TEST_F(LastShot, ATouchThatEndsOutsideSendsNothing)
{
    makeView();
    int sent = 0;
    const auto token = view->addAction(UIControlEventTouchUpInside, [&] { ++sent; });
    touchDown({ 40, 620 });
    lift({ 100, 500 });
    EXPECT_EQ(sent, 0);
}

TEST_F(LastShot, ItsPictureCanBeTakenAway)
{
    phone.addPhotos("", 1);
    answer(1, { true, false });
    makeView();
    clock.advance(0.5);
    view->clearImageView(nullptr);
    EXPECT_EQ(current()->image(), nullptr);
}

TEST_F(LastShot, WhenItIsGoneTheLibraryTellsNobody)
{
    makeView();
    const std::weak_ptr<QVLastShotImageView> gone = view;
    view->removeFromSuperview();
    view.reset();
    EXPECT_TRUE(gone.expired());
    phone.addPhotos("", 1);
    clock.advance(1);
}

TEST_F(LastShot, EveryOperationIsThereByItsSelector)
{
    makeView();
    for (const char* selector : { "setMonitoredAssetCollection:", "setLatestPhotoFetchResult:",
             "setInsetToHidePhotoBorder:", "setImage:animated:", "clearImageView:", "touchesEnded:withEvent:",
             "photoLibraryDidChange:", "_pointSize" })
        EXPECT_TRUE(view->respondsToSelector(selector)) << selector;
}

}
}
