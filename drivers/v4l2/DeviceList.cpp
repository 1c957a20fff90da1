// SPDX-License-Identifier: Apache-2.0
#include "drivers/v4l2/DeviceList.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <utility>

namespace velmora::drivers::v4l2 {

namespace {

namespace fs = std::filesystem;

std::string firstLine(const fs::path& file)
{
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

std::optional<int> numberIn(std::string_view text)
{
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// What rules wrote down for a character device: lines such as "E:VELMORA_POSITION=back".
cameras::Properties declared(const fs::path& database, const std::string& device)
{
    constexpr std::array<std::pair<std::string_view, const char*>, 4> keys { {
        { "E:VELMORA_POSITION=", "velmora.position" },
        { "E:VELMORA_LENS=", "velmora.lens" },
        { "E:VELMORA_ROTATION=", "velmora.rotation" },
        { "E:ID_CAMERA_DIRECTION=", "api.libcamera.location" },
    } };
    cameras::Properties properties;
    std::ifstream file(database / ("c" + device));
    for (std::string line; std::getline(file, line);)
        for (const auto& [key, property] : keys)
            if (line.starts_with(key))
                properties[property] = line.substr(key.size());
    return properties;
}

}

std::vector<VideoDevice> videoDevices(const KernelWish& wish)
{
    constexpr std::string_view video = "video";
    std::vector<std::pair<int, VideoDevice>> found;
    const fs::path all = fs::path(wish.folders.system) / "class/video4linux";
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(all, none)) {
        VideoDevice device;
        device.node = entry.path().filename();
        const auto number = device.node.starts_with(video)
            ? numberIn(std::string_view(device.node).substr(video.size()))
            : std::nullopt;
        if (!number || !fs::exists(fs::path(wish.folders.devices) / device.node, none))
            continue;
        device.index = numberIn(firstLine(entry.path() / "index")).value_or(0);
        device.name = firstLine(entry.path() / "name");
        // The interface of a USB device lies in the device itself.
        device.make = firstLine(entry.path() / "device/../manufacturer");
        device.model = firstLine(entry.path() / "device/../product");
        device.properties = declared(wish.udev, firstLine(entry.path() / "dev"));
        found.emplace_back(*number, std::move(device));
    }
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<VideoDevice> devices;
    for (auto& [number, device] : found)
        devices.push_back(std::move(device));
    return devices;
}

}
