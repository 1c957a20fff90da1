// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/ThumbnailCache.h"

#include "platform/CoreGraphics/CGImage.h"
#include "platform/CoreMedia/CVPixelBuffer.h"
#include "platform/Foundation/NSError.h"
#include "platform/ImageIO/ImageDecoder.h"

#include <cairo.h>
#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::array<std::pair<int, const char*>, 4> folders { { { 128, "normal" }, { 256, "large" },
    { 512, "x-large" }, { 1024, "xx-large" } } };
constexpr std::size_t pngHead = 8 + 25; // the signature and the first chunk

std::string cacheFolder()
{
    if (const char* cache = std::getenv("XDG_CACHE_HOME"); cache && *cache == '/')
        return cache;
    const char* home = std::getenv("HOME");
    return home && *home == '/' ? std::string(home) + "/.cache" : std::string();
}

std::optional<std::int64_t> modificationOf(const std::string& file)
{
    struct stat status { };
    if (::stat(file.c_str(), &status) != 0)
        return std::nullopt;
    return status.st_mtim.tv_sec;
}

std::string uriOf(const std::string& file)
{
    const std::unique_ptr<char, void (*)(void*)> uri(g_filename_to_uri(file.c_str(), nullptr, nullptr), g_free);
    return uri ? uri.get() : std::string();
}

std::string pathFor(const std::string& uri, const char* folder)
{
    const auto cache = cacheFolder();
    if (cache.empty() || uri.empty())
        return {};
    const std::unique_ptr<char, void (*)(void*)> digest(
        g_compute_checksum_for_string(G_CHECKSUM_MD5, uri.c_str(), -1), g_free);
    return cache + "/thumbnails/" + folder + "/" + digest.get() + ".png";
}

std::uint32_t bigEndian(std::span<const std::uint8_t> bytes)
{
    return static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16
        | static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
}

std::string bytesOf(std::uint32_t number)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>(number >> shift & 0xFF);
    return text;
}

std::uint32_t checksum(std::string_view bytes)
{
    std::uint32_t value = 0xFFFFFFFF;
    for (const char byte : bytes) {
        value ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit)
            value = value >> 1 ^ ((value & 1) != 0 ? 0xEDB88320 : 0);
    }
    return ~value;
}

/// A chunk of a PNG that says something in words.
std::string textChunk(const std::string& key, const std::string& text)
{
    const auto content = "tEXt" + key + '\0' + text;
    return bytesOf(static_cast<std::uint32_t>(content.size() - 4)) + content + bytesOf(checksum(content));
}

std::string textIn(std::span<const std::uint8_t> png, std::string_view key)
{
    for (std::size_t at = 8; at + 12 <= png.size();) {
        const std::size_t length = bigEndian(png.subspan(at, 4));
        if (length > png.size() - at - 12)
            break;
        const auto content = png.subspan(at + 8, length);
        if (std::memcmp(png.data() + at + 4, "tEXt", 4) == 0 && length > key.size() && content[key.size()] == 0
            && std::equal(key.begin(), key.end(), content.begin()))
            return { content.begin() + static_cast<std::ptrdiff_t>(key.size()) + 1, content.end() };
        at += 12 + length;
    }
    return {};
}

cairo_status_t appendTo(void* bytes, const unsigned char* data, unsigned int length)
{
    auto& to = *static_cast<Bytes*>(bytes);
    to.insert(to.end(), data, data + length);
    return CAIRO_STATUS_SUCCESS;
}

Bytes encoded(const CGImage& image)
{
    auto* pixels = const_cast<std::uint8_t*>(image.pixels()); // Cairo only reads them
    cairo_surface_t* surface = cairo_image_surface_create_for_data(
        pixels, CAIRO_FORMAT_ARGB32, image.width(), image.height(), static_cast<int>(image.stride()));
    Bytes bytes;
    if (cairo_surface_write_to_png_stream(surface, appendTo, &bytes) != CAIRO_STATUS_SUCCESS)
        bytes.clear();
    cairo_surface_destroy(surface);
    return bytes;
}

/// Whole, or not at all; nobody else may read it.
void writeWhole(const std::string& path, const Bytes& bytes)
{
    auto part = path + ".XXXXXX";
    const int descriptor = ::mkostemp(part.data(), O_CLOEXEC); // 0600
    if (descriptor < 0)
        return;
    const bool written = ::write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    if (::close(descriptor) != 0 || !written || ::rename(part.c_str(), path.c_str()) != 0)
        ::unlink(part.c_str());
}

void makePrivateFolder(const std::filesystem::path& folder)
{
    std::error_code ignored;
    std::filesystem::create_directories(folder.parent_path().parent_path(), ignored);
    ::mkdir(folder.parent_path().c_str(), 0700);
    ::mkdir(folder.c_str(), 0700);
}

std::shared_ptr<const CGImage> readThumbnail(const std::string& path, const std::string& uri, std::int64_t modified)
{
    std::ifstream stream(path, std::ios::binary);
    const Bytes bytes { std::istreambuf_iterator<char>(stream), {} };
    const auto decoder = ImageDecoder::installed();
    if (!decoder || bytes.empty() || textIn(bytes, "Thumb::URI") != uri
        || textIn(bytes, "Thumb::MTime") != std::to_string(modified))
        return nullptr;
    try {
        return CGImage::withPixelBuffer(decoder->decode(bytes));
    } catch (const NSError&) {
        return nullptr; // made again
    }
}

}

int ThumbnailCache::sizeFor(int longerSide)
{
    const auto* found
        = std::find_if(std::begin(sizes), std::end(sizes), [longerSide](int size) { return size >= longerSide; });
    return found == std::end(sizes) ? 0 : *found;
}

ThumbnailCache::Found ThumbnailCache::find(const std::string& file, int longerSide)
{
    const auto modified = modificationOf(file);
    const auto uri = uriOf(file);
    Found best;
    if (!modified)
        return best;
    for (const auto& [size, folder] : folders) {
        auto image = readThumbnail(pathFor(uri, folder), uri, *modified);
        if (!image)
            continue;
        const int side = std::max(image->width(), image->height());
        best = { std::move(image), side >= longerSide || side < size }; // smaller than its kind: the photo is
        if (best.isLargeEnough)
            break;
    }
    return best;
}

void ThumbnailCache::keep(const std::string& file, const CGImage& image)
{
    const int size = sizeFor(std::max(image.width(), image.height()));
    const auto modified = modificationOf(file);
    const auto uri = uriOf(file);
    if (size == 0 || !modified || file.starts_with(cacheFolder() + "/thumbnails/"))
        return;
    const auto* folder
        = std::find_if(folders.begin(), folders.end(), [size](const auto& each) { return each.first == size; })->second;
    const auto path = pathFor(uri, folder);
    const auto png = encoded(image);
    if (path.empty() || png.size() < pngHead)
        return;
    const auto words = textChunk("Thumb::URI", uri) + textChunk("Thumb::MTime", std::to_string(*modified))
        + textChunk("Software", "Velmora");
    Bytes whole(png.begin(), png.begin() + pngHead);
    whole.insert(whole.end(), words.begin(), words.end());
    whole.insert(whole.end(), png.begin() + pngHead, png.end());
    makePrivateFolder(std::filesystem::path(path).parent_path());
    writeWhole(path, whole);
}

}
