// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/DNGPicture.h"

#include "drivers/media/MediaErrors.h"
#include "drivers/media/PictureLimits.h"
#include "drivers/media/TIFFReading.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace velmora::drivers::media {

namespace {

using Matrix = std::array<std::array<double, 3>, 3>;

/// One of the pictures in the file.
struct Part {
    std::uint64_t directory = 0;
    std::uint32_t width = 0, height = 0;
    bool isSensor = false;
};

/// How the sensor's samples become light.
struct Sensor {
    std::array<std::uint8_t, 4> pattern { 0, 1, 1, 2 }; // colours of two by two samples
    std::array<double, 4> black {}; // at these
    double white = 65535;
    std::array<double, 3> neutral { 1, 1, 1 }; // what a grey surface reads
    double exposure = 0; // stops
    Matrix toLinear {}; // from the sensor's colours, neutral made white, to those of sRGB
};

/// XYZ of the primaries of sRGB.
constexpr Matrix primaries { { { 0.4124564, 0.3575761, 0.1804375 }, { 0.2126729, 0.7151522, 0.0721750 },
    { 0.0193339, 0.1191920, 0.9503041 } } };

Matrix product(const Matrix& a, const Matrix& b)
{
    Matrix c {};
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j)
            for (std::size_t k = 0; k < 3; ++k)
                c[i][j] += a[i][k] * b[k][j];
    return c;
}

std::optional<Matrix> inverse(const Matrix& m)
{
    const auto minor = [&m](std::size_t row, std::size_t column) {
        const std::size_t r1 = (row + 1) % 3, r2 = (row + 2) % 3, c1 = (column + 1) % 3, c2 = (column + 2) % 3;
        return m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
    };
    const double determinant = m[0][0] * minor(0, 0) + m[0][1] * minor(0, 1) + m[0][2] * minor(0, 2);
    if (!std::isfinite(determinant) || std::abs(determinant) < 1e-9)
        return std::nullopt;
    Matrix result {};
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j)
            result[i][j] = minor(j, i) / determinant;
    return result;
}

/// From the matrix of the file, which leads from XYZ to the sensor. White stays white, whatever the matrix says of it.
Matrix matrixToLinear(const Matrix& fromXYZ)
{
    auto fromLinear = product(fromXYZ, primaries);
    for (auto& row : fromLinear) {
        const double sum = row[0] + row[1] + row[2];
        for (auto& value : row)
            value /= sum == 0 ? 1 : sum;
    }
    constexpr Matrix identity { { { 1, 0, 0 }, { 0, 1, 0 }, { 0, 0, 1 } } };
    return inverse(fromLinear).value_or(identity);
}

template <class Value, std::size_t count>
bool readValues(const TIFFReading& file, std::uint32_t tag, Value (&values)[count])
{
    std::uint16_t found = 0;
    const Value* first = nullptr;
    if (!file.read(tag, &found, &first) || found < count || !first)
        return false;
    std::copy_n(first, count, values);
    return true;
}

/// What stands in the first directory.
void readCamera(const TIFFReading& file, Sensor& sensor)
{
    float neutral[3], matrix[9], exposure = 0;
    if (readValues(file, TIFFTAG_ASSHOTNEUTRAL, neutral))
        for (std::size_t i = 0; i < 3; ++i)
            if (neutral[i] > 0 && std::isfinite(neutral[i]))
                sensor.neutral[i] = static_cast<double>(neutral[i]);
    // The second is the one for daylight, where there are two.
    sensor.toLinear = { { { 1, 0, 0 }, { 0, 1, 0 }, { 0, 0, 1 } } };
    if (readValues(file, TIFFTAG_COLORMATRIX2, matrix) || readValues(file, TIFFTAG_COLORMATRIX1, matrix)) {
        Matrix fromXYZ {};
        for (std::size_t i = 0; i < 9; ++i)
            fromXYZ[i / 3][i % 3] = static_cast<double>(matrix[i]);
        sensor.toLinear = matrixToLinear(fromXYZ);
    }
    if (file.read(TIFFTAG_BASELINEEXPOSURE, &exposure) && std::isfinite(exposure))
        sensor.exposure = std::clamp(static_cast<double>(exposure), -8.0, 8.0);
}

