// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/phone/PhoneMotion.h"
#include "drivers/phone/PhoneState.h"
#include "drivers/phone/Scene.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace velmora::drivers::phone {

/// What the cameras of one phone share: what they see, how they are held, and the room for their pictures. From any
/// thread.
class PhoneWorld {
public:
    PhoneWorld(std::shared_ptr<PhoneState> state, std::shared_ptr<const PhoneMotion> motion);

    PhoneState& state() const { return *state_; }
    std::shared_ptr<const PhoneDescription> description() const { return state_->description(); }
    const Camera* find(const PhoneDescription& description, const std::string& id) const;

    std::shared_ptr<Scene> scene() const;
    void setScene(std::shared_ptr<Scene> scene);
    Turn turn(AVCaptureDevicePosition position) const;

    /// From now on that many bytes fit.
    void fullAfter(std::uint64_t bytes);
    /// Takes the room, or says what is missing.
    std::optional<NSError> store(std::uint64_t bytes);

    void scriptNextPhoto(std::vector<PhotoEvent> events);
    std::optional<std::vector<PhotoEvent>> nextScript();

private:
    const std::shared_ptr<PhoneState> state_;
    const std::shared_ptr<const PhoneMotion> motion_;
    mutable std::mutex mutex_;
    std::shared_ptr<Scene> scene_;
    std::optional<std::uint64_t> bytesLeft_;
    std::uint64_t bytesDescribed_ = 0, bytesUsed_ = 0; // the phone's storage, and what was stored since it was told
    std::deque<std::vector<PhotoEvent>> scripts_;
};

}
