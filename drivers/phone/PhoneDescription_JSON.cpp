// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhoneDescription.h"

#include "platform/CoreLocation/CLLocation.h"

#include "drivers/phone/DescriptionReader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace velmora::drivers::phone {

namespace {

using namespace std::string_view_literals;

constexpr std::int32_t largestSide = 16384; // pixels
constexpr double longestTime = 1e9; // seconds
using FormatsByName = std::map<std::string, Format>;

CMVideoDimensions size(const JSONValue& value)
{
    const auto sides = value.list(2, 2);
    return { static_cast<std::int32_t>(sides[0].whole(1, largestSide)),
        static_cast<std::int32_t>(sides[1].whole(1, largestSide)) };
}

/// "1/8000", "1001/240000", or a number of seconds.
CMTime time(const JSONValue& value)
{
    constexpr std::int64_t most = 1000000000;
    constexpr std::int32_t fineTimescale = 1000000000;
    const char* const wanted = "it must be a time above zero such as \"1/60\", or a number of seconds";
    if (value.json().is_number())
        return CMTimeMakeWithSeconds(value.number(1e-9, longestTime), fineTimescale);
    if (!value.json().is_string())
        value.refuse(wanted);
    const std::string text = value.text();
    std::int64_t above = 0, below = 1;
    const char* const end = text.data() + text.size();
    auto read = std::from_chars(text.data(), end, above);
    if (read.ec == std::errc() && read.ptr != end && *read.ptr == '/')
        read = std::from_chars(read.ptr + 1, end, below);
    if (read.ec != std::errc() || read.ptr != end || above < 1 || below < 1 || above > most || below > most)
        value.refuse(wanted);
    return CMTimeMake(above, static_cast<std::int32_t>(below));
}

std::vector<int> modes(const JSONValue& value)
{
    std::vector<int> all;
    for (const auto& entry : value.list())
        all.push_back(static_cast<int>(entry.whole(-1, 16)));
    return all;
}

std::vector<std::string> texts(const JSONValue& value)
{
    std::vector<std::string> all;
    for (const auto& entry : value.list())
        all.push_back(entry.text());
    return all;
}

std::vector<std::uint32_t> pixelFormats(const JSONValue& value)
{
    std::vector<std::uint32_t> all;
    for (const auto& entry : value.list()) {
        if (!entry.json().is_string()) {
            all.push_back(static_cast<std::uint32_t>(entry.whole(0, std::numeric_limits<std::uint32_t>::max())));
            continue;
        }
        const std::string code = entry.text();
        if (code.size() != 4)
            entry.refuse("it must be a pixel format: four characters such as \"420f\", or its number");
        std::uint32_t number = 0;
        for (const char character : code)
            number = number << 8 | static_cast<unsigned char>(character);
        all.push_back(number);
    }
    return all;
}

/// Two numbers, the lower first.
std::pair<double, double> range(const JSONValue& value, double least, double most)
{
    const auto ends = value.list(2, 2);
    const std::pair<double, double> read { ends[0].number(least, most), ends[1].number(least, most) };
    if (read.first > read.second)
        value.refuse("its first entry must not be above its second");
    return read;
}

FrameRates frameRates(const JSONValue& value)
{
    constexpr double slowest = 0.01, fastest = 10000;
    FrameRates rates;
    JSONObject object(value);
    object.member("minimum", [&](const JSONValue& v) { rates.minimum = v.number(slowest, fastest); });
    object.member("maximum", [&](const JSONValue& v) { rates.maximum = v.number(slowest, fastest); });
    object.member("shortestFrame", [&](const JSONValue& v) { rates.shortestFrame = time(v); });
    object.end();
    if (rates.minimum > rates.maximum)
        value.refuse("its minimum must not be above its maximum");
    return rates;
}

Format format(const JSONValue& value)
{
    Format format;
    JSONObject object(value);
    object.member("size", [&](const JSONValue& v) { format.size = size(v); });
    object.member("highResolutionStill", [&](const JSONValue& v) { format.highResolutionStill = size(v); });
    object.member("frameRates", [&](const JSONValue& v) {
        format.frameRates.clear();
        for (const auto& entry : v.list())
            format.frameRates.push_back(frameRates(entry));
    });
    object.member("depth", [&](const JSONValue& v) {
        for (const auto& entry : v.list())
            format.depth.push_back(size(entry));
    });
    object.member("exposure", [&](const JSONValue& v) {
        const auto ends = v.list(2, 2);
        format.shortestExposure = time(ends[0]);
        format.longestExposure = time(ends[1]);
        if (CMTimeCompare(format.shortestExposure, format.longestExposure) > 0)
            v.refuse("its first entry must not be above its second");
    });
    object.member("iso", [&](const JSONValue& v) {
        const auto [lowest, highest] = range(v, 1, 1e7);
        format.lowestISO = static_cast<float>(lowest);
        format.highestISO = static_cast<float>(highest);
    });
    object.member("zoom", [&](const JSONValue& v) { format.highestZoom = v.number(1, 1000); });
    object.end();
    return format;
}

AVCaptureDevicePosition position(const JSONValue& value)
{
    constexpr std::array names { "unspecified"sv, "back"sv, "front"sv };
    return static_cast<AVCaptureDevicePosition>(value.oneOf(names));
}

std::string cameraType(const std::string& name)
{
    static const std::map<std::string, std::string> types { { "wide", AVCaptureDeviceTypeBuiltInWideAngleCamera },
        { "tele", AVCaptureDeviceTypeBuiltInTelephotoCamera },
        { "ultrawide", AVCaptureDeviceTypeBuiltInUltraWideCamera }, { "dual", AVCaptureDeviceTypeBuiltInDualCamera },
        { "dualwide", AVCaptureDeviceTypeBuiltInDualWideCamera }, { "triple", AVCaptureDeviceTypeBuiltInTripleCamera },
        { "truedepth", AVCaptureDeviceTypeBuiltInTrueDepthCamera } };
    const auto found = types.find(name);
    return found == types.end() ? name : found->second;
}

/// The formats of one camera, and the presets, which name formats among them.
void readFormats(JSONObject& object, Camera& camera, const FormatsByName& formats)
{
    std::vector<std::string> names;
    object.member("formats", [&](const JSONValue& v) {
        camera.formats.clear();
        for (const auto& entry : v.list()) {
            const auto found = formats.find(entry.text());
            if (found == formats.end())
                entry.refuse("it must be the name of one of the description's formats");
            camera.formats.push_back(found->second);
            names.push_back(found->first);
        }
    });
    object.member("activeFormat", [&](const JSONValue& v) {
        if (camera.formats.empty())
            v.refuse("the camera must have formats to have an active one");
        camera.activeFormat
            = static_cast<std::size_t>(v.whole(0, static_cast<std::int64_t>(camera.formats.size()) - 1));
    });
    object.member("presets", [&](const JSONValue& v) {
        if (!v.json().is_object())
            v.refuse("it must be an object: presets with the format that each selects, or null");
        JSONObject presets(v);
        for (const auto& item : v.json().items())
            presets.member(item.key(), [&, preset = item.key()](const JSONValue& selected) {
                auto& index = camera.presets[preset];
                if (selected.json().is_null())
                    return;
                const auto found = std::find(names.begin(), names.end(), selected.text());
                if (found == names.end())
                    selected.refuse("it must be the name of one of the camera's formats, or null");
                index = static_cast<std::size_t>(found - names.begin());
            });
    });
}

void readModes(JSONObject& object, Camera& camera)
{
    const std::pair<const char*, std::vector<int> Camera::*> members[] { { "flashModes", &Camera::flashModes },
        { "torchModes", &Camera::torchModes }, { "focusModes", &Camera::focusModes },
        { "exposureModes", &Camera::exposureModes }, { "whiteBalanceModes", &Camera::whiteBalanceModes },
        { "stabilizationModes", &Camera::stabilizationModes } };
    for (const auto& [key, member] : members)
        object.member(key, [&camera, member = member](const JSONValue& v) { camera.*member = modes(v); });
    object.member("rawFormats", [&](const JSONValue& v) { camera.rawFormats = pixelFormats(v); });
    object.member("previewFormats", [&](const JSONValue& v) { camera.previewFormats = pixelFormats(v); });
}

void readAbilities(JSONObject& object, Camera& camera)
{
    const std::pair<const char*, bool Camera::*> flags[] { { "focusPoint", &Camera::focusPoint },
        { "exposurePoint", &Camera::exposurePoint }, { "distortionCorrection", &Camera::distortionCorrection },
        { "matte", &Camera::matte }, { "livePhoto", &Camera::livePhoto } };
    for (const auto& [key, member] : flags)
        object.member(key, [&camera, member = member](const JSONValue& v) { camera.*member = v.boolean(); });

    struct Number {
        const char* key;
        float Camera::*member;
        double least, most;
    };
    object.member("barrel", [&](const JSONValue& v) { camera.barrel = v.number(0, 1); });
    const Number numbers[] { { "lowestBias", &Camera::lowestBias, -100, 0 },
        { "highestBias", &Camera::highestBias, 0, 100 }, { "highestGain", &Camera::highestGain, 1, 1000 },
        { "aperture", &Camera::aperture, 0.1, 1000 }, { "focalLength", &Camera::focalLength, 0.1, 10000 },
        { "focalLengthIn35mm", &Camera::focalLengthIn35mm, 0.1, 10000 } };
    for (const auto& number : numbers)
        object.member(number.key, [&](const JSONValue& v) {
            camera.*number.member = static_cast<float>(v.number(number.least, number.most));
        });
}

Camera camera(const JSONValue& value, const FormatsByName& formats)
{
    Camera camera;
    JSONObject object(value);
    const JSONValue id = object.required("id");
    camera.id = id.text();
    if (camera.id.empty() || camera.id == "microphone")
        id.refuse("it must be a name of the camera's own, not empty and not \"microphone\"");
    camera.type = cameraType(object.required("type").text());
    object.member("position", [&](const JSONValue& v) { camera.position = position(v); });
    object.member("foundAt", [&](const JSONValue& v) { camera.foundAt = position(v); });
    object.member("of", [&](const JSONValue& v) { camera.of = texts(v); });
    readFormats(object, camera, formats);
    readModes(object, camera);
    readAbilities(object, camera);
    object.end();
    return camera;
}

void readCameras(JSONObject& object, PhoneDescription& description)
{
    FormatsByName formats;
    object.member("formats", [&](const JSONValue& v) {
        JSONObject named(v);
        for (const auto& item : v.json().items())
            named.member(
                item.key(), [&, name = item.key()](const JSONValue& entry) { formats.emplace(name, format(entry)); });
    });
    object.member("cameras", [&](const JSONValue& v) {
        const auto entries = v.list();
        const auto known = [&](const std::string& id) {
            return std::any_of(
                description.cameras.begin(), description.cameras.end(), [&](const Camera& c) { return c.id == id; });
        };
        for (const auto& entry : entries) {
            Camera read = camera(entry, formats);
            if (known(read.id))
                entry.refuse("its id \"" + read.id + "\" must not be another camera's too");
            description.cameras.push_back(std::move(read));
        }
        for (std::size_t i = 0; i < entries.size(); ++i)
            for (const auto& part : description.cameras[i].of)
                if (!known(part))
                    entries[i].refuse("it must be made of cameras of this phone, and \"" + part + "\" is none");
    });
    // Any text: a phone whose default camera is none of those that discovery finds has no default camera.
    object.member("defaultCamera", [&](const JSONValue& v) { description.defaultCamera = v.text(); });
}

SystemVersion version(const JSONValue& value)
{
    SystemVersion version { 0, 0 };
    const std::string text = value.json().is_string() ? value.text() : std::string();
    const char* const end = text.data() + text.size();
    auto read = std::from_chars(text.data(), end, version.major);
    if (read.ec == std::errc() && read.ptr != end && *read.ptr == '.')
        read = std::from_chars(read.ptr + 1, end, version.minor);
    if (text.empty() || read.ec != std::errc() || read.ptr != end || version.major < 0 || version.minor < 0)
        value.refuse("it must be a version such as \"17.2\"");
    return version;
}

std::vector<TimedAcceleration> motion(const JSONValue& value)
{
    constexpr double strongest = 1000; // g
    std::vector<TimedAcceleration> all;
    for (const auto& entry : value.list()) {
        TimedAcceleration read;
        JSONObject object(entry);
        object.member("at", [&](const JSONValue& v) { read.at = v.number(0, longestTime); });
        const auto axes = object.required("acceleration").list(3, 3);
        read.acceleration = { axes[0].number(-strongest, strongest), axes[1].number(-strongest, strongest),
            axes[2].number(-strongest, strongest) };
        object.end();
        all.push_back(read);
    }
    return all;
}

std::vector<TimedLocation> track(const JSONValue& value)
{
    std::vector<TimedLocation> all;
    for (const auto& entry : value.list()) {
        double at = 0;
        CLLocation::Reading reading;
        JSONObject object(entry);
        object.member("at", [&](const JSONValue& v) { at = v.number(0, longestTime); });
        reading.coordinate.latitude = object.required("latitude").number(-90, 90);
        reading.coordinate.longitude = object.required("longitude").number(-180, 180);
        object.member("altitude", [&](const JSONValue& v) {
            reading.altitude = v.number(-20000, 1e6);
            reading.verticalAccuracy = 5; // known, as a receiver on a phone knows it
        });
        object.member(
            "horizontalAccuracy", [&](const JSONValue& v) { reading.horizontalAccuracy = v.number(-1, 1e7); });
        object.member("verticalAccuracy", [&](const JSONValue& v) { reading.verticalAccuracy = v.number(-1, 1e7); });
        object.member("course", [&](const JSONValue& v) { reading.course = v.number(-1, 360); });
        object.member("speed", [&](const JSONValue& v) { reading.speed = v.number(-1, 3e8); });
        object.member("timestamp", [&](const JSONValue& v) { reading.timestamp = v.number(-1e11, 1e11); });
        object.end();
        all.push_back({ at, std::make_shared<CLLocation>(reading) });
    }
    return all;
}

Permissions permissions(const JSONValue& value)
{
    constexpr std::array camera { "notDetermined"sv, "restricted"sv, "denied"sv, "authorised"sv };
    constexpr std::array location { "notDetermined"sv, "restricted"sv, "denied"sv, "always"sv, "whenInUse"sv };
    constexpr std::array photos { "notDetermined"sv, "restricted"sv, "denied"sv, "authorised"sv, "limited"sv };
    Permissions permissions;
    JSONObject object(value);
    object.member("camera", [&](const JSONValue& v) { permissions.camera = static_cast<int>(v.oneOf(camera)); });
    object.member("location", [&](const JSONValue& v) { permissions.location = static_cast<int>(v.oneOf(location)); });
    object.member("photos", [&](const JSONValue& v) { permissions.photos = static_cast<int>(v.oneOf(photos)); });
    object.member("locationAnnouncedAtCreation",
        [&](const JSONValue& v) { permissions.locationAnnouncedAtCreation = v.boolean(); });
    object.end();
    return permissions;
}

std::vector<RefusedInput> refusedInputs(const JSONValue& value)
{
    std::vector<RefusedInput> all;
    for (const auto& entry : value.list()) {
        RefusedInput read;
        JSONObject object(entry);
        read.camera = object.required("camera").text();
        object.member("preset", [&](const JSONValue& v) { read.preset = v.text(); });
        object.end();
        all.push_back(std::move(read));
    }
    return all;
}

LibraryContent library(const JSONValue& value)
{
    LibraryContent library;
    JSONObject object(value);
    object.member("albums", [&](const JSONValue& v) { library.albums = texts(v); });
    object.member("folders", [&](const JSONValue& v) { library.folders = texts(v); });
    object.member("albumInFolder", [&](const JSONValue& v) {
        JSONObject places(v);
        for (const auto& item : v.json().items())
            places.member(item.key(),
                [&, album = item.key()](const JSONValue& folder) { library.albumInFolder[album] = folder.text(); });
    });
    object.end();
    return library;
}

void readSession(JSONObject& object, PhoneDescription& description)
{
    object.member("microphone", [&](const JSONValue& v) { description.microphone = v.boolean(); });
    object.member("previewConnection", [&](const JSONValue& v) { description.previewConnection = v.boolean(); });
    object.member("refusedPresets", [&](const JSONValue& v) { description.refusedPresets = texts(v); });
    object.member("refusedInputs", [&](const JSONValue& v) { description.refusedInputs = refusedInputs(v); });
    object.member("metadataTypes", [&](const JSONValue& v) { description.metadataTypes = texts(v); });
    object.member("photoConnections", [&](const JSONValue& v) { description.photoConnections = texts(v); });
    object.member("permissions", [&](const JSONValue& v) { description.permissions = permissions(v); });
    object.member("library", [&](const JSONValue& v) { description.library = library(v); });
    object.member("storage", [&](const JSONValue& v) {
        JSONObject storage(v);
        storage.member("bytesFree", [&](const JSONValue& bytes) {
            description.storage.bytesFree = static_cast<std::uint64_t>(bytes.whole(0, std::int64_t { 1 } << 62));
        });
        storage.end();
    });
}

void readTexts(JSONObject& object, PhoneDescription& description)
{
    using Texts = std::map<std::string, std::string>;
    const std::pair<const char*, Texts PhoneDescription::*> members[] { { "frameworkStrings",
                                                                            &PhoneDescription::frameworkStrings },
        { "applicationStrings", &PhoneDescription::applicationStrings },
        { "information", &PhoneDescription::information }, { "defaults", &PhoneDescription::defaults } };
    for (const auto& [key, member] : members)
        object.member(key, [&description, member = member](const JSONValue& v) {
            JSONObject texts(v);
            for (const auto& item : v.json().items())
                texts.member(item.key(),
                    [&, name = item.key()](const JSONValue& text) { (description.*member)[name] = text.text(); });
        });
}

void readScene(JSONObject& object, PhoneDescription& description)
{
    object.member("footage", [&](const JSONValue& v) { description.footage = v.text(); });
    object.member("controls", [&](const JSONValue& v) { description.controls = v.boolean(); });
    object.member("foreignControls", [&](const JSONValue& v) { description.foreignControls = texts(v); });
    object.member("lostFrames", [&](const JSONValue& v) { description.lostFrames = v.number(0, 1); });
    object.member("soundClock", [&](const JSONValue& v) { description.soundClock = v.number(-10000, 10000); });
    object.member("handShake", [&](const JSONValue& v) { description.handShake = v.number(0, 0.5); });
    object.member("sceneDistance", [&](const JSONValue& v) { description.sceneDistance = v.number(0.01, 1e6); });
    object.member("motion", [&](const JSONValue& v) { description.motion = motion(v); });
    object.member("track", [&](const JSONValue& v) { description.track = track(v); });
}

}

