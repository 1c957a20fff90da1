// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/VirtualPhone.h"

#include "platform/CoreLocation/CLLocation.h"
#include "platform/Foundation/ManualClock.h"
#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSException.h"
#include "platform/Foundation/NSNotificationCenter.h"
#include "platform/Foundation/NSUserDefaults.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/Foundation/SteppedScheduler.h"
#include "platform/Foundation/SystemVersion.h"
#include "platform/UIKit/UIApplication.h"

#include "drivers/phone/PhoneButtons.h"
#include "drivers/phone/PhoneCapture.h"
#include "drivers/phone/PhoneControls.h"
#include "drivers/phone/PhoneGeocoder.h"
#include "drivers/phone/PhoneLocation.h"
#include "drivers/phone/PhoneMotion.h"
#include "drivers/phone/PhonePhotos.h"
#include "drivers/phone/PhoneState.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <set>
#include <string>
#include <utility>

namespace velmora::drivers::phone {

namespace {

/// Installs a driver for a scope.
template <class Driver> class Installation {
public:
    explicit Installation(std::shared_ptr<Driver> driver)
        : before_(Driver::installed())
    {
        Driver::install(std::move(driver));
    }
    ~Installation() { Driver::install(before_); }
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

private:
    std::shared_ptr<Driver> before_;
};

ArchiveDictionary dictionaryOf(const std::map<std::string, std::string>& texts)
{
    ArchiveDictionary dictionary;
    for (const auto& [key, text] : texts)
        dictionary[key] = text;
    return dictionary;
}

/// The ids of the cameras, and the microphone's.
std::set<std::string> devicesOf(const PhoneDescription& description)
{
    std::set<std::string> all;
    for (const auto& camera : description.cameras)
        all.insert(camera.id);
    if (description.microphone)
        all.insert("microphone");
    return all;
}

/// The part of the description that bundles and defaults keep.
void install(const PhoneDescription& description)
{
    const auto application = NSBundle::mainBundle();
    application->overrideInformation(dictionaryOf(description.information));
    if (!description.applicationStrings.empty())
        application->overrideStrings(description.applicationStrings);
    const auto framework = NSBundle::bundleWithIdentifier(frameworkBundleIdentifier);
    if (framework && !description.frameworkStrings.empty())
        framework->overrideStrings(description.frameworkStrings);
}

CMTime durationOf(double seconds)
{
    constexpr std::int32_t fineTimescale = 1000000000;
    return std::isinf(seconds) ? kCMTimeIndefinite : CMTimeMakeWithSeconds(seconds, fineTimescale);
}

CaptureReadings readingOf(const std::string& key, double value)
{
    CaptureReadings reading;
    const std::pair<const char*, std::optional<float> CaptureReadings::*> numbers[] { { "ISO", &CaptureReadings::ISO },
        { "lensPosition", &CaptureReadings::lensPosition },
        { "exposureTargetOffset", &CaptureReadings::exposureTargetOffset },
        { "exposureTargetBias", &CaptureReadings::exposureTargetBias } };
    const std::pair<const char*, std::optional<bool> CaptureReadings::*> flags[] {
        { "adjustingFocus", &CaptureReadings::adjustingFocus },
        { "adjustingExposure", &CaptureReadings::adjustingExposure },
        { "adjustingWhiteBalance", &CaptureReadings::adjustingWhiteBalance }
    };
    for (const auto& [name, member] : numbers)
        if (key == name)
            reading.*member = static_cast<float>(value);
    for (const auto& [name, member] : flags)
        if (key == name)
            reading.*member = value != 0;
    if (key == "exposureDuration")
        reading.exposureDuration = durationOf(value);
    else if (std::none_of(std::begin(numbers), std::end(numbers), [&](const auto& n) { return key == n.first; })
        && std::none_of(std::begin(flags), std::end(flags), [&](const auto& f) { return key == f.first; }))
        throw NSException(
            NSInvalidArgumentException, "[VirtualPhone] A device has no reading \"" + key + "\"; see setReading.");
    return reading;
}

/// The phone's own time, and everything on the thread that moves it. Devices may outlive the phone, so they share
/// the clock.
struct OwnTime {
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    SteppedScheduler scheduler { *clock };
    ScopedScheduler inForce { scheduler };
};

}

struct VirtualPhone::Parts {
    Parts(PhoneDescription description, std::unique_ptr<OwnTime> ownTime, std::shared_ptr<const Clock> time)
        : own(std::move(ownTime))
        , state(std::make_shared<PhoneState>(std::move(description), std::move(time)))
    {
        install(*state->description());
        NSUserDefaults::useVolatileDefaults(dictionaryOf(state->description()->defaults));
        versionBefore = SystemVersion::install([shared = state] { return shared->description()->systemVersion; });
    }
    ~Parts()
    {
        SystemVersion::install(std::move(versionBefore));
        const bool threadsRunIt = !own;
        for (const auto& camera : capture->used())
            camera->endWithPhone(threadsRunIt);
        capture->microphone().end();
    }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;

