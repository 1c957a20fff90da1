// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <functional>
#include <memory>
#include <utility>

namespace velmora {

namespace detail {
[[noreturn]] VELMORA_EXPORT void stopForCompletion(const char* what, const char* name);
}

template <class Signature> class Completion;

/// A callback owed to somebody, called exactly once: never, or a second time, stops the process with the name that
/// the completion was given. Without a callback it is owed to nobody, and may end uncalled. Not for several threads.
template <class... Args> class [[nodiscard]] Completion<void(Args...)> {
public:
    /// `name` is a literal that says what is owed to whom.
    explicit Completion(std::function<void(Args...)> callback, const char* name)
        : callback_(std::move(callback))
        , name_(name)
        , owed_(callback_ != nullptr)
    {
    }
    Completion(Completion&& other) noexcept
        : callback_(std::move(other.callback_))
        , name_(other.name_)
        , owed_(std::exchange(other.owed_, false))
        , called_(std::exchange(other.called_, true))
    {
    }
    Completion& operator=(Completion&&) = delete;
    ~Completion()
    {
        if (owed_)
            detail::stopForCompletion("was never called", name_);
    }

    void operator()(Args... args)
    {
        if (std::exchange(called_, true))
            detail::stopForCompletion("was called a second time", name_);
        owed_ = false;
        if (const auto callback = std::exchange(callback_, nullptr))
            callback(std::forward<Args>(args)...);
    }

private:
    std::function<void(Args...)> callback_;
    const char* name_;
    bool owed_;
    bool called_ = false;
};

/// The completion as a block, for queues and for whatever else copies its callbacks: the copies share it.
template <class... Args> std::function<void(Args...)> asBlock(Completion<void(Args...)>&& completion)
{
    auto shared = std::make_shared<Completion<void(Args...)>>(std::move(completion));
    return [shared](Args... args) { (*shared)(std::forward<Args>(args)...); };
}

}
