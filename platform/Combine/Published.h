// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Combine/ObservableObject.h"

#include <utility>

namespace velmora {

/// A property of an ObservableObject that announces itself: first through the object, then through its own publisher.
template <class T> class Published {
public:
    /// A member of `owner`. The value that it begins with is not announced.
    Published(ObservableObject& owner, T value)
        : owner_(owner)
        , value_(std::move(value))
    {
    }
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;

    const T& value() const { return value_; }
    /// Announces every write, also of an equal value.
    void set(T value)
    {
        owner_.willChange_.send();
        value_ = std::move(value);
        changes_.send(value_);
    }
    /// Changes the value in place: one announcement, whatever `change` does to it.
    template <class Change> void update(Change change)
    {
        owner_.willChange_.send();
        change(value_);
        changes_.send(value_);
    }

    /// Gives the present value on subscription, before sink() returns, and then each new one when it stands. Neither
    /// it nor its subscriptions keep the owner; it is to be subscribed to while the owner lives.
    Publisher<T> publisher() const
    {
        return Publisher<T>([this, changes = changes_.publisher()](typename Publisher<T>::Sink receive) {
            receive(value_);
            return changes.sink(std::move(receive));
        });
    }

private:
    ObservableObject& owner_;
    T value_;
    PassthroughSubject<T> changes_;
};

}
