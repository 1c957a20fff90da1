// SPDX-License-Identifier: Apache-2.0
#include "tests/apps/camera/CameraProgram.h"

#include "tests/support/Subprocess.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace velmora::tests {

namespace fs = std::filesystem;

const char* const smallPhone = R"({
  "formats": { "small": { "size": [640, 480], "highResolutionStill": [640, 480] } },
  "cameras": [ { "id": "back-wide", "type": "wide", "position": "back", "formats": ["small"],
                 "presets": { "AVCaptureSessionPresetPhoto": "small", "AVCaptureSessionPresetHigh": "small" },
                 "rawFormats": ["bgg4"] } ]
})";

CameraProgram::CameraProgram()
{
    fs::create_directory(path("home"));
    write("small.json", smallPhone);
}

ProgramOutcome CameraProgram::run(const std::string& arguments, const std::string& before) const
{
    return runLine(before + " $camera " + arguments);
}

ProgramOutcome CameraProgram::runLine(const std::string& line) const
{
    const auto errors = path("stderr");
    const Outcome outcome = runCommand("cd '" + folder.path() + "' && export HOME='" + path("home")
        + "' TZ=Asia/Kathmandu && unset XDG_PICTURES_DIR XDG_CONFIG_HOME && export "
          "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere DBUS_SESSION_BUS_ADDRESS=unix:path=/nowhere "
          "VELMORA_GPSD=127.0.0.1:1 PIPEWIRE_RUNTIME_DIR='"
        + folder.path() + "' && camera='" VELMORA_CAMERA "' && { " + line + "; } 2>'" + errors + "'");
    std::ifstream file(errors);
    return { outcome.status, outcome.output, { std::istreambuf_iterator<char>(file), {} } };
}

void CameraProgram::write(const std::string& name, const std::string& text) const
{
    std::ofstream(path(name)) << text;
}

std::vector<std::string> CameraProgram::filesIn(const std::string& name) const
{
    std::vector<std::string> names;
    if (fs::exists(path(name)))
        for (const auto& entry : fs::recursive_directory_iterator(path(name)))
            if (!entry.is_directory())
                names.push_back(fs::relative(entry.path(), path(name)).string());
    std::sort(names.begin(), names.end());
    return names;
}

}
