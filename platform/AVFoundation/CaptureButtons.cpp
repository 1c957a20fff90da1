// SPDX-License-Identifier: Apache-2.0
#include "platform/AVFoundation/CaptureButtons.h"

#include "platform/AVFoundation/AVCaptureEventInteraction.h"
#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/NSNotificationCenter.h"
#include "platform/Foundation/ProcessState.h"
#include "platform/UIKit/UIApplication.h"
#include "platform/UIKit/UIEvent.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace velmora {

namespace {

struct TakingKey {
    std::string_view key, button;
};
constexpr std::array<TakingKey, 7> takingKeys { { { "Space", "Space" }, { "Return", "Return" },
    { "VolumeUp", "VolumeUp" }, { "VolumeDown", "VolumeDown" }, { "AudioVolumeUp", "VolumeUp" },
    { "AudioVolumeDown", "VolumeDown" }, { "Camera", "Camera" } } };

std::shared_ptr<CaptureButtons>& made()
{
    static auto& one = *new std::shared_ptr<CaptureButtons>;
    static const bool resets = (ProcessState::add([] { one.reset(); }), true);
    static_cast<void>(resets);
    return one;
}

}

std::shared_ptr<CaptureButtons> CaptureButtons::shared()
{
    auto& one = made();
    if (!one) {
        one = std::make_shared<CaptureButtons>();
        one->listen();
    }
    return one;
}

CaptureButtons::~CaptureButtons()
{
    if (driver_)
        driver_->setPressed(nullptr);
}

void CaptureButtons::listen()
{
    keyboard_ = UIApplication::sharedApplication()->addPressHandler([weak = weak_from_this()](const UIPress& press) {
        if (const auto self = weak.lock())
            self->key(press);
    });
    resigning_ = NSNotificationCenter::defaultCenter().addObserver(
        UIApplicationWillResignActiveNotification, nullptr, [weak = weak_from_this()](const NSNotification&) {
            if (const auto self = weak.lock()) {
                self->cancelAll();
                self->listenToHousing();
            }
        });
    activating_ = NSNotificationCenter::defaultCenter().addObserver(
        UIApplicationDidBecomeActiveNotification, nullptr, [weak = weak_from_this()](const NSNotification&) {
            if (const auto self = weak.lock())
                self->listenToHousing();
        });
}

void CaptureButtons::add(const std::shared_ptr<AVCaptureEventInteraction>& interaction)
{
    interactions_.push_back(interaction);
    listenToHousing();
}

/// What takes pictures elsewhere is other programs' while nobody here wants it.
void CaptureButtons::listenToHousing()
{
    const bool wanted
        = !interactions_.empty() && UIApplication::sharedApplication()->applicationState() == UIApplicationStateActive;
    const auto driver = wanted ? CaptureButtonDriver::installed() : nullptr;
    if (driver == driver_)
        return;
    if (driver_)
        driver_->setPressed(nullptr);
    driver_ = driver;
    if (driver)
        driver->setPressed([weak = weak_from_this()](const std::string& button, AVCaptureEventPhase phase) {
            DispatchQueue::main().async([weak, button, phase] {
                if (const auto self = weak.lock())
                    self->pressed(Source::Housing, button, phase);
            });
        });
}

void CaptureButtons::remove(const AVCaptureEventInteraction* interaction)
{
    std::erase_if(interactions_, [&](const auto& each) {
        const auto alive = each.lock();
        return !alive || alive.get() == interaction;
    });
    listenToHousing();
}

void CaptureButtons::key(const UIPress& press)
{
    const auto taking = std::find_if(
        takingKeys.begin(), takingKeys.end(), [&](const TakingKey& each) { return each.key == press.key; });
    if (taking == takingKeys.end())
        return;
    const auto position = press.phase == UIPressPhaseBegan ? ButtonPress::Position::Down : ButtonPress::Position::Up;
    keys_[press.key].moveTo(
        position, [&](AVCaptureEventPhase phase) { pressed(Source::Keyboard, std::string(taking->button), phase); });
}

void CaptureButtons::pressed(Source source, const std::string& button, AVCaptureEventPhase phase)
{
    auto& sources = down_[button];
    const bool byAnother = sources.size() > sources.count(source);
    if (phase == AVCaptureEventPhaseBegan)
        sources.insert(source);
    else
        sources.erase(source);
    if (!byAnother)
        tell(button, phase);
}

void CaptureButtons::tell(const std::string& button, AVCaptureEventPhase phase)
{
    std::shared_ptr<AVCaptureEventInteraction> hears;
    if (const auto found = hearing_.find(button); found != hearing_.end())
        hears = found->second.lock();
    else
        for (auto each = interactions_.rbegin(); each != interactions_.rend() && !hears; ++each)
            if (const auto alive = each->lock(); alive && alive->canHear())
                hears = alive;
    if (phase == AVCaptureEventPhaseBegan)
        hearing_[button] = hears;
    else
        hearing_.erase(button);
    if (hears)
        hears->hear(phase);
}

void CaptureButtons::cancelAll()
{
    keys_.clear();
    down_.clear();
    for (const auto& [button, hears] : std::exchange(hearing_, {}))
        if (const auto alive = hears.lock())
            alive->hear(AVCaptureEventPhaseCancelled);
}

}
