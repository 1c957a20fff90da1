// SPDX-License-Identifier: Apache-2.0
#include "platform/Photos/RandomIdentifier.h"

#include <sys/random.h>

#include <array>
#include <cstdint>
#include <random>

namespace velmora {

namespace {

std::array<std::uint8_t, 16> randomBytes()
{
    std::array<std::uint8_t, 16> bytes {};
    if (getrandom(bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()))
        return bytes;
    std::random_device device; // a kernel that refuses the call has the device
    for (auto& byte : bytes)
        byte = static_cast<std::uint8_t>(device());
    return bytes;
}

}

std::string randomIdentifier()
{
    auto bytes = randomBytes();
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40); // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            text += '-';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0x0F];
    }
    return text;
}

}
