// SPDX-License-Identifier: Apache-2.0
#include "tests/drivers/sdl/Desktop.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace velmora::tests {

Desktop::Desktop()
{
    int ends[2];
    if (pipe(ends) != 0)
        return;
    process_ = fork();
    if (process_ == 0) {
        close(ends[0]);
        dup2(ends[1], 3);
        const int nowhere = open("/dev/null", O_RDWR);
        dup2(nowhere, 1);
        dup2(nowhere, 2);
        execlp("Xvfb", "Xvfb", "-displayfd", "3", "-screen", "0", "800x900x24", "-nolisten", "tcp", nullptr);
        _exit(127);
    }
    close(ends[1]);
    char digit = 0;
    std::string number;
    while (read(ends[0], &digit, 1) == 1 && digit != '\n') // ends when it listens, or when it could not start
        number += digit;
    close(ends[0]);
    if (!number.empty())
        name_ = ":" + number;
}

Desktop::~Desktop()
{
    if (process_ <= 0)
        return;
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
}

}
