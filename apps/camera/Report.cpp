// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/Report.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <sstream>

#include "apps/camera/Quantile.h"

namespace velmora::camera {

using nlohmann::ordered_json;

namespace {

std::string localTime(double secondsSince1970, const char* format)
{
    const auto seconds = static_cast<std::time_t>(std::floor(secondsSince1970));
    std::tm local {};
    localtime_r(&seconds, &local);
    std::array<char, 64> text {};
    std::strftime(text.data(), text.size(), format, &local);
    return text.data();
}

/// "2026-01-02T03:04:05+01:00"
std::string isoTime(double secondsSince1970)
{
    const auto text = localTime(secondsSince1970, "%Y-%m-%dT%H:%M:%S%z");
    return text.substr(0, text.size() - 2) + ':' + text.substr(text.size() - 2);
}

template <class... Args> std::string printed(const char* format, Args... args)
{
    std::array<char, 128> text {};
    std::snprintf(text.data(), text.size(), format, args...);
    return text.data();
}

template <class Value> void putIfKnown(ordered_json& object, const char* key, const std::optional<Value>& value)
{
    if (value)
        object[key] = *value;
}

void putIfKnown(ordered_json& object, const char* key, const std::optional<std::filesystem::path>& path)
{
    if (path)
        object[key] = path->string();
}

double rounded(double milliseconds)
{
    return std::round(milliseconds * 1000) / 1000;
}

ordered_json objectFor(const PhotoReport& photo)
{
    ordered_json object = ordered_json::object();
    putIfKnown(object, "jpg", photo.jpg);
    putIfKnown(object, "dng", photo.dng);
    putIfKnown(object, "movie", photo.movie);
    putIfKnown(object, "width", photo.width);
    putIfKnown(object, "height", photo.height);
    object["date"] = isoTime(photo.secondsSince1970);
    if (photo.place) {
        object["latitude"] = photo.place->latitude;
        object["longitude"] = photo.place->longitude;
    }
    putIfKnown(object, "landmark", photo.landmark);
    putIfKnown(object, "iso", photo.iso);
    putIfKnown(object, "exposureSeconds", photo.exposureSeconds);
    object["flashFired"] = photo.flashFired;
    const auto& times = photo.milliseconds;
    object["milliseconds"] = { { "request", rounded(times.request) }, { "exposure", rounded(times.exposure) },
        { "data", rounded(times.data) }, { "file", rounded(times.file) } };
    return object;
}

std::string exposureText(double seconds)
{
    return seconds > 0 && seconds < 0.4 ? printed("1/%.0f s", 1 / seconds) : printed("%.3g s", seconds);
}

/// "4032 x 3024 pixels, 2.3 MB, taken 2026-01-02 03:04:05 +0100"
std::string pictureLine(const PhotoReport& photo)
{
    std::string line;
    if (photo.width && photo.height)
        line = std::to_string(*photo.width) + " x " + std::to_string(*photo.height) + " pixels, ";
    return line + printed("%.1f MB, taken ", static_cast<double>(photo.bytes) / 1e6)
        + localTime(photo.secondsSince1970, "%Y-%m-%d %H:%M:%S %z");
}

/// "Kyoto (35.01160, 135.76810)"
std::string placeLine(const PhotoReport& photo)
{
    const auto position = printed("%.5f, %.5f", photo.place->latitude, photo.place->longitude);
    return photo.landmark ? *photo.landmark + " (" + position + ")" : "at " + position;
}

/// "1/60 s, f/1.8, ISO 100, flash off"
std::string exposureLine(const PhotoReport& photo)
{
    std::string line;
    if (photo.exposureSeconds)
        line += exposureText(*photo.exposureSeconds) + ", ";
    if (photo.fNumber)
        line += printed("f/%.3g, ", *photo.fNumber);
    if (photo.iso)
        line += printed("ISO %.0f, ", *photo.iso);
    return line + (photo.flashFired ? "flash fired" : "no flash");
}

std::string linesFor(const PhotoReport& photo)
{
    std::ostringstream lines;
    for (const auto& path : { photo.jpg, photo.dng, photo.movie })
        if (path)
            lines << path->string() << '\n';
    lines << "  " << pictureLine(photo) << '\n';
    if (photo.place)
        lines << "  " << placeLine(photo) << '\n';
    lines << "  " << exposureLine(photo) << '\n';
    return lines.str();
}

ordered_json objectFor(const DeviceReport::Format& format)
{
    ordered_json object = { { "width", format.width }, { "height", format.height }, { "stillWidth", format.stillWidth },
        { "stillHeight", format.stillHeight } };
    auto& rates = object["frameRates"] = ordered_json::array();
    for (const auto& [lowest, highest] : format.frameRates)
        rates.push_back({ lowest, highest });
    object["iso"] = { format.lowestISO, format.highestISO };
    object["exposureSeconds"] = { format.shortestExposure, format.longestExposure };
    object["zoom"] = { 1, format.highestZoom };
    object["depth"] = format.depth;
    return object;
}

ordered_json objectFor(const DeviceReport& device)
{
    ordered_json object = { { "id", device.identifier }, { "name", device.name }, { "type", device.type },
        { "position", device.position } };
    auto& formats = object["formats"] = ordered_json::array();
    for (const auto& format : device.formats)
        formats.push_back(objectFor(format));
    object["bias"] = { device.lowestBias, device.highestBias };
    object["controls"] = device.controls;
    return object;
}

/// "  1920 x 1080, stills 4032 x 3024, 1 to 30 fps, ISO 32 to 3200, 1/8000 s to 1/3 s, zoom to 16"
std::string lineFor(const DeviceReport::Format& format)
{
    std::string line
        = printed("  %d x %d, stills %d x %d", format.width, format.height, format.stillWidth, format.stillHeight);
    for (const auto& [lowest, highest] : format.frameRates)
        line += printed(", %.4g to %.4g fps", lowest, highest);
    line += printed(", ISO %.4g to %.4g, ", format.lowestISO, format.highestISO) + exposureText(format.shortestExposure)
        + " to " + exposureText(format.longestExposure) + printed(", zoom to %.4g", format.highestZoom);
    return line + (format.depth ? ", with depth\n" : "\n");
}

std::string linesFor(const DeviceReport& device)
{
    std::string lines = device.identifier + ": " + device.position + ' ' + device.type
        + (device.name.empty() ? "" : " (" + device.name + ")") + '\n';
    for (const auto& format : device.formats)
        lines += lineFor(format);
    std::string controls;
    for (const auto& control : device.controls)
        controls += (controls.empty() ? "" : ", ") + control;
    return lines + "  can set: " + (controls.empty() ? "nothing" : controls) + '\n';
}

std::string linesFor(const std::vector<drivers::DriverStatus>& drivers)
{
    std::string lines;
    for (const auto& driver : drivers)
        lines += "driver " + driver.driver + ": "
            + (driver.works                  ? "works"
                    : driver.install.empty() ? "found nothing"
                                             : "missing; install " + driver.install)
            + '\n';
    return lines;
}

void writeToStandardOutput(const std::string& text)
{
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0)
        throw Refusal("The report cannot be written", std::strerror(errno), "give a standard output that takes it");
}

}

