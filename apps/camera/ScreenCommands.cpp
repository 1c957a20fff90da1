// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/ScreenCommands.h"

#include "velmora/capture/QVCameraController.h"

#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/ManualClock.h"
#include "platform/Foundation/NSRunLoop.h"
#include "platform/QuartzCore/CADisplay.h"
#include "platform/UIKit/UIApplication.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UIWindow.h"

#include "drivers/installDefaults.h"
#include "drivers/offscreen/OffscreenDisplay.h"
#include "drivers/openDisplay.h"
#include "drivers/phone/VirtualPhone.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>

#include "apps/camera/CameraScreen.h"
#include "apps/camera/CameraSource.h"
#include "apps/camera/Interruption.h"
#include "apps/camera/PictureFolder.h"
#include "apps/camera/Refusal.h"
#include "apps/camera/TouchScript.h"
#include "apps/camera/storePhoto.h"

namespace velmora::camera {

namespace {

constexpr CGSize windowSize { 360, 720 }; // points

/// A window with the camera screen in it, as the options ask for it.
class Shown {
public:
    Shown(const Options& options, CameraScreen::Taken taken)
        : model(make<QVCameraHardware>(
            options.camera.position, QVCameraCaptureIntentStillImage, std::optional<std::string>()))
        , screen(make<CameraScreen>(model, std::move(taken)))
    {
        auto& controller = *model->controller();
        if (controller.hasLensTypeInCurrentDevicePosition(options.camera.lens))
            controller.setLensType(options.camera.lens);
        controller.prepareToCaptureStillImage();
        if (options.camera.zoom)
            controller.setZoomScale(*options.camera.zoom);
        window->setRootViewController(screen);
        window->makeKeyAndVisible();
    }

    const std::shared_ptr<QVCameraHardware> model;
    const std::shared_ptr<CameraScreen> screen;
    const std::shared_ptr<UIWindow> window = make<UIWindow>();
};

/// It appears when it is complete, and replaces nothing.
void writePNG(const drivers::offscreen::OffscreenDisplay& display, const std::filesystem::path& png)
{
    const auto part = png.parent_path() / ("." + png.filename().string() + ".part");
    std::error_code error;
    try {
        display.writePNG(part.string());
        std::filesystem::rename(part, png, error);
    } catch (const NSError& failed) {
        std::filesystem::remove(part, error);
        throw Refusal("The snapshot cannot be written", asClause(failed.localizedDescription()),
            "choose another file with --png FILE");
    }
    if (error)
        throw Refusal("The snapshot cannot be written", error.message(), "choose another file with --png FILE");
}

void checkSnapshot(const Options& options)
{
    const auto& png = *options.snapshot.png;
    if (options.global.driver == CameraDriver::PipeWire || options.global.driver == CameraDriver::V4L2)
        throw Refusal("A snapshot cannot be taken of a real camera", "it is drawn on a clock of its own",
            "use --camera virtual, the virtual phone", ExitWrongCommandLine);
    std::error_code error;
    if (std::filesystem::exists(png, error))
        throw Refusal(
            png.string() + " cannot be written", "a file is there already", "choose another one with --png FILE");
}

}

void showScreen(const Options& options, Report& report, const Interruption& interruption)
{
    const CameraSource source(options);
    const char* desktop = std::getenv("DISPLAY");
    if (!desktop || !*desktop)
        throw Refusal("The camera screen cannot be shown", "there is no desktop: DISPLAY is not set",
            "start it on a desktop, or draw it with velmora-camera snapshot --png FILE");
    drivers::installDisplay({ "Velmora", windowSize, 1 });
    if (std::dynamic_pointer_cast<drivers::offscreen::OffscreenDisplay>(DisplayDriver::installed()))
        throw Refusal("The camera screen cannot be shown", "the desktop gives no window",
            "draw it with velmora-camera snapshot --png FILE");
    report.setDriver(CaptureDriver::installed()->name());
    const auto folder = std::make_shared<PictureFolder>(PictureFolder::chosen({}, options.global.library));
    const DispatchQueue storing("org.velmora.camera.storing");
    bool closed = false;
    std::weak_ptr<CameraScreen> weakScreen;
    const Shown shown(options, [&](const std::shared_ptr<QVPhotoCaptureOutput>& photo) {
        storing.async([folder, photo, weakScreen] {
            try {
                storePhoto(*folder, *photo);
            } catch (const Refusal& refusal) {
                DispatchQueue::main().async([weakScreen, text = std::string(refusal.what())] {
                    if (const auto screen = weakScreen.lock())
                        screen->showMessage(text);
                });
            }
        });
    });
    weakScreen = shown.screen;
    UIApplication::sharedApplication()->setCloseHandler([&closed] { closed = true; });
    constexpr double whileNothingHappens = 60; // seconds; events wake the loop
    while (!closed && interruption.signal() == 0)
        NSRunLoop::mainRunLoop().turn(whileNothingHappens);
    UIApplication::sharedApplication()->setCloseHandler(nullptr);
    shown.window->setHidden(true);
    shown.model->controller()->stopSession();
    storing.sync([] {}); // what was taken is stored
    if (interruption.signal() != 0)
        throw Refusal("Stopped", "a signal came", "start again to go on", ExitBySignal + interruption.signal());
}

void takeSnapshot(const Options& options, Report& report)
{
    const auto& wanted = options.snapshot;
    checkSnapshot(options);
    drivers::installDefaults();
    const auto touches = wanted.script ? readTouchScript(*wanted.script) : std::vector<ScriptedTouch>();
    Options held = options;
    if (!held.camera.orientation && wanted.size.width > wanted.size.height)
        held.camera.orientation = UIDeviceOrientationLandscapeLeft; // as somebody who looks at such a screen
    drivers::phone::VirtualPhone phone(phoneOf(held));
    const auto display = drivers::offscreen::OffscreenDisplay::withSize(
        { static_cast<double>(wanted.size.width), static_cast<double>(wanted.size.height) }, wanted.scale);
    DisplayDriver::install(display);
    report.setDriver(CaptureDriver::installed()->name());
    {
        const Shown shown(held, nullptr);
        constexpr double untilItRuns = 1; // second
        phone.clock().advance(untilItRuns);
        double now = 0;
        for (const auto& touch : touches) {
            phone.clock().advance(touch.at - now);
            now = touch.at;
            display->touch(touch.phase, touch.point, touch.finger);
        }
        phone.clock().advance(0);
        UIScreen::mainScreen()->display()->renderIfNeeded();
        writePNG(*display, *wanted.png);
        shown.window->setHidden(true);
        shown.model->controller()->stopSession();
        phone.clock().advance(1);
    }
    report.tellSnapshot(std::filesystem::absolute(*wanted.png));
}

}
