// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "drivers/Bus.h"

#include <memory>
#include <string>

namespace velmora::drivers {

/// One question that a portal puts to the user. Made before the call that asks, so that the answer is not missed.
class PortalRequest {
public:
    enum Answer : std::uint8_t { Granted = 0, Cancelled = 1, Ended = 2 };
    explicit PortalRequest(const Bus& bus);
    PortalRequest(const PortalRequest&) = delete;
    PortalRequest& operator=(const PortalRequest&) = delete;

    /// The call's last argument.
    BusArgument options() const;
    /// Waits for the user, at most two minutes; not on the bus's own thread.
    Answer answer() const;

private:
    struct State;
    const std::shared_ptr<State> state_;
    const std::string token_;
    Cancellable response_;
};

}
