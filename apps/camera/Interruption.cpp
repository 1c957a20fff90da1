// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/Interruption.h"

#include "platform/Foundation/NSRunLoop.h"

#include <pthread.h>

namespace velmora::camera {

namespace {

/// Ends the wait when the program does.
constexpr int wakeUp = SIGUSR2;

/// Whoever started the program may have wanted it to survive this (nohup, a background job).
bool isIgnored(int signal)
{
    struct sigaction action { };
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

}

Interruption::Interruption()
{
    sigemptyset(&signals_);
    for (const int signal : { SIGINT, SIGTERM })
        if (!isIgnored(signal))
            sigaddset(&signals_, signal);
    sigaddset(&signals_, wakeUp);
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    thread_ = std::thread([this] { wait(); });
}

Interruption::~Interruption()
{
    pthread_kill(thread_.native_handle(), wakeUp);
    thread_.join();
}

void Interruption::wait()
{
    int signal = 0;
    sigwait(&signals_, &signal);
    if (signal == wakeUp)
        return;
    signal_ = signal;
    NSRunLoop::mainRunLoop().perform([] {});
    // Unblocked here, the next one has its ordinary effect.
    sigset_t end;
    sigemptyset(&end);
    sigaddset(&end, wakeUp);
    pthread_sigmask(SIG_SETMASK, &end, nullptr);
    sigwait(&end, &signal);
}

}
