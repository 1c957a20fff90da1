// SPDX-License-Identifier: Apache-2.0
#include "drivers/iio/Accelerometer.h"

#include "platform/Foundation/Clock.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSLog.h"
#include "platform/Foundation/Scheduler.h"

#include "drivers/iio/Polling.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>
#include <vector>

namespace velmora::drivers::iio {

namespace {

constexpr double standardGravity = 9.80665; // m/s², what one g is
constexpr std::int64_t notAvailable = 109; // the code for a sensor that cannot be read

NSError errorOf(const std::string& what)
{
    return NSError("CMErrorDomain", notAvailable, what);
}

/// A file of one line; nothing when there is none.
std::optional<std::string> lineOf(const std::string& path)
{
    std::ifstream file(path);
    std::string line;
    if (!file || !std::getline(file, line))
        return std::nullopt;
    return line;
}

std::optional<double> number(std::string_view text)
{
    const auto begin = text.find_first_not_of(" \t");
    const auto end = text.find_last_not_of(" \t\r\n");
    if (begin == std::string_view::npos)
        return std::nullopt;
    text = text.substr(begin, end - begin + 1);
    double value = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || rest != text.data() + text.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

/// The first of several files that there is, as a number; `otherwise` when there is none of them.
double numberOf(const std::string& folder, std::initializer_list<std::string> names, double otherwise)
{
    for (const auto& name : names)
        if (const auto line = lineOf(folder + "/" + name)) {
            const auto value = number(*line);
            if (!value)
                throw errorOf(folder + "/" + name + " holds \"" + *line + "\", which is not a number.");
            return *value;
        }
    return otherwise;
}

constexpr Accelerometer::Matrix identity { { { 1, 0, 0 }, { 0, 1, 0 }, { 0, 0, 1 } } };

/// "0, 1, 0; -1, 0, 0; 0, 0, 1", as the device tree gives it for the board.
Accelerometer::Matrix mountMatrix(const std::string& folder)
{
    for (const char* name : { "in_accel_mount_matrix", "in_mount_matrix", "mount_matrix" }) {
        const auto line = lineOf(folder + "/" + name);
        if (!line)
            continue;
        Accelerometer::Matrix matrix {};
        std::istringstream rows(*line);
        std::string row;
        std::size_t y = 0;
        bool whole = true;
        while (std::getline(rows, row, ';') && y < matrix.size()) {
            std::istringstream columns(row);
            std::string column;
            std::size_t x = 0;
            while (std::getline(columns, column, ',') && x < matrix[y].size()) {
                const auto value = number(column);
                whole = whole && value;
                matrix[y][x++] = value.value_or(0);
            }
            whole = whole && x == matrix[y].size();
            ++y;
        }
        if (!whole || y != matrix.size())
            throw errorOf(std::string(folder) + "/" + name + " holds \"" + *line + "\"; wanted are three rows of three "
                + "numbers, as in \"1, 0, 0; 0, 1, 0; 0, 0, 1\".");
        return matrix;
    }
    return identity;
}

}

/// One raw value and what makes m/s² of it. The file stays open: the kernel answers anew at each read from its start.
struct Accelerometer::Axis {
    Axis(const std::string& folder, char letter)
        : path(folder + "/in_accel_" + letter + "_raw")
        , scale(numberOf(folder, { std::string("in_accel_") + letter + "_scale", "in_accel_scale" }, 1))
        , offset(numberOf(folder, { std::string("in_accel_") + letter + "_offset", "in_accel_offset" }, 0))
        , file(open(path.c_str(), O_RDONLY | O_CLOEXEC))
    {
        if (file < 0)
            throw errorOf(path + " cannot be opened: " + std::strerror(errno) + ".");
    }
    ~Axis() { close(file); }
    Axis(const Axis&) = delete;
    Axis& operator=(const Axis&) = delete;

    double read() const
    {
        char text[64];
        const ssize_t count = pread(file, text, sizeof text, 0);
        if (count < 0)
            throw errorOf(path + " cannot be read: " + std::strerror(errno) + ".");
        const std::string_view given(text, static_cast<std::size_t>(count));
        const auto raw = number(given);
        if (!raw)
            throw errorOf(path + " holds \"" + std::string(given) + "\", which is not a number.");
        return (*raw + offset) * scale;
    }

    const std::string path;
    const double scale, offset;
    const int file;
};

struct Accelerometer::Chip {
    explicit Chip(const std::string& folder)
        : x(folder, 'x')
        , y(folder, 'y')
        , z(folder, 'z')
        , mount(mountMatrix(folder))
    {
    }

    /// The chip feels what holds it up; the platform tells where it is pulled to.
    CMAcceleration read() const
    {
        const double along[] { x.read(), y.read(), z.read() };
        const auto turned = [&](std::size_t row) {
            const auto& factors = mount[row];
            return -(factors[0] * along[0] + factors[1] * along[1] + factors[2] * along[2]) / standardGravity;
        };
        return { turned(0), turned(1), turned(2) };
    }

    const Axis x, y, z;
    const Matrix mount;
};

namespace {

/// "iio:device12" -> 12, so that ten comes after two.
std::optional<long> deviceNumber(const std::string& name)
{
    constexpr std::string_view prefix = "iio:device";
    if (!name.starts_with(prefix))
        return std::nullopt;
    const auto value = number(std::string_view(name).substr(prefix.size()));
    return value ? std::optional(std::lround(*value)) : std::nullopt;
}

/// A folding device has one in the keyboard's half too, which says nothing of the screen.
bool isAtTheScreen(const std::string& folder)
{
    for (const char* name : { "label", "location" })
        if (const auto line = lineOf(folder + "/" + name))
            return *line != "accel-base" && *line != "base";
    return true;
}

}

Accelerometer::Accelerometer(std::shared_ptr<const Chip> chip)
    : chip_(std::move(chip))
{
}

std::shared_ptr<Accelerometer> Accelerometer::find(const std::string& devices)
{
    std::vector<std::pair<long, std::string>> folders;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(devices, none))
        if (const auto index = deviceNumber(entry.path().filename()))
            folders.emplace_back(*index, entry.path());
    std::sort(folders.begin(), folders.end());
    for (const auto& [index, folder] : folders) {
        if (!std::filesystem::exists(folder + "/in_accel_x_raw", none) || !isAtTheScreen(folder))
            continue;
        try {
            return std::make_shared<Accelerometer>(std::make_shared<const Chip>(folder));
        } catch (const NSError& error) {
            NSLog("[Accelerometer] %@ is left out: %@", folder, error.localizedDescription());
        }
    }
    return nullptr;
}

Cancellable Accelerometer::start(double interval, Reading reading)
{
    const auto polling = std::make_shared<Polling>(
        "org.velmora.iio.accelerometer", interval,
        [chip = chip_] {
            return std::optional(CMAccelerometerData { chip->read(), Scheduler::current().clock().now() });
        },
        std::move(reading));
    polling->begin();
    return Cancellable([polling] { polling->end(); });
}

}
