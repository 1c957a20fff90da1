// SPDX-License-Identifier: Apache-2.0
#include "apps/camera/TouchScript.h"

#include <array>
#include <cmath>
#include <fstream>
#include <optional>
#include <sstream>

#include "apps/camera/Refusal.h"
#include "apps/camera/Words.h"

namespace velmora::camera {

namespace {

constexpr std::array phaseWords { Choice { "down", DisplayTouchPhase::Began },
    Choice { "move", DisplayTouchPhase::Moved }, Choice { "up", DisplayTouchPhase::Ended },
    Choice { "cancel", DisplayTouchPhase::Cancelled } };

std::optional<ScriptedTouch> touchOf(const std::string& line)
{
    std::istringstream words(line);
    ScriptedTouch touch;
    std::string phase, rest;
    if (!(words >> touch.at >> phase >> touch.point.x >> touch.point.y))
        return std::nullopt;
    if (!(words >> touch.finger))
        words.clear();
    bool known = false;
    for (const auto& each : phaseWords)
        if (phase == each.word) {
            touch.phase = each.value;
            known = true;
        }
    const bool finite
        = std::isfinite(touch.at) && touch.at >= 0 && std::isfinite(touch.point.x) && std::isfinite(touch.point.y);
    return known && finite && !(words >> rest) ? std::optional(touch) : std::nullopt;
}

}

std::vector<ScriptedTouch> readTouchScript(const std::string& file)
{
    std::ifstream input(file);
    if (!input)
        throw Refusal("The script " + file + " cannot be read", "it is not there, or may not be read",
            "give a file of touches with --script FILE");
    std::vector<ScriptedTouch> touches;
    std::string line;
    for (int number = 1; std::getline(input, line); ++number) {
        line = line.substr(0, line.find('#'));
        if (line.find_first_not_of(" \t\r") == std::string::npos)
            continue;
        const auto touch = touchOf(line);
        const std::string place = "Line " + std::to_string(number) + " of " + file;
        if (!touch)
            throw Refusal(place + " is no touch", "it says \"" + line + "\"",
                "a line is SECONDS down|move|up|cancel X Y [FINGER]", ExitWrongCommandLine);
        if (!touches.empty() && touch->at < touches.back().at)
            throw Refusal(place + " comes too late", "the line before it is of a later time",
                "put the lines in order of time", ExitWrongCommandLine);
        touches.push_back(*touch);
    }
    return touches;
}

}
