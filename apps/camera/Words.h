// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "velmora/model/QVLensType.h"

#include "platform/AVFoundation/AVMediaTypes.h"

#include <array>
#include <string>

namespace velmora::camera {

/// A value under the word that the command line and the reports have for it.
template <class Value> struct Choice {
    const char* word;
    Value value;
};
template <class Value> Choice(const char*, Value) -> Choice<Value>;

inline constexpr std::array positionWords { Choice { "back", AVCaptureDevicePositionBack },
    Choice { "front", AVCaptureDevicePositionFront } };
inline constexpr std::array lensWords { Choice { "wide", QVLensTypeWideAngle }, Choice { "tele", QVLensTypeTelephoto },
    Choice { "ultrawide", QVLensTypeUltraWide }, Choice { "dual", QVLensTypeDual },
    Choice { "dualwide", QVLensTypeDualWide }, Choice { "triple", QVLensTypeTriple },
    Choice { "truedepth", QVLensTypeTrueDepth } };

/// The word for a value; empty when there is none.
template <class Choices, class Value> std::string wordFor(const Choices& choices, Value value)
{
    for (const auto& choice : choices)
        if (choice.value == value)
            return choice.word;
    return {};
}
template <class Choices> std::string wordsOf(const Choices& choices, const std::string& separator)
{
    std::string words;
    for (const auto& choice : choices)
        words += (words.empty() ? "" : separator) + choice.word;
    return words;
}

}
