// SPDX-License-Identifier: Apache-2.0
#include "platform/Foundation/NSLog.h"

#include <csignal>
#include <cstdio>
#include <span>
#include <string_view>

#include "apps/camera/CommandLine.h"
#include "apps/camera/FramesCommand.h"
#include "apps/camera/Interruption.h"
#include "apps/camera/LatencyCommand.h"
#include "apps/camera/ListCommands.h"
#include "apps/camera/PhotoAlbum.h"
#include "apps/camera/RecordCommand.h"
#include "apps/camera/Refusal.h"
#include "apps/camera/Report.h"
#include "apps/camera/ScreenCommands.h"
#include "apps/camera/ShootCommand.h"

namespace velmora::camera {

namespace {

/// Asked before the command line is understood: it may be what is wrong.
bool asksForJSON(std::span<char*> arguments)
{
    for (const std::string_view argument : arguments)
        if (argument == "--json")
            return true;
    return false;
}

void perform(int argc, char** argv, Report& report, const Interruption& interruption)
{
    const auto parsed = parseCommandLine(argc, argv);
    if (const auto* information = std::get_if<Information>(&parsed)) {
        report.tell(information->text);
        return;
    }
    const auto& options = std::get<Options>(parsed);
    setLogLevel(options.global.log);
    switch (options.command) {
    case Command::Screen:
        showScreen(options, report, interruption);
        break;
    case Command::Snapshot:
        takeSnapshot(options, report);
        break;
    case Command::Shoot:
        ShootCommand(options, report, interruption).run();
        break;
    case Command::Record:
        RecordCommand(options, report, interruption).run();
        break;
    case Command::Frames:
        FramesCommand(options, report, interruption).run();
        break;
    case Command::Latency:
        measureLatency(options, report, interruption);
        break;
    case Command::Lenses:
        listLenses(options, report);
        break;
    case Command::Devices:
        listDevices(options, report);
        break;
    case Command::Album:
        listAlbum(options, report);
        break;
    }
    report.print();
}

}

int run(int argc, char** argv)
{
    const Interruption interruption;
    Report report(asksForJSON({ argv, static_cast<std::size_t>(argc) }) ? Report::Form::JSON : Report::Form::Lines);
    try {
        perform(argc, argv, report, interruption);
    } catch (const Refusal& refusal) {
        report.fail(refusal);
        return refusal.status();
    }
    return ExitDone;
}

}

int main(int argc, char** argv)
{
    // A file that grows beyond the process's limit is an error to report like a full disk.
    std::signal(SIGXFSZ, SIG_IGN);
    return velmora::camera::run(argc, argv);
}
