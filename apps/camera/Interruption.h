// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <csignal>
#include <thread>

namespace velmora::camera {

/// Turns SIGINT and SIGTERM into a question, so that the program ends with its files complete. A second signal ends it
/// at once. Made before any other thread, on the main thread.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// The signal that came; 0 for none. The main run loop wakes when one comes.
    int signal() const { return signal_; }

private:
    void wait();

    sigset_t signals_;
    std::atomic<int> signal_ { 0 };
    std::thread thread_;
};

}
