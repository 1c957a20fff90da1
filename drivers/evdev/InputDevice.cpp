// SPDX-License-Identifier: Apache-2.0
#include "drivers/evdev/InputDevice.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <sstream>
#include <utility>
#include <vector>

namespace velmora::drivers::evdev {

namespace {

struct Key {
    std::uint16_t code;
    const char* button;
    ButtonPress::Position position;
};

// A camera button has two contacts: the first is the focus.
constexpr std::array housing { Key { KEY_CAMERA, "Camera", ButtonPress::Position::Down },
    Key { KEY_CAMERA_FOCUS, "Camera", ButtonPress::Position::Half },
    Key { KEY_VOLUMEUP, "VolumeUp", ButtonPress::Position::Down },
    Key { KEY_VOLUMEDOWN, "VolumeDown", ButtonPress::Position::Down } };
constexpr std::array keyboard { Key { KEY_SPACE, "Space", ButtonPress::Position::Down },
    Key { KEY_ENTER, "Return", ButtonPress::Position::Down } };

const Key* keyOf(std::uint16_t code)
{
    for (const auto& key : housing)
        if (key.code == code)
            return &key;
    for (const auto& key : keyboard)
        if (key.code == code)
            return &key;
    return nullptr;
}

bool isOfHousing(std::uint16_t code)
{
    return std::any_of(housing.begin(), housing.end(), [code](const Key& key) { return key.code == code; });
}

}

std::set<std::uint16_t> codesIn(const std::string& bitmap)
{
    constexpr int bits = sizeof(unsigned long) * CHAR_BIT;
    std::vector<unsigned long> words;
    std::istringstream text(bitmap);
    for (unsigned long word = 0; text >> std::hex >> word;)
        words.push_back(word);
    std::reverse(words.begin(), words.end());
    std::set<std::uint16_t> codes;
    for (std::size_t i = 0; i < words.size(); ++i)
        for (int bit = 0; bit < bits; ++bit)
            if ((words[i] >> bit & 1U) != 0 && i * bits + static_cast<std::size_t>(bit) <= KEY_MAX)
                codes.insert(static_cast<std::uint16_t>(i * bits + static_cast<std::size_t>(bit)));
    return codes;
}

std::unique_ptr<InputDevice> InputDevice::open(const std::string& path, const std::string& capabilities, bool typing)
{
    const auto all = codesIn(capabilities);
    std::set<std::uint16_t> codes;
    for (const std::uint16_t code : all)
        if (keyOf(code) && (typing || isOfHousing(code)))
            codes.insert(code);
    if (codes.empty())
        return nullptr;
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    // Buttons that do nothing but this are ours alone meanwhile: the volume stays as it is. The kernel takes them back
    // when the descriptor is closed. A keyboard belongs to everybody.
    if (std::all_of(all.begin(), all.end(), isOfHousing))
        ::ioctl(descriptor, EVIOCGRAB, 1);
    return std::unique_ptr<InputDevice>(new InputDevice(descriptor, std::move(codes)));
}

InputDevice::InputDevice(int descriptor, std::set<std::uint16_t> codes)
    : descriptor_(descriptor)
    , codes_(std::move(codes))
{
}

InputDevice::~InputDevice()
{
    ::close(descriptor_);
}

bool InputDevice::read(const Tell& tell)
{
    for (;;) {
        std::array<input_event, 64> events;
        const auto length = ::read(descriptor_, events.data(), sizeof events);
        if (length < 0 && errno == EINTR)
            continue;
        if (length < 0 && errno == EAGAIN)
            return true;
        if (length < static_cast<ssize_t>(sizeof(input_event))) {
            cancel(tell);
            return false;
        }
        const auto count = static_cast<std::size_t>(length) / sizeof(input_event);
        for (std::size_t i = 0; i < count; ++i)
            take(events[i], tell);
    }
}

void InputDevice::take(const input_event& event, const Tell& tell)
{
    constexpr int repeated = 2;
    if (event.type == EV_SYN && event.code == SYN_DROPPED)
        lookAgain(tell);
    else if (event.type == EV_KEY && event.value != repeated)
        set(event.code, event.value != 0, tell);
}

/// The kernel had no room for what happened: only what is now is known.
void InputDevice::lookAgain(const Tell& tell)
{
    std::array<unsigned char, KEY_MAX / 8 + 1> state {};
    if (::ioctl(descriptor_, EVIOCGKEY(state.size()), state.data()) < 0)
        state = {};
    for (const std::uint16_t code : codes_)
        set(code, (state[code / 8U] >> code % 8 & 1) != 0, tell);
}

void InputDevice::set(std::uint16_t code, bool down, const Tell& tell)
{
    const Key* key = keyOf(code);
    if (!key || !codes_.contains(code))
        return;
    if (down)
        down_.insert(code);
    else
        down_.erase(code);
    auto position = ButtonPress::Position::Up;
    for (const std::uint16_t each : down_)
        if (const Key* held = keyOf(each); std::string_view(held->button) == key->button)
            position = std::max(position, held->position);
    presses_[key->button].moveTo(position, [&](AVCaptureEventPhase phase) {
        if (phase == AVCaptureEventPhaseBegan)
            pressed_.insert(key->button);
        else
            pressed_.erase(key->button);
        tell(key->button, phase);
    });
}

void InputDevice::cancel(const Tell& tell)
{
    for (const auto& button : std::exchange(pressed_, {}))
        tell(button, AVCaptureEventPhaseCancelled);
}

}
