#include "tools/profile/command.h"

#include <filesystem>
#include <memory>
#include <ostream>
#include <string_view>

#include <CLI/CLI.hpp>

#include "pictures/file_failure.h"
#include "profile/profile_writer.h"
#include "profile/scan_attrib.h"
#include "profile/scanner_profile.h"
#include "tools/choice_option.h"
#include "tools/profile/check.h"
#include "tools/profile/file.h"
#include "tools/profile/show.h"

namespace {

// Exit codes, as in the header.
constexpr int kFailed = 1;
constexpr int kBadInput = 2;

CLI::App* AddAction(CLI::App& parent, const char* name, const char* text, ProfileOptions& options,
                    const char* file) {
    CLI::App* action = parent.add_subcommand(name, text);
    action->add_option("FILE", options.m_file, file)->type_name(kFileValue);
    return action;
}

int Complain(std::ostream& errors, const std::string& text, int code) {
    errors << "nvqscan: " << text << '\n';
    return code;
}

// Writes to the output file, or to standard output if there is none.
int Deliver(const ProfileOptions& options, std::string_view data, std::ostream& out,
            std::ostream& errors) {
    if (options.m_output.empty()) {
        out << data;
        out.flush();
        return out ? 0 : Complain(errors, "the text can't be written", kFailed);
    }
    std::string error;
    if (!RunGuarded(&error,
                    [&] { WriteProfileOutput(options.m_output, data.data(), data.size()); }))
        return Complain(errors, options.m_output + ": " + error, kFailed);
    return 0;
}

// Refuses what the driver would not read, and to write over its own input.
int Pack(ProfileOptions options, const CProfileFile& file, std::ostream& out,
         std::ostream& errors) {
    if (file.m_isPacked)
        return Complain(errors, file.m_name + ": is packed already", kBadInput);
    if (file.m_text.size() >= kProfileTextSize)
        return Complain(errors,
                        file.m_name + ": " + std::to_string(file.m_text.size()) +
                            " bytes of text, at most " + std::to_string(kProfileTextSize - 1) +
                            " are read",
                        kBadInput);
    if (options.m_output.empty())
        options.m_output = std::filesystem::path(file.m_name).replace_extension(".spf").string();
    if (options.m_output == file.m_name)
        return Complain(errors, file.m_name + ": would be overwritten, name a file with -o",
                        kBadInput);
    const auto container = PackProfile(file.m_text);
    return Deliver(options, {reinterpret_cast<const char*>(container.data()), container.size()},
                   out, errors);
}

int Unpack(const ProfileOptions& options, const CProfileFile& file, std::ostream& out,
           std::ostream& errors) {
    if (!file.m_isPacked)
        return Complain(errors, file.m_name + ": is no profile container", kBadInput);
    return Deliver(options, file.m_text, out, errors);
}

// The head of the file in one line, then the tables.
int Show(const CProfileFile& file, std::ostream& out) {
    out << file.m_name << ": ";
    if (file.m_isPacked)
        out << "container of " << file.m_bytes << " bytes, " << file.m_header.m_leafCount
            << " different bytes in ";
    out << file.m_text.size() << " bytes of text, ";
    const CScannerProfile profile{std::string_view(file.m_text)};
    double version = 0;
    if (profile.getTable("VERSION", "", &version, 1))
        out << "version " << ShortNumber(version)
            << (version < 0 ? ": the driver passes it over" : "") << '\n';
    else
        out << "no version\n";
    if (file.m_text.size() >= kProfileTextSize)
        out << "Above " << kProfileTextSize - 1 << " bytes nothing of a text is used.\n";
    const auto attrib = std::make_unique<CScanAttrib>(profile);
    ShowTables(*attrib, out);
    return 0;
}

// In the form that editors know: "FILE:LINE: error: TEXT".
int Check(const CProfileFile& file, std::ostream& out) {
    int errorCount = 0;
    const auto tell = [&](bool isError, std::uint32_t line, const std::string& text) {
        out << file.m_name;
        if (line != 0)
            out << ':' << line;
        out << ": " << (isError ? "error: " : "note: ") << text << '\n';
        errorCount += isError ? 1 : 0;
    };
    if (!file.m_fault.empty())
        tell(true, 0, file.m_fault);
    else
        for (const CProfileFinding& finding : CheckProfileText(file.m_text))
            tell(finding.m_isError, finding.m_line, finding.m_text);
    return errorCount == 0 ? 0 : kFailed;
}

// Exactly one of FILE and --builtin.
int RunParsed(const ProfileOptions& options, std::ostream& out, std::ostream& errors) {
    if (options.m_isBuiltin != options.m_file.empty())
        return Complain(errors, "profile needs a FILE or --builtin, and not both", kBadInput);
    CProfileFile file;
    std::string error;
    const auto read = [&] {
        file = options.m_isBuiltin ? ReadBuiltinProfile() : ReadProfileInput(options.m_file);
    };
    if (!RunGuarded(&error, read))
        return Complain(errors, options.m_file + ": " + error, kBadInput);
    if (options.m_check->parsed())
        return Check(file, out);
    if (!file.m_fault.empty())
        return Complain(errors, file.m_name + ": " + file.m_fault, kBadInput);
    if (options.m_pack->parsed())
        return Pack(options, file, out, errors);
    if (options.m_unpack->parsed())
        return Unpack(options, file, out, errors);
    return Show(file, out);
}

}  // namespace

CLI::App* AddProfile(CLI::App& app, ProfileOptions& options) {
    CLI::App* profile =
        app.add_subcommand("profile", "Pack, unpack, show or check a scanner profile");
    profile->require_subcommand(1);
    constexpr char kEither[] = "Profile, packed or as text";
    options.m_pack = AddAction(*profile, "pack", "Pack a text", options, "Text");
    options.m_unpack =
        AddAction(*profile, "unpack", "Get the text back", options, "Packed profile");
    options.m_show = AddAction(
        *profile, "show", "List the tables that the driver takes from a profile", options, kEither);
    options.m_check =
        AddAction(*profile, "check", "Find what the driver reads otherwise than it is meant",
                  options, kEither);
    options.m_pack->add_option("-o,--output", options.m_output, "Packed profile")
        ->type_name(kFileValue)
        ->default_str("FILE with the ending .spf");
    options.m_unpack->add_option("-o,--output", options.m_output, "Text file")
        ->type_name(kFileValue)
        ->default_str("standard output");
    for (CLI::App* action : {options.m_unpack, options.m_show, options.m_check})
        action->add_flag("--builtin", options.m_isBuiltin,
                         "The profile that the driver carries, in place of FILE");
    return profile;
}

int RunProfile(const ProfileOptions& options, std::ostream& out, std::ostream& errors) {
    int code = kFailed;
    std::string error;
    if (!RunGuarded(&error, [&] { code = RunParsed(options, out, errors); }))
        return Complain(errors, error, kFailed);
    return code;
}
