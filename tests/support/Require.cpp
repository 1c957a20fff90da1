// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Require.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace velmora::tests {

namespace {

bool listed(const char* list, const std::string& name)
{
    std::istringstream names(list ? list : "");
    for (std::string each; std::getline(names, each, ',');)
        if (each == name)
            return true;
    return false;
}

bool onPath(const std::string& command)
{
    const char* path = std::getenv("PATH");
    std::istringstream folders(path ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');)
        if (access((folder + "/" + command).c_str(), X_OK) == 0)
            return true;
    return false;
}

void skip(const std::string& reason)
{
    GTEST_SKIP() << reason;
}

bool require(const std::string& name, bool isHere, const std::string& reason)
{
    if (isHere)
        return true;
    if (listed(std::getenv("VELMORA_REQUIRE"), name)) {
        ADD_FAILURE() << reason;
        return false;
    }
    std::fprintf(stderr, "SKIPPED: %s\n", reason.c_str());
    skip(reason);
    return false;
}

}

bool requireTool(const std::string& name, const std::string& command)
{
    return require(
        name, onPath(command), command + " is not installed, and this test reads with it. See tools/packages.");
}

bool requirePart(const std::string& name, bool isHere)
{
    return require(name, isHere, name + " is not here, and this test needs it. See tools/packages.");
}

bool requireTool(const std::string& name)
{
    return requireTool(name, name);
}

}
