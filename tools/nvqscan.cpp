// nvqscan: the person's program.

#include <iostream>

#include <CLI/CLI.hpp>

#include "platform/signals.h"
#include "tools/command.h"
#include "tools/interrupt_watch.h"
#include "tools/profile/command.h"

namespace {

constexpr char kExitCodes[] =
    "Exit codes: 0 done; 1 failed or refused; 2 wrong use, or input that can't be used; 130 "
    "cancelled.\n'nvqscan COMMAND --help' tells more of a command.";

void AddProfileCommand(CLI::App& app, CCommandList& commands) {
    const auto options = std::make_shared<ProfileOptions>();
    CLI::App* profile = AddProfile(app, *options);
    commands.push_back({profile, [options] { return RunProfile(*options, std::cout, std::cerr); }});
}

// In the order in which --help lists them.
constexpr void (*kFamilies[])(CLI::App& app, CCommandList& commands) = {
    AddScanCommand, AddDeviceCommands,  AddPropertyCommands, AddButtonCommands,
    AddLogCommand,  AddProcessCommands, AddProfileCommand,
};

// The parser has made sure that there is one.
int RunParsed(const CCommandList& commands) {
    for (const CCommand& command : commands) {
        if (command.m_app->parsed())
            return command.m_run();
    }
    return kExitUsage;
}

int Run(int argc, char** argv) {
    CLI::App app{"nvqscan: scans with the nvqdrv driver, and runs pictures through its engine"};
    app.set_version_flag("--version", NVQ_VERSION);
    app.require_subcommand(1);
    app.footer(kExitCodes);
    CCommandList commands;
    for (const auto add : kFamilies)
        add(app, commands);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        app.exit(error);
        return kExitUsage;
    }
    return RunParsed(commands);
}

// Results are on standard output, so what can't be written there is a failure of the command.
int FlushOutput(int code) {
    if (std::cout.flush() || code != kExitDone)
        return code;
    return Complain("standard output: can't be written", kExitFailed);
}

}  // namespace

int main(int argc, char** argv) {
    TakeOutputSignalsAsFailures();
    CatchInterrupts();
    return EndWatch(FlushOutput(Run(argc, argv)));
}
