// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include "drivers/phone/PhoneDescription.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {
class Clock;
class ManualClock;
}

namespace velmora::drivers::phone {

/// A phone made of values: its cameras, sensors, permissions and faults. An application's tests build one in a few
/// lines, move its clock by hand and ask it to fail; a program reads one from a file. One at a time for the process; it
/// drives the platform's services until its end.
class VELMORA_EXPORT VirtualPhone {
public:
    /// Installs its drivers and resets process-wide state; its end puts back what was there. Everything runs on the
    /// calling thread, when the clock is moved.
    explicit VirtualPhone(PhoneDescription description);
    /// On a running clock and the scheduler in force, as a program does.
    VirtualPhone(PhoneDescription description, Clock& clock);
    ~VirtualPhone();
    VirtualPhone(const VirtualPhone&) = delete;
    VirtualPhone& operator=(const VirtualPhone&) = delete;

    /// Seen at the next read. From any thread.
    void change(const std::function<void(PhoneDescription&)>& edit);
    /// Throws NSException (NSInvalidArgumentException) on a running clock.
    ManualClock& clock();
    /// What reached the devices, in order, with the queue that asked. The reference shows the journal as of this call;
    /// from one thread.
    const std::vector<JournalEntry>& journal() const;

    /// Throws NSException (NSInvalidArgumentException) for an outcome that the step does not have.
    void fail(Fault fault);
    void failNextLock(NSError error) { fail({ .step = Step::Lock, .error = std::move(error) }); }

    /// Now, or after that many more frames of the camera. Throws NSException (NSInvalidArgumentException) for a camera
    /// that the phone does not have, as everything that names one.
    void unplug(const std::string& camera, std::uint64_t afterFrame = 0);
    /// Pictures that may need more are not kept; each that is kept takes its room.
    void fullAfter(std::uint64_t bytes);

    /// The phone is held so from now on; in g, as MotionDriver says. Each call is one reading of the accelerometer;
    /// with scripted motion, readings come at the interval too. An error takes the reading's place.
    void tilt(double x, double y, double z, std::optional<NSError> error = {});
    /// One batch, told to those who may know the location; before they start, its last is where they begin.
    void moveTo(std::vector<std::shared_ptr<CLLocation>> batch);
    void failLocation(NSError error);
    /// Each call prepares one answer. Questions without one go to the geocoder that was installed before the phone.
    void answerNextGeocode(PlaceAnswer answer);
    /// The callbacks of one still, one after the other from the shutter's moment on, instead of the natural ones:
    /// shutter, picture, RAW picture, the live photo's movie, the end. Each call prepares one still.
    void scriptNextPhoto(std::vector<PhotoEvent> events);
    /// Each call prepares one image request of the photo library: its results, in their order.
    void answerNextImage(std::vector<ImageAnswer> answers);
    /// Others change the photo library. Photos are each one second younger than the one before, the last of this
    /// moment; with an empty title they are in no album. Throws NSException (NSInvalidArgumentException) for an album
    /// that there is not, and on a running clock with the machine's own library.
    void addPhotos(const std::string& album, std::size_t count);
    void deleteNewestPhotos(std::size_t count);
    void deleteAlbum(const std::string& title);
    void renameAlbum(const std::string& from, const std::string& to);
    /// What the running cameras find in their pictures from now on.
    void showFaces(std::size_t count);
    /// One frame of every running camera, one piece of sound, delivered before the call returns.
    void sendFrame();
    void sendAudio();
    /// Somebody else takes the running cameras: no frames, until they are given back. Where none runs, it happens to
    /// those that were opened.
    void interruptSession(std::optional<NSError> error = {});
    void resumeSession();
    /// The running cameras fail; they deliver again when the session is resumed.
    void breakSession(NSError error);

    /// A person chooses a title of a menu on the camera button: the session's first control is 0. Throws NSException
    /// (NSInvalidArgumentException) for a control that is not there, or is no menu.
    void selectControl(std::size_t control, std::int64_t index);
    /// A person takes the camera button in hand, and lets it go; the session hears what that changes.
    void showControls(bool active, bool fullScreen);
    /// The camera key, at a phase: 0 pressed, 1 released, 2 let go of before it was pressed all the way.
    void pressButton(int phase);

    /// The application's three notifications, on the calling thread: the main one.
    void resignActive();
    void becomeActive();
    void significantTimeChange();

    /// The device moves its lens by itself and tells so, on the calling thread; one frame later it has finished.
    void moveLens(const std::string& camera, float position);
    /// The device tells a reading, on the calling thread: ISO, lensPosition, exposureTargetOffset, exposureTargetBias,
    /// exposureDuration (in seconds; not a number is an invalid time, infinity an indefinite one), or, with 0 for no,
    /// adjustingFocus, adjustingExposure, adjustingWhiteBalance. Throws NSException for another key.
    void setReading(const std::string& camera, const std::string& key, double value);

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}
