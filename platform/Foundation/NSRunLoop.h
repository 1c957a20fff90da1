// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/DispatchQueue.h"

#include <memory>

namespace velmora {

/// A thread's loop: it runs the blocks and timers that were given to it, when the thread turns it. Every thread has
/// one; the main one is the main queue.
class VELMORA_EXPORT NSRunLoop {
public:
    static NSRunLoop& mainRunLoop();
    static NSRunLoop& currentRunLoop();

    /// Turns until `stop`, from the loop's own thread. Sleeps while there is nothing to do; with time that is moved by
    /// hand it moves it from deadline to deadline, and returns when nothing is left to wait for.
    void run();
    /// Ends `run`, the innermost one, after the present turn. From any thread.
    void stop() const;
    /// One turn: runs what is ready, and what is due, at its beginning; blocks added meanwhile wait for the next turn.
    /// Waits up to `seconds` (0: not at all) for the first of them. Answers whether anything ran. Turned by another
    /// thread than its own, it stops the process.
    bool turn(double seconds = 0);

    /// Adds a block for the next turn, or for the first turn after `seconds`. From any thread.
    void perform(Block block) const;
    void performAfter(double seconds, Block block) const;

    /// A descriptor that becomes readable (poll, epoll, a foreign main loop's watch) when there is work to turn for:
    /// then call turn(). The loop keeps it; do not read or close it. -1 when the system has no more descriptors.
    int descriptor() const;

    /// The loop as a queue: the main queue for the main run loop.
    DispatchQueue queue() const { return queue_; }

private:
    friend class SteppedScheduler;
    explicit NSRunLoop(DispatchQueue queue);
    QueueState& state() const;
    const std::shared_ptr<QueueState>& sharedState() const;

    DispatchQueue queue_;
    std::shared_ptr<bool> stopped_; // touched on the loop's own thread
};

}
