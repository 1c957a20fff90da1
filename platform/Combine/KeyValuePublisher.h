// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Combine/Publisher.h"
#include "platform/Foundation/NSObject.h"

#include <memory>
#include <utility>

namespace velmora {

/// The values of an observable property. With the initial option the present one is sent before sink() returns; each
/// change is sent on the thread that makes it, with the value that it announces, whatever the property is by then. A
/// subscription keeps the object.
template <class Owner, class T>
Publisher<T> publisher(
    const std::shared_ptr<Owner>& object, Property<Owner, T> property, NSKeyValueObservingOptions options)
{
    return Publisher<T>([object, key = property.key, options](typename Publisher<T>::Sink receive) {
        auto observation = std::make_shared<Cancellable>(object->observe(key, options | NSKeyValueObservingOptionNew,
            [receive = std::move(receive)](const NSKeyValueChange& change) {
                if (!change.isPrior)
                    receive(unbox<T>(change.newValue));
            }));
        return Cancellable([object, observation] { observation->cancel(); });
    });
}

}
