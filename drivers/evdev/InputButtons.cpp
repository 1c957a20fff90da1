// SPDX-License-Identifier: Apache-2.0
#include "drivers/evdev/InputButtons.h"

#include "drivers/evdev/InputDevice.h"

#include <dirent.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

namespace velmora::drivers::evdev {

namespace {

using Devices = std::map<std::string, std::unique_ptr<InputDevice>>; // by name

bool isEventDevice(const std::string& name)
{
    return name.starts_with("event") && name.size() > 5 && name.find('/') == std::string::npos;
}

std::unique_ptr<InputDevice> openDevice(const Places& places, const std::string& name)
{
    std::ifstream file(places.classes + "/" + name + "/device/capabilities/key");
    const std::string capabilities { std::istreambuf_iterator<char>(file), {} };
    return InputDevice::open(places.devices + "/" + name, capabilities, places.typing);
}

std::vector<std::string> namesOfDevices(const Places& places)
{
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(places.devices.c_str()), &::closedir);
    while (const dirent* entry = folder ? ::readdir(folder.get()) : nullptr)
        if (isEventDevice(entry->d_name))
            names.emplace_back(entry->d_name);
    return names;
}

/// The names of devices that came, or that may be read only now.
std::vector<std::string> readNews(int notifications)
{
    std::vector<std::string> names;
    alignas(inotify_event) std::array<char, 4096> buffer;
    for (;;) {
        const auto length = ::read(notifications, buffer.data(), buffer.size());
        if (length <= 0)
            return names;
        for (std::size_t at = 0; at + sizeof(inotify_event) <= static_cast<std::size_t>(length);) {
            inotify_event event {};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            if (event.len > 0 && isEventDevice(buffer.data() + at + sizeof event))
                names.emplace_back(buffer.data() + at + sizeof event);
            at += sizeof event + event.len;
        }
    }
}

void open(Devices& devices, const Places& places, const std::vector<std::string>& names)
{
    for (const auto& name : names)
        if (!devices.contains(name))
            if (auto device = openDevice(places, name))
                devices.emplace(name, std::move(device));
}

}

InputButtons::InputButtons(Places places)
    : places_(std::move(places))
{
}

InputButtons::~InputButtons()
{
    setPressed(nullptr);
}

bool InputButtons::canRead(const Places& places)
{
    for (const auto& name : namesOfDevices(places))
        if (openDevice(places, name))
            return true;
    return false;
}

void InputButtons::setPressed(Pressed pressed)
{
    const std::lock_guard lock(mutex_);
    if (thread_.joinable()) {
        const std::uint64_t one = 1;
        static_cast<void>(!::write(stopped_, &one, sizeof one));
        thread_.join();
        ::close(std::exchange(stopped_, -1));
    }
    if (!pressed)
        return;
    stopped_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    const int news = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK); // without one, what is plugged in later stays unseen
    if (news >= 0)
        ::inotify_add_watch(news, places_.devices.c_str(), IN_CREATE | IN_MOVED_TO | IN_ATTRIB);
    thread_ = std::thread([this, stopped = stopped_, news, pressed = std::move(pressed)] {
        run(stopped, news, pressed);
        ::close(news);
    });
}

void InputButtons::run(int stopped, int news, const Pressed& pressed)
{
    Devices devices;
    open(devices, places_, namesOfDevices(places_));
    for (;;) {
        std::vector<pollfd> waiting { { stopped, POLLIN, 0 }, { news, POLLIN, 0 } };
        std::vector<std::string> names { "", "" };
        for (const auto& [name, device] : devices) {
            waiting.push_back({ device->descriptor(), POLLIN, 0 });
            names.push_back(name);
        }
        if (::poll(waiting.data(), waiting.size(), -1) < 0)
            continue; // a signal
        if (waiting[0].revents != 0)
            return;
        for (std::size_t i = 2; i < waiting.size(); ++i)
            if (waiting[i].revents != 0 && !devices.at(names[i])->read(pressed))
                devices.erase(names[i]);
        if (waiting[1].revents != 0)
            open(devices, places_, readNews(news));
    }
}

}
