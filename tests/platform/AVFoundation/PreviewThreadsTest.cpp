// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/AVCaptureVideoPreviewLayer.h"
#include "platform/Foundation/NSRunLoop.h"
#include "platform/QuartzCore/CADisplay.h"

#include "drivers/offscreen/OffscreenDisplay.h"

#include "tests/support/SessionTest.h"

#include <gtest/gtest.h>

#include <thread>

namespace velmora::tests {
namespace {

class PreviewThreads : public SessionTest { };

TEST_F(PreviewThreads, FramesArriveWhileOthersAreShownAndTheLayerLeavesItsTree)
{
    add("back");
    const auto screen = drivers::offscreen::OffscreenDisplay::withSize({ 60, 80 }, 1);
    const auto display = make<CADisplay>(screen);
    const auto layer = AVCaptureVideoPreviewLayer::initWithSession(session);
    layer->setFrame(CGRectMake(0, 0, 60, 80));
    display->rootLayer()->addSublayer(layer);
    display->renderIfNeeded();

    constexpr int count = 300;
    std::thread camera([&] {
        for (int i = 0; i < count; ++i)
            layer->receive(make<CMSampleBuffer>(
                CVPixelBuffer::create(64, 48, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange), CMTimeMake(i, 30), 1));
    });
    std::thread owner([&] {
        for (int i = 0; i < count; ++i) {
            layer->removeFromSuperlayer();
            display->rootLayer()->addSublayer(layer);
        }
    });
    for (int i = 0; i < count; ++i) {
        NSRunLoop::mainRunLoop().turn();
        display->renderIfNeeded();
    }
    camera.join();
    owner.join();
    display->renderIfNeeded();
    EXPECT_GT(display->counters().previewConversions, 0U);
    EXPECT_LE(display->counters().previewConversions, count + 1U);
}

}
}