class Report::Object {
public:
    ordered_json json = { { "version", 1 }, { "driver", "none" } };
};

Report::Report(Form form)
    : form_(form)
    , object_(std::make_unique<Object>())
{
}

Report::~Report() = default;

void Report::setDriver(const std::string& driver)
{
    object_->json["driver"] = driver;
}

void Report::setCamera(const std::string& identifier)
{
    object_->json["camera"] = identifier;
}

void Report::beginPhotos()
{
    object_->json["photos"] = ordered_json::array();
}

void Report::addShared(const std::vector<std::string>& files)
{
    std::string lines;
    for (const auto& file : files) {
        object_->json["shared"].push_back(file);
        lines += file + "\n";
    }
    if (form_ == Form::Lines)
        writeToStandardOutput(lines);
}

void Report::tellSnapshot(const std::filesystem::path& png)
{
    object_->json["png"] = png.string();
    if (form_ == Form::Lines)
        writeToStandardOutput(png.string() + "\n");
}

void Report::tell(const MovieReport& movie)
{
    putIfKnown(object_->json, "movie", movie.movie);
    object_->json["seconds"] = rounded(movie.seconds);
    object_->json["frames"] = movie.frames;
    object_->json["late"] = movie.late;
    object_->json["dropped"] = movie.dropped;
    object_->json["stopped"] = movie.stopped;
    if (form_ == Form::JSON || !movie.movie)
        return;
    std::ostringstream lines;
    lines << movie.movie->string() << '\n'
          << printed("  %.2f s, ", movie.seconds) << movie.frames << " frames, " << movie.late << " late, "
          << movie.dropped << " dropped\n";
    writeToStandardOutput(lines.str());
}

void Report::tell(const FramesReport& frames)
{
    object_->json["delivered"] = frames.delivered;
    object_->json["late"] = frames.late;
    object_->json["dropped"] = frames.dropped;
    object_->json["milliseconds"] = { { "median", rounded(frames.median) }, { "p99", rounded(frames.p99) } };
    if (form_ == Form::JSON)
        return;
    std::ostringstream lines;
    lines << frames.delivered << " frames delivered, " << frames.late << " late, " << frames.dropped << " dropped\n"
          << printed("  from sensor to processor: median %.3f ms, 99 %% within %.3f ms\n", frames.median, frames.p99);
    writeToStandardOutput(lines.str());
}

void Report::beginLatencies(double firstFrame, const std::vector<double>& frames)
{
    object_->json["firstFrame"] = rounded(firstFrame);
    object_->json["milliseconds"] = ordered_json::object();
    beginPhotos();
    if (form_ == Form::Lines)
        writeToStandardOutput(printed("first frame after %.1f ms\n", firstFrame));
    tellQuantiles("frame", "a frame, from sensor to processor", frames);
}

