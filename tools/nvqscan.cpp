// nvqscan: the person's program.

#include <iostream>
#include <optional>

#include <CLI/CLI.hpp>

#include "platform/signals.h"
#include "tools/command.h"
#include "tools/help_layout.h"
#include "tools/interrupt_watch.h"
#include "tools/parser_words.h"
#include "tools/profile/command.h"

namespace {

constexpr char kFooter[] =
    "Exit codes: 0 done; 1 failed or refused; 2 wrong use, or input that can't be used; 130 "
    "cancelled. 'nvqscan COMMAND --help' tells more of a command.";

void AddProfileCommand(CLI::App& app, CCommandList& commands) {
    const auto options = std::make_shared<ProfileOptions>();
    CLI::App* profile = AddProfile(app, *options);
    commands.push_back({profile, [options] { return RunProfile(*options, std::cout, std::cerr); }});
}

// In the order in which --help lists them.
constexpr void (*kFamilies[])(CLI::App& app, CCommandList& commands) = {
    AddScanCommand,      AddOptionsCommand, AddDeviceCommands, AddFindCommand,
    AddPropertyCommands, AddButtonCommands, AddLogCommand,     AddProcessCommands,
    AddProfileCommand,   AddHelpCommand,
};

// The parser has made sure that there is one.
int RunParsed(const CCommandList& commands) {
    for (const CCommand& command : commands) {
        if (command.m_app->parsed())
            return command.m_run();
    }
    return kExitUsage;
}

// One line, with the way to the command's help; who has named no command gets the help itself.
int RefuseLine(const CLI::App& app, const CLI::ParseError& error) {
    std::string name = app.get_name();
    const CLI::App* command = &app;
    while (command->remaining().empty() && !command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        name += " " + command->get_name();
    }
    if (command->get_require_subcommand_min() > 0 && command->remaining().empty())
        std::cerr << app.help();
    else
        std::cerr << name << ": " << ParserWords(error, *command) << " (see '" << name
                  << " --help')\n";
    return kExitUsage;
}

// Nothing when a command is to run.
std::optional<int> Parse(CLI::App& app, int argc, char** argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        return kExitDone;
    } catch (const CLI::CallForVersion& version) {
        std::cout << version.what() << '\n';
        return kExitDone;
    } catch (const CLI::ParseError& error) {
        return RefuseLine(app, error);
    }
    return std::nullopt;
}

int Run(int argc, char** argv) {
    CLI::App app{"Scans with the nvqdrv driver, and runs pictures through its engine", "nvqscan"};
    app.set_help_flag("-h,--help", "Print this help");
    app.set_version_flag("--version", NVQ_VERSION, "Print the version");
    app.require_subcommand(1);
    app.formatter(MakeHelpLayout());
    CCommandList commands;
    for (const auto add : kFamilies)
        add(app, commands);
    app.footer(kFooter);  // behind the commands, which would inherit it
    const std::optional<int> code = Parse(app, argc, argv);
    return code ? *code : RunParsed(commands);
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