    static std::unique_ptr<Parts> onOwnTime(PhoneDescription description)
    {
        ProcessState::reset();
        auto own = std::make_unique<OwnTime>();
        const auto clock = own->clock;
        return std::make_unique<Parts>(std::move(description), std::move(own), clock);
    }
    static std::unique_ptr<Parts> onClock(PhoneDescription description, Clock& clock)
    {
        ProcessState::reset();
        return std::make_unique<Parts>(
            std::move(description), nullptr, std::shared_ptr<const Clock>(std::shared_ptr<void>(), &clock));
    }

    std::unique_ptr<OwnTime> own;
    std::shared_ptr<PhoneState> state;
    SystemVersion::Source versionBefore;
    std::shared_ptr<PhoneMotion> motion = std::make_shared<PhoneMotion>(state);
    std::shared_ptr<PhoneWorld> world = std::make_shared<PhoneWorld>(state, motion);
    std::shared_ptr<PhoneCapture> capture = std::make_shared<PhoneCapture>(world);
    std::shared_ptr<PhoneLocation> location = std::make_shared<PhoneLocation>(state);
    std::shared_ptr<PhoneGeocoder> geocoder = std::make_shared<PhoneGeocoder>(state, GeocodingDriver::installed());
    // On its own time the phone has a library of its own, for a test must not touch a person's.
    std::shared_ptr<PhonePhotos> photos = std::make_shared<PhonePhotos>(state, own ? nullptr : PhotoStore::installed());
    std::shared_ptr<PhoneControls> controls = std::make_shared<PhoneControls>(state);
    Installation<MotionDriver> motionInstalled { motion };
    Installation<CaptureDriver> captureInstalled { capture };
    Installation<LocationDriver> locationInstalled { location };
    Installation<GeocodingDriver> geocoderInstalled { geocoder };
    Installation<PhotoStore> photosInstalled { photos };
    Installation<CaptureControlsDriver> controlsInstalled { controls };
    std::shared_ptr<PhoneButtons> buttons = std::make_shared<PhoneButtons>();
    Installation<CaptureButtonDriver> buttonsInstalled { buttons };
    std::vector<JournalEntry> journalShown;
};

VirtualPhone::VirtualPhone(PhoneDescription description)
    : parts_(Parts::onOwnTime(std::move(description)))
{
}

VirtualPhone::VirtualPhone(PhoneDescription description, Clock& clock)
    : parts_(Parts::onClock(std::move(description), clock))
{
}

VirtualPhone::~VirtualPhone() = default;

void VirtualPhone::change(const std::function<void(PhoneDescription&)>& edit)
{
    Permissions before, after;
    std::shared_ptr<Scene> scene;
    std::map<std::string, std::string> defaultsBefore;
    std::set<std::string> devicesBefore, devicesAfter;
    parts_->state->change([&](PhoneDescription& description) {
        devicesBefore = devicesOf(description);
        before = description.permissions;
        const std::string footage = description.footage;
        defaultsBefore = description.defaults;
        edit(description);
        after = description.permissions;
        devicesAfter = devicesOf(description);
        if (description.footage != footage)
            scene = Scene::open(description.footage);
    });
    if (scene)
        parts_->world->setScene(scene);
    const auto changed = parts_->state->description();
    install(*changed);
    // Only when they were edited: what the application has written since stays otherwise.
    if (changed->defaults != defaultsBefore)
        NSUserDefaults::useVolatileDefaults(dictionaryOf(changed->defaults));
    if (before.location != after.location)
        parts_->location->authorizationChanged(after.location);
    if (before.photos != after.photos)
        parts_->photos->permissionChanged(after.photos);
    if (before.camera != after.camera)
        parts_->capture->cameraPermissionChanged(after.camera);
    for (const auto& id : devicesBefore)
        if (!devicesAfter.contains(id))
            parts_->capture->tellPresence(id, false);
    for (const auto& id : devicesAfter)
        if (!devicesBefore.contains(id))
            parts_->capture->tellPresence(id, true);
}

ManualClock& VirtualPhone::clock()
{
    if (!parts_->own)
        throw NSException(NSInvalidArgumentException,
            "[VirtualPhone] This phone is on a running clock, which nobody moves; leave the clock out of its "
            "construction to move time by hand.");
    return *parts_->own->clock;
}

const std::vector<JournalEntry>& VirtualPhone::journal() const
{
    return parts_->journalShown = parts_->state->journal();
}

void VirtualPhone::fail(Fault fault)
{
    parts_->state->fail(std::move(fault));
}

void VirtualPhone::unplug(const std::string& camera, std::uint64_t afterFrame)
{
    parts_->capture->camera(camera)->unplug(afterFrame);
}

void VirtualPhone::fullAfter(std::uint64_t bytes)
{
    parts_->world->fullAfter(bytes);
}

void VirtualPhone::tilt(double x, double y, double z, std::optional<NSError> error)
{
    parts_->motion->tilt({ x, y, z }, std::move(error));
}

void VirtualPhone::moveTo(std::vector<std::shared_ptr<CLLocation>> batch)
{
    parts_->location->moveTo(std::move(batch));
}

void VirtualPhone::failLocation(NSError error)
{
    parts_->location->fail(error);
}

void VirtualPhone::answerNextGeocode(PlaceAnswer answer)
{
    parts_->geocoder->answerNext(std::move(answer));
}

void VirtualPhone::scriptNextPhoto(std::vector<PhotoEvent> events)
{
    parts_->world->scriptNextPhoto(std::move(events));
}

void VirtualPhone::answerNextImage(std::vector<ImageAnswer> answers)
{
    parts_->photos->answerNextImage(std::move(answers));
}

void VirtualPhone::addPhotos(const std::string& album, std::size_t count)
{
    parts_->photos->addPhotos(album, count);
}

void VirtualPhone::deleteNewestPhotos(std::size_t count)
{
    parts_->photos->deleteNewestPhotos(count);
}

void VirtualPhone::deleteAlbum(const std::string& title)
{
    parts_->photos->deleteAlbum(title);
}

void VirtualPhone::renameAlbum(const std::string& from, const std::string& to)
{
    parts_->photos->renameAlbum(from, to);
}

void VirtualPhone::showFaces(std::size_t count)
{
    for (const auto& camera : parts_->capture->started())
        camera->showFaces(count);
}

void VirtualPhone::sendFrame()
{
    for (const auto& camera : parts_->capture->started())
        camera->sendFrame();
}

void VirtualPhone::sendAudio()
{
    parts_->capture->microphone().sendAudio();
}

void VirtualPhone::interruptSession(std::optional<NSError> error)
{
    for (const auto& camera : parts_->capture->inUse())
        camera->interrupt(error);
}

void VirtualPhone::resumeSession()
{
    for (const auto& camera : parts_->capture->inUse())
        camera->resume();
}

void VirtualPhone::breakSession(NSError error)
{
    for (const auto& camera : parts_->capture->inUse())
        camera->fail(error);
}

void VirtualPhone::selectControl(std::size_t control, std::int64_t index)
{
    parts_->controls->select(control, index);
}

void VirtualPhone::pressButton(int phase)
{
    parts_->buttons->press(phase);
}

void VirtualPhone::showControls(bool active, bool fullScreen)
{
    parts_->controls->show(active, fullScreen);
}

void VirtualPhone::resignActive()
{
    NSNotificationCenter::defaultCenter().postNotificationName(UIApplicationWillResignActiveNotification, nullptr);
}

void VirtualPhone::becomeActive()
{
    NSNotificationCenter::defaultCenter().postNotificationName(UIApplicationDidBecomeActiveNotification, nullptr);
}

void VirtualPhone::significantTimeChange()
{
    NSNotificationCenter::defaultCenter().postNotificationName(UIApplicationSignificantTimeChangeNotification, nullptr);
}

void VirtualPhone::moveLens(const std::string& camera, float position)
{
    parts_->capture->camera(camera)->moveLens(position);
}

void VirtualPhone::setReading(const std::string& camera, const std::string& key, double value)
{
    parts_->capture->camera(camera)->report(readingOf(key, value));
}

}
