// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/CommandLine.h"

#include <CLI/CLI.hpp>

#include <array>
#include <charconv>
#include <cmath>
#include <iterator>

#include "apps/camera/Refusal.h"
#include "apps/camera/Words.h"

namespace velmora::camera {

namespace {

constexpr std::array drivers { Choice { "auto", CameraDriver::Automatic }, Choice { "virtual", CameraDriver::Virtual },
    Choice { "pipewire", CameraDriver::PipeWire }, Choice { "v4l2", CameraDriver::V4L2 } };
constexpr std::array orientations { Choice { "portrait", UIDeviceOrientationPortrait },
    Choice { "upside-down", UIDeviceOrientationPortraitUpsideDown },
    Choice { "landscape-left", UIDeviceOrientationLandscapeLeft },
    Choice { "landscape-right", UIDeviceOrientationLandscapeRight } };
constexpr std::array switches { Choice { "on", true }, Choice { "off", false } };
constexpr std::array flashModes { Choice { "off", AVCaptureFlashModeOff }, Choice { "on", AVCaptureFlashModeOn },
    Choice { "auto", AVCaptureFlashModeAuto } };
constexpr std::array rawModes { Choice { "none", QVRawCaptureModeNone }, Choice { "only", QVRawCaptureModeRAWOnly },
    Choice { "plus", QVRawCaptureModeRAWPlusJPEG } };

Refusal wrongValue(const std::string& option, const std::string& text, const std::string& accepted)
{
    return { option + " cannot be \"" + text + "\"", "it is not one of its values", "it takes " + accepted,
        ExitWrongCommandLine };
}

/// `target` may be optional.
template <class Choices, class Target>
CLI::Option* addChoice(
    CLI::App& app, const std::string& name, Target& target, const Choices& choices, const std::string& description)
{
    const auto choose = [name, &target, &choices](const std::string& text) {
        for (const auto& choice : choices) {
            if (text == choice.word) {
                target = choice.value;
                return;
            }
        }
        throw wrongValue(name, text, wordsOf(choices, ", "));
    };
    return app.add_option_function<std::string>(name, choose, description)->type_name(wordsOf(choices, "|"));
}

std::optional<double> number(std::string_view text)
{
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

CLLocationCoordinate2D coordinate(const std::string& text)
{
    constexpr auto accepted = "it takes LAT,LON in degrees: -90 to 90 and -180 to 180";
    const auto comma = text.find(',');
    const auto latitude = number(std::string_view(text).substr(0, comma));
    const auto longitude = comma == std::string::npos ? std::nullopt : number(std::string_view(text).substr(comma + 1));
    if (!latitude || !longitude)
        throw Refusal("--at cannot be \"" + text + "\"", "it is not a pair of numbers", accepted, ExitWrongCommandLine);
    if (std::abs(*latitude) > 90 || std::abs(*longitude) > 180)
        throw Refusal("--at cannot be \"" + text + "\"", "it lies outside the globe", accepted, ExitWrongCommandLine);
    return { *latitude, *longitude };
}

/// A number that passes `accepts`.
template <class Accepts>
double numberFor(const char* option, const std::string& text, Accepts accepts, const std::string& accepted)
{
    const auto value = number(text);
    if (!value || !accepts(*value))
        throw wrongValue(option, text, accepted);
    return *value;
}

bool isPositive(double value)
{
    return value > 0;
}

/// "1/60", or seconds.
CMTime shutterSpeed(const std::string& text)
{
    constexpr std::int32_t finest = 1000000000;
    constexpr auto accepted = "a time above 0 as 1/N or in seconds, such as 1/60 or 0.5";
    if (text.starts_with("1/")) {
        const auto denominator = number(std::string_view(text).substr(2));
        if (!denominator || !(*denominator > 0) || *denominator > finest)
            throw wrongValue("--shutter", text, accepted);
        if (*denominator == std::floor(*denominator))
            return CMTimeMake(1, static_cast<std::int32_t>(*denominator));
        return CMTimeMakeWithSeconds(1 / *denominator, finest);
    }
    return CMTimeMakeWithSeconds(numberFor("--shutter", text, isPositive, accepted), finest);
}

int countFor(const std::string& text)
{
    constexpr int most = 100000;
    const auto value = number(text);
    if (!value || *value < 1 || *value > most || *value != std::floor(*value))
        throw wrongValue("--count", text, "a whole number from 1 to " + std::to_string(most));
    return static_cast<int>(*value);
}

void addGlobalOptions(CLI::App& app, GlobalOptions& options)
{
    addChoice(app, "--camera", options.driver, drivers,
        "Which driver. auto takes a real camera; without one, the virtual phone if --phone, --footage or --at asks "
        "for it");
    app.add_option("--phone", options.phone, "The virtual phone: triple, single, none, or a JSON description")
        ->type_name("NAME|FILE");
    app.add_option("--footage", options.footage, "A JPEG, PNG or movie that the virtual phone's cameras see")
        ->type_name("FILE");
    app.add_option_function<std::string>(
           "--at", [&options](const std::string& text) { options.at = coordinate(text); },
           "Where the virtual phone is, in degrees; negative is south, west")
        ->type_name("LAT,LON");
    app.add_option("--library", options.library, "Where photos are kept; otherwise the user's pictures folder/Camera")
        ->type_name("DIR");
    app.add_flag("--json", options.json, "One JSON object on stdout, on failure too");
    auto* quiet = app.add_flag_callback(
        "--quiet", [&options] { options.log = LogLevel::Quiet; }, "No log on stderr");
    app.add_flag_callback(
           "--verbose", [&options] { options.log = LogLevel::Verbose; }, "The log on stderr, with times and queues")
        ->excludes(quiet);
}

void addCameraOptions(CLI::App& command, CameraOptions& options)
{
    addChoice(command, "--position", options.position, positionWords, "Which side of the phone (back)");
    addChoice(command, "--lens", options.lens, lensWords, "Which lens (wide)");
    const auto addNumber = [&](const char* option, std::optional<double>& target, auto accepts, std::string accepted,
                               const char* type, const char* description) {
        return command
            .add_option_function<std::string>(
                option, [=, &target](const std::string& text) { target = numberFor(option, text, accepts, accepted); },
                description)
            ->type_name(type);
    };
    addNumber(
        "--zoom", options.zoom, [](double value) { return value >= 1; }, "a factor from 1 on", "Z",
        "Crops the middle (1)");
    auto* iso = addNumber("--iso", options.iso, isPositive, "a number above 0", "N", "Sensitivity; automatic without");
    auto* shutter = command
                        .add_option_function<std::string>(
                            "--shutter", [&options](const std::string& text) { options.shutter = shutterSpeed(text); },
                            "Exposure time; automatic without")
                        ->type_name("1/N|SECONDS");
    addNumber(
        "--bias", options.bias, [](double) { return true; }, "a number of stops", "EV",
        "Brighter or darker than the camera would expose, in stops (0)")
        ->excludes(iso)
        ->excludes(shutter);
    addNumber("--temperature", options.temperature, isPositive, "a number of kelvin above 0", "K",
        "Of the light that is to look white; automatic without");
    addNumber(
        "--focus", options.focus, [](double value) { return value >= 0 && value <= 1; }, "a number from 0 to 1", "0..1",
        "From 0, the nearest, to 1, the farthest; automatic without");
    addChoice(command, "--torch", options.torch, switches, "The lamp (off)");
    addChoice(command, "--orientation", options.orientation, orientations,
        "How the phone is held; otherwise as its sensors say");
}

void addShootOptions(CLI::App& command, ShootOptions& options)
{
    command
        .add_option_function<std::string>(
            "--count", [&options](const std::string& text) { options.count = countFor(text); }, "How many photos (1)")
        ->type_name("N");
    auto* out = command.add_option("--out", options.out, "Writes the files there instead of into the library");
    out->type_name("DIR");
    command
        .add_option("--album", options.album, "Stores into that album of the library, which is made when it is missing")
        ->type_name("NAME")
        ->excludes(out);
    auto* raw = addChoice(command, "--raw", options.raw, rawModes, "A DNG alone, or beside the JPEG (none)");
    addChoice(command, "--flash", options.flash, flashModes, "(off)");
    command.add_flag("--live", options.live, "A live photo: with a short movie around it")->excludes(raw);
}

/// "1920x1080"
PictureSize pictureSize(const std::string& text)
{
    constexpr auto accepted = "a width and a height in pixels such as 1920x1080";
    constexpr double most = 16384;
    const auto cross = text.find('x');
    const auto side = [&](std::size_t from, std::size_t count) {
        return from > text.size() ? 0 : number(std::string_view(text).substr(from, count)).value_or(0);
    };
    const double width = side(0, cross);
    const double height = cross == std::string::npos ? 0 : side(cross + 1, std::string::npos);
    const auto fits = [](double pixels) { return pixels >= 1 && pixels <= most && pixels == std::floor(pixels); };
    if (!fits(width) || !fits(height))
        throw wrongValue("--size", text, accepted);
    return { static_cast<std::int32_t>(width), static_cast<std::int32_t>(height) };
}

void addRecordOptions(CLI::App& command, RecordOptions& options)
{
    const auto addSeconds = [&](const char* option, auto& target, const char* description) {
        command
            .add_option_function<std::string>(
                option,
                [option, &target](const std::string& text) {
                    target = numberFor(option, text, isPositive, "a number of seconds above 0");
                },
                description)
            ->type_name("S");
    };
    addSeconds("--seconds", options.seconds, "How long (10)");
    addSeconds("--limit", options.limit, "The recording's own cap: it ends by itself there");
    command
        .add_option_function<std::string>(
            "--fps",
            [&options](const std::string& text) {
                options.framesPerSecond = static_cast<std::uint32_t>(numberFor(
                    "--fps", text,
                    [](double value) { return value >= 1 && value <= 1000 && value == std::floor(value); },
                    "a whole number from 1 to 1000"));
            },
            "Frames a second (30)")
        ->type_name("N");
    command
        .add_option_function<std::string>(
            "--size", [&options](const std::string& text) { options.size = pictureSize(text); },
            "Of the picture, in pixels; otherwise what the camera prefers for movies")
        ->type_name("WxH");
    command.add_flag("--audio", options.audio, "With the microphone's sound");
    command.add_option("--out", options.out, "Writes the movie there instead of into the library")->type_name("DIR");
}

void addFramesOptions(CLI::App& command, FramesOptions& options)
{
    command
        .add_option_function<std::string>(
            "--count", [&options](const std::string& text) { options.count = countFor(text); }, "How many frames (300)")
        ->type_name("N");
}

void addLatencyOptions(CLI::App& command, LatencyOptions& options)
{
    command
        .add_option_function<std::string>(
            "--count", [&options](const std::string& text) { options.count = countFor(text); }, "How many photos (20)")
        ->type_name("N");
    command.add_option("--out", options.out, "Keeps the photos there; otherwise they are removed again")
        ->type_name("DIR");
}

void addScreenOptions(CLI::App& command, ScreenOptions& options)
{
    command
        .add_option("--album", options.album,
            "The album of the library that photos go into and are shown from; made when it is missing (Velmora)")
        ->type_name("NAME");
}

void addSnapshotOptions(CLI::App& command, SnapshotOptions& options)
{
    command.add_option("--png", options.png, "The picture; a file that is there already is refused")
        ->type_name("FILE")
        ->required();
    command
        .add_option_function<std::string>(
            "--size", [&options](const std::string& text) { options.size = pictureSize(text); },
            "Of the screen, in points (390x844)")
        ->type_name("WxH");
    command
        .add_option_function<std::string>(
            "--scale",
            [&options](const std::string& text) {
                constexpr double most = 8;
                options.scale = numberFor(
                    "--scale", text, [](double value) { return value >= 0.25 && value <= most; },
                    "a number from 0.25 to 8");
            },
            "Pixels for a point (2)")
        ->type_name("S");
    command.add_option("--script", options.script, "Touches: SECONDS down|move|up|cancel X Y [FINGER] a line")
        ->type_name("FILE");
}

/// What CLI11 found wrong, as one of our sentences.
Refusal refusal(const CLI::ParseError& error)
{
    return { "The command line is wrong", asClause(error.what()), "velmora-camera --help shows what is accepted",
        ExitWrongCommandLine };
}

}

std::variant<Options, Information> parseCommandLine(int argc, const char* const* argv)
{
    Options options;
    CLI::App app("Takes photos and movies with a phone's cameras, real ones or the virtual phone's.", "velmora-camera");
    app.set_version_flag("--version", "velmora-camera " VELMORA_VERSION);
    app.set_help_all_flag("--help-all", "Help for all commands");
    app.require_subcommand(0, 1);
    addGlobalOptions(app, options.global);

    CLI::App& shoot = *app.add_subcommand("shoot", "Takes photos, stores them, stops");
    shoot.fallthrough(); // global options may stand anywhere
    shoot.callback([&options] { options.command = Command::Shoot; });
    addCameraOptions(shoot, options.camera);
    addShootOptions(shoot, options.shoot);
    shoot.footer("Example:\n  velmora-camera shoot --camera virtual --footage field.jpg --at 35.0116,135.7681 --out .");
    CLI::App& screen = *app.add_subcommand("screen", "Opens the camera screen in a window; also without any command");
    screen.fallthrough();
    screen.callback([&options] { options.command = Command::Screen; });
    addCameraOptions(screen, options.camera);
    addScreenOptions(screen, options.screen);
    screen.footer("Example:\n  velmora-camera --camera virtual screen");
    CLI::App& snapshot = *app.add_subcommand("snapshot", "Draws the virtual phone's camera screen into a PNG");
    snapshot.fallthrough();
    snapshot.callback([&options] { options.command = Command::Snapshot; });
    addCameraOptions(snapshot, options.camera);
    addScreenOptions(snapshot, options.screen);
    addSnapshotOptions(snapshot, options.snapshot);
    snapshot.footer("Example:\n  velmora-camera snapshot --png screen.png --size 360x720");
    CLI::App& record = *app.add_subcommand("record", "Records a movie and stores it");
    record.fallthrough();
    record.callback([&options] { options.command = Command::Record; });
    addCameraOptions(record, options.camera);
    addRecordOptions(record, options.record);
    record.footer("Example:\n  velmora-camera record --camera virtual --seconds 5 --audio --out .");
    CLI::App& frames
        = *app.add_subcommand("frames", "Hands frames to a processor; tells how many came, and how old they were");
    frames.fallthrough();
    frames.callback([&options] { options.command = Command::Frames; });
    addCameraOptions(frames, options.camera);
    addFramesOptions(frames, options.frames);
    frames.footer("Example:\n  velmora-camera frames --camera virtual --count 100");
    CLI::App& latency
        = *app.add_subcommand("latency", "Takes photos one after the other; tells how long each step of each takes");
    latency.fallthrough();
    latency.callback([&options] { options.command = Command::Latency; });
    addCameraOptions(latency, options.camera);
    addLatencyOptions(latency, options.latency);
    latency.footer("Example:\n  velmora-camera latency --camera pipewire --count 50");
    CLI::App& lenses = *app.add_subcommand("lenses", "Lists the lenses: position, type, attributes");
    lenses.fallthrough();
    lenses.callback([&options] { options.command = Command::Lenses; });
    lenses.footer("Example:\n  velmora-camera --camera virtual lenses");
    CLI::App& devices = *app.add_subcommand(
        "devices", "Lists every camera with what it can do, and the drivers that were found or are missing");
    devices.fallthrough();
    devices.callback([&options] { options.command = Command::Devices; });
    devices.footer("Example:\n  velmora-camera --camera virtual --json devices");
    CLI::App& album = *app.add_subcommand("album", "Finds or makes an album and lists what it holds, oldest first");
    album.fallthrough();
    album.callback([&options] { options.command = Command::Album; });
    album.add_option("NAME", options.album.name, "The album's title")->required();
    album.add_option("--folder", options.album.folder, "Puts it into that folder of albums")->type_name("NAME");
    album.footer("Example:\n  velmora-camera album Holidays --folder Trips --json");
    app.footer(
        "Example:\n  velmora-camera --camera virtual shoot --count 3 --out photos\n\n"
        "Exit status: 0 done; 1 refused by a device, a file, the disk, a permission or a limit; 2 a wrong command "
        "line;\n130 and 143 after a signal. velmora-camera shoot --help shows the command's own options.");

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        const auto commands = app.get_subcommands();
        return Information { commands.empty() ? app.help() : commands.front()->help("velmora-camera") };
    } catch (const CLI::CallForAllHelp&) {
        return Information { app.help("", CLI::AppFormatMode::All) };
    } catch (const CLI::CallForVersion&) {
        return Information { "velmora-camera " VELMORA_VERSION "\n" };
    } catch (const CLI::ParseError& error) {
        throw refusal(error);
    }
    return options;
}

}
