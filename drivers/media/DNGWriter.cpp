// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/DNGWriter.h"

#include "drivers/media/MediaErrors.h"
#include "drivers/media/TIFFMemory.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace velmora::drivers::media {

namespace {

constexpr std::int32_t mostPreviewPixels = 640; // on the longer side
constexpr std::int32_t rowsOfAStrip = 64;
constexpr std::uint32_t daylight = 21; // D65

void check(const RawImage& raw)
{
    const auto refuse
        = [](const std::string& reason) { throw cannotWrite("The RAW picture cannot be written: " + reason + "."); };
    if (!raw.samples || raw.samples->planes().size() != 1 || raw.samples->width() < 2 || raw.samples->height() < 2)
        refuse("it has no plane of samples");
    if (raw.samples->planes()[0].stride < static_cast<std::size_t>(raw.samples->width()) * 2)
        refuse("its samples do not take 16 bits each");
    if (raw.blackLevel >= raw.whiteLevel)
        refuse("its black level " + std::to_string(raw.blackLevel) + " is not below its white level "
            + std::to_string(raw.whiteLevel));
    if (std::any_of(raw.pattern.begin(), raw.pattern.end(), [](std::uint8_t colour) { return colour > 2; }))
        refuse("its colour pattern knows more than red, green and blue");
    if (std::any_of(raw.asShotNeutral.begin(), raw.asShotNeutral.end(),
            [](double part) { return !std::isfinite(part) || part <= 0; }))
        refuse("what a grey surface reads must be above zero in each channel");
    if (!std::isfinite(raw.baselineExposure)
        || !std::all_of(raw.colorMatrix.begin(), raw.colorMatrix.end(), [](double x) { return std::isfinite(x); }))
        refuse("its colour matrix or baseline exposure is not a number");
}

/// Packed red, green and blue of a '420f' picture, reduced to a size that viewers show at once.
struct Preview {
    std::int32_t width = 0, height = 0;
    std::vector<std::uint8_t> rgb;
};

Preview previewOf(const CVPixelBuffer& pixels)
{
    if (pixels.pixelFormat() != kCVPixelFormatType_420YpCbCr8BiPlanarFullRange)
        throw cannotWrite("The picture within a DNG is made of '420f' pixels and these are '"
            + fourCharacterCode(pixels.pixelFormat()) + "'. Convert them first.");
    const double scale
        = std::min(1.0, static_cast<double>(mostPreviewPixels) / std::max(pixels.width(), pixels.height()));
    Preview preview;
    preview.width = std::max(1, static_cast<std::int32_t>(std::lround(pixels.width() * scale)));
    preview.height = std::max(1, static_cast<std::int32_t>(std::lround(pixels.height() * scale)));
    preview.rgb.reserve(static_cast<std::size_t>(preview.width) * static_cast<std::size_t>(preview.height) * 3);
    const CVPixelBuffer::Plane &luma = pixels.planes()[0], &chroma = pixels.planes()[1];
    const auto add = [&preview](double value) {
        preview.rgb.push_back(static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L)));
    };
    for (std::int32_t y = 0; y < preview.height; ++y)
        for (std::int32_t x = 0; x < preview.width; ++x) {
            const auto row
                = static_cast<std::size_t>((2 * std::int64_t { y } + 1) * pixels.height() / (2 * preview.height));
            const auto column
                = static_cast<std::size_t>((2 * std::int64_t { x } + 1) * pixels.width() / (2 * preview.width));
            const double light = luma.data[row * luma.stride + column];
            const std::uint8_t* pair = chroma.data + row / 2 * chroma.stride + column / 2 * 2;
            const double blue = pair[0] - 128.0, red = pair[1] - 128.0;
            add(light + 1.402 * red);
            add(light - 0.344136 * blue - 0.714136 * red);
            add(light + 1.772 * blue);
        }
    return preview;
}

void describeCamera(TIFFMemory& file, const RawImage& raw, const ExifFields& fields)
{
    const auto text = [&fields](std::uint16_t tag) {
        const ExifField* field = fields.find(ExifDirectory::Image, tag);
        return field ? field->bytes : std::string();
    };
    std::string name = text(TIFFTAG_MAKE);
    if (const std::string model = text(TIFFTAG_MODEL); !model.empty())
        name += (name.empty() ? "" : " ") + model;
    constexpr std::array<std::uint8_t, 4> version { 1, 4, 0, 0 }, readableBy { 1, 1, 0, 0 };
    file.setFixed(TIFFTAG_DNGVERSION, version.data());
    file.setFixed(TIFFTAG_DNGBACKWARDVERSION, readableBy.data());
    file.setText(TIFFTAG_UNIQUECAMERAMODEL, name.empty() ? "Unknown camera" : name);

    // A sensor that nobody has measured is taken to see with the primaries of sRGB.
    constexpr std::array primaries { 3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570 };
    const bool measured
        = std::any_of(raw.colorMatrix.begin(), raw.colorMatrix.end(), [](double value) { return value != 0; });
    file.setFractions(TIFFTAG_COLORMATRIX1, measured ? raw.colorMatrix : primaries);
    file.setFractions(TIFFTAG_ASSHOTNEUTRAL, raw.asShotNeutral);
    file.setWhole(TIFFTAG_CALIBRATIONILLUMINANT1, daylight);
    file.setReal(TIFFTAG_BASELINEEXPOSURE, raw.baselineExposure);
}

