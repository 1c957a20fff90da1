// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <functional>
#include <vector>

namespace velmora {

/// A subscription: of observations, notifications, publishers. Its end is the subscription's end. Move-only.
class VELMORA_EXPORT [[nodiscard]] Cancellable {
public:
    explicit Cancellable(std::function<void()> end = nullptr);
    Cancellable(Cancellable&& other) noexcept;
    Cancellable& operator=(Cancellable&& other) noexcept; ///< Ends what it held.
    ~Cancellable();

    /// Ends the subscription now; harmless when it has ended.
    void cancel();
    void storeIn(std::vector<Cancellable>& bag) &&;

private:
    std::function<void()> end_;
};

}
