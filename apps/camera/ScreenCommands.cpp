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
#include "apps/camera/PhotoAlbum.h"
#include "apps/camera/Refusal.h"
#include "apps/camera/TouchScript.h"
#include "apps/camera/storePhoto.h"

namespace velmora::camera {

namespace {

constexpr CGSize windowSize { 360, 720 }; // points

/// A window with the camera screen in it, as the options ask for it; its photos go into the album.
class Shown {
public:
    Shown(const Options& options, Report& report)
        : album_(std::make_shared<PhotoAlbum>(options.screen.album, std::nullopt))
        , model_(make<QVCameraHardware>(
              options.camera.position, QVCameraCaptureIntentStillImage, std::optional<std::string>()))
        , screen_(make<CameraScreen>(
              model_, album_->collection(),
              [this](const std::shared_ptr<QVPhotoCaptureOutput>& photo) { store(photo); },
              [&report](const std::vector<std::string>& files) { report.addShared(files); }))
    {
        auto& controller = *model_->controller();
        if (controller.hasLensTypeInCurrentDevicePosition(options.camera.lens))
            controller.setLensType(options.camera.lens);
        controller.prepareToCaptureStillImage();
        if (options.camera.zoom)
            controller.setZoomScale(*options.camera.zoom);
        window_->setRootViewController(screen_);
        window_->makeKeyAndVisible();
    }

    /// What was taken is stored then.
    void close()
    {
        window_->setHidden(true);
        model_->controller()->stopSession();
        storing_.sync([] {});
    }

private:
    void store(const std::shared_ptr<QVPhotoCaptureOutput>& photo)
    {
        storing_.async([album = album_, photo, weak = std::weak_ptr(screen_)] {
            try {
                storePhoto(*album, *photo);
            } catch (const Refusal& refusal) {
                DispatchQueue::main().async([weak, text = std::string(refusal.what())] {
                    if (const auto screen = weak.lock())
                        screen->showMessage(text);
                });
            }
        });
    }

    const std::shared_ptr<const PhotoAlbum> album_;
    const DispatchQueue storing_ { "org.velmora.camera.storing" };
    const std::shared_ptr<QVCameraHardware> model_;
    const std::shared_ptr<CameraScreen> screen_;
    const std::shared_ptr<UIWindow> window_ = make<UIWindow>();
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
    Shown shown(options, report);
    bool closed = false;
    UIApplication::sharedApplication()->setCloseHandler([&closed] { closed = true; });
    constexpr double whileNothingHappens = 60; // seconds; events wake the loop
    while (!closed && interruption.signal() == 0)
        NSRunLoop::mainRunLoop().turn(whileNothingHappens);
    UIApplication::sharedApplication()->setCloseHandler(nullptr);
    shown.close();
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
    chooseLibrary(options.global); // otherwise the phone's own, which is in memory
    const auto display = drivers::offscreen::OffscreenDisplay::withSize(
        { static_cast<double>(wanted.size.width), static_cast<double>(wanted.size.height) }, wanted.scale);
    DisplayDriver::install(display);
    report.setDriver(CaptureDriver::installed()->name());
    {
        Shown shown(held, report);
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
        shown.close();
        phone.clock().advance(1);
    }
    report.tellSnapshot(std::filesystem::absolute(*wanted.png));
}

}
