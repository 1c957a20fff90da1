// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/media/ExifFields.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

struct tiff;

namespace velmora::drivers::media {

/// A TIFF file that is written into memory. Every function throws NSError when the library refuses.
class TIFFMemory {
public:
    explicit TIFFMemory(std::size_t expectedBytes);
    ~TIFFMemory();
    TIFFMemory(const TIFFMemory&) = delete;
    TIFFMemory& operator=(const TIFFMemory&) = delete;

    // Tags of the current directory, in the forms that the library tells apart.
    void setWhole(std::uint32_t tag, std::uint32_t value);
    void setReal(std::uint32_t tag, double value);
    void setText(std::uint32_t tag, const std::string& value);
    void setFixed(std::uint32_t tag, const void* values); ///< as many as the tag always has
    void setCounted(std::uint32_t tag, int count, const void* values);
    void setFractions(std::uint32_t tag, std::span<const double> values); ///< a count goes with them
    void set(const ExifField& field);

    /// Rows of the current directory's picture, packed.
    void writeStrip(std::uint32_t strip, const std::vector<std::uint8_t>& rows);
    void writeDirectory();
    void beginExif();
    std::uint64_t writeExif(); ///< where it stands
    /// The first directory gets one more tag that points to the EXIF directory.
    void linkExif(std::uint64_t place);

    /// Closes the file and hands it over.
    std::vector<std::uint8_t> finished();

private:
    static int fail(tiff*, void* self, const char* module, const char* format, __builtin_va_list arguments);
    static int pass(tiff*, void* self, const char* module, const char* format, __builtin_va_list arguments);
    static std::ptrdiff_t read(void* self, void* to, std::ptrdiff_t count);
    static std::ptrdiff_t write(void* self, void* from, std::ptrdiff_t count);
    static std::uint64_t seek(void* self, std::uint64_t offset, int origin);
    static int close(void* self);
    static std::uint64_t size(void* self);

    void check(bool done, std::uint32_t tag = 0) const;
    void correctDirectory(std::size_t place);

    std::vector<std::uint8_t> bytes_;
    std::uint64_t position_ = 0;
    std::string trouble_;
    std::uint64_t exif_ = 0;
    std::map<std::uint32_t, std::vector<Fraction>> exact_; ///< by tag
    tiff* tiff_ = nullptr;
};

}
