// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Combine/PassthroughSubject.h"

namespace velmora {

template <class T> class Published;

/// A model whose Published members announce their changes here.
class VELMORA_EXPORT ObservableObject {
public:
    ObservableObject();
    virtual ~ObservableObject();
    ObservableObject(const ObservableObject&) = delete;
    ObservableObject& operator=(const ObservableObject&) = delete;

    /// Sends before each change of a published property, while the old value still stands, on the thread that changes
    /// it: the main one for the models of this framework.
    Publisher<> objectWillChange() const { return willChange_.publisher(); }

private:
    template <class T> friend class Published;

    PassthroughSubject<> willChange_;
};

}
