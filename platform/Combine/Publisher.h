// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Cancellable.h"
#include "platform/Foundation/Guarded.h"
#include "platform/Foundation/NSRunLoop.h"

#include <functional>
#include <memory>
#include <tuple>
#include <utility>

namespace velmora {

/// A source of values that nobody has asked for yet: each sink subscribes afresh. A copy is the same source.
///
///     publisher(device, keys::ISO, NSKeyValueObservingOptionInitial | NSKeyValueObservingOptionNew)
///         .receiveOn(NSRunLoop::mainRunLoop())
///         .sink([](float iso) { ... })
///         .storeIn(subscriptions);
template <class... Output> class Publisher {
public:
    using Sink = std::function<void(const Output&...)>;
    using Subscribe = std::function<Cancellable(Sink receive)>;

    explicit Publisher(Subscribe subscribe)
        : subscribe_(std::move(subscribe))
    {
    }

    /// Calls `receive` with each value, on the thread that sends it, until the token ends. What it captures is kept
    /// until then.
    [[nodiscard]] Cancellable sink(Sink receive) const { return subscribe_(std::move(receive)); }

    /// Hands each value over to a later turn of the loop, in the order of sending, never inline; one that still waits
    /// when the subscription ends does not arrive.
    Publisher receiveOn(const NSRunLoop& loop) const
    {
        return Publisher([source = *this, queue = loop.queue()](Sink receive) {
            const auto receiver = std::make_shared<Receiver>(std::make_shared<const Sink>(std::move(receive)));
            auto upstream = std::make_shared<Cancellable>(source.sink([receiver, queue](const Output&... values) {
                queue.async([receiver, kept = std::tuple<Output...>(values...)] {
                    if (const auto alive = receiver->get())
                        std::apply(*alive, kept);
                });
            }));
            return Cancellable([receiver, upstream] {
                upstream->cancel();
                receiver->set(nullptr);
            });
        });
    }

private:
    using Receiver = Guarded<std::shared_ptr<const Sink>>;

    Subscribe subscribe_;
};

}
