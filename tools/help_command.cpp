// nvqscan help.
//
// With --table it prints what documents and completion are made from:
//
//     {"commands": [{"name": "scan", "usage": "nvqscan scan ...", "text": "Scan pages into files",
//       "commands": [], "options": [{"names": ["-o", "--output"], "value": "FILE", "words": [],
//         "complete": "file", "text": "...", "notes": "...", "group": "Files"}]}]}
//
// The program itself has the name "", and what belongs to another command its name ahead, such as
// "profile pack". "complete" is file, device or empty.

#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "tools/choice_option.h"
#include "tools/command.h"
#include "tools/json_text.h"
#include "tools/option_facts.h"

namespace {

struct HelpOptions {
    std::vector<std::string> m_names;
    bool m_isTable = false;
};

CJson JsonOf(const COptionFacts& facts) {
    const char* complete = "";
    if (facts.m_isFile || facts.m_isDevice)
        complete = facts.m_isFile ? "file" : "device";
    return {{"names", facts.m_names}, {"value", facts.m_value}, {"words", facts.m_words},
            {"complete", complete},   {"text", facts.m_text},   {"notes", facts.m_notes},
            {"group", facts.m_group}};
}

void AddJson(CJson& list, const std::string& name, const CLI::App& command) {
    CJson options = CJson::array();
    for (const COptionFacts& facts : OptionsOf(command))
        options.push_back(JsonOf(facts));
    const auto subs = command.get_subcommands([](const CLI::App*) { return true; });
    CJson names = CJson::array();
    for (const CLI::App* sub : subs)
        names.push_back(sub->get_name());
    list.push_back({{"name", name},
                    {"usage", UsageOf("nvqscan" + (name.empty() ? "" : " " + name), command)},
                    {"text", command.get_description()},
                    {"commands", names},
                    {"options", options}});
    for (const CLI::App* sub : subs)
        AddJson(list, (name.empty() ? "" : name + " ") + sub->get_name(), *sub);
}

// The help of the command that is named, such as "profile pack".
int Help(const CLI::App& program, const HelpOptions& options) {
    if (options.m_isTable) {
        CJson list = CJson::array();
        AddJson(list, "", program);
        PrintJson(std::cout, {{"commands", list}});
        return kExitDone;
    }
    const CLI::App* command = &program;
    std::string name = "nvqscan";
    for (const std::string& word : options.m_names) {
        const auto subs = command->get_subcommands(
            [&word](const CLI::App* sub) { return sub->get_name() == word; });
        if (subs.empty())
            return Complain("help: '" + word + "' is no command; 'nvqscan help' lists them",
                            kExitUsage);
        command = subs.front();
        name += " " + word;
    }
    std::cout << command->get_formatter()->make_help(command, name, CLI::AppFormatMode::Normal);
    return kExitDone;
}

}  // namespace

void AddHelpCommand(CLI::App& app, CCommandList& commands) {
    const auto options = std::make_shared<HelpOptions>();
    CLI::App* help = app.add_subcommand("help", "Tell more of a command");
    std::vector<std::string> names;
    for (const CLI::App* sub : app.get_subcommands({}))
        names.push_back(sub->get_name());
    Suggests(help->add_option("COMMAND", options->m_names, "Which one; without it all in short"),
             names);
    help->add_flag("--table", options->m_isTable)->group("");
    commands.push_back({help, [options, &app] { return Help(app, *options); }});
}
