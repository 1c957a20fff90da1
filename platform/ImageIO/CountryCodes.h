// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace velmora {

/// The three letters of ISO 3166-1 for its two: "JPN" for "JP"; empty for a code that is none.
std::string threeLetterCountryCode(std::string_view twoLetters);

}
