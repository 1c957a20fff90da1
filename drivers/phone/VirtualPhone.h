// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include "drivers/phone/PhoneDescription.h"

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

/// A phone made of values: its sensors, permissions and faults. An application's tests build one in a few lines, move
/// its clock by hand and ask it to fail; a program reads one from a file. One at a time for the process; it drives the
/// platform's services until its end.
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

    /// The phone is held so from now on; in g, as MotionDriver says. Each call is one reading of the accelerometer;
    /// with scripted motion, readings come at the interval too. An error takes the reading's place.
    void tilt(double x, double y, double z, std::optional<NSError> error = {});
    /// One batch, told to those who may know the location; before they start, its last is where they begin.
    void moveTo(std::vector<std::shared_ptr<CLLocation>> batch);
    void failLocation(NSError error);
    /// Each call prepares one answer. Questions without one go to the geocoder that was installed before the phone.
    void answerNextGeocode(PlaceAnswer answer);
    /// The application's three notifications, on the calling thread: the main one.
    void resignActive();
    void becomeActive();
    void significantTimeChange();

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}
