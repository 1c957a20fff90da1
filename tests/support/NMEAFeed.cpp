// SPDX-License-Identifier: Apache-2.0
#include "tests/support/NMEAFeed.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace velmora::tests {

namespace {

sockaddr_in loopback(int port)
{
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

/// A socket on a port that was free.
int bound(int& port)
{
    const int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (bind(made, reinterpret_cast<const sockaddr*>(&address), size) != 0
        || getsockname(made, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        std::abort();
    port = ntohs(address.sin_port);
    return made;
}

std::string sentence(const std::string& text)
{
    unsigned sum = 0;
    for (const char c : text)
        sum ^= static_cast<unsigned char>(c);
    std::array<char, 8> end {};
    std::snprintf(end.data(), end.size(), "*%02X\r\n", sum);
    return "$" + text + end.data();
}

/// Degrees and minutes, as receivers write them.
std::string angle(double degrees, int digits)
{
    const double positive = std::abs(degrees);
    const int whole = static_cast<int>(positive);
    std::array<char, 32> text {};
    std::snprintf(text.data(), text.size(), "%0*d%08.5f", digits, whole, (positive - whole) * 60);
    return text.data();
}

/// A gpsd says nowhere that it is ready; connecting until it accepts is the only way to know.
bool waitUntilAccepted(int port)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < end) {
        const int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = loopback(port);
        const bool accepted = connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        close(made);
        if (accepted)
            return true;
        std::this_thread::yield();
    }
    return false;
}

}

std::string sentencesOfFix(int second, double latitude, double longitude)
{
    std::array<char, 16> time {};
    std::snprintf(time.data(), time.size(), "1020%02d.00", second);
    const std::string at
        = angle(latitude, 2) + (latitude < 0 ? ",S," : ",N,") + angle(longitude, 3) + (longitude < 0 ? ",W" : ",E");
    const std::string when = time.data();
    return sentence("GPRMC," + when + ",A," + at + ",1.5,045.0,020126,,,A")
        + sentence("GPGSA,A,3,04,05,09,12,24,25,29,30,,,,,1.9,1.1,1.5")
        + sentence("GPGGA," + when + "," + at + ",1,08,1.1,35.0,M,47.0,M,,");
}

NMEAFeed::NMEAFeed()
    : listening_(bound(port_))
{
    if (listen(listening_, 4) != 0)
        std::abort();
}

NMEAFeed::~NMEAFeed()
{
    hangUp();
    close(listening_);
}

void NMEAFeed::hangUp()
{
    if (connected_ >= 0)
        close(connected_);
    connected_ = -1;
}

void NMEAFeed::fix(int second, double latitude, double longitude)
{
    if (connected_ < 0)
        connected_ = accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
    const std::string all = sentencesOfFix(second, latitude, longitude);
    if (send(connected_, all.data(), all.size(), MSG_NOSIGNAL) < 0)
        hangUp();
}

SteadyFix::SteadyFix(NMEAFeed& feed, double latitude, double longitude)
    : thread_([this, &feed, latitude, longitude] {
        std::unique_lock lock(mutex_);
        for (int second = 0; !isOver_; ++second) {
            feed.fix(second % 60, latitude, longitude);
            over_.wait_for(lock, std::chrono::milliseconds(100), [this] { return isOver_; });
        }
    })
{
}

SteadyFix::~SteadyFix()
{
    {
        const std::lock_guard lock(mutex_);
        isOver_ = true;
    }
    over_.notify_all();
    thread_.join();
}

PlayedLog::PlayedLog(const std::string& file)
{
    close(bound(port_));
    // gpsfake leaves its gpsd behind when it is ended; `timeout` ends both, and whatever hangs.
    process_ = std::make_unique<Child>(
        std::vector<std::string> { "timeout", "60", "gpsfake", "-q", "-c", "0.05", "-P", port(), file },
        std::vector<std::string> {});
}

bool PlayedLog::waitUntilItListens() const
{
    return waitUntilAccepted(port_);
}

GpsDaemon::GpsDaemon()
{
    close(bound(port_));
    run();
}

bool GpsDaemon::isHere()
{
    return access("/usr/sbin/gpsd", X_OK) == 0;
}

void GpsDaemon::run()
{
    process_ = std::make_unique<Child>(std::vector<std::string> { "/usr/sbin/gpsd", "-N", "-n", "-S", port(),
                                           "tcp://127.0.0.1:" + std::to_string(feed_.port()) },
        std::vector<std::string> {});
}

bool GpsDaemon::waitUntilItListens() const
{
    return waitUntilAccepted(port_);
}

void GpsDaemon::restart()
{
    process_->end(SIGKILL);
    feed_.hangUp();
    run();
}

}
