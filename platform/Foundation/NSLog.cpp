// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSLog.h"

#include "platform/Foundation/DispatchQueue.h"
#include "platform/Foundation/Scheduler.h"

#include <sys/stat.h>

#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

namespace velmora {

namespace {

LogLevel levelFromEnvironment()
{
    const char* wanted = std::getenv("VELMORA_LOG");
    if (wanted && std::strcmp(wanted, "quiet") == 0)
        return LogLevel::Quiet;
    if (wanted && std::strcmp(wanted, "verbose") == 0)
        return LogLevel::Verbose;
    return LogLevel::Normal;
}

/// The journal says in JOURNAL_STREAM which file it is; there a line begins with its priority.
bool stderrIsJournal()
{
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat here { };
    unsigned long device = 0;
    unsigned long inode = 0;
    return stream && std::sscanf(stream, "%lu:%lu", &device, &inode) == 2 && fstat(2, &here) == 0
        && here.st_dev == device && here.st_ino == inode;
}

struct Log {
    std::recursive_mutex mutex; // a sink may log, or replace itself
    LogSink sink;
    std::atomic<LogLevel> level { levelFromEnvironment() };
    bool journal = stderrIsJournal();
};

Log& theLog()
{
    static Log* log = new Log; // outlives every static object that logs in its destructor
    return *log;
}

void writeToStderr(Log& log, const std::string& line)
{
    const LogLevel level = log.level;
    if (level == LogLevel::Quiet)
        return;
    std::string text = log.journal ? "<5>" : "";
    if (level == LogLevel::Verbose) {
        text += detail::formatted("%f ", Scheduler::current().clock().now());
        if (const std::string queue = DispatchQueue::currentLabel(); !queue.empty())
            text += "(" + queue + ") ";
    }
    text += line;
    text += '\n';
    std::fwrite(text.data(), 1, text.size(), stderr);
}

}

namespace detail {

std::string shortestDecimal(double number)
{
    std::array<char, 32> digits {};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return { digits.data(), end };
}

std::string format(std::string_view text, std::span<const LogArgument> arguments)
{
    std::string result;
    std::size_t next = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        const char kind = text[++i];
        if (kind == '%') {
            result += '%';
            continue;
        }
        const LogArgument& argument = arguments[next++];
        if (kind == '@')
            result += argument.describer(argument.value);
        else if (kind == 'i')
            result += std::to_string(static_cast<std::int32_t>(argument.number.integer));
        else if (kind == 'f') {
            const int length = std::snprintf(nullptr, 0, "%f", argument.number.real);
            std::string number(static_cast<std::size_t>(length) + 1, '\0');
            std::snprintf(number.data(), number.size(), "%f", argument.number.real);
            number.pop_back();
            result += number;
        } else {
            ++i; // the i of %li
            result += std::to_string(argument.number.integer);
        }
    }
    return result;
}

void log(std::string line)
{
    for (char& c : line)
        if (c == '\n')
            c = ' ';
    Log& log = theLog();
    const std::lock_guard lock(log.mutex);
    if (const LogSink sink = log.sink)
        sink(line);
    else
        writeToStderr(log, line);
}

}

LogSink setLogSink(LogSink sink)
{
    Log& log = theLog();
    const std::lock_guard lock(log.mutex);
    return std::exchange(log.sink, std::move(sink));
}

void setLogLevel(LogLevel level)
{
    theLog().level = level;
}

void fatalError(const std::string& reason)
{
    Log& log = theLog();
    {
        const std::lock_guard lock(log.mutex);
        if (log.sink)
            log.sink("Fatal error: " + reason);
    }
    // Always there as well, whatever the sink and the level: who reads the remains of the process looks here.
    std::fprintf(stderr, "Fatal error: %s\n", reason.c_str());
    std::abort();
}

}