/// What stands beside the samples; false for a sensor of another kind than red, green and blue in two by two.
bool readSamples(const TIFFReading& file, Sensor& sensor)
{
    const std::uint16_t* tile = nullptr;
    std::uint8_t pattern[4];
    if (!file.read(TIFFTAG_CFAREPEATPATTERNDIM, &tile) || tile[0] != 2 || tile[1] != 2
        || !readValues(file, TIFFTAG_CFAPATTERN, pattern))
        return false;
    std::copy_n(pattern, 4, sensor.pattern.begin());
    auto colours = sensor.pattern;
    std::sort(colours.begin(), colours.end());
    const auto different = std::unique(colours.begin(), colours.end());
    if (different - colours.begin() != 3 || colours[0] != 0 || colours[2] != 2)
        return false;
    std::uint32_t white[1];
    if (readValues(file, TIFFTAG_WHITELEVEL, white))
        sensor.white = white[0];
    float black[4], one[1];
    if (readValues(file, TIFFTAG_BLACKLEVEL, black))
        std::copy_n(black, 4, sensor.black.begin());
    else if (readValues(file, TIFFTAG_BLACKLEVEL, one))
        sensor.black.fill(static_cast<double>(one[0]));
    return std::all_of(sensor.black.begin(), sensor.black.end(),
        [&](double level) { return std::isfinite(level) && sensor.white > level; });
}

/// Sixteen bits for each sample; nothing where the library cannot unpack them.
std::optional<std::vector<std::uint16_t>> samplesOf(const TIFFReading& file, const Part& part)
{
    std::uint16_t bits = 0, channels = 1;
    file.read(TIFFTAG_BITSPERSAMPLE, &bits);
    file.read(TIFFTAG_SAMPLESPERPIXEL, &channels);
    if ((bits != 8 && bits != 16) || channels != 1 || TIFFIsTiled(file.handle()) != 0)
        return std::nullopt;
    const std::size_t width = part.width, bytes = width * bits / 8;
    if (TIFFScanlineSize(file.handle()) != static_cast<tmsize_t>(bytes))
        return std::nullopt;
    std::vector<std::uint16_t> samples(width * part.height);
    std::vector<std::uint8_t> row(bytes);
    for (std::uint32_t y = 0; y < part.height; ++y) {
        if (TIFFReadScanline(file.handle(), row.data(), y, 0) != 1)
            return std::nullopt;
        std::uint16_t* to = samples.data() + width * y;
        if (bits == 16)
            std::memcpy(to, row.data(), bytes);
        else
            std::copy(row.begin(), row.end(), to);
    }
    return samples;
}

/// Makes the sensor's colours those of a screen.
class Developer {
public:
    explicit Developer(const Sensor& sensor)
        : sensor_(sensor)
    {
        const double highest = std::max({ sensor.neutral[0], sensor.neutral[1], sensor.neutral[2] });
        for (std::size_t i = 0; i < 3; ++i)
            gain_[i] = highest / sensor.neutral[i] * std::exp2(sensor.exposure);
        for (std::size_t i = 0; i < curve_.size(); ++i) {
            const double light = static_cast<double>(i) / static_cast<double>(curve_.size() - 1);
            const double shown = light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
            curve_[i] = static_cast<std::uint8_t>(std::lround(255 * shown));
        }
    }

    /// 0 to 1 and beyond.
    float light(std::uint16_t sample, std::size_t place) const
    {
        const double black = sensor_.black[place];
        return static_cast<float>((sample - black) / (sensor_.white - black));
    }
    void show(const std::array<float, 3>& colour, std::uint8_t* pixel) const
    {
        std::array<double, 3> balanced {};
        for (std::size_t i = 0; i < 3; ++i)
            balanced[i] = std::min(1.0, static_cast<double>(colour[i]) * gain_[i]); // what is full is white
        const auto shown = [&](std::size_t i) {
            const auto& row = sensor_.toLinear[i];
            const double value = row[0] * balanced[0] + row[1] * balanced[1] + row[2] * balanced[2];
            return curve_[static_cast<std::size_t>(
                std::clamp(value, 0.0, 1.0) * static_cast<double>(curve_.size() - 1) + 0.5)];
        };
        pixel[0] = shown(2);
        pixel[1] = shown(1);
        pixel[2] = shown(0);
        pixel[3] = 255;
    }
    std::size_t colourAt(std::size_t x, std::size_t y) const { return sensor_.pattern[y % 2 * 2 + x % 2]; }

private:
    const Sensor& sensor_;
    std::array<double, 3> gain_ {};
    std::array<std::uint8_t, 4096> curve_ {};
};

