// SPDX-License-Identifier: Apache-2.0
#include "drivers/KnownPhones.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>

namespace velmora::drivers::cameras {

namespace {

constexpr int asPhonesHaveIt = 90; // degrees; the sensor's rows run along the phone's long side

/// A sensor's name within the node's own names tells the camera.
struct Sensor {
    std::string_view machine, sensor;
    AVCaptureDevicePosition position;
    const char* type;
};
constexpr auto wide = AVCaptureDeviceTypeBuiltInWideAngleCamera;
constexpr std::array sensors {
    Sensor { "pine64,pinephone-pro", "imx258", AVCaptureDevicePositionBack, wide },
    Sensor { "pine64,pinephone-pro", "ov8858", AVCaptureDevicePositionFront, wide },
    Sensor { "pine64,pinephone", "ov5640", AVCaptureDevicePositionBack, wide },
    Sensor { "pine64,pinephone", "gc2145", AVCaptureDevicePositionFront, wide },
    Sensor { "purism,librem5", "s5k3l6xx", AVCaptureDevicePositionBack, wide },
    Sensor { "purism,librem5", "hi846", AVCaptureDevicePositionFront, wide },
    Sensor { "google,sargo", "imx363", AVCaptureDevicePositionBack, wide },
    Sensor { "google,sargo", "imx355", AVCaptureDevicePositionFront, wide },
    Sensor { "oneplus,enchilada", "imx519", AVCaptureDevicePositionBack, wide },
    Sensor { "oneplus,enchilada", "imx371", AVCaptureDevicePositionFront, wide },
};

struct Word {
    std::string_view text;
    const char* type;
};
constexpr std::array lenses {
    Word { "wide", wide },
    Word { "tele", AVCaptureDeviceTypeBuiltInTelephotoCamera },
    Word { "ultrawide", AVCaptureDeviceTypeBuiltInUltraWideCamera },
    Word { "dual", AVCaptureDeviceTypeBuiltInDualCamera },
    Word { "dualwide", AVCaptureDeviceTypeBuiltInDualWideCamera },
    Word { "triple", AVCaptureDeviceTypeBuiltInTripleCamera },
    Word { "truedepth", AVCaptureDeviceTypeBuiltInTrueDepthCamera },
};

std::string textOf(const Properties& properties, const char* key)
{
    const auto found = properties.find(key);
    return found == properties.end() ? std::string() : found->second;
}

std::string namesOf(const Properties& camera)
{
    std::string all;
    for (const char* key : { "node.name", "node.description", "object.path", "api.libcamera.path",
             "device.product.name", "api.v4l2.cap.card" })
        all += textOf(camera, key) + "\n";
    for (char& c : all)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return all;
}

/// A file of the device tree: texts with a zero after each.
std::string treeFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return { std::istreambuf_iterator<char>(file), {} };
}

const Sensor* knownSensor(const std::string& names, const std::string& machine)
{
    const auto found = std::find_if(sensors.begin(), sensors.end(), [&](const Sensor& each) {
        return machine.find(each.machine) != std::string::npos && names.find(each.sensor) != std::string::npos;
    });
    return found == sensors.end() ? nullptr : &*found;
}

std::optional<AVCaptureDevicePosition> positionIn(const std::string& word)
{
    if (word == "front")
        return AVCaptureDevicePositionFront;
    if (word == "back" || word == "external")
        return AVCaptureDevicePositionBack;
    return std::nullopt;
}

std::optional<int> degreesIn(const std::string& text)
{
    int degrees = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), degrees);
    if (error != std::errc() || degrees % 90 != 0)
        return std::nullopt;
    return (degrees % 360 + 360) % 360;
}

std::optional<AVCaptureDevicePosition> positionByName(const std::string& names)
{
    for (const char* word : { "front", "user-facing", "user facing", "integrated" })
        if (names.find(word) != std::string::npos)
            return AVCaptureDevicePositionFront;
    return std::nullopt;
}

}

Placement placementOf(const Properties& camera, const std::string& deviceTree)
{
    const std::string names = namesOf(camera);
    const Sensor* sensor = knownSensor(names, treeFile(deviceTree + "/compatible"));
    Placement placement;
    // A camera that says nothing looks where its user looks.
    auto position = positionIn(textOf(camera, "velmora.position"));
    if (!position)
        position = positionIn(textOf(camera, "api.libcamera.location"));
    if (!position)
        position = sensor ? std::optional(sensor->position) : positionByName(names);
    placement.position = position.value_or(AVCaptureDevicePositionBack);

    placement.deviceType = sensor ? sensor->type : wide;
    const std::string lens = textOf(camera, "velmora.lens");
    for (const Word& each : lenses)
        if (lens == each.text)
            placement.deviceType = each.type;

    const bool isBuiltIn = textOf(camera, "api.libcamera.location") != "external";
    const bool isPhone = treeFile(deviceTree + "/chassis-type").starts_with("handset");
    auto rotation = degreesIn(textOf(camera, "velmora.rotation"));
    if (const auto other = degreesIn(textOf(camera, "api.libcamera.rotation")); other && !rotation)
        rotation = (360 - *other) % 360; // the kernel's degrees, which count the other way round
    placement.sensorRotation = rotation.value_or(sensor || (isPhone && isBuiltIn) ? asPhonesHaveIt : 0);
    return placement;
}

}
