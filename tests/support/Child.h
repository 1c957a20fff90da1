// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <functional>
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
    void write(const std::string& text) const; ///< to its standard input
    /// Ends it by a signal, and returns when it has gone.
    void end(int signal);

private:
    pid_t process_ = -1;
    int input_ = -1, output_ = -1;
};

}
