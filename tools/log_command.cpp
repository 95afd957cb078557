// nvqscan log.
//
// The driver reads these values below its class's key whenever it starts:
//
//     LogEnabled       number   1: on
//     LogLevel         number   bits of kLevels
//     LogDestination   number   bits of kDestinations
//     LogFile          text     absolute; without it "ostrel.log" in the folder for temporary files

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <span>

#include <CLI/CLI.hpp>

#include "diag/log.h"
#include "platform/files.h"
#include "platform/registry_key.h"
#include "platform/text.h"
#include "service/install.h"
#include "tools/choice_option.h"
#include "tools/command.h"
#include "tools/text_table.h"

namespace {

// Words of the command line for bits of the driver's log settings (diag/log.h).
struct CBitRow {
    const char* name;
    DWORD bits;
    const char* text;
};
constexpr CBitRow kLevels[] = {
    {"errors", kLogError, "what went wrong"},
    {"information", kLogGeneral | kLogInformation, "what the driver does"},
    {"calls", kLogGeneral | kLogCalls, "entry and exit of functions"},
    {"dumps", kLogGeneral | kLogDumps, "records, field by field"},
    {"other", kLogGeneral | kLogOther, "messages of no level of their own"},
};
constexpr CBitRow kDestinations[] = {
    {"file", kLogToFile, "a text file"},
    {"debugger", kLogToDebugger, "standard error"},
    {"sink", kLogToSink, "the log component, if one is registered"},
};
// What `log on` takes when the levels that stand would say nothing.
constexpr DWORD kDefaultLevels = kLogError | kLogGeneral | kLogInformation | kLogCalls;

struct LogOptions {
    std::string m_action;
    std::vector<std::string> m_levels;
    std::string m_file;
    std::vector<std::string> m_destinations;
};

// As the driver reads them; these are its defaults.
struct LogSettings {
    DWORD m_isEnabled = 0;
    DWORD m_level = kLogError | kLogInformation;
    DWORD m_destination = 0;
    std::string m_file;
};

// Below HKEY_LOCAL_MACHINE, by the driver's class.
std::string KeyPath() {
    return "Software\\Norvane\\Lumetra\\Ostrel\\" + GuidText(kDriverClass);
}

std::vector<std::string> NamesOf(std::span<const CBitRow> rows) {
    std::vector<std::string> names;
    for (const CBitRow& row : rows)
        names.emplace_back(row.name);
    return names;
}

// The command line has checked that each name is one of the rows.
DWORD BitsOf(std::span<const CBitRow> rows, const std::vector<std::string>& names) {
    DWORD bits = 0;
    for (const CBitRow& row : rows) {
        if (std::find(names.begin(), names.end(), row.name) != names.end())
            bits |= row.bits;
    }
    return bits;
}

// Names whose bits are all set; several share the general bit.
std::string NamesIn(std::span<const CBitRow> rows, DWORD bits) {
    std::string names;
    for (const CBitRow& row : rows) {
        if ((bits & row.bits) == row.bits)
            names += (names.empty() ? "" : ", ") + std::string(row.name);
    }
    return names.empty() ? "none" : names;
}

// Where the driver writes when no file is named.
std::string DefaultFile() {
    char folder[MAX_PATH] = "";
    const DWORD length = GetTempPathA(MAX_PATH, folder);
    return (length < MAX_PATH ? folder : std::string()) + "ostrel.log";
}

ScanStatus ReadSettings(LogSettings& settings) {
    CRegistryKey key;
    const LONG error = key.Open(HKEY_LOCAL_MACHINE, KeyPath());
    if (error == ERROR_FILE_NOT_FOUND)
        return {};
    if (error != ERROR_SUCCESS)
        return StatusOf(ResultFromError(error), "the log's settings");
    settings.m_isEnabled = key.ReadNumber("LogEnabled").value_or(settings.m_isEnabled);
    settings.m_level = key.ReadNumber("LogLevel").value_or(settings.m_level);
    settings.m_destination = key.ReadNumber("LogDestination").value_or(settings.m_destination);
    settings.m_file = key.ReadText("LogFile").value_or("");
    return {};
}

// Where the text goes with these settings.
std::string FileOf(const LogSettings& settings) {
    return settings.m_file.empty() ? DefaultFile() : settings.m_file;
}

// No file is written for an empty name: the driver's default then stands, or a former name.
ScanStatus WriteSettings(const LogSettings& settings) {
    CRegistryKey key;
    LONG error = key.Create(HKEY_LOCAL_MACHINE, KeyPath());
    if (error == ERROR_SUCCESS)
        error = key.WriteNumber("LogEnabled", settings.m_isEnabled);
    if (error == ERROR_SUCCESS)
        error = key.WriteNumber("LogLevel", settings.m_level);
    if (error == ERROR_SUCCESS)
        error = key.WriteNumber("LogDestination", settings.m_destination);
    if (error == ERROR_SUCCESS && !settings.m_file.empty())
        error = key.WriteText("LogFile", settings.m_file);
    return StatusOf(ResultFromError(error), "the log's settings");
}

// Whether the driver can append to it; empty if so. The driver has no way to tell: its log would
// stay empty. A file that isn't there is made, as the driver would.
std::string FileFault(const std::string& file) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    const fs::file_status status = fs::status(file, ignored);
    const fs::path folder = fs::path(file).parent_path();
    if (fs::is_directory(status))
        return "is a folder; name a file in it";
    if (fs::is_fifo(status) || fs::is_socket(status))
        return "is no file";
    if (!fs::is_directory(folder, ignored))
        return "there is no folder " + folder.string() + "; make it, or name another file";
    errno = 0;
    const std::ofstream appended(file, std::ios::app);
    return appended ? "" : "can't be written: " + std::generic_category().message(errno);
}

