// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/AVFoundation/CaptureButtonDriver.h"
#include "platform/Foundation/Cancellable.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace velmora {

class AVCaptureEventInteraction;
struct UIPress;

/// Takes presses from the housing and the keyboard to the interaction that is to hear of them. One that both tell of is
/// one press. The housing is listened to while there are interactions and the application is active. Main thread only;
/// one in a process.
class CaptureButtons : public std::enable_shared_from_this<CaptureButtons> {
public:
    static std::shared_ptr<CaptureButtons> shared();
    ~CaptureButtons();

    void add(const std::shared_ptr<AVCaptureEventInteraction>& interaction);
    void remove(const AVCaptureEventInteraction* interaction);

private:
    enum class Source : std::uint8_t { Housing, Keyboard };

    void listen();
    void listenToHousing();
    void key(const UIPress& press);
    void pressed(Source source, const std::string& button, AVCaptureEventPhase phase);
    void tell(const std::string& button, AVCaptureEventPhase phase);
    void cancelAll();

    std::vector<std::weak_ptr<AVCaptureEventInteraction>> interactions_; // in the order in which they were attached
    std::map<std::string, std::weak_ptr<AVCaptureEventInteraction>> hearing_; // by the button that is pressed
    std::map<std::string, std::set<Source>> down_; // who says that a button is pressed
    std::map<std::string, ButtonPress> keys_;
    std::shared_ptr<CaptureButtonDriver> driver_; // that is listened to
    Cancellable keyboard_, resigning_, activating_;
};

}