void Report::add(const PhotoLatency& photo)
{
    latencies_.push_back(photo);
    object_->json["photos"].push_back({ { "milliseconds",
        { { "exposure", rounded(photo.exposure) }, { "data", rounded(photo.data) }, { "file", rounded(photo.file) },
            { "whole", rounded(photo.whole) } } } });
    if (form_ == Form::Lines)
        writeToStandardOutput("photo " + std::to_string(latencies_.size())
            + printed(": request -> %.1f ms -> exposure -> %.1f ms -> data -> %.1f ms -> file, %.1f ms\n",
                photo.exposure, photo.data, photo.file, photo.whole));
}

void Report::tellQuantiles(const char* key, const char* words, const std::vector<double>& sorted)
{
    constexpr double half = 0.5, most = 0.9, almostAll = 0.99;
    const double median = quantile(sorted, half), p90 = quantile(sorted, most), p99 = quantile(sorted, almostAll);
    object_->json["milliseconds"][key]
        = { { "median", rounded(median) }, { "p90", rounded(p90) }, { "p99", rounded(p99) } };
    if (form_ == Form::Lines)
        writeToStandardOutput(
            printed("%s: median %.1f ms, 90 %% within %.1f ms, 99 %% within %.1f ms\n", words, median, p90, p99));
}

void Report::endLatencies()
{
    const auto tell = [&](const char* key, const char* words, auto valueOf) {
        std::vector<double> values;
        for (const auto& photo : latencies_)
            if (const std::optional<double> value = valueOf(photo))
                values.push_back(*value);
        std::sort(values.begin(), values.end());
        if (!values.empty())
            tellQuantiles(key, words, values);
    };
    tell("exposure", "request to exposure", [](const auto& photo) { return photo.exposure; });
    tell("data", "exposure to data", [](const auto& photo) { return photo.data; });
    tell("file", "data to file", [](const auto& photo) { return photo.file; });
    tell("whole", "request to file", [](const auto& photo) { return photo.whole; });
    tell("sinceLast", "one request to the next", [](const auto& photo) { return photo.sinceLast; });
}

void Report::tell(const AlbumReport& album)
{
    object_->json["title"] = album.title;
    object_->json["identifier"] = album.identifier;
    object_->json["localIdentifier"] = album.localIdentifier;
    auto& photos = object_->json["photos"] = ordered_json::array();
    std::string lines;
    for (const auto& photo : album.photos) {
        photos.push_back(photo.string());
        lines += photo.string() + '\n';
    }
    if (form_ == Form::Lines)
        writeToStandardOutput(album.photos.empty() ? "The album \"" + album.title + "\" is empty.\n" : lines);
}

void Report::tell(const std::vector<LensReport>& lenses)
{
    auto& list = object_->json["lenses"] = ordered_json::array();
    for (const auto& lens : lenses)
        list.push_back({ { "position", lens.position }, { "type", lens.type }, { "raw", lens.raw },
            { "depthCapture", lens.depthCapture } });
    if (form_ == Form::JSON)
        return;
    std::ostringstream lines;
    for (const auto& lens : lenses)
        lines << lens.position << ' ' << lens.type << (lens.depthCapture ? ", with depth" : "") << '\n';
    writeToStandardOutput(lenses.empty() ? "No lenses.\n" : lines.str());
}

void Report::tell(const std::vector<DeviceReport>& devices, const std::vector<drivers::DriverStatus>& drivers)
{
    auto& list = object_->json["devices"] = ordered_json::array();
    for (const auto& device : devices)
        list.push_back(objectFor(device));
    auto& missing = object_->json["missing"] = ordered_json::array();
    for (const auto& driver : drivers)
        if (!driver.works && !driver.install.empty())
            missing.push_back({ { "driver", driver.driver }, { "install", driver.install } });
    if (form_ == Form::JSON)
        return;
    std::string lines;
    for (const auto& device : devices)
        lines += linesFor(device);
    writeToStandardOutput((devices.empty() ? "No cameras.\n" : lines) + linesFor(drivers));
}

void Report::add(const PhotoReport& photo)
{
    object_->json["photos"].push_back(objectFor(photo));
    if (form_ == Form::Lines)
        writeToStandardOutput(linesFor(photo));
}

void Report::tell(const std::string& text)
{
    writeToStandardOutput(text);
}

void Report::print()
{
    if (form_ == Form::Lines)
        return;
    // A file name may hold bytes that are no text.
    writeToStandardOutput(object_->json.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n");
}

void Report::fail(const Refusal& refusal)
{
    std::fprintf(stderr, "velmora-camera: %s\n", refusal.what());
    object_->json["error"] = { { "what", refusal.subject() }, { "why", refusal.why() }, { "do", refusal.advice() } };
    try {
        print();
    } catch (const Refusal&) {
        // stderr has the reason, and stdout takes nothing more.
    }
}

}
