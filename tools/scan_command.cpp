// nvqscan scan.

#include <iostream>
#include <map>
#include <memory>

#include <CLI/CLI.hpp>

#include "tools/choice_option.h"
#include "tools/command.h"
#include "tools/console.h"
#include "tools/page_files.h"
#include "tools/scan_settings.h"

namespace {

struct ScanCommand {
    std::string m_device;
    std::string m_output;
    std::string m_area;
    CScanSettings m_settings;
    std::optional<int> m_pages;
    bool m_isQuiet = false;
};

const std::map<std::string, EScanSource> kSourceNames = {{"flatbed", EScanSource::Flatbed},
                                                         {"feeder", EScanSource::Feeder},
                                                         {"duplex", EScanSource::Duplex},
                                                         {"slide", EScanSource::Slide},
                                                         {"negative", EScanSource::Negative}};
const std::map<std::string, EScanMode> kModeNames = {{"color", EScanMode::Color},
                                                     {"colour", EScanMode::Color},
                                                     {"gray", EScanMode::Gray},
                                                     {"grey", EScanMode::Gray},
                                                     {"lineart", EScanMode::LineArt}};
const std::map<std::string, EMedium> kMediumNames = {{"callback", EMedium::Callback},
                                                     {"file", EMedium::File}};

bool IsFeederJob(const CDeviceProperties& properties) {
    const LONG select =
        CDeviceProperties::Number(properties.Root(), WIA_DPS_DOCUMENT_HANDLING_SELECT).value_or(0);
    return (select & (FEEDER | DUPLEX)) != 0;
}

bool IsPagesSet(const CScanSettings& settings, const CDeviceProperties& properties) {
    for (const std::string& set : settings.m_sets) {
        std::string ignored;
        const auto write = properties.Parse(set, &ignored);
        if (write && write->m_write.id == WIA_DPS_PAGES)
            return true;
    }
    return false;
}

// As ScanOptions has it: all that are in the feeder, unless the user says otherwise.
int PagesWanted(const ScanCommand& command, const CDeviceProperties& properties) {
    if (command.m_pages)
        return *command.m_pages;
    return IsPagesSet(command.m_settings, properties) ? -1 : 0;
}

// What the command line says by itself is checked before anything else happens.
bool CheckOutput(const ScanCommand& command, std::string* error) {
    const CPageName name(command.m_output);
    if (name.IsFaulty()) {
        *error = "-o " + command.m_output +
                 ": a '%' stands for the page as '%d', or '%3d' for three digits; '%%' is a '%'";
        return false;
    }
    if (!CreatePictureWriter(name.ForPage(1), error)) {
        *error = "-o " + command.m_output + ": " + *error;
        return false;
    }
    return true;
}

bool FitsOneFile(const ScanCommand& command, int pages, const CDeviceProperties& properties) {
    if (!IsFeederJob(properties) || CPageName(command.m_output).IsNumbered() ||
        HoldsSeveralPages(command.m_output))
        return true;
    const LONG set = CDeviceProperties::Number(properties.Root(), WIA_DPS_PAGES).value_or(1);
    return (pages >= 0 ? pages : set) == 1;
}

// The end of the job, whichever it was.
int Conclude(const ScanStatus& status, CPageFiles& files, const std::string& output) {
    const bool isCancelled = status.code == S_FALSE && files.Error().empty();
    if (!files.Finish(isCancelled))
        return Complain(files.Error(), kExitFailed);
    if (isCancelled)
        return Complain("cancelled", kExitCancelled);
    if (status.Ok())
        return kExitDone;
    const int code = Complain(status);
    if (files.PagesKept() > 0)
        std::cerr << "nvqscan: " << output << ": pages that are whole: " << files.PagesKept()
                  << '\n';
    return code;
}

int Scan(CScanDevice& device, const ScanCommand& command, const CDeviceProperties& properties) {
    ScanOptions options;
    options.pages = PagesWanted(command, properties);
    options.cancel = InterruptFlag();
    if (!FitsOneFile(command, options.pages, properties))
        return Complain("-o " + command.m_output +
                            ": holds one page; name a file with %d for the page, a .tif or .pdf "
                            "file, or scan --pages 1",
                        kExitUsage);
    CScanProgress progress(command.m_isQuiet);
    CPageFiles files(CPageName(command.m_output), progress);
    const ScanStatus status = device.Scan(properties.Image().m_item.fullName, options, files);
    progress.Wipe();
    return Conclude(status, files, command.m_output);
}

int Run(ScanCommand& command) {
    std::string error;
    if (!CheckOutput(command, &error))
        return Complain(error, kExitUsage);
    if (!command.m_area.empty()) {
        command.m_settings.m_area = CScanArea::Parse(command.m_area, &error);
        if (!command.m_settings.m_area)
            return Complain(error, kExitUsage);
    }
    CatchInterrupts();
    const CScanClient client = command.m_isQuiet ? CScanClient() : MakeClient();
    CScanDevice device;
    if (const ScanStatus status = client.Open(command.m_device, device); !status.Ok())
        return Complain(status);
    CDeviceProperties properties;
    const CSettingsResult result = ApplySettings(device, command.m_settings, properties);
    if (!result.m_status.Ok())
        return result.m_isUsage ? Complain(result.m_status.text, kExitUsage)
                                : Complain(result.m_status);
    return Scan(device, command, properties);
}

void AddSettings(CLI::App& sub, ScanCommand& command) {
    CScanSettings& settings = command.m_settings;
    TakesWordOf(
        sub.add_option("--source", settings.m_source, "flatbed, feeder, duplex, slide or negative"),
        kSourceNames);
    TakesWordOf(sub.add_option("--mode", settings.m_mode, "color, gray or lineart"), kModeNames);
    sub.add_option("--resolution", settings.m_resolution, "Dots per inch");
    sub.add_option("--area", command.m_area,
                   "X,Y,W,H and mm, in or px: the window, such as 10,10,100,50mm");
    sub.add_option("--brightness", settings.m_brightness, "-1000 to 1000");
    sub.add_option("--contrast", settings.m_contrast, "-1000 to 1000");
    sub.add_option("--threshold", settings.m_threshold, "Of line art");
    sub.add_option("--set", settings.m_sets,
                   "NAME=VALUE: any other property, by its shown name or id")
        ->take_all()
        ->allow_extra_args(false);
    TakesWordOf(
        sub.add_option("--medium", settings.m_medium,
                       "callback: rows come as they are scanned; file: the driver writes a file"),
        kMediumNames);
}

}  // namespace

void AddScanCommand(CLI::App& app, CCommandList& commands) {
    const auto command = std::make_shared<ScanCommand>();
    CLI::App* sub = app.add_subcommand("scan", "Scan pages into files");
    sub->add_option("DEVICE", command->m_device,
                    "Its number, name, identifier or port (the first scanner)");
    sub->add_option("-o,--output", command->m_output,
                    "File: .png, .tif, .jpg, .bmp, .pnm or .pdf. %d in the name stands for the "
                    "page, %3d for three digits; .tif and .pdf files without hold all pages. A job "
                    "of the feeder that may have several takes one of these")
        ->required();
    AddSettings(*sub, *command);
    sub->add_option("--pages", command->m_pages,
                    "Pages from the feeder, a side each; 0: all that are there (0)")
        ->check(CLI::Range(0, 10000));
    sub->add_flag("-q,--quiet", command->m_isQuiet, "Only failures are told");
    commands.push_back({sub, [command] { return Run(*command); }});
}