PhoneDescription fromJSONText(const std::string& text, const std::string& name)
{
    constexpr int corrupt = 3840; // of NSCocoaErrorDomain: the text is not what it should be
    nlohmann::json parsed;
    try {
        parsed = nlohmann::json::parse(text);
    } catch (const nlohmann::json::out_of_range&) {
        throw NSError(NSCocoaErrorDomain, corrupt,
            name + ": it holds a number that is too large to be read; numbers go up to 1e308.");
    } catch (const nlohmann::json::parse_error& error) {
        const auto byte = std::min(error.byte, text.size());
        const auto line = 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(byte), '\n');
        throw NSError(NSCocoaErrorDomain, corrupt,
            name + ": line " + std::to_string(line)
                + " is not JSON, so the phone cannot be read; it must be an object in braces, as RFC 8259 writes it.");
    }
    PhoneDescription description;
    JSONObject object(JSONValue(parsed, "the description", name));
    object.member("systemVersion", [&](const JSONValue& v) { description.systemVersion = version(v); });
    readCameras(object, description);
    readSession(object, description);
    readScene(object, description);
    readTexts(object, description);
    object.end();
    return description;
}

PhoneDescription fromJSON(const std::string& file)
{
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    const std::string text { std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>() };
    if (!stream.is_open() || stream.bad() || (text.empty() && errno != 0))
        throw errorFromErrno(errno, "The description of the phone, " + file + ", cannot be read");
    PhoneDescription description = fromJSONText(text, file);
    const std::filesystem::path footage(description.footage);
    if (!description.footage.empty() && footage.is_relative())
        description.footage = (std::filesystem::path(file).parent_path() / footage).string();
    return description;
}

}
