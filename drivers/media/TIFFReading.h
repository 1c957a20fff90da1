// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

struct tiff;

namespace velmora::drivers::media {

/// A TIFF file in memory, open for reading; the memory outlives it.
class TIFFReading {
public:
    /// Throws NSError for what is none.
    explicit TIFFReading(std::span<const std::uint8_t> data);
    ~TIFFReading();
    TIFFReading(const TIFFReading&) = delete;
    TIFFReading& operator=(const TIFFReading&) = delete;

    tiff* handle() const { return tiff_; }
    /// What the library complained of last.
    const std::string& trouble() const { return trouble_; }
    /// A tag of the current directory, as the library hands it over; false without it.
    template <class... Values> bool read(std::uint32_t tag, Values*... values) const { return get(tag, values...); }
    /// Throws NSError.
    void goTo(std::uint64_t directory);

private:
    bool get(std::uint32_t tag, ...) const;
    static int fail(tiff*, void* self, const char* module, const char* format, __builtin_va_list arguments);
    static int pass(tiff*, void* self, const char* module, const char* format, __builtin_va_list arguments);
    static std::ptrdiff_t readBytes(void* self, void* to, std::ptrdiff_t count);
    static std::ptrdiff_t writeBytes(void* self, void* from, std::ptrdiff_t count);
    static std::uint64_t seek(void* self, std::uint64_t offset, int origin);
    static int close(void* self);
    static std::uint64_t size(void* self);

    std::span<const std::uint8_t> data_;
    std::uint64_t position_ = 0;
    std::string trouble_;
    tiff* tiff_ = nullptr;
};

}
