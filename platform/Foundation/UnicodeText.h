// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace velmora {

/// Texts are UTF-8 everywhere; files hold other forms.

/// What stands for characters that cannot be read.
inline constexpr char32_t replacementCharacter = 0xFFFD;

/// Reads the character at `at` and moves on; an ill-formed sequence is one replacement character for its first byte.
char32_t nextCharacter(std::string_view utf8, std::size_t& at, bool* isIllFormed = nullptr);
void appendCharacter(std::string& utf8, char32_t character);

bool isUTF8(std::string_view text);
std::u16string utf16(std::string_view utf8);
/// Surrogates without their partner become replacement characters.
std::string utf8(std::u16string_view utf16);

}
