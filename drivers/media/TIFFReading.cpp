// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/TIFFReading.h"

#include "drivers/media/MediaErrors.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

namespace velmora::drivers::media {

TIFFReading::TIFFReading(std::span<const std::uint8_t> data)
    : data_(data)
{
    const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(
        TIFFOpenOptionsAlloc(), &TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), fail, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), pass, this);
    tiff_ = TIFFClientOpenExt(
        "picture", "rm", this, readBytes, writeBytes, seek, close, size, nullptr, nullptr, options.get());
    if (!tiff_)
        throw damaged("The DNG picture is damaged: " + trouble_ + ". Use another copy of the file.");
}

TIFFReading::~TIFFReading()
{
    TIFFClose(tiff_);
}

void TIFFReading::goTo(std::uint64_t directory)
{
    if (TIFFSetSubDirectory(tiff_, directory) == 0)
        throw damaged("The DNG picture is damaged: " + trouble_ + ". Use another copy of the file.");
}

bool TIFFReading::get(std::uint32_t tag, ...) const
{
    va_list values;
    va_start(values, tag);
    const bool is = TIFFVGetField(tiff_, tag, values) != 0;
    va_end(values);
    return is;
}

int TIFFReading::fail(tiff*, void* self, const char*, const char* format, va_list arguments)
{
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    static_cast<TIFFReading*>(self)->trouble_ = text;
    return 1;
}

int TIFFReading::pass(tiff*, void*, const char*, const char*, va_list)
{
    return 1;
}

std::ptrdiff_t TIFFReading::readBytes(void* self, void* to, std::ptrdiff_t count)
{
    auto& file = *static_cast<TIFFReading*>(self);
    const auto there = file.data_.size() - std::min<std::uint64_t>(file.position_, file.data_.size());
    const auto taken = std::min(there, static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0)));
    if (taken > 0)
        std::memcpy(to, file.data_.data() + file.position_, taken);
    file.position_ += taken;
    return static_cast<std::ptrdiff_t>(taken);
}

std::ptrdiff_t TIFFReading::writeBytes(void*, void*, std::ptrdiff_t)
{
    return -1;
}

std::uint64_t TIFFReading::seek(void* self, std::uint64_t offset, int origin)
{
    auto& file = *static_cast<TIFFReading*>(self);
    file.position_ = offset + (origin == SEEK_CUR ? file.position_ : origin == SEEK_END ? file.data_.size() : 0);
    return file.position_;
}

int TIFFReading::close(void*)
{
    return 0;
}

std::uint64_t TIFFReading::size(void* self)
{
    return static_cast<TIFFReading*>(self)->data_.size();
}

}
