// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/CLLocation.h"

#include "drivers/installDefaults.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/camera/Refusal.h"

namespace velmora::camera {

/// What is said of one photo; what is absent is not known.
struct PhotoReport {
    std::optional<std::filesystem::path> jpg, dng, movie; ///< absolute
    std::uint64_t bytes = 0; ///< of all files
    std::optional<std::int64_t> width, height; ///< pixels
    double secondsSince1970 = 0;
    std::optional<CLLocationCoordinate2D> place;
    std::optional<std::string> landmark;
    std::optional<double> iso, exposureSeconds, fNumber;
    bool flashFired = false;
    /// Since the program began: asked for, exposed, data in hand, file complete.
    struct Milliseconds {
        double request = 0, exposure = 0, data = 0, file = 0;
    } milliseconds;
};

/// What is said of a movie.
struct MovieReport {
    std::optional<std::filesystem::path> movie; ///< absolute; absent when there is none
    double seconds = 0;
    std::uint64_t frames = 0, late = 0, dropped = 0;
    std::string stopped; ///< why: "seconds", "limit", "disk", "unplugged", "signal"
};

/// What became of sample buffers, and how old they were in the processor's hands.
struct FramesReport {
    std::uint64_t delivered = 0, late = 0, dropped = 0;
    double median = 0, p99 = 0; ///< milliseconds
};

/// How long the steps of one photo took, in milliseconds.
struct PhotoLatency {
    double exposure = 0; ///< from the request
    double data = 0; ///< from the exposure until it was in hand
    double file = 0; ///< from then until it was stored
    double whole = 0;
    std::optional<double> sinceLast; ///< from the request for the photo before
};

/// One lens of the catalogue.
struct LensReport {
    std::string position, type; ///< the command line's words
    int raw = 0;
    bool depthCapture = false;
};

/// One camera and what it can do; limits are inclusive.
struct DeviceReport {
    struct Format {
        std::int32_t width = 0, height = 0, stillWidth = 0, stillHeight = 0; ///< pixels
        std::vector<std::pair<double, double>> frameRates; ///< frames a second
        double lowestISO = 0, highestISO = 0;
        double shortestExposure = 0, longestExposure = 0; ///< seconds
        double highestZoom = 1;
        bool depth = false;
    };
    std::string identifier, name, type, position;
    std::vector<Format> formats;
    std::vector<std::string> controls; ///< what can be set: "focus", "torch", ...
    double lowestBias = 0, highestBias = 0; ///< stops
};

/// An album and what it holds.
struct AlbumReport {
    std::string title, identifier, localIdentifier;
    std::vector<std::filesystem::path> photos; ///< absolute, oldest first
};

/// What the program says on stdout: a few readable lines as things happen, or one JSON object at the end.
class Report {
public:
    enum class Form : std::uint8_t { Lines, JSON };
    explicit Report(Form form);
    ~Report();

    void setDriver(const std::string& driver);
    void setCamera(const std::string& identifier);
    /// Also what has nothing in it is told, in JSON.
    void beginPhotos();
    void add(const PhotoReport& photo);
    /// The files of a photo that a person shared.
    void addShared(const std::vector<std::string>& files);
    void tellSnapshot(const std::filesystem::path& png);
    void tell(const MovieReport& movie);
    void tell(const FramesReport& frames);
    /// Photos follow, and then what they have in common. Milliseconds from the start of a session to its first frame,
    /// and from the sensor to a processor, sorted.
    void beginLatencies(double firstFrame, const std::vector<double>& frames);
    void add(const PhotoLatency& photo);
    void endLatencies();
    void tell(const std::vector<LensReport>& lenses);
    void tell(const AlbumReport& album);
    void tell(const std::vector<DeviceReport>& devices, const std::vector<drivers::DriverStatus>& drivers);
    /// These throw Refusal when stdout does not take it, a full disk behind it for one.
    void tell(const std::string& text);
    void print();
    /// On stderr in any form; in JSON on stdout too, beside what was done so far.
    void fail(const Refusal& refusal);

private:
    class Object;

    void tellQuantiles(const char* key, const char* words, const std::vector<double>& sorted);

    Form form_;
    std::unique_ptr<Object> object_;
    std::vector<PhotoLatency> latencies_;
};

}
