// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace velmora::drivers::media {

/// Says to other processes that a movie is being written. The system lets go of it when the process ends, however that
/// happens, so a movie without one was left behind.
class MovieLock {
public:
    MovieLock() = default;
    /// Takes the lock of a file that is there; not held when another process, or another movie of this one, has it.
    /// A file system without locks gives it to everybody.
    explicit MovieLock(const std::string& path);
    ~MovieLock();
    MovieLock(MovieLock&& other) noexcept;
    MovieLock& operator=(MovieLock&& other) noexcept;

    bool isHeld() const { return held_; }

private:
    int descriptor_ = -1;
    bool held_ = false;
};

}
