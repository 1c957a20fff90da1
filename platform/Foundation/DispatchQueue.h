// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/Export.h"

#include <functional>
#include <memory>
#include <string>

namespace velmora {

class QueueState;

using Block = std::function<void()>;

/// A serial queue: its blocks run one at a time, in the order they were added. A copy is the same queue. Blocks that
/// wait when the last copy goes still run.
class VELMORA_EXPORT DispatchQueue {
public:
    explicit DispatchQueue(std::string label);

    /// Runs on the main thread, when it turns the main run loop; never inline.
    static DispatchQueue& main();
    /// The one concurrent queue, of default priority.
    static DispatchQueue& global();

    void async(Block block) const;
    /// After `seconds` of the clock in force.
    void after(double seconds, Block block) const;
    /// Returns when `block` has run; on an idle queue it runs on the caller's thread, and counts as this queue there.
    /// On this queue itself, also when the block of another queue for which it waits asks, it stops the process with a
    /// message that names the queue. What the block throws arrives.
    void sync(const Block& block) const;

    /// True inside this queue's blocks, also in one that `sync` runs on the caller's thread, and in what they wait for
    /// by `sync`, on whichever thread that runs; the main queue is current on all of the main thread.
    bool isCurrent() const;
    const std::string& label() const;
    /// The label of the innermost queue that the calling thread runs a block of; empty outside any.
    static std::string currentLabel();

    /// Runs until no block of this queue is ready, and of a run loop none is due. For tests on the stepped scheduler;
    /// elsewhere it waits until what is ready now has run.
    void drain() const;

    bool operator==(const DispatchQueue& other) const { return state_ == other.state_; }

private:
    friend class NSRunLoop;
    explicit DispatchQueue(std::shared_ptr<QueueState> state);

    std::shared_ptr<QueueState> state_;
};

/// The platform's own names.
inline DispatchQueue dispatch_queue_create(const std::string& label)
{
    return DispatchQueue(label);
}
inline DispatchQueue& dispatch_get_main_queue()
{
    return DispatchQueue::main();
}
inline DispatchQueue& dispatch_get_global_queue()
{
    return DispatchQueue::global();
}
inline void dispatch_async(const DispatchQueue& queue, Block block)
{
    queue.async(std::move(block));
}
inline void dispatch_sync(const DispatchQueue& queue, const Block& block)
{
    queue.sync(block);
}
inline void dispatch_after(double seconds, const DispatchQueue& queue, Block block)
{
    queue.after(seconds, std::move(block));
}

}
