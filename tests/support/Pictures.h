// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/CoreMedia/CVPixelBuffer.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace velmora::tests {

/// Red, green and blue of a pixel of a 'BGRA' picture.
std::array<int, 3> colourAt(const CVPixelBuffer& pixels, int x, int y);

/// '420f' pixels of a 'BGRA' picture: BT.601, full range, each chroma sample the mean of its four pixels.
std::shared_ptr<CVPixelBuffer> as420f(const CVPixelBuffer& picture);

/// 'BGRA' pixels that a formula fills: slow waves of all three colours, no two rows alike.
std::shared_ptr<CVPixelBuffer> wavyPicture(int width, int height);

/// The path of a picture in the project's footage folder.
std::string footage(const std::string& name);

/// Decibels between two '420f' pictures of one size, over their luma.
double lumaSignalToNoise(const CVPixelBuffer& a, const CVPixelBuffer& b);

}
