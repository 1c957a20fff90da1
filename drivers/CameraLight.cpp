// SPDX-License-Identifier: Apache-2.0
#include "drivers/CameraLight.h"

#include "platform/Foundation/NSLog.h"

#include "drivers/FlashDevice.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <set>
#include <utility>
#include <vector>

namespace velmora::drivers::cameras {

namespace {

namespace fs = std::filesystem;

constexpr long longestFlash = 1000000; // microseconds that one is asked for at most
constexpr long shortestFlash = 400000; // one that goes out sooner is over before a camera has followed it

std::string lowerCase(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

/// An LED of the kernel, by the files of its folder.
class LED final : public Light {
public:
    explicit LED(fs::path folder)
        : folder_(std::move(folder))
        , most_(number("max_brightness").value_or(1))
    {
        const long longest = std::min(number("max_flash_timeout").value_or(0), longestFlash);
        if (fs::exists(folder_ / "flash_strobe") && longest >= shortestFlash)
            timeout_ = longest;
    }
    ~LED() override
    {
        LED::endFlash();
        if (torch_)
            LED::setTorch(false);
    }
    LED(const LED&) = delete;
    LED& operator=(const LED&) = delete;

    std::string name() const override { return folder_.filename(); }
    bool canFlash() const { return timeout_ > 0; }
    bool mayBeSwitched() const
    {
        std::ofstream lamp(folder_ / "brightness", std::ios::app);
        std::ofstream flash(folder_ / (canFlash() ? "flash_strobe" : "brightness"), std::ios::app);
        return lamp.good() && flash.good();
    }

    std::optional<NSError> setTorch(bool on) override
    {
        const auto problem = write("brightness", on ? most_ : 0);
        if (!problem)
            torch_ = on;
        return problem;
    }
    std::optional<NSError> beginFlash() override
    {
        flashing_ = true;
        if (!canFlash())
            return torch_ ? std::nullopt : write("brightness", most_);
        if (const auto brightest = number("max_flash_brightness"))
            if (const auto problem = write("flash_brightness", *brightest))
                return problem;
        if (const auto problem = write("flash_timeout", timeout_))
            return problem;
        return write("flash_strobe", 1);
    }
    void endFlash() override
    {
        if (!std::exchange(flashing_, false))
            return;
        const auto problem = canFlash() ? write("flash_strobe", 0) : write("brightness", torch_ ? most_ : 0);
        if (problem)
            NSLog("%@", problem->localizedDescription());
    }

private:
    std::optional<long> number(const char* file) const
    {
        std::ifstream stream(folder_ / file);
        long value = 0;
        return stream >> value ? std::optional(value) : std::nullopt;
    }
    std::optional<NSError> write(const char* file, long value) const
    {
        errno = 0;
        std::ofstream stream(folder_ / file);
        stream << value << '\n' << std::flush;
        if (stream)
            return std::nullopt;
        return errorFromErrno(errno, "The light \"" + name() + "\" cannot be switched");
    }

    const fs::path folder_;
    const long most_;
    long timeout_ = 0; // microseconds of a flash; 0: it has none that would do
    bool torch_ = false, flashing_ = false;
};

/// "white:flash", "pmi8998:torch-1": the function stands behind the last colon.
bool isForCameras(const std::string& name)
{
    const std::string function = name.substr(name.rfind(':') + 1);
    return function.starts_with("flash") || function.starts_with("torch");
}

std::vector<std::string> namesIn(const fs::path& folder)
{
    std::set<std::string> names;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(folder, none))
        names.insert(entry.path().filename());
    return { names.begin(), names.end() };
}

bool isAtFront(const std::string& name)
{
    return lowerCase(name).find("front") != std::string::npos;
}

std::shared_ptr<Light> findLED(const KernelFolders& folders, bool front)
{
    const fs::path all = fs::path(folders.system) / "class/leds";
    std::shared_ptr<LED> best;
    int bestScore = 0;
    for (const auto& name : namesIn(all)) {
        if (!isForCameras(name) || isAtFront(name) != front)
            continue;
        auto led = std::make_shared<LED>(all / name);
        if (!led->mayBeSwitched()) {
            NSLog("The light %@ may not be switched by this user. A rule of udev lets people: docs/real-devices.md.",
                name);
            continue;
        }
        const int score = 1 + (led->canFlash() ? 2 : 0) + (name.find("white") != std::string::npos ? 1 : 0);
        if (score > bestScore) {
            best = std::move(led);
            bestScore = score;
        }
    }
    return best;
}

}

std::shared_ptr<Light> findLight(const KernelFolders& folders, AVCaptureDevicePosition position)
{
    const bool front = position == AVCaptureDevicePositionFront;
    if (auto led = findLED(folders, front))
        return led;
    for (const auto& name : namesIn(folders.devices))
        if (name.starts_with("v4l-subdev"))
            if (auto flash = openFlashDevice(folders, name); flash && isAtFront(flash->name()) == front)
                return flash;
    return nullptr;
}

}
