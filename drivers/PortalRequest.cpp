// SPDX-License-Identifier: Apache-2.0
#include "drivers/PortalRequest.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

namespace velmora::drivers {

namespace {

std::string newToken()
{
    static std::atomic<int> count { 0 };
    return "velmora" + std::to_string(++count);
}

/// Where the portal will answer: it is made of the caller's name and the token.
std::string pathOf(const std::string& caller, const std::string& token)
{
    std::string sender = caller.substr(std::min<std::size_t>(1, caller.size()));
    std::replace(sender.begin(), sender.end(), '.', '_');
    return "/org/freedesktop/portal/desktop/request/" + sender + "/" + token;
}

}

struct PortalRequest::State {
    std::mutex mutex;
    std::condition_variable came;
    std::optional<Answer> answer;
};

PortalRequest::PortalRequest(const Bus& bus)
    : state_(std::make_shared<State>())
    , token_(newToken())
{
    response_ = bus.listen({ {}, pathOf(bus.ownName(), token_), "org.freedesktop.portal.Request" }, "Response",
        [state = state_](const BusList& response) {
            const auto code = static_cast<int>(response.empty() ? 2 : response.front().number(2));
            const std::lock_guard lock(state->mutex);
            state->answer = code == 0 ? Granted : code == 1 ? Cancelled : Ended;
            state->came.notify_all();
        });
}

BusArgument PortalRequest::options() const
{
    return { 'D', { std::make_shared<BusDictionary>(BusDictionary { { "handle_token", { token_ } } }) } };
}

PortalRequest::Answer PortalRequest::answer() const
{
    constexpr std::chrono::minutes patience(2);
    std::unique_lock lock(state_->mutex);
    state_->came.wait_for(lock, patience, [this] { return state_->answer.has_value(); });
    return state_->answer.value_or(Ended);
}

}
