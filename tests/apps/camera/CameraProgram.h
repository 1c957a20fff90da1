// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace velmora::tests {

/// What the program left behind.
struct ProgramOutcome {
    int status = -1;
    std::string out, err;
    nlohmann::json json() const { return nlohmann::json::parse(out, nullptr, false); }
};

/// Runs velmora-camera as a shell would, in a folder of its own, with a home of its own and in the time zone of
/// Kathmandu (UTC+05:45), which nobody has by chance.
class CameraProgram : public testing::Test {
protected:
    CameraProgram();

    /// `arguments` is a piece of a shell's line; `before` stands before the program's name.
    ProgramOutcome run(const std::string& arguments, const std::string& before = {}) const;
    /// The same for a whole line, in which $camera is the program.
    ProgramOutcome runLine(const std::string& line) const;

    std::string path(const std::string& name) const { return folder.file(name); }
    void write(const std::string& name, const std::string& text) const;
    /// Names of all files below a folder, hidden ones too, sorted.
    std::vector<std::string> filesIn(const std::string& name) const;

    TemporaryFolder folder;
};

/// A phone with one small camera, so that a photo takes little time.
extern const char* const smallPhone;

}
