// SPDX-License-Identifier: Apache-2.0
// Ours, a bare PipeWire client and GStreamer's camerabin with a camera of the tests' own, one after the other, five
// times: medians, in milliseconds. `bench_camera_latency [ROUNDS]`
#include "tests/support/PipeWireDaemon.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "benchmarks/camera_latency/Measured.h"

namespace {

struct Contestant {
    const char *name, *program;
};
constexpr std::array contestants { Contestant { "Velmora", "bench_camera_ours" },
    Contestant { "bare PipeWire client", "bench_camera_bare" },
    Contestant { "GStreamer camerabin", "bench_camera_camerabin" } };

using Numbers = std::array<std::vector<double>, 4>;

/// Whether it answered.
bool runOnce(const std::filesystem::path& program, Numbers& numbers)
{
    // A daemon for each: a camera is not free at once when somebody leaves it.
    const velmora::tests::PipeWireDaemon daemon;
    const auto camera = daemon.camera("source", { "offers=NV12:1280x720:30", "controls=none", "stamp=yes" });
    std::vector<std::string> environment = daemon.environment();
    for (const char* name : { "PATH", "HOME", "LD_LIBRARY_PATH" })
        if (const char* value = std::getenv(name))
            environment.push_back(std::string(name) + "=" + value);
    const velmora::tests::Child child({ program.string(), daemon.folder().path() }, environment);
    std::array<double, 4> found {};
    const std::string line = child.readLine();
    if (std::sscanf(line.c_str(), "%lf %lf %lf %lf", &found[0], &found[1], &found[2], &found[3]) != 4)
        return false;
    for (std::size_t i = 0; i < found.size(); ++i)
        numbers[i].push_back(found[i]);
    return true;
}

/// GStreamer's pipewiresrc 0.3.65 dies at its start, more often than not: whoever does not answer is asked again.
bool run(const std::filesystem::path& program, Numbers& numbers)
{
    constexpr int mostTries = 12;
    for (int tries = 0; std::filesystem::exists(program) && tries < mostTries; ++tries)
        if (runOnce(program, numbers))
            return true;
    return false;
}

}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv); // the daemon of the tests asks it what may be skipped
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 5;
    const auto folder = std::filesystem::canonical("/proc/self/exe").parent_path();
    std::map<std::string, Numbers> all;
    for (int round = 0; round < rounds; ++round)
        for (const auto& [name, program] : contestants)
            if (!run(folder / program, all[name]))
                std::fprintf(stderr, "%s did not answer\n", name);
    std::printf("1280 x 720, 30 frames a second   first frame   frame's age   picture of a photo   its file   (ms)\n");
    for (const auto& [name, program] : contestants) {
        const Numbers& numbers = all[name];
        std::printf("%-30s %13.1f %13.3f %20.1f %10.1f\n", name, measured::median(numbers[0]),
            measured::median(numbers[1]), measured::median(numbers[2]), measured::median(numbers[3]));
    }
}
