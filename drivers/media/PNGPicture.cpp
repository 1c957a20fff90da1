// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/PNGPicture.h"

#include "drivers/media/ExifOrientation.h"
#include "drivers/media/MediaErrors.h"
#include "drivers/media/PictureLimits.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstring>
#include <string>
#include <vector>

namespace velmora::drivers::media {

namespace {

constexpr std::array<std::uint8_t, 8> signature { 0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n' };

/// What the library's callbacks reach.
struct Source {
    std::span<const std::uint8_t> rest;
    std::string trouble;
};

void read(png_structp png, png_bytep to, std::size_t count)
{
    auto& source = *static_cast<Source*>(png_get_io_ptr(png));
    if (count > source.rest.size())
        png_error(png, "it ends too early");
    std::memcpy(to, source.rest.data(), count);
    source.rest = source.rest.subspan(count);
}

[[noreturn]] void fail(png_structp png, png_const_charp text)
{
    static_cast<Source*>(png_get_error_ptr(png))->trouble = text;
    png_longjmp(png, 1);
}

void pass(png_structp, png_const_charp) { }

/// A reading of one file.
class Reader {
public:
    explicit Reader(std::span<const std::uint8_t> data)
        : source_ { data, {} }
        , png_(png_create_read_struct(PNG_LIBPNG_VER_STRING, &source_, fail, pass))
        , info_(png_create_info_struct(png_))
    {
        png_set_read_fn(png_, &source_, read);
        png_set_user_limits(png_, 0x7FFFFFFF, 0x7FFFFFFF); // ours says more clearly what is wrong
    }
    ~Reader() { png_destroy_read_struct(&png_, &info_, nullptr); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    std::shared_ptr<CVPixelBuffer> decode()
    {
        if (!readHeader())
            throw damage();
        const std::uint32_t width = png_get_image_width(png_, info_), height = png_get_image_height(png_, info_);
        checkPictureSize(width, height);
        if (!askForBGRA())
            throw damage();
        const auto pixels = CVPixelBuffer::create(
            static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), kCVPixelFormatType_32BGRA);
        const CVPixelBuffer::Plane& plane = pixels->planes()[0];
        rows_.resize(height);
        for (std::uint32_t y = 0; y < height; ++y)
            rows_[y] = plane.data + y * plane.stride;
        if (!readRows())
            throw damage();
        for (png_bytep row : rows_)
            overBlack(row, width);
        return pixels;
    }

private:
    // The library jumps back here when it meets an error; nothing with a destructor lives in these three.
    bool readHeader()
    {
        if (setjmp(png_jmpbuf(png_)) != 0)
            return false;
        png_read_info(png_, info_);
        return true;
    }

    bool askForBGRA()
    {
        if (setjmp(png_jmpbuf(png_)) != 0)
            return false;
        png_set_expand(png_);
        png_set_scale_16(png_);
        if ((png_get_color_type(png_, info_) & PNG_COLOR_MASK_COLOR) == 0)
            png_set_gray_to_rgb(png_);
        png_set_add_alpha(png_, 0xFF, PNG_FILLER_AFTER);
        png_set_bgr(png_);
        png_set_interlace_handling(png_);
        png_read_update_info(png_, info_);
        return true;
    }

    bool readRows()
    {
        if (setjmp(png_jmpbuf(png_)) != 0)
            return false;
        png_read_image(png_, rows_.data());
        png_read_end(png_, info_);
        return true;
    }

    NSError damage() const
    {
        return damaged("The PNG picture is damaged: " + source_.trouble + ". Use another copy of the file.");
    }

    static void overBlack(png_bytep row, std::uint32_t width)
    {
        for (std::uint32_t x = 0; x < width; ++x) {
            png_bytep pixel = row + std::size_t { 4 } * x;
            const unsigned alpha = pixel[3];
            if (alpha == 0xFF)
                continue;
            for (int i = 0; i < 3; ++i)
                pixel[i] = static_cast<png_byte>((pixel[i] * alpha + 127) / 255);
            pixel[3] = 0xFF;
        }
    }

    Source source_;
    png_structp png_;
    png_infop info_;
    std::vector<png_bytep> rows_;
};

}

bool isPNG(std::span<const std::uint8_t> data)
{
    return data.size() >= signature.size() && std::equal(signature.begin(), signature.end(), data.begin());
}

std::shared_ptr<CVPixelBuffer> decodePNG(std::span<const std::uint8_t> data)
{
    return Reader(data).decode();
}

int orientationOfPNG(std::span<const std::uint8_t> data)
{
    // The block may stand behind the picture's data, where the library has thrown its first reading away.
    for (std::size_t at = signature.size(); at + 12 <= data.size();) {
        const std::size_t length = static_cast<std::size_t>(data[at]) << 24
            | static_cast<std::size_t>(data[at + 1]) << 16 | static_cast<std::size_t>(data[at + 2]) << 8 | data[at + 3];
        if (length > data.size() - at - 12)
            break;
        if (std::memcmp(data.data() + at + 4, "eXIf", 4) == 0)
            return exifOrientation(data.subspan(at + 8, length));
        at += 12 + length;
    }
    return 1;
}

}
