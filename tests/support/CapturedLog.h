// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Foundation/NSLog.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace velmora::tests {

/// Collects the lines of the log while it lives.
class CapturedLog {
public:
    CapturedLog()
        : before_(setLogSink([lines = lines_](const std::string& line) {
            const std::lock_guard lock(lines->mutex);
            lines->all.push_back(line);
        }))
    {
    }
    ~CapturedLog() { setLogSink(std::move(before_)); }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    std::vector<std::string> lines() const
    {
        const std::lock_guard lock(lines_->mutex);
        return lines_->all;
    }
    void clear()
    {
        const std::lock_guard lock(lines_->mutex);
        lines_->all.clear();
    }

private:
    struct Lines {
        std::mutex mutex;
        std::vector<std::string> all;
    };
    std::shared_ptr<Lines> lines_ = std::make_shared<Lines>();
    LogSink before_;
};

}
