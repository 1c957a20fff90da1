// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/support/Child.h"
#include "tests/support/TemporaryFolder.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora::tests {

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
