// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhoneControls.h"

#include "platform/AVFoundation/AVCaptureIndexPicker.h"
#include "platform/AVFoundation/AVCaptureSession.h"
#include "platform/Foundation/NSException.h"

#include <string>
#include <utility>

namespace velmora::drivers::phone {

PhoneControls::PhoneControls(std::shared_ptr<PhoneState> state)
    : state_(std::move(state))
{
}

bool PhoneControls::supportsControls() const
{
    return state_->description()->controls;
}

std::vector<std::shared_ptr<AVCaptureControl>> PhoneControls::controlsOfOthers() const
{
    std::vector<std::shared_ptr<AVCaptureControl>> controls;
    for (const auto& title : state_->description()->foreignControls)
        controls.push_back(make<AVCaptureIndexPicker>(title, "", std::vector<std::string> { title }));
    return controls;
}

bool PhoneControls::canAddControl(const AVCaptureControl&)
{
    return !state_->strike(Step::AddControl, { Outcome::Nothing }, "");
}

void PhoneControls::controlsChanged(const std::shared_ptr<AVCaptureSession>& session)
{
    const std::lock_guard lock(mutex_);
    session_ = session;
}

std::shared_ptr<AVCaptureSession> PhoneControls::session() const
{
    const std::lock_guard lock(mutex_);
    return session_.lock();
}

void PhoneControls::select(std::size_t control, std::int64_t index) const
{
    const auto shown = session();
    const auto controls = shown ? shown->controls() : std::vector<std::shared_ptr<AVCaptureControl>>();
    const auto picker
        = control < controls.size() ? std::dynamic_pointer_cast<AVCaptureIndexPicker>(controls[control]) : nullptr;
    if (!picker)
        throw NSException(NSInvalidArgumentException,
            "[VirtualPhone] The camera button shows " + std::to_string(controls.size()) + " controls, and number "
                + std::to_string(control) + ", counted from 0, is not a menu among them.");
    picker->select(index);
}

void PhoneControls::show(bool active, bool fullScreen)
{
    const auto shown = session();
    bool wasActive = false, wasFullScreen = false;
    {
        const std::lock_guard lock(mutex_);
        wasActive = std::exchange(active_, active);
        wasFullScreen = std::exchange(fullScreen_, fullScreen);
    }
    if (!shown)
        return;
    if (active && !wasActive)
        shown->controlsDidBecomeActive();
    if (fullScreen && !wasFullScreen)
        shown->controlsWillEnterFullscreenAppearance();
    if (!fullScreen && wasFullScreen)
        shown->controlsWillExitFullscreenAppearance();
    if (!active && wasActive)
        shown->controlsDidBecomeInactive();
}

}
