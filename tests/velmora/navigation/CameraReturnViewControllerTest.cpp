// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSException.h"

#include "tests/velmora/navigation/ReturnTest.h"

namespace velmora::tests {
namespace {

using CameraReturn = ReturnTest;

TEST_F(CameraReturn, ThePresentedContainerShowsItsPageBelowTheBar)
{
    present();
    EXPECT_TRUE(isPresented());
    EXPECT_EQ(page->view()->window(), window);
    EXPECT_EQ(container->barView()->frame(), CGRectMake(0, 0, 320, 20));
    EXPECT_EQ(container->containerView()->frame(), CGRectMake(0, 20, 320, 460));
}

TEST_F(CameraReturn, AContainerNeedsAController)
{
    EXPECT_THROW(make<QVCameraReturnViewController>(nullptr), NSException);
}

}
}