/// Two by two samples make one pixel.
std::shared_ptr<CVPixelBuffer> developHalf(
    const std::vector<std::uint16_t>& samples, std::size_t width, std::size_t height, const Developer& developer)
{
    auto pixels = CVPixelBuffer::create(
        static_cast<std::int32_t>(width / 2), static_cast<std::int32_t>(height / 2), kCVPixelFormatType_32BGRA);
    const auto& plane = pixels->planes()[0];
    for (std::size_t y = 0; y < height / 2; ++y)
        for (std::size_t x = 0; x < width / 2; ++x) {
            std::array<float, 3> sum {}, count {};
            for (std::size_t i = 0; i < 4; ++i) {
                const std::size_t column = 2 * x + i % 2, row = 2 * y + i / 2;
                const std::size_t colour = developer.colourAt(column, row);
                sum[colour] += developer.light(samples[row * width + column], i);
                ++count[colour];
            }
            for (std::size_t i = 0; i < 3; ++i)
                sum[i] /= count[i];
            developer.show(sum, plane.data + y * plane.stride + 4 * x);
        }
    return pixels;
}

/// Each sample makes one pixel; the colours that it does not have are its neighbours'.
std::shared_ptr<CVPixelBuffer> developWhole(
    const std::vector<std::uint16_t>& samples, std::size_t width, std::size_t height, const Developer& developer)
{
    auto pixels = CVPixelBuffer::create(
        static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), kCVPixelFormatType_32BGRA);
    const auto& plane = pixels->planes()[0];
    for (std::size_t y = 0; y < height; ++y)
        for (std::size_t x = 0; x < width; ++x) {
            std::array<float, 3> sum {}, count {};
            for (std::size_t row = y > 0 ? y - 1 : 0; row <= std::min(y + 1, height - 1); ++row)
                for (std::size_t column = x > 0 ? x - 1 : 0; column <= std::min(x + 1, width - 1); ++column) {
                    const std::size_t colour = developer.colourAt(column, row);
                    sum[colour] += developer.light(samples[row * width + column], row % 2 * 2 + column % 2);
                    ++count[colour];
                }
            const std::size_t own = developer.colourAt(x, y);
            for (std::size_t i = 0; i < 3; ++i)
                sum[i] /= std::max(1.0F, count[i]);
            sum[own] = developer.light(samples[y * width + x], y % 2 * 2 + x % 2);
            developer.show(sum, plane.data + y * plane.stride + 4 * x);
        }
    return pixels;
}

/// In the order of the file; the first directory, those beneath it, and those that follow.
std::vector<Part> partsOf(TIFFReading& file)
{
    constexpr std::size_t most = 32;
    std::vector<std::uint64_t> places;
    do {
        places.push_back(TIFFCurrentDirOffset(file.handle()));
        std::uint16_t count = 0;
        const std::uint64_t* beneath = nullptr;
        if (file.read(TIFFTAG_SUBIFD, &count, &beneath) && beneath)
            places.insert(places.end(), beneath, beneath + count);
    } while (places.size() < most && TIFFReadDirectory(file.handle()) != 0);
    std::vector<Part> parts;
    for (const auto place : places) {
        if (TIFFSetSubDirectory(file.handle(), place) == 0)
            continue;
        Part part;
        part.directory = place;
        std::uint16_t meaning = 0, bits = 1;
        if (!file.read(TIFFTAG_IMAGEWIDTH, &part.width) || !file.read(TIFFTAG_IMAGELENGTH, &part.height)
            || !file.read(TIFFTAG_PHOTOMETRIC, &meaning))
            continue;
        file.read(TIFFTAG_BITSPERSAMPLE, &bits);
        part.isSensor = meaning == PHOTOMETRIC_CFA;
        if (part.isSensor || (bits == 8 && meaning != PHOTOMETRIC_MASK))
            parts.push_back(part);
    }
    return parts;
}

