// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace velmora::tests {

/// What came so far, from whichever thread, and a way to wait for more.
template <class T> class Collected {
public:
    void add(T value)
    {
        const std::lock_guard lock(mutex_);
        all_.push_back(std::move(value));
        changed_.notify_all();
    }
    std::vector<T> all() const
    {
        const std::lock_guard lock(mutex_);
        return all_;
    }
    void clear()
    {
        std::vector<T> released;
        const std::lock_guard lock(mutex_);
        all_.swap(released);
    }
    /// False when there are fewer after `seconds`.
    bool waitFor(std::size_t count, double seconds = 5) const
    {
        return waitUntil([count](const std::vector<T>& all) { return all.size() >= count; }, seconds);
    }
    bool waitUntil(const std::function<bool(const std::vector<T>&)>& done, double seconds = 5) const
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::duration<double>(seconds), [&] { return done(all_); });
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<T> all_;
};

}
