// SPDX-License-Identifier: Apache-2.0
#include "drivers/photos/PicturesFolder.h"

#include <cstdlib>
#include <fstream>
#include <optional>
#include <string_view>

namespace velmora::drivers::photos {

namespace {

std::string environment(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

/// A line XDG_PICTURES_DIR="$HOME/Bilder" of ~/.config/user-dirs.dirs: the path is absolute or begins with $HOME.
std::optional<std::string> configuredPictures(const std::string& home)
{
    const auto configuration = environment("XDG_CONFIG_HOME");
    std::ifstream file((configuration.empty() ? home + "/.config" : configuration) + "/user-dirs.dirs");
    constexpr std::string_view key = "XDG_PICTURES_DIR=\"", homeVariable = "$HOME/";
    for (std::string line; std::getline(file, line);) {
        const auto end = line.rfind('"');
        if (!line.starts_with(key) || end < key.size())
            continue;
        const auto value = line.substr(key.size(), end - key.size());
        if (value.starts_with(homeVariable))
            return home + "/" + value.substr(homeVariable.size());
        if (value.starts_with('/'))
            return value;
    }
    return std::nullopt;
}

}

std::string cameraFolderOfUser()
{
    if (const auto chosen = environment("XDG_PICTURES_DIR"); chosen.starts_with('/'))
        return chosen + "/Camera";
    const auto home = environment("HOME");
    if (!home.starts_with('/'))
        return {};
    return configuredPictures(home).value_or(home + "/Pictures") + "/Camera";
}

}
