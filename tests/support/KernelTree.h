// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/CameraLight.h"

#include "tests/support/TemporaryFolder.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace velmora::tests {

/// Folders with files as the kernel shows its devices there.
class KernelTree {
public:
    KernelTree()
    {
        std::filesystem::create_directories(folders().devices);
        std::filesystem::create_directories(folders().system);
    }
    drivers::cameras::KernelFolders folders() const { return { folder_.file("dev"), folder_.file("sys") }; }
    std::string path(const std::string& name) const { return folder_.file(name); }
    void write(const std::string& name, const std::string& content) const
    {
        std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
        std::ofstream(path(name)) << content;
    }
    std::string read(const std::string& name) const
    {
        std::ifstream file(path(name));
        return { std::istreambuf_iterator<char>(file), {} };
    }
    /// A lamp of the class "leds".
    void lamp(const std::string& name, int most) const
    {
        write("sys/class/leds/" + name + "/brightness", "0\n");
        write("sys/class/leds/" + name + "/max_brightness", std::to_string(most) + "\n");
    }
    /// A lamp that can flash, for so many microseconds at most.
    void flash(const std::string& name, int most, int longest) const
    {
        lamp(name, most);
        const std::string folder = "sys/class/leds/" + name;
        write(folder + "/flash_strobe", "0\n");
        write(folder + "/flash_brightness", "0\n");
        write(folder + "/max_flash_brightness", "900000\n");
        write(folder + "/flash_timeout", "0\n");
        write(folder + "/max_flash_timeout", std::to_string(longest) + "\n");
    }
    std::string ofLED(const std::string& name, const std::string& file) const
    {
        return read("sys/class/leds/" + name + "/" + file);
    }

private:
    TemporaryFolder folder_;
};

}
