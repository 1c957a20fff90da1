// SPDX-License-Identifier: Apache-2.0
#include "drivers/media/PictureDecoder.h"

#include "platform/ImageIO/ImageHeader.h"

#include "drivers/media/DNGPicture.h"
#include "drivers/media/JPEGPicture.h"
#include "drivers/media/MediaErrors.h"
#include "drivers/media/MovieFileReader.h"
#include "drivers/media/PNGPicture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

namespace velmora::drivers::media {

namespace {

constexpr std::int64_t mostBytes = 2'000'000'000;

class OpenFile {
public:
    explicit OpenFile(const std::string& path)
        : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {
        if (descriptor_ < 0)
            throw errorFromErrno(errno, "The picture " + path + " cannot be opened");
    }
    ~OpenFile() { ::close(descriptor_); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    std::vector<std::uint8_t> content(const std::string& path) const
    {
        struct stat status { };
        if (::fstat(descriptor_, &status) != 0)
            throw errorFromErrno(errno, "The picture " + path + " cannot be read");
        if (S_ISDIR(status.st_mode))
            throw errorFromErrno(EISDIR, "The picture " + path + " cannot be read");
        if (!S_ISREG(status.st_mode))
            throw damaged(path + " is no ordinary file. Name a JPEG or PNG picture.");
        if (status.st_size > mostBytes)
            throw tooLarge("The picture " + path + " takes " + std::to_string(status.st_size)
                + " bytes, more than can be opened. Make it smaller.");
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(status.st_size));
        std::size_t filled = 0;
        while (filled < bytes.size()) {
            const ssize_t count = ::read(descriptor_, bytes.data() + filled, bytes.size() - filled);
            if (count < 0 && errno != EINTR)
                throw errorFromErrno(errno, "The picture " + path + " cannot be read");
            if (count == 0)
                break;
            filled += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
        bytes.resize(filled);
        return bytes;
    }

private:
    int descriptor_;
};

/// The picture turned and mirrored so that the first row is the top and the first column the left.
std::shared_ptr<CVPixelBuffer> upright(std::shared_ptr<CVPixelBuffer> stored, int orientation)
{
    if (orientation == 1)
        return stored;
    const bool turned = orientation >= 5;
    const std::int32_t width = turned ? stored->height() : stored->width();
    const std::int32_t height = turned ? stored->width() : stored->height();
    const auto result = CVPixelBuffer::create(width, height, kCVPixelFormatType_32BGRA);
    const CVPixelBuffer::Plane &from = stored->planes()[0], &to = result->planes()[0];
    const bool fromRight = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
    const bool fromBottom = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
    for (std::int32_t y = 0; y < height; ++y) {
        std::uint8_t* row = to.data + static_cast<std::size_t>(y) * to.stride;
        for (std::int32_t x = 0; x < width; ++x) {
            const std::int32_t column = turned ? y : x, line = turned ? x : y;
            const auto sourceX = static_cast<std::size_t>(fromRight ? stored->width() - 1 - column : column);
            const auto sourceY = static_cast<std::size_t>(fromBottom ? stored->height() - 1 - line : line);
            std::memcpy(row + std::size_t { 4 } * static_cast<std::size_t>(x),
                from.data + sourceY * from.stride + 4 * sourceX, 4);
        }
    }
    return result;
}

bool isMovie(const std::string& path)
{
    return imageHeaderOfFile(path).kind == ImageHeader::Movie;
}

std::shared_ptr<CVPixelBuffer> firstPicture(const std::string& path)
{
    int orientation = 1;
    auto stored = MovieFileReader::firstPicture(path, &orientation);
    return upright(std::move(stored), orientation);
}

}

std::shared_ptr<CVPixelBuffer> PictureDecoder::decodeFile(const std::string& path)
{
    if (isMovie(path))
        return firstPicture(path);
    return decode(OpenFile(path).content(path));
}

std::shared_ptr<CVPixelBuffer> PictureDecoder::decodeFileToCover(const std::string& path, int width, int height)
{
    if (isMovie(path))
        return firstPicture(path);
    const auto data = OpenFile(path).content(path);
    if (!isJPEG(data) && !isTIFF(data))
        return decode(data);
    const int orientation = isJPEG(data) ? orientationOfJPEG(data) : orientationOfTIFF(data);
    if (orientation >= 5)
        std::swap(width, height);
    return upright(isJPEG(data) ? decodeJPEG(data, width, height) : decodeDNG(data, width, height), orientation);
}

std::shared_ptr<CVPixelBuffer> PictureDecoder::decode(std::span<const std::uint8_t> data)
{
    if (isJPEG(data))
        return upright(decodeJPEG(data), orientationOfJPEG(data));
    if (isPNG(data))
        return upright(decodePNG(data), orientationOfPNG(data));
    if (isTIFF(data))
        return upright(decodeDNG(data), orientationOfTIFF(data));
    if (data.empty())
        throw damaged("The picture is empty. Use another copy of the file.");
    throw damaged("The file is no JPEG, PNG or DNG picture. Convert it to one of them.");
}

}
