// SPDX-License-Identifier: Apache-2.0
// Shows a viewfinder with a camera's preview and draws it into viewfinder.png:  viewfinder [denied] [WIDTH HEIGHT]
// With "denied" the person does not allow the camera, and a message stands in the picture's place.
#include "velmora/capture/QVCameraController.h"
#include "velmora/ui/QVViewfinderView.h"

#include "platform/Foundation/ManualClock.h"
#include "platform/QuartzCore/CADisplay.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UIWindow.h"

#include "drivers/installDefaults.h"
#include "drivers/offscreen/OffscreenDisplay.h"
#include "drivers/phone/VirtualPhone.h"

#include <cstdlib>
#include <cstring>

using namespace velmora;

int main(int argc, char** argv)
{
    const bool denied = argc > 1 && std::strcmp(argv[1], "denied") == 0;
    const int first = denied ? 2 : 1;
    CGSize size { 360, 720 }; // points
    if (argc > first + 1)
        size = { std::atof(argv[first]), std::atof(argv[first + 1]) };

    drivers::installDefaults();
    auto description = drivers::phone::single();
    if (denied)
        description.permissions.camera = 2;
    drivers::phone::VirtualPhone phone(description); // on a clock of its own
    const auto display = drivers::offscreen::OffscreenDisplay::withSize(size, 1);
    DisplayDriver::install(display);

    const auto controller = make<QVCameraController>();
    const auto window = make<UIWindow>();
    const auto viewfinder = make<QVViewfinderView>(window->bounds());
    viewfinder->setShutterColor(UIColor::colorWithWhite(0.12));
    viewfinder->setOverlayView(make<QVViewfinderOverlayView>());
    viewfinder->setOverlays(QVViewfinderOverlayCornerMarks | QVViewfinderOverlayCrosshair);
    viewfinder->setVideoPreviewLayer(controller->previewLayer());
    window->addSubview(viewfinder);
    window->makeKeyAndVisible();
    controller->startSession();
    phone.clock().advance(1);
    UIScreen::mainScreen()->display()->renderIfNeeded();
    display->writePNG("viewfinder.png");
    controller->stopSession();
    phone.clock().advance(0);
}
