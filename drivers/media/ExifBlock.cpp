// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/ExifBlock.h"

#include "drivers/media/MediaErrors.h"

#include <libexif/exif-data.h>
#include <libexif/exif-mem.h>
#include <libexif/exif-utils.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace velmora::drivers::media {

namespace {

constexpr std::size_t mostInSegment = 65533; // the length field counts itself
constexpr ExifByteOrder order = EXIF_BYTE_ORDER_INTEL;

struct UnrefData {
    void operator()(ExifData* data) const { exif_data_unref(data); }
};
using Data = std::unique_ptr<ExifData, UnrefData>;

std::size_t sizeOf(ExifType type)
{
    switch (type) {
    case ExifType::Short:
        return 2;
    case ExifType::Long:
        return 4;
    case ExifType::Rational:
    case ExifType::SignedRational:
        return 8;
    case ExifType::Ascii:
    case ExifType::Undefined:
        break;
    }
    return 1;
}

void store(unsigned char* at, ExifType type, Fraction number)
{
    if (type == ExifType::Short)
        exif_set_short(at, order, static_cast<ExifShort>(number.numerator));
    else if (type == ExifType::Long)
        exif_set_long(at, order, static_cast<ExifLong>(number.numerator));
    else if (type == ExifType::Rational)
        exif_set_rational(
            at, order, { static_cast<ExifLong>(number.numerator), static_cast<ExifLong>(number.denominator) });
    else
        exif_set_srational(
            at, order, { static_cast<ExifSLong>(number.numerator), static_cast<ExifSLong>(number.denominator) });
}

std::vector<unsigned char> encoded(const ExifField& field)
{
    std::vector<unsigned char> bytes(field.bytes.begin(), field.bytes.end());
    if (field.type == ExifType::Ascii)
        bytes.push_back(0);
    if (field.numbers.empty())
        return bytes;
    const std::size_t size = sizeOf(field.type);
    bytes.resize(field.numbers.size() * size);
    for (std::size_t i = 0; i < field.numbers.size(); ++i)
        store(bytes.data() + i * size, field.type, field.numbers[i]);
    return bytes;
}

void add(ExifData& data, ExifIfd directory, const ExifField& field)
{
    const std::vector<unsigned char> bytes = encoded(field);
    // Entries free their memory by the allocator of the library.
    ExifMem* memory = exif_mem_new_default();
    ExifEntry* entry = exif_entry_new_mem(memory);
    entry->data = static_cast<unsigned char*>(exif_mem_alloc(memory, static_cast<ExifLong>(bytes.size())));
    std::memcpy(entry->data, bytes.data(), bytes.size());
    entry->size = static_cast<unsigned int>(bytes.size());
    entry->tag = static_cast<ExifTag>(field.tag);
    entry->format = static_cast<ExifFormat>(field.type);
    entry->components = bytes.size() / sizeOf(field.type);
    exif_content_add_entry(data.ifd[directory], entry);
    exif_entry_unref(entry);
    exif_mem_unref(memory);
}

ExifField number(ExifDirectory directory, ExifTag tag, ExifType type, std::int64_t value)
{
    return { directory, static_cast<std::uint16_t>(tag), type, {}, { { value, 1 } } };
}

/// What every block must state, unless the metadata does.
std::vector<ExifField> required(std::uint16_t orientation, std::int32_t width, std::int32_t height)
{
    constexpr auto image = ExifDirectory::Image;
    constexpr auto photo = ExifDirectory::Photo;
    constexpr int inches = 2, centred = 1, sRGB = 1;
    return { number(image, EXIF_TAG_ORIENTATION, ExifType::Short, orientation),
        number(image, EXIF_TAG_X_RESOLUTION, ExifType::Rational, 72),
        number(image, EXIF_TAG_Y_RESOLUTION, ExifType::Rational, 72),
        number(image, EXIF_TAG_RESOLUTION_UNIT, ExifType::Short, inches),
        number(image, EXIF_TAG_YCBCR_POSITIONING, ExifType::Short, centred),
        { photo, EXIF_TAG_EXIF_VERSION, ExifType::Undefined, "0232", {} },
        { photo, EXIF_TAG_COMPONENTS_CONFIGURATION, ExifType::Undefined, std::string("\1\2\3\0", 4), {} },
        { photo, EXIF_TAG_FLASH_PIX_VERSION, ExifType::Undefined, "0100", {} },
        number(photo, EXIF_TAG_COLOR_SPACE, ExifType::Short, sRGB),
        number(photo, EXIF_TAG_PIXEL_X_DIMENSION, ExifType::Long, width),
        number(photo, EXIF_TAG_PIXEL_Y_DIMENSION, ExifType::Long, height) };
}

void addThumbnail(ExifData& data, std::span<const std::uint8_t> thumbnail)
{
    constexpr auto image = ExifDirectory::Image;
    constexpr int jpeg = 6, inches = 2, centred = 1;
    add(data, EXIF_IFD_1, number(image, EXIF_TAG_COMPRESSION, ExifType::Short, jpeg));
    add(data, EXIF_IFD_1, number(image, EXIF_TAG_X_RESOLUTION, ExifType::Rational, 72));
    add(data, EXIF_IFD_1, number(image, EXIF_TAG_Y_RESOLUTION, ExifType::Rational, 72));
    add(data, EXIF_IFD_1, number(image, EXIF_TAG_RESOLUTION_UNIT, ExifType::Short, inches));
    add(data, EXIF_IFD_1, number(image, EXIF_TAG_YCBCR_POSITIONING, ExifType::Short, centred));
    ExifMem* memory = exif_mem_new_default();
    data.data = static_cast<unsigned char*>(exif_mem_alloc(memory, static_cast<ExifLong>(thumbnail.size())));
    data.size = static_cast<unsigned int>(thumbnail.size());
    std::copy(thumbnail.begin(), thumbnail.end(), data.data);
    exif_mem_unref(memory);
}

std::vector<std::uint8_t> saved(ExifData& data)
{
    unsigned char* bytes = nullptr;
    unsigned int size = 0;
    exif_data_save_data(&data, &bytes, &size);
    const std::unique_ptr<unsigned char, decltype(&std::free)> owner(bytes, &std::free);
    return { bytes, bytes + size };
}

std::vector<std::uint8_t> build(
    const ExifFields& fields, std::int32_t width, std::int32_t height, std::span<const std::uint8_t> thumbnail)
{
    const Data data(exif_data_new());
    exif_data_unset_option(data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
    exif_data_set_byte_order(data.get(), order);
    const auto put = [&data](const ExifField& field) {
        add(*data, field.directory == ExifDirectory::Image ? EXIF_IFD_0 : EXIF_IFD_EXIF, field);
    };
    for (const ExifField& field : fields.fields)
        put(field);
    for (const ExifField& field : required(fields.orientation, width, height))
        if (!fields.find(field.directory, field.tag))
            put(field);
    if (!thumbnail.empty())
        addThumbnail(*data, thumbnail);
    return saved(*data);
}

}

std::vector<std::uint8_t> exifBlock(
    const ExifFields& fields, std::int32_t width, std::int32_t height, std::span<const std::uint8_t> thumbnail)
{
    std::vector<std::uint8_t> block = build(fields, width, height, thumbnail);
    if (block.size() > mostInSegment)
        block = build(fields, width, height, {});
    if (block.size() > mostInSegment)
        throw cannotWrite("The picture's metadata takes " + std::to_string(block.size())
            + " bytes and a JPEG holds 65533 at most. Shorten its texts or its maker note.");
    return block;
}

}
