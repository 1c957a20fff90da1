// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Child.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace velmora::tests {

Child::Child(const std::vector<std::string>& command, const std::vector<std::string>& environment,
    const std::function<void()>& prepare)
{
    int ends[2], commands[2];
    if (pipe2(ends, O_CLOEXEC) != 0 || pipe2(commands, O_CLOEXEC) != 0)
        std::abort();
    process_ = fork();
    if (process_ == 0) {
        dup2(commands[0], 0);
        dup2(ends[1], 1);
        if (!std::getenv("VELMORA_TEST_OUTPUT")) {
            const int nowhere = open("/dev/null", O_RDWR);
            dup2(nowhere, 2);
        }
        if (prepare)
            prepare();
        for (const auto& each : environment)
            putenv(const_cast<char*>(each.c_str()));
        std::vector<char*> arguments;
        for (const auto& each : command)
            arguments.push_back(const_cast<char*>(each.c_str()));
        arguments.push_back(nullptr);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    close(ends[1]);
    close(commands[0]);
    input_ = commands[1];
    output_ = ends[0];
}

Child::~Child()
{
    end(SIGTERM);
    close(input_);
    close(output_);
}

void Child::write(const std::string& text) const
{
    if (::write(input_, text.data(), text.size()) < 0)
        std::abort();
}

std::string Child::readLine() const
{
    std::string line;
    for (char c = 0; read(output_, &c, 1) == 1;) {
        if (c == '\n')
            return line;
        line += c;
    }
    return line;
}

std::string Child::readUntil(const std::string& beginning) const
{
    for (;;) {
        std::string line = readLine();
        if (line.empty() || line.starts_with(beginning))
            return line;
    }
}

void Child::end(int signal)
{
    if (process_ <= 0)
        return;
    ::kill(process_, signal);
    waitpid(process_, nullptr, 0);
    process_ = -1;
}

}
