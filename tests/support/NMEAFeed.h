// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/support/Child.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace velmora::tests {

/// What a receiver writes of a fix at 10:20 UTC on 2 January 2026 and so many seconds: 35 m above the sea, 1.5 knots to
/// the north-east.
std::string sentencesOfFix(int second, double latitude, double longitude);

/// A satellite receiver that says what a test tells it, to the one who connects to its port.
class NMEAFeed {
public:
    NMEAFeed();
    ~NMEAFeed();
    NMEAFeed(const NMEAFeed&) = delete;
    NMEAFeed& operator=(const NMEAFeed&) = delete;

    int port() const { return port_; }
    /// Waits for the one who listens.
    void fix(int second, double latitude, double longitude);
    void hangUp();

private:
    int port_ = 0; // found by the socket
    int listening_ = -1, connected_ = -1;
};

/// A receiver that stands still and says so ten times a second, while this lives.
class SteadyFix {
public:
    SteadyFix(NMEAFeed& feed, double latitude, double longitude);
    ~SteadyFix();
    SteadyFix(const SteadyFix&) = delete;
    SteadyFix& operator=(const SteadyFix&) = delete;

private:
    std::mutex mutex_;
    std::condition_variable over_;
    bool isOver_ = false;
    std::thread thread_;
};

/// gpsfake: a gpsd on a port of its own whose receiver plays what was once written to a file, over and over.
class PlayedLog {
public:
    explicit PlayedLog(const std::string& file);
    std::string port() const { return std::to_string(port_); }
    bool waitUntilItListens() const;

private:
    int port_ = 0;
    std::unique_ptr<Child> process_;
};

/// A gpsd on a port of its own, with that receiver.
class GpsDaemon {
public:
    GpsDaemon();
    static bool isHere();
    std::string port() const { return std::to_string(port_); }
    NMEAFeed& feed() { return feed_; }
    bool waitUntilItListens() const;
    void restart();

private:
    void run();

    NMEAFeed feed_;
    int port_ = 0;
    std::unique_ptr<Child> process_;
};

}
