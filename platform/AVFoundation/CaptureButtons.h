// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureButtonDriver.h"
#include "platform/Foundation/Cancellable.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmora {

class AVCaptureEventInteraction;
struct UIPress;

/// Takes presses from the housing and the keyboard to the interaction that is to hear of them. Main thread only; one in
/// a process.
class CaptureButtons : public std::enable_shared_from_this<CaptureButtons> {
public:
    static std::shared_ptr<CaptureButtons> shared();
    ~CaptureButtons();

    void add(const std::shared_ptr<AVCaptureEventInteraction>& interaction);
    void remove(const AVCaptureEventInteraction* interaction);

private:
    void listen();
    void key(const UIPress& press);
    void pressed(const std::string& button, AVCaptureEventPhase phase);
    void cancelAll();

    std::vector<std::weak_ptr<AVCaptureEventInteraction>> interactions_; // in the order in which they were attached
    std::map<std::string, std::weak_ptr<AVCaptureEventInteraction>> hearing_; // by the button that is pressed
    std::map<std::string, ButtonPress> keys_;
    std::shared_ptr<CaptureButtonDriver> driver_; // that is listened to
    Cancellable keyboard_, resigning_;
};

}
