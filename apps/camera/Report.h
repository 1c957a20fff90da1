// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreLocation/CLLocation.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

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

/// What the program says on stdout: a few readable lines as things happen, or one JSON object at the end.
class Report {
public:
    enum class Form : std::uint8_t { Lines, JSON };
    explicit Report(Form form);
    ~Report();

    void setCamera(const std::string& driver, const std::string& identifier);
    void add(const PhotoReport& photo);
    /// These throw Refusal when stdout does not take it, a full disk behind it for one.
    void tell(const std::string& text);
    void print();
    /// On stderr in any form; in JSON on stdout too, beside what was done so far.
    void fail(const Refusal& refusal);

private:
    class Object;

    Form form_;
    std::unique_ptr<Object> object_;
};

}
