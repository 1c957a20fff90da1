// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <fstream>
#include <functional>
#include <string>

namespace velmora::tests {

/// Writes an uncompressed PNG, pixel by pixel, so that footage is known to the last bit.
inline void writePNG(const std::string& file, int width, int height,
    const std::function<std::array<std::uint8_t, 3>(int x, int y)>& pixel)
{
    const auto number = [](std::uint32_t value) {
        std::string bytes;
        for (const int shift : { 24, 16, 8, 0 })
            bytes += static_cast<char>((value >> shift) & 0xFF);
        return bytes;
    };
    const auto crc = [](const std::string& bytes) {
        std::uint32_t sum = 0xFFFFFFFF;
        for (const char byte : bytes) {
            sum ^= static_cast<unsigned char>(byte);
            for (int bit = 0; bit < 8; ++bit)
                sum = (sum >> 1) ^ ((sum & 1) != 0 ? 0xEDB88320 : 0);
        }
        return ~sum;
    };
    const auto chunk = [&](const std::string& kind, const std::string& body) {
        return number(static_cast<std::uint32_t>(body.size())) + kind + body + number(crc(kind + body));
    };

    std::string rows;
    for (int y = 0; y < height; ++y) {
        rows += '\0';
        for (int x = 0; x < width; ++x)
            for (const std::uint8_t level : pixel(x, y))
                rows += static_cast<char>(level);
    }
    std::uint32_t a = 1, b = 0;
    for (const char byte : rows) {
        a = (a + static_cast<unsigned char>(byte)) % 65521;
        b = (b + a) % 65521;
    }
    std::string stored = "\x78\x01";
    constexpr std::size_t most = 65535;
    for (std::size_t at = 0; at < rows.size(); at += most) {
        const std::string block = rows.substr(at, most);
        const auto length = static_cast<std::uint16_t>(block.size());
        stored += at + most >= rows.size() ? '\1' : '\0';
        for (const int part : { length & 0xFF, length >> 8, ~length & 0xFF, (~length >> 8) & 0xFF })
            stored += static_cast<char>(part);
        stored += block;
    }
    std::ofstream(file, std::ios::binary) << std::string("\x89PNG\r\n\x1a\n")
            + chunk("IHDR",
                number(static_cast<std::uint32_t>(width)) + number(static_cast<std::uint32_t>(height))
                    + std::string("\x08\x02\0\0\0", 5))
            + chunk("IDAT", stored + number(b << 16 | a)) + chunk("IEND", "");
}

}
