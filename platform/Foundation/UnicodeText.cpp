// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/UnicodeText.h"

namespace velmora {

namespace {

bool isHighSurrogate(char32_t c)
{
    return c >= 0xD800 && c < 0xDC00;
}
bool isLowSurrogate(char32_t c)
{
    return c >= 0xDC00 && c < 0xE000;
}

/// How many bytes follow the first one, and the bits of the character that it holds; -1 for no first byte.
int following(unsigned char first, char32_t& bits)
{
    if (first < 0x80) {
        bits = first;
        return 0;
    }
    if (first >= 0xC2 && first < 0xE0) {
        bits = first & 0x1FU;
        return 1;
    }
    if (first >= 0xE0 && first < 0xF0) {
        bits = first & 0x0FU;
        return 2;
    }
    bits = first & 0x07U;
    return first >= 0xF0 && first < 0xF5 ? 3 : -1;
}

}

char32_t nextCharacter(std::string_view utf8, std::size_t& at, bool* isIllFormed)
{
    static constexpr char32_t least[] = { 0, 0x80, 0x800, 0x10000 };
    const std::size_t begin = at++;
    char32_t character = 0;
    const int count = following(static_cast<unsigned char>(utf8[begin]), character);
    std::size_t end = at;
    for (int i = 0; i < count && end < utf8.size() && (static_cast<unsigned char>(utf8[end]) & 0xC0) == 0x80; ++i)
        character = character << 6 | (static_cast<unsigned char>(utf8[end++]) & 0x3FU);

    const bool complete = count >= 0 && end == begin + 1 + static_cast<std::size_t>(count) && character >= least[count]
        && character <= 0x10FFFF && !isHighSurrogate(character) && !isLowSurrogate(character);
    if (!complete) {
        if (isIllFormed)
            *isIllFormed = true;
        return replacementCharacter;
    }
    at = end;
    return character;
}

void appendCharacter(std::string& utf8, char32_t c)
{
    const auto byte = [&utf8](char32_t value) { utf8 += static_cast<char>(value); };
    if (c < 0x80)
        byte(c);
    else if (c < 0x800) {
        byte(0xC0 | c >> 6);
        byte(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        byte(0xE0 | c >> 12);
        byte(0x80 | (c >> 6 & 0x3F));
        byte(0x80 | (c & 0x3F));
    } else {
        byte(0xF0 | c >> 18);
        byte(0x80 | (c >> 12 & 0x3F));
        byte(0x80 | (c >> 6 & 0x3F));
        byte(0x80 | (c & 0x3F));
    }
}

bool isUTF8(std::string_view text)
{
    bool isIllFormed = false;
    for (std::size_t at = 0; at < text.size() && !isIllFormed;)
        nextCharacter(text, at, &isIllFormed);
    return !isIllFormed;
}

std::u16string utf16(std::string_view utf8)
{
    std::u16string units;
    units.reserve(utf8.size());
    for (std::size_t at = 0; at < utf8.size();) {
        const char32_t c = nextCharacter(utf8, at);
        if (c < 0x10000)
            units += static_cast<char16_t>(c);
        else {
            units += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            units += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
    }
    return units;
}

std::string utf8(std::u16string_view utf16)
{
    std::string text;
    text.reserve(utf16.size());
    for (std::size_t i = 0; i < utf16.size(); ++i) {
        const char32_t unit = utf16[i];
        if (isHighSurrogate(unit) && i + 1 < utf16.size() && isLowSurrogate(utf16[i + 1]))
            appendCharacter(text, 0x10000 + ((unit - 0xD800) << 10) + (utf16[++i] - 0xDC00U));
        else
            appendCharacter(text, isHighSurrogate(unit) || isLowSurrogate(unit) ? replacementCharacter : unit);
    }
    return text;
}

}
