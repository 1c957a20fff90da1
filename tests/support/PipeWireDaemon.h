// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/support/TemporaryFolder.h"

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace velmora::tests {

/// A process that is ended with this, and the lines that it writes.
class Child {
public:
    /// `prepare` runs in the new process.
    Child(const std::vector<std::string>& command, const std::vector<std::string>& environment,
        const std::function<void()>& prepare = {});
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// The next line of its standard output; empty at its end.
    std::string readLine() const;
    /// Reads up to a line that begins so, and answers it; empty when the process ends before.
    std::string readUntil(const std::string& beginning) const;
    /// Ends it by a signal, and returns when it has gone.
    void end(int signal);

private:
    pid_t process_ = -1;
    int output_ = -1;
};

/// A PipeWire daemon with its session manager and a folder of its own: nothing of the machine's is touched.
class PipeWireDaemon {
public:
    PipeWireDaemon();
    ~PipeWireDaemon();
    PipeWireDaemon(const PipeWireDaemon&) = delete;
    PipeWireDaemon& operator=(const PipeWireDaemon&) = delete;

    /// Whether the programs are on this machine and the driver was built; skips the test when not.
    static bool isHere();

    const std::string& socket() const { return socket_; }
    const TemporaryFolder& folder() const { return folder_; }
    /// NAME=VALUE, for programs that shall use this daemon.
    std::vector<std::string> environment() const;
    /// Published when this returns. Options: see tests/support/pipewire/TestCamera.cpp.
    std::unique_ptr<Child> camera(const std::string& name, const std::vector<std::string>& options = {}) const;
    std::unique_ptr<Child> microphone(const std::string& name) const;

    void start();
    void startSessionManager();
    void kill(); ///< Both, as a crash would.
    void killSessionManager();

private:
    TemporaryFolder folder_;
    const std::string socket_;
    std::unique_ptr<Child> daemon_, sessionManager_;
};

}