/// A finished picture of the file.
std::shared_ptr<CVPixelBuffer> finished(TIFFReading& file, const Part& part)
{
    checkPictureSize(part.width, part.height);
    file.goTo(part.directory);
    TIFFRGBAImage image {};
    char why[1024] {};
    if (TIFFRGBAImageBegin(&image, file.handle(), 1, why) == 0)
        throw damaged("The picture in the DNG cannot be read: " + std::string(why) + ". Use another copy of the file.");
    image.orientation = image.req_orientation = ORIENTATION_TOPLEFT; // the whole file is turned later
    std::vector<std::uint32_t> raster(std::size_t { part.width } * part.height);
    const bool done = TIFFRGBAImageGet(&image, raster.data(), part.width, part.height) != 0;
    TIFFRGBAImageEnd(&image);
    if (!done)
        throw damaged("The picture in the DNG is damaged: " + file.trouble() + ". Use another copy of the file.");
    auto pixels = CVPixelBuffer::create(
        static_cast<std::int32_t>(part.width), static_cast<std::int32_t>(part.height), kCVPixelFormatType_32BGRA);
    const auto& plane = pixels->planes()[0];
    for (std::size_t y = 0; y < part.height; ++y)
        for (std::size_t x = 0; x < part.width; ++x) {
            const std::uint32_t colour = raster[y * part.width + x];
            std::uint8_t* pixel = plane.data + y * plane.stride + 4 * x;
            pixel[0] = static_cast<std::uint8_t>(TIFFGetB(colour));
            pixel[1] = static_cast<std::uint8_t>(TIFFGetG(colour));
            pixel[2] = static_cast<std::uint8_t>(TIFFGetR(colour));
            pixel[3] = 255;
        }
    return pixels;
}

/// Null for samples that cannot be read.
std::shared_ptr<CVPixelBuffer> developed(TIFFReading& file, const Part& part, int width, int height)
{
    checkPictureSize(part.width, part.height);
    Sensor sensor;
    TIFFSetDirectory(file.handle(), 0);
    readCamera(file, sensor);
    file.goTo(part.directory);
    if (part.width < 2 || part.height < 2 || !readSamples(file, sensor))
        return nullptr;
    const auto samples = samplesOf(file, part);
    if (!samples)
        return nullptr;
    const Developer developer(sensor);
    const bool halfIsEnough = width > 0 && height > 0 && part.width / 2 >= static_cast<std::uint32_t>(width)
        && part.height / 2 >= static_cast<std::uint32_t>(height);
    return (halfIsEnough ? developHalf : developWhole)(*samples, part.width, part.height, developer);
}

}

bool isTIFF(std::span<const std::uint8_t> data)
{
    constexpr std::array<std::uint8_t, 4> little { 'I', 'I', 42, 0 }, big { 'M', 'M', 0, 42 };
    return data.size() >= 8
        && (std::equal(little.begin(), little.end(), data.begin()) || std::equal(big.begin(), big.end(), data.begin()));
}

int orientationOfTIFF(std::span<const std::uint8_t> data)
{
    const TIFFReading file(data);
    std::uint16_t orientation = 1;
    file.read(TIFFTAG_ORIENTATION, &orientation);
    return orientation >= 1 && orientation <= 8 ? orientation : 1;
}

std::shared_ptr<CVPixelBuffer> decodeDNG(std::span<const std::uint8_t> data, int width, int height)
{
    TIFFReading file(data);
    const auto parts = partsOf(file);
    const Part *sensor = nullptr, *large = nullptr, *enough = nullptr;
    const auto area = [](const Part& part) { return std::uint64_t { part.width } * part.height; };
    for (const auto& part : parts) {
        if (part.isSensor) {
            if (!sensor || area(part) > area(*sensor))
                sensor = &part;
            continue;
        }
        if (!large || area(part) > area(*large))
            large = &part;
        const bool covers = width > 0 && height > 0 && part.width >= static_cast<std::uint32_t>(width)
            && part.height >= static_cast<std::uint32_t>(height);
        if (covers && (!enough || area(part) < area(*enough)))
            enough = &part;
    }
    if (enough)
        return finished(file, *enough);
    if (auto pixels = sensor ? developed(file, *sensor, width, height) : nullptr)
        return pixels;
    if (large)
        return finished(file, *large);
    throw damaged("The DNG holds no picture that can be read. Convert it to a JPEG.");
}

}
