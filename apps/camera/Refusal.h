// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace velmora::camera {

/// What the process says to its parent.
enum ExitStatus : int {
    ExitDone = 0,
    ExitRefused = 1, ///< by a device, a file, the disk, a permission or a limit
    ExitWrongCommandLine = 2, ///< known to be wrong before a camera is opened
    ExitBySignal = 128, ///< plus the signal's number
};

/// A sentence as a part of another one.
inline std::string asClause(std::string sentence)
{
    while (!sentence.empty() && sentence.back() == '.')
        sentence.pop_back();
    return sentence;
}

/// The program cannot go on: thrown where the reason is known, reported once, at the end.
class Refusal : public std::exception {
public:
    /// `advice` says what would be accepted. All three are parts of one sentence, without a full stop.
    Refusal(std::string what, std::string why, std::string advice, int status = ExitRefused)
        : what_(std::move(what))
        , why_(std::move(why))
        , advice_(std::move(advice))
        , status_(status)
        , sentence_(what_ + ": " + why_ + "; " + advice_ + ".")
    {
    }

    const std::string& subject() const { return what_; }
    const std::string& why() const { return why_; }
    const std::string& advice() const { return advice_; }
    int status() const { return status_; }
    /// "What: why; advice."
    const char* what() const noexcept override { return sentence_.c_str(); }

private:
    std::string what_, why_, advice_;
    int status_;
    std::string sentence_;
};

}
