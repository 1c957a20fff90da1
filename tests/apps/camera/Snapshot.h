// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/ImageIO/ImageDecoder.h"

#include "drivers/media/install.h"

#include "tests/support/Pictures.h"

#include <array>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/apps/camera/CameraProgram.h"

namespace velmora::tests {

/// Screens of 180 by 360 points, a pixel for each, of a phone with one small camera.
class Snapshot : public CameraProgram {
protected:
    ProgramOutcome snapshot(const std::string& arguments) const
    {
        return run("--phone small.json --quiet snapshot --size 180x360 --scale 1 " + arguments);
    }
    std::string bytes(const std::string& name) const
    {
        std::ifstream file(path(name), std::ios::binary);
        return { std::istreambuf_iterator<char>(file), {} };
    }
    std::shared_ptr<CVPixelBuffer> picture(const std::string& name) const
    {
        drivers::media::install();
        return ImageDecoder::installed()->decodeFile(path(name));
    }
    /// Red, green and blue of a pixel.
    std::array<int, 3> colorAt(const std::string& name, int x, int y) const { return colourAt(*picture(name), x, y); }
};

}
