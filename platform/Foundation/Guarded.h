// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>
#include <utility>

namespace velmora {

/// A value that several queues share. Each access holds the lock for itself alone, so that nothing is called back and
/// nothing is destroyed under it.
template <class T> class Guarded {
public:
    Guarded() = default;
    explicit Guarded(T value)
        : value_(std::move(value))
    {
    }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    T get() const
    {
        const std::lock_guard lock(mutex_);
        return value_;
    }
    void set(T value) { exchange(std::move(value)); }
    /// Answers what it held.
    T exchange(T value)
    {
        {
            const std::lock_guard lock(mutex_);
            std::swap(value_, value);
        }
        return value;
    }
    /// Reads or changes the value in place, under the lock: `use` must not reach this value again.
    template <class Use> auto with(Use use)
    {
        const std::lock_guard lock(mutex_);
        return use(value_);
    }

private:
    mutable std::mutex mutex_;
    T value_ {};
};

}
