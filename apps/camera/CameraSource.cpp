// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/CameraSource.h"

#include "platform/AVFoundation/CaptureDriver.h"
#include "platform/CoreLocation/LocationDriver.h"
#include "platform/CoreMotion/CMMotionManager.h"
#include "platform/Foundation/Clock.h"
#include "platform/ImageIO/ImageDecoder.h"

#include "drivers/installDefaults.h"
#include "drivers/openCapture.h"
#include "drivers/phone/VirtualPhone.h"

#include <cstdio>
#include <future>
#include <utility>

#include "apps/camera/PhotoAlbum.h"
#include "apps/camera/Refusal.h"

namespace velmora::camera {

using namespace drivers::phone;

namespace {

/// Asks the user where he has not decided yet, and waits for his answer.
void askFor(CaptureDriver& capture)
{
    if (capture.authorizationStatus(AVMediaTypeVideo) != AVAuthorizationStatusNotDetermined)
        return;
    const auto answered = std::make_shared<std::promise<void>>();
    capture.requestAccess(AVMediaTypeVideo, [answered](bool) { answered->set_value(); });
    answered->get_future().wait();
}

bool thisMachineHasACamera()
{
    const auto driver = CaptureDriver::installed();
    if (driver)
        askFor(*driver);
    return driver && driver->defaultDevice(AVMediaTypeVideo);
}

Refusal notBuilt(const std::string& driver)
{
    return { "--camera " + driver + " cannot be used", "this program was not built with it",
        "use --camera virtual, the virtual phone" };
}

Refusal noCamera()
{
    return { "There is no camera", "none of the drivers that were built found one on this machine",
        "use --camera virtual, the virtual phone, perhaps with --footage FILE" };
}

PhoneDescription describedBy(const std::string& nameOrFile)
{
    if (nameOrFile == "triple")
        return triple();
    if (nameOrFile == "single")
        return single();
    if (nameOrFile == "none")
        return none();
    if (!std::filesystem::exists(nameOrFile))
        throw Refusal("There is no virtual phone \"" + nameOrFile + "\"", "it is neither built in nor a file",
            "use triple, single, none, or a JSON description");
    try {
        return fromJSON(nameOrFile);
    } catch (const NSError& error) {
        throw Refusal("The virtual phone cannot be read", asClause(error.localizedDescription()),
            "correct the file, or use triple, single or none");
    }
}

/// What the accelerometer reads while the phone is held so, in g: the direction of gravity, y towards the phone's top.
CMAcceleration gravity(UIDeviceOrientation orientation)
{
    switch (orientation) {
    case UIDeviceOrientationPortraitUpsideDown:
        return { 0, 1, 0 };
    case UIDeviceOrientationLandscapeLeft:
        return { -1, 0, 0 };
    case UIDeviceOrientationLandscapeRight:
        return { 1, 0, 0 };
    default:
        return { 0, -1, 0 };
    }
}

}

PhoneDescription phoneOf(const Options& options)
{
    auto description = describedBy(options.global.phone.value_or("triple"));
    if (options.global.footage)
        description.footage = *options.global.footage;
    if (options.global.at)
        description.track = { { 0, make<CLLocation>(options.global.at->latitude, options.global.at->longitude) } };
    if (options.camera.orientation)
        description.motion = { { 0, gravity(*options.camera.orientation) } };
    return description;
}

CameraSource::CameraSource(const Options& options, Need need)
{
    drivers::installDefaults();
    chooseLibrary(options.global);
    switch (options.global.driver) {
    case CameraDriver::PipeWire:
        plugIn("pipewire", need);
        return;
    case CameraDriver::V4L2:
        plugIn("v4l2", need);
        return;
    case CameraDriver::Virtual:
        plugInVirtualPhone(options);
        return;
    case CameraDriver::Automatic:
        break;
    }
    if (thisMachineHasACamera()) {
        hasPlace_ = LocationDriver::installed() != nullptr;
        return;
    }
    const bool mayBeInvented = options.global.describesPhone() || options.command == Command::Screen;
    if (!mayBeInvented) {
        if (need == MustBeThere)
            throw noCamera();
        return;
    }
    if (options.global.log != LogLevel::Quiet)
        std::fprintf(stderr, "velmora-camera: this machine has no camera; using the virtual phone.\n");
    plugInVirtualPhone(options);
}

CameraSource::~CameraSource() = default;

void CameraSource::plugIn(const std::string& driver, Need need)
{
    if (!drivers::missingForCapture(driver).empty())
        throw notBuilt(driver);
    std::shared_ptr<CaptureDriver> capture;
    try {
        capture = drivers::openCapture(driver);
        askFor(*capture);
    } catch (const NSError& error) {
        throw Refusal("--camera " + driver + " cannot be used", asClause(error.localizedDescription()),
            "use --camera virtual, the virtual phone");
    }
    if (need == MustBeThere && !capture->defaultDevice(AVMediaTypeVideo))
        throw Refusal("There is no camera", driver + " was asked and has none",
            "plug one in, or use --camera virtual, the virtual phone");
    CaptureDriver::install(std::move(capture));
    hasPlace_ = LocationDriver::installed() != nullptr;
}

void CameraSource::plugInVirtualPhone(const Options& options)
{
    static SteadyClock clock;
    const auto description = phoneOf(options);
    hasPlace_ = !description.track.empty();
    try {
        phone_ = std::make_unique<VirtualPhone>(description, clock);
    } catch (const NSError& error) {
        throw Refusal("The footage cannot be used", asClause(error.localizedDescription()),
            "give a JPEG, a PNG or a movie with --footage FILE");
    }
}

}
