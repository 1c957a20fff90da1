// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/TIFFMemory.h"

#include "drivers/media/MediaErrors.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

namespace velmora::drivers::media {

namespace {

template <class T> void place(std::vector<std::uint8_t>& bytes, T value)
{
    const auto* first = reinterpret_cast<const std::uint8_t*>(&value);
    bytes.insert(bytes.end(), first, first + sizeof value);
}

/// Numbers laid out with `size` bytes each, as the library keeps those of the field.
std::vector<std::uint8_t> laidOut(const ExifField& field, int size)
{
    std::vector<std::uint8_t> bytes;
    const bool fraction = field.type == ExifType::Rational || field.type == ExifType::SignedRational;
    for (const Fraction& number : field.numbers) {
        const double real = static_cast<double>(number.numerator) / static_cast<double>(number.denominator);
        if (fraction && size == 8)
            place(bytes, real);
        else if (fraction)
            place(bytes, static_cast<float>(real));
        else if (size == 2)
            place(bytes, static_cast<std::uint16_t>(number.numerator));
        else
            place(bytes, static_cast<std::uint32_t>(number.numerator));
    }
    return bytes;
}

}

TIFFMemory::TIFFMemory(std::size_t expectedBytes)
{
    bytes_.reserve(expectedBytes);
    const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(
        TIFFOpenOptionsAlloc(), &TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), fail, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), pass, this);
    tiff_ = TIFFClientOpenExt("picture", "w", this, read, write, seek, close, size, nullptr, nullptr, options.get());
    check(tiff_ != nullptr);
}

TIFFMemory::~TIFFMemory()
{
    if (tiff_)
        TIFFCleanup(tiff_);
}

void TIFFMemory::setWhole(std::uint32_t tag, std::uint32_t value)
{
    check(TIFFSetField(tiff_, tag, value) != 0, tag);
}

void TIFFMemory::setReal(std::uint32_t tag, double value)
{
    check(TIFFSetField(tiff_, tag, value) != 0, tag);
}

void TIFFMemory::setText(std::uint32_t tag, const std::string& value)
{
    check(TIFFSetField(tiff_, tag, value.c_str()) != 0, tag);
}

void TIFFMemory::setFixed(std::uint32_t tag, const void* values)
{
    check(TIFFSetField(tiff_, tag, values) != 0, tag);
}

void TIFFMemory::setCounted(std::uint32_t tag, int count, const void* values)
{
    check(TIFFSetField(tiff_, tag, count, values) != 0, tag);
}

void TIFFMemory::setFractions(std::uint32_t tag, std::span<const double> values)
{
    const std::vector<float> floats(values.begin(), values.end());
    setCounted(tag, static_cast<int>(floats.size()), floats.data());
    for (const double value : values)
        exact_[tag].push_back(nearestFraction(value));
}

void TIFFMemory::set(const ExifField& field)
{
    if (field.type == ExifType::Rational || field.type == ExifType::SignedRational)
        exact_[field.tag] = field.numbers;
    const TIFFField* known = TIFFFindField(tiff_, field.tag, TIFF_ANY);
    if (!known) {
        const TIFFFieldInfo info { field.tag, TIFF_VARIABLE, TIFF_VARIABLE,
            static_cast<TIFFDataType>(static_cast<int>(field.type)), FIELD_CUSTOM, 1,
            static_cast<unsigned char>(field.type == ExifType::Ascii ? 0 : 1), const_cast<char*>("Another") };
        check(TIFFMergeFieldInfo(tiff_, &info, 1) == 0, field.tag);
        known = TIFFFindField(tiff_, field.tag, TIFF_ANY);
    }
    if (field.type == ExifType::Ascii)
        return setText(field.tag, field.bytes);

    const bool opaque = field.type == ExifType::Undefined;
    std::vector<std::uint8_t> values(field.bytes.begin(), field.bytes.end());
    if (!opaque)
        values = laidOut(field, TIFFFieldSetGetSize(known));
    const std::size_t count = opaque ? field.bytes.size() : field.numbers.size();
    if (TIFFFieldPassCount(known))
        return setCounted(field.tag, static_cast<int>(count), values.data());
    if (TIFFFieldWriteCount(known) > 1) {
        if (count != static_cast<std::size_t>(TIFFFieldWriteCount(known)))
            throw cannotWrite("The picture's metadata cannot be written: the tag " + std::to_string(field.tag) + " has "
                + std::to_string(TIFFFieldWriteCount(known)) + " values. Correct it or leave it out.");
        return setFixed(field.tag, values.data());
    }
    if (opaque)
        return setWhole(field.tag, values[0]);
    const Fraction number = field.numbers[0];
    if (field.type == ExifType::Short || field.type == ExifType::Long)
        return setWhole(field.tag, static_cast<std::uint32_t>(number.numerator));
    setReal(field.tag, static_cast<double>(number.numerator) / static_cast<double>(number.denominator));
}

