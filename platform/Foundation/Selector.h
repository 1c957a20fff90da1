// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSObject.h"

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

namespace velmora {

template <class Signature> class Selector;

/// A selector for typed sends: it keeps the entry that it found for the class it met last, so that a send costs a
/// compare and a call. From any thread. The signature is the method's with values for references to values
/// (`const std::string&` is std::string), and references to objects as they are; another one is called with boxes.
template <class R, class... Args> class Selector<R(Args...)> {
public:
    explicit Selector(std::string_view name)
        : name_(name)
    {
    }
    ~Selector()
    {
        for (const Entry* entry = last_.load(); entry;)
            entry = std::unique_ptr<const Entry>(entry)->before;
    }
    Selector(const Selector&) = delete;
    Selector& operator=(const Selector&) = delete;

    /// Throws NSException when the receiver does not respond.
    R operator()(NSObject& receiver, Args... arguments) const
    {
        const ClassInfo* receiverClass = &receiver.classInfo();
        const Entry* entry = last_.load(std::memory_order_acquire);
        if (!entry || entry->receiverClass != receiverClass) [[unlikely]]
            entry = lookUp(receiverClass);
        if (entry->call) [[likely]]
            return entry->call(receiver, std::forward<Args>(arguments)...);
        return callBoxed(receiver, std::forward<Args>(arguments)...);
    }

private:
    R callBoxed(NSObject& receiver, Args... arguments) const
    {
        const Value result = receiver.performSelector(name_, std::forward<Args>(arguments)...);
        if constexpr (!std::is_void_v<R>) {
            static_assert(!std::same_as<R, std::string_view>, "ask for std::string: the box of the result ends here");
            try {
                auto stored = detail::Unboxed<R>::of(result);
                return detail::Unboxed<R>::pass(stored);
            } catch (const WrongBox& why) {
                detail::throwWrongResult(receiver.classInfo(), name_, why);
            }
        }
    }

    /// Entries stay until the selector ends: a send on another thread may still read one.
    struct Entry {
        const ClassInfo* receiverClass;
        R (*call)(NSObject&, Args...);
        const Entry* before;
    };

    const Entry* lookUp(const ClassInfo* receiverClass) const
    {
        for (const Entry* entry = last_.load(std::memory_order_acquire); entry; entry = entry->before)
            if (entry->receiverClass == receiverClass)
                return entry;

        const Method* found = receiverClass->find(name_);
        R (*call)(NSObject&, Args...) = nullptr;
        if (found && found->typed && *found->typed->signature == typeid(R(Args...)))
            call = static_cast<const TypedCall<R(Args...)>*>(found->typed)->call;
        auto* entry = new Entry { receiverClass, call, last_.load() };
        while (!last_.compare_exchange_weak(entry->before, entry)) { }
        return entry;
    }

    std::string name_;
    mutable std::atomic<const Entry*> last_ { nullptr };
};

}