void Show(const LogSettings& settings) {
    std::vector<std::vector<std::string>> rows = {
        {"Logging:", settings.m_isEnabled != 0 ? "on" : "off"},
        {"Levels:", NamesIn(kLevels, settings.m_level)},
        {"To:", NamesIn(kDestinations, settings.m_destination)}};
    if ((settings.m_destination & kLogToFile) != 0)
        rows.push_back({"File:", FileOf(settings)});
    PrintColumns(std::cout, rows);
}

// Brings in what the command line says. False with a line in `error`.
bool Change(const LogOptions& options, LogSettings& settings, std::string* error) {
    const bool isOn = options.m_action == "on";
    if (isOn || options.m_action == "off")
        settings.m_isEnabled = isOn ? 1 : 0;
    if (!options.m_levels.empty())
        settings.m_level = BitsOf(kLevels, options.m_levels);
    else if (isOn && (settings.m_level & kLogGeneral) == 0)
        settings.m_level = kDefaultLevels;
    if (!options.m_destinations.empty())
        settings.m_destination = BitsOf(kDestinations, options.m_destinations);
    if (!options.m_file.empty()) {
        settings.m_file = std::filesystem::absolute(options.m_file).lexically_normal().string();
        settings.m_destination |= kLogToFile;
        if (settings.m_file.size() >= MAX_PATH) {
            *error = "--file " + options.m_file + ": is longer than " +
                     std::to_string(MAX_PATH - 1) + " bytes";
            return false;
        }
    }
    if (isOn && settings.m_destination == 0)
        settings.m_destination = kLogToFile;
    return true;
}

// Shows the state, also behind a change.
int Run(const LogOptions& options) {
    LogSettings settings;
    ScanStatus status = Explained([&] { return ReadSettings(settings); });
    if (!status.Ok())
        return Complain(status);
    const bool isChange = options.m_action == "on" || options.m_action == "off" ||
                          !options.m_levels.empty() || !options.m_destinations.empty() ||
                          !options.m_file.empty();
    if (isChange) {
        std::string error;
        if (!Change(options, settings, &error))
            return Complain(error, kExitUsage);
        const bool isUsed = settings.m_isEnabled != 0 && (settings.m_destination & kLogToFile) != 0;
        if (isUsed || !options.m_file.empty()) {
            if (const std::string fault = FileFault(FileOf(settings)); !fault.empty())
                return Complain(FileOf(settings) + ": " + fault, kExitFailed);
        }
        status = Explained([&] { return WriteSettings(settings); });
        if (!status.Ok())
            return Complain(status);
    }
    Show(settings);
    return kExitDone;
}

std::string Described(const char* what, std::span<const CBitRow> rows) {
    std::string text = what;
    for (const CBitRow& row : rows)
        text += std::string(&row == rows.data() ? " " : "; ") + row.name + " (" + row.text + ')';
    return text;
}

}  // namespace

void AddLogCommand(CLI::App& app, CCommandList& commands) {
    const auto options = std::make_shared<LogOptions>();
    CLI::App* sub =
        app.add_subcommand("log", "Turn the driver's log on and off, and show its state");
    sub->add_option("ACTION", options->m_action, "Turn it on or off, or show its state")
        ->default_str("show")
        ->check(CLI::IsMember({"on", "off", "show"}));
    sub->add_option("--level", options->m_levels, Described("What to log:", kLevels))
        ->check(CLI::IsMember(NamesOf(kLevels)));
    sub->add_option("--file", options->m_file, "The text file")
        ->type_name(kFileValue)
        ->default_str("ostrel.log in the folder for temporary files");
    sub->add_option("--to", options->m_destinations, Described("Where to:", kDestinations))
        ->check(CLI::IsMember(NamesOf(kDestinations)));
    commands.push_back({sub, [options] { return Run(*options); }});
}
