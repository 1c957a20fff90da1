// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <string>

namespace velmora::tests {

/// A desktop of 800 by 900 pixels that nobody sees, in an Xvfb of its own, while this lives.
class Desktop {
public:
    Desktop();
    ~Desktop();
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

    bool runs() const { return !name_.empty(); }
    const std::string& name() const { return name_; } ///< for DISPLAY: ":7"

private:
    pid_t process_ = -1;
    std::string name_;
};

}
