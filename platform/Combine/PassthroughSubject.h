// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Combine/Publisher.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace velmora {

/// Sends values by hand to whoever subscribed. Keeps none: a new subscriber hears what is sent from then on.
///
/// From one thread, subscriptions and their ends too; a model's is the main one. While it sends, subscriptions may
/// begin, which hear the next value, and end, which hear nothing more.
template <class... Output> class PassthroughSubject {
public:
    using Sink = typename Publisher<Output...>::Sink;

    PassthroughSubject() = default;
    PassthroughSubject(const PassthroughSubject&) = delete;
    PassthroughSubject& operator=(const PassthroughSubject&) = delete;

    /// To all, in the order in which they subscribed.
    void send(const Output&... values) const
    {
        if (state_->subscribers->empty())
            return;
        const auto subscribers = state_->subscribers; // replaced, never changed
        for (const auto& subscriber : *subscribers)
            if (!subscriber->ended)
                subscriber->receive(values...);
    }

    /// Subscribing through it does not keep the subject.
    Publisher<Output...> publisher() const
    {
        return Publisher<Output...>([weak = std::weak_ptr(state_)](Sink receive) {
            const auto state = weak.lock();
            return state ? state->subscribe(std::move(receive)) : Cancellable();
        });
    }
    [[nodiscard]] Cancellable sink(Sink receive) const { return state_->subscribe(std::move(receive)); }

private:
    struct Subscriber {
        const Sink receive;
        bool ended = false;
    };
    using Subscribers = std::vector<std::shared_ptr<Subscriber>>;

    struct State : std::enable_shared_from_this<State> {
        std::shared_ptr<const Subscribers> subscribers = std::make_shared<const Subscribers>();

        Cancellable subscribe(Sink receive)
        {
            const auto subscriber = std::make_shared<Subscriber>(Subscriber { std::move(receive) });
            auto with = std::make_shared<Subscribers>(*subscribers);
            with->push_back(subscriber);
            subscribers = std::move(with);
            return Cancellable([weak = this->weak_from_this(), subscriber] {
                subscriber->ended = true; // its captures go later: one that ends itself still runs in them
                if (const auto state = weak.lock()) {
                    auto without = std::make_shared<Subscribers>(*state->subscribers);
                    std::erase(*without, subscriber);
                    state->subscribers = std::move(without);
                }
            });
        }
    };

    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}