/// What stands in the first directory, whichever picture it holds.
void describePhoto(TIFFMemory& file, const RawImage& raw, const ExifFields& fields)
{
    file.setWhole(TIFFTAG_ORIENTATION, fields.orientation);
    for (const ExifField& field : fields.fields) {
        // How a finished picture means its colours is not true of a RAW one.
        const bool colour = field.tag == TIFFTAG_WHITEPOINT || field.tag == TIFFTAG_PRIMARYCHROMATICITIES
            || field.tag == TIFFTAG_TRANSFERFUNCTION;
        if (field.directory == ExifDirectory::Image && !colour)
            file.set(field);
    }
    describeCamera(file, raw, fields);
}

void describePixels(TIFFMemory& file, std::int32_t width, std::int32_t height, bool sensor)
{
    file.setWhole(TIFFTAG_SUBFILETYPE, sensor ? 0 : FILETYPE_REDUCEDIMAGE);
    file.setWhole(TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(width));
    file.setWhole(TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(height));
    file.setWhole(TIFFTAG_BITSPERSAMPLE, sensor ? 16 : 8);
    file.setWhole(TIFFTAG_SAMPLESPERPIXEL, sensor ? 1 : 3);
    file.setWhole(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    file.setWhole(TIFFTAG_PHOTOMETRIC, sensor ? PHOTOMETRIC_CFA : PHOTOMETRIC_RGB);
    file.setWhole(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    file.setWhole(TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(sensor ? rowsOfAStrip : height));
}

void writeSamples(TIFFMemory& file, const RawImage& raw)
{
    describePixels(file, raw.samples->width(), raw.samples->height(), true);
    constexpr std::array<std::uint16_t, 2> tile { 2, 2 }, one { 1, 1 };
    constexpr std::array<std::uint8_t, 3> planes { 0, 1, 2 };
    const auto black = static_cast<float>(raw.blackLevel);
    const std::uint32_t white = raw.whiteLevel;
    file.setFixed(TIFFTAG_CFAREPEATPATTERNDIM, tile.data());
    file.setCounted(TIFFTAG_CFAPATTERN, 4, raw.pattern.data());
    file.setCounted(TIFFTAG_CFAPLANECOLOR, 3, planes.data());
    file.setWhole(TIFFTAG_CFALAYOUT, 1);
    file.setFixed(TIFFTAG_BLACKLEVELREPEATDIM, one.data());
    file.setCounted(TIFFTAG_BLACKLEVEL, 1, &black);
    file.setCounted(TIFFTAG_WHITELEVEL, 1, &white);

    const CVPixelBuffer::Plane& plane = raw.samples->planes()[0];
    const std::size_t across = static_cast<std::size_t>(raw.samples->width()) * 2;
    std::vector<std::uint8_t> rows;
    for (std::int32_t top = 0; top < raw.samples->height(); top += rowsOfAStrip) {
        rows.clear();
        for (std::int32_t y = top; y < std::min(top + rowsOfAStrip, raw.samples->height()); ++y) {
            const std::uint8_t* row = plane.data + static_cast<std::size_t>(y) * plane.stride;
            rows.insert(rows.end(), row, row + across);
        }
        file.writeStrip(static_cast<std::uint32_t>(top / rowsOfAStrip), rows);
    }
}

void describeShot(TIFFMemory& file, const ExifFields& fields)
{
    file.beginExif();
    if (!fields.find(ExifDirectory::Photo, EXIFTAG_EXIFVERSION))
        file.set({ ExifDirectory::Photo, EXIFTAG_EXIFVERSION, ExifType::Undefined, "0232", {} });
    for (const ExifField& field : fields.fields) {
        // These three tell of a JPEG's making.
        const bool finished = field.tag == EXIFTAG_COLORSPACE || field.tag == EXIFTAG_COMPONENTSCONFIGURATION
            || field.tag == EXIFTAG_FLASHPIXVERSION;
        if (field.directory == ExifDirectory::Photo && !finished)
            file.set(field);
    }
    file.linkExif(file.writeExif());
}

}

std::vector<std::uint8_t> writeDNG(const RawImage& raw, const CVPixelBuffer* preview, const ExifFields& fields)
{
    check(raw);
    const auto samples
        = static_cast<std::size_t>(raw.samples->width()) * static_cast<std::size_t>(raw.samples->height());
    TIFFMemory file(samples * 2 + (std::size_t { 2 } << 20));
    if (preview) {
        const Preview small = previewOf(*preview);
        constexpr std::uint64_t place = 0; // the library fills it in
        describePixels(file, small.width, small.height, false);
        describePhoto(file, raw, fields);
        file.setCounted(TIFFTAG_SUBIFD, 1, &place);
        file.writeStrip(0, small.rgb);
        file.writeDirectory();
        writeSamples(file, raw);
    } else {
        describePhoto(file, raw, fields);
        writeSamples(file, raw);
    }
    file.writeDirectory();
    describeShot(file, fields);
    return file.finished();
}

}