void TIFFMemory::writeStrip(std::uint32_t strip, const std::vector<std::uint8_t>& rows)
{
    // The library does not change what it writes, but is declared as if it did.
    const tmsize_t count = TIFFWriteEncodedStrip(
        tiff_, strip, const_cast<std::uint8_t*>(rows.data()), static_cast<tmsize_t>(rows.size()));
    check(count == static_cast<tmsize_t>(rows.size()));
}

void TIFFMemory::writeDirectory()
{
    check(TIFFWriteDirectory(tiff_) != 0);
}

void TIFFMemory::beginExif()
{
    check(TIFFCreateEXIFDirectory(tiff_) == 0);
}

std::uint64_t TIFFMemory::writeExif()
{
    check(TIFFWriteCustomDirectory(tiff_, &exif_) != 0);
    return exif_;
}

void TIFFMemory::linkExif(std::uint64_t place)
{
    check(TIFFSetDirectory(tiff_, 0) != 0);
    check(TIFFSetField(tiff_, TIFFTAG_EXIFIFD, place) != 0, TIFFTAG_EXIFIFD);
    check(TIFFRewriteDirectory(tiff_) != 0);
}

std::vector<std::uint8_t> TIFFMemory::finished()
{
    TIFFClose(std::exchange(tiff_, nullptr));
    check(trouble_.empty());
    std::uint32_t first = 0;
    std::memcpy(&first, bytes_.data() + 4, sizeof first);
    correctDirectory(first);
    if (exif_ != 0)
        correctDirectory(exif_);
    return std::move(bytes_);
}

/// The library keeps fractions as floats, and calls the place of a directory by a type that older readers do not know.
void TIFFMemory::correctDirectory(std::size_t place)
{
    constexpr std::uint16_t longType = 4;
    std::uint16_t count = 0;
    std::memcpy(&count, bytes_.data() + place, sizeof count);
    for (std::size_t i = 0; i < count; ++i) {
        std::uint8_t* entry = bytes_.data() + place + 2 + 12 * i;
        std::uint16_t tag = 0;
        std::memcpy(&tag, entry, sizeof tag);
        if (tag == TIFFTAG_SUBIFD)
            std::memcpy(entry + 2, &longType, sizeof longType);
        const auto found = exact_.find(tag);
        if (found == exact_.end())
            continue;
        std::uint32_t values = 0;
        std::memcpy(&values, entry + 8, sizeof values);
        for (const Fraction& fraction : found->second) {
            const std::array parts { static_cast<std::uint32_t>(fraction.numerator),
                static_cast<std::uint32_t>(fraction.denominator) };
            std::memcpy(bytes_.data() + values, parts.data(), sizeof parts);
            values += sizeof parts;
        }
    }
}

int TIFFMemory::fail(tiff*, void* self, const char*, const char* format, va_list arguments)
{
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    static_cast<TIFFMemory*>(self)->trouble_ = text;
    return 1;
}

int TIFFMemory::pass(tiff*, void*, const char*, const char*, va_list)
{
    return 1;
}

std::ptrdiff_t TIFFMemory::read(void* self, void* to, std::ptrdiff_t count)
{
    auto& file = *static_cast<TIFFMemory*>(self);
    const std::size_t there = file.bytes_.size() - std::min<std::size_t>(file.position_, file.bytes_.size());
    const std::size_t taken = std::min(there, static_cast<std::size_t>(count));
    std::memcpy(to, file.bytes_.data() + file.position_, taken);
    file.position_ += taken;
    return static_cast<std::ptrdiff_t>(taken);
}

std::ptrdiff_t TIFFMemory::write(void* self, void* from, std::ptrdiff_t count)
{
    auto& file = *static_cast<TIFFMemory*>(self);
    const std::size_t end = file.position_ + static_cast<std::size_t>(count);
    const auto* first = static_cast<const std::uint8_t*>(from);
    if (file.position_ == file.bytes_.size())
        file.bytes_.insert(file.bytes_.end(), first, first + count);
    else {
        if (end > file.bytes_.size())
            file.bytes_.resize(end);
        std::memcpy(file.bytes_.data() + file.position_, first, static_cast<std::size_t>(count));
    }
    file.position_ = end;
    return count;
}

std::uint64_t TIFFMemory::seek(void* self, std::uint64_t offset, int origin)
{
    auto& file = *static_cast<TIFFMemory*>(self);
    if (origin == SEEK_SET)
        file.position_ = offset;
    else
        file.position_ = (origin == SEEK_CUR ? file.position_ : file.bytes_.size()) + offset;
    return file.position_;
}

int TIFFMemory::close(void*)
{
    return 0;
}

std::uint64_t TIFFMemory::size(void* self)
{
    return static_cast<TIFFMemory*>(self)->bytes_.size();
}

void TIFFMemory::check(bool done, std::uint32_t tag) const
{
    if (done)
        return;
    throw cannotWrite("The DNG picture cannot be written" + (trouble_.empty() ? std::string() : ": " + trouble_)
        + (tag == 0 ? std::string() : " (tag " + std::to_string(tag) + ")") + ".");
}

}
