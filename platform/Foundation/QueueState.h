// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/DispatchQueue.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace velmora {

/// What stands behind the copies of a queue: its blocks, its deadlines, and who runs it. Knows nothing of threads or
/// of the clock; a scheduler drives it. Every function is safe from any thread.
class QueueState : public std::enable_shared_from_this<QueueState> {
public:
    enum class Kind : std::uint8_t { Serial, Concurrent, RunLoop, MainRunLoop };

    QueueState(std::string label, Kind kind);

    const std::string& label() const { return label_; }
    Kind kind() const { return kind_; }
    /// Bound to one thread, which runs it by turning its run loop.
    bool isRunLoop() const { return kind_ == Kind::RunLoop || kind_ == Kind::MainRunLoop; }
    /// The thread whose run loop this is; the main run loop's is the main thread.
    bool belongsToThisThread() const;

    void add(Block block);
    /// Adds, and takes the queue when nobody runs it: the caller then sees to it that the block runs.
    bool addAndTryEnter(Block block);
    void addAt(double when, Block block);

    /// Moves the blocks whose time has come behind the ready ones. Answers how many there were.
    std::size_t releaseDue(double now);
    std::optional<double> nextDeadline() const;
    std::size_t readyCount() const;

    /// Takes the queue when nobody runs it and nothing waits: the caller may run a block as this queue.
    bool tryEnterIdle();
    /// Waits until nobody else runs the queue, and takes it.
    void enter();
    /// Takes the queue when nobody runs it.
    bool tryEnter();
    void leave();
    /// Runs the first ready block; the caller has entered. False when there is none.
    bool runNext();
    /// Runs all blocks that are ready now; the caller has entered. False when there is none.
    bool runReady();

    /// Runs `block` as a block of this queue on this thread.
    void runAs(const Block& block);
    /// Adds `block`, calls `announce`, and waits until another thread has run it. What it throws arrives here. While it
    /// runs, the queues of the waiting thread are current in it too: they wait for it.
    void addAndWait(const Block& block, const Block& announce);
    bool isCurrent() const;
    static const QueueState* innermost();

    /// Waits until a block is ready, a deadline was added, or `seconds` have passed by the machine's time.
    void waitForWork(double seconds);
    void wake();

    /// A descriptor that is readable while blocks are ready, and from the armed deadline on; made when first asked for.
    /// -1 when the system refuses.
    int descriptor();
    /// Tells the descriptor the next deadline; `now` is the time of the clock that deadlines are in.
    void armDescriptor(double now);

    /// Forgets all blocks; answers whether there were any.
    bool discard();

private:
    struct Descriptor;
    struct Thread;
    struct Frame;
    class RunningAs;

    static Thread thisThread();
    bool belongsTo(const Thread& thread) const;
    bool isIn(const Frame* frames) const;
    void signalDescriptor();
    void clearDescriptorIfIdle();

    static thread_local const Frame* frames_; ///< Of the blocks that this thread is inside of, the innermost first.

    const std::string label_;
    const Kind kind_;
    const std::thread::id thread_ = std::this_thread::get_id();
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Block> ready_;
    std::deque<Block> batch_; ///< Of whoever has entered: taken from `ready_` together.
    std::multimap<double, Block> timed_;
    bool running_ = false;
    bool woken_ = false;
    std::shared_ptr<Descriptor> descriptor_;
};

/// True on the thread that the process began with.
bool isMainThread();

}
