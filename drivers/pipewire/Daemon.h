// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSError.h"

#include "drivers/CameraSource.h"
#include "drivers/pipewire/Controls.h"
#include "drivers/pipewire/Offers.h"
#include "drivers/pipewire/openPipeWire.h"

#include <pipewire/pipewire.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmora::drivers::pipewire {

class Daemon;

/// A camera or a microphone as the daemon tells of it. Used with the daemon locked.
struct Node {
    std::uint32_t id = 0;
    bool isMicrophone = false;
    Properties properties;
    std::vector<Offer> offers;
    Controls controls;

    std::string property(const char* key) const;
    /// The same after unplugging and after a restart.
    std::string identity;
};

/// What a daemon tells, on its thread, with the daemon locked.
struct DaemonEvents {
    std::function<void(const std::shared_ptr<Node>&)> appeared, vanished, valuesChanged;
    std::function<void()> lost; ///< Every stream is dead, every node gone; `restored` or `givenUp` follows.
    std::function<void()> restored, givenUp;
};

class LoopTimer final : public cameras::LoopTimer {
public:
    LoopTimer(Daemon& daemon, std::function<void()> fire);
    ~LoopTimer() override;
    LoopTimer(const LoopTimer&) = delete;
    LoopTimer& operator=(const LoopTimer&) = delete;
    void once(double seconds) override;
    void every(double seconds) override;
    void stop() override;

private:
    void set(double first, double then);

    pw_loop* const loop_;
    std::function<void()> fire_;
    spa_source* source_;
};

/// A connection to a daemon and the thread that serves it. When the daemon goes, it looks for it again.
class Daemon final : public cameras::EventLoop {
public:
    /// Returns when all devices are known. Throws NSError when the daemon does not answer.
    explicit Daemon(DaemonWish wish);
    ~Daemon() override;
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    void lock() override { pw_thread_loop_lock(thread_); }
    void unlock() override { pw_thread_loop_unlock(thread_); }
    std::unique_ptr<cameras::LoopTimer> timer(std::function<void()> fire) override;

    // All of these with the daemon locked.
    void setEvents(DaemonEvents events) { events_ = std::move(events); }
    /// Those that are known fully, in the order in which they came.
    std::vector<std::shared_ptr<Node>> nodes() const;
    /// Waits until all that the daemon has told so far is known; tries once more to reach it when it had given up.
    void catchUp() override;
    bool isConnected() const { return core_ != nullptr; }
    void set(const Node& node, const std::map<std::uint32_t, double>& values);
    /// Ends a stream that nobody listens to any more. Its data thread may have left calls for the daemon's thread,
    /// which come before its memory goes.
    void bury(pw_stream* stream);
    pw_core* core() const { return core_; }
    pw_loop* loop() const { return pw_thread_loop_get_loop(thread_); }
    const DaemonWish& wish() const { return wish_; }

private:
    struct Bound;

    bool connect();
    void disconnect();
    void retry();
    void scheduleRetry();
    void enumerate();
    bool waitUntilKnown();
    void nameIdentity(Node& node) const;
    void globalAdded(std::uint32_t id, const char* type, const spa_dict* properties);
    void globalRemoved(std::uint32_t id);
    void done(std::uint32_t id, int sequence);
    void buryAll();
    void failed(std::uint32_t id, int result, const char* message);
    void end();

    const DaemonWish wish_;
    pw_thread_loop* thread_ = nullptr;
    pw_context* context_ = nullptr;
    pw_core* core_ = nullptr;
    pw_registry* registry_ = nullptr;
    spa_hook coreHook_ {}, registryHook_ {};
    std::map<std::uint32_t, std::unique_ptr<Bound>> bound_;
    DaemonEvents events_;
    std::unique_ptr<LoopTimer> retryTimer_;
    std::vector<pw_stream*> dead_;
    spa_source* funeral_ = nullptr;
    double lostAt_ = 0; // seconds of the steady clock
    bool givenUp_ = false, usedDescriptor_ = false, restoring_ = false;
    int enumeration_ = 0, enumerationSync_ = 0; // rounds that are left until all is known; below 0: it is lost
};

}
