// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/AVMediaTypes.h"
#include "platform/CoreLocation/CLPlacemark.h"
#include "platform/CoreMedia/CMTime.h"
#include "platform/CoreMotion/MotionDriver.h"
#include "platform/Foundation/NSError.h"
#include "platform/Foundation/SystemVersion.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {
class CLLocation;
}

/// What a virtual phone is made of. Lengths in pixels, durations in seconds, unless a type says more.
namespace velmora::drivers::phone {

using velmora::SystemVersion;

struct FrameRates {
    double minimum = 1, maximum = 30; ///< frames a second
    std::optional<CMTime> shortestFrame; ///< default: 1/maximum
};

struct Format {
    CMVideoDimensions size { 1920, 1080 }, highResolutionStill { 4032, 3024 };
    std::vector<FrameRates> frameRates { FrameRates {} };
    std::vector<CMVideoDimensions> depth; ///< empty: no depth
    CMTime shortestExposure = CMTimeMake(1, 8000), longestExposure = CMTimeMake(1, 3);
    float lowestISO = 32, highestISO = 3200;
    double highestZoom = 16;
};

struct Camera {
    std::string id, type; ///< any text, unknown types too
    AVCaptureDevicePosition position = AVCaptureDevicePositionBack;
    std::vector<std::string> of; ///< the cameras that a logical one is made of
    std::optional<AVCaptureDevicePosition> foundAt; ///< discovery's idea of it; default: position
    std::vector<Format> formats { Format {} }; ///< order decides ties; may be empty
    std::size_t activeFormat = 0;
    std::map<std::string, std::optional<std::size_t>> presets; ///< supported ones; with the format each selects
    std::vector<int> flashModes { 0, 1, 2 }, torchModes { 0, 1 }, focusModes { 0, 1, 2 }, exposureModes { 0, 1, 2, 3 },
        whiteBalanceModes { 0, 2 }, stabilizationModes { 0, 1 };
    std::vector<std::uint32_t> rawFormats, previewFormats { 875704422 };
    bool focusPoint = true, exposurePoint = true, distortionCorrection = false, matte = false, livePhoto = true;
    double barrel = 0; ///< by which fraction the lens pulls its corners inwards, until that is corrected
    float lowestBias = -8, highestBias = 8, highestGain = 4, aperture = 1.8F; ///< stops, factor, f-number
    float focalLength = 5.7F, focalLengthIn35mm = 26; ///< millimetres
    /// Empty: a daylight curve as the sensor sees it.
    std::function<AVCaptureWhiteBalanceGains(float kelvin, float tint)> gains;
};

/// Seconds on the phone's clock, which begins with the phone; in g.
struct TimedAcceleration {
    double at = 0;
    CMAcceleration acceleration;
};
struct TimedLocation {
    double at = 0;
    std::shared_ptr<CLLocation> location;
};

/// What reached the devices: "lock", "setISO 200", ..., which device and which queue asked ("" outside any).
struct JournalEntry {
    std::string what, device, queue;
    double at = 0; ///< seconds on the phone's clock
};

/// Raw values of the services' statuses: 3 is authorised, for the location always; 4 is a location in use, or a
/// library of which a part may be seen.
struct Permissions {
    int camera = 3, location = 4, photos = 3;
    bool locationAnnouncedAtCreation = true;
};
/// `camera` is an id, or "microphone"; an empty preset is every preset.
struct RefusedInput {
    std::string camera, preset;
};
/// What the photo library holds at first; an album may lie in a folder, by their titles.
struct LibraryContent {
    std::vector<std::string> albums, folders;
    std::map<std::string, std::string> albumInFolder;
};
struct Storage {
    std::uint64_t bytesFree = 1ULL << 32;
};

struct PhoneDescription {
    SystemVersion systemVersion;
    std::vector<Camera> cameras;
    std::optional<std::string> defaultCamera; ///< id, apart from discovery; default: first wide angle
    std::string footage; ///< picture or movie that the cameras see; empty: a drawn scene that moves
    double sceneDistance = 2; ///< metres, for focus and light
    double handShake = 0; ///< how far the hand moves the picture at most, as a fraction of its size
    std::vector<TimedAcceleration> motion; ///< in order of time; empty: held upright, still
    std::vector<TimedLocation> track; ///< in order of time; one entry: it stays there; empty: no location
    double lostFrames = 0; ///< the part of the frames that the cameras lose, spread evenly: 0.03 is three in a hundred
    double soundClock = 0; ///< how much faster the microphone's clock runs than the phone's, in millionths
    bool microphone = true, previewConnection = true;
    bool controls = true; ///< there is a camera button that shows a session's controls
    std::vector<std::string> foreignControls; ///< titles of menus that others put on every new session
    std::vector<std::string> refusedPresets, metadataTypes { "face" };
    std::vector<RefusedInput> refusedInputs;
    std::vector<std::string> photoConnections { "video" }; ///< order of the photo output's connections
    Permissions permissions;
    Storage storage;
    LibraryContent library; ///< in memory; a phone on a running clock has the machine's library
    /// The texts of the framework's and the application's bundles; empty: those of their own tables.
    std::map<std::string, std::string> frameworkStrings, applicationStrings;
    /// All of the application's information, and what it remembered from earlier runs.
    std::map<std::string, std::string> information, defaults;
};

/// A phone with eight cameras in three kinds of pairs, with one back camera, and with none.
VELMORA_EXPORT PhoneDescription triple();
VELMORA_EXPORT PhoneDescription single();
VELMORA_EXPORT PhoneDescription none();
/// Throws NSError with one sentence: what is wrong, where in which file, and what would be accepted. A relative
/// `footage` is looked for beside the file.
VELMORA_EXPORT PhoneDescription fromJSON(const std::string& file);
/// The same of a text; `name` stands for the file in messages.
VELMORA_EXPORT PhoneDescription fromJSONText(const std::string& text, const std::string& name);

/// A place where a device can be told to fail.
enum class Step : std::uint8_t {
    Lock, ///< Error
    OpenVideoInput, ///< Error, ErrorWithResult, Nothing
    OpenAudioInput, ///< Error, ErrorWithResult, Nothing
    Start, ///< Error, of a device; Late and Never, of a session
    CreateVideoOutput, ///< Nothing
    CreateAudioOutput, ///< Nothing
    SettingTakesEffect, ///< Late, Never
    AddControl, ///< Nothing
    Record, ///< Error, at any buffer of a recording
    LibraryChange, ///< Error
    Placeholder, ///< Nothing: the library cannot tell beforehand what it will call a new object
    FetchAfterChange, ///< Nothing: the first fetch of collections by identifiers after a change finds none
    FolderChangeRequest, ///< Nothing
};
enum class Outcome : std::uint8_t { Error, ErrorWithResult, Nothing, Late, Never };
struct Fault {
    Step step = Step::Lock;
    Outcome outcome = Outcome::Error;
    std::optional<NSError> error {}; ///< default: one that names the step
    std::string camera {}; ///< an id; empty: any
    int call = 1, times = 1; ///< from which call on, how often (0: always)
    double delay = 0; ///< seconds, for Late
};

/// One callback of a still; `data` is for a picture, `flash` for the shutter and the end.
struct PhotoEvent {
    enum Kind : std::uint8_t { Shutter, Processed, Raw, Movie, Done } kind = Done;
    std::optional<NSError> error {};
    bool data = true, preview = false, flash = false;
};
struct PlaceAnswer {
    std::optional<std::vector<std::shared_ptr<CLPlacemark>>> places {};
    std::optional<NSError> error {};
    double delay = 0.1; ///< seconds
    std::function<void()> meanwhile {}; ///< runs before the question returns to who asked
};

/// One result of an image request.
struct ImageAnswer {
    bool image = true;
    std::optional<bool> degraded {}; ///< what is said of it
    double delay = 0.1; ///< seconds after the request; 0: before the request returns
};

}
