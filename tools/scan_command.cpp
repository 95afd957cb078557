// nvqscan scan.
//
// In this order, so that each failure is told as early as it can be known: the command line alone;
// the scanner and its properties by name; the settings, in the service's order; the count of pages
// against the file's name; then the scan.

#include <algorithm>
#include <iostream>
#include <map>
#include <memory>

#include <CLI/CLI.hpp>

#include "engine/private_properties.h"
#include "frame/image_format.h"
#include "tools/command.h"
#include "tools/console.h"
#include "tools/filter_options.h"
#include "tools/mode_option.h"
#include "tools/page_files.h"
#include "tools/process/analysis.h"
#include "tools/scan_tones.h"
#include "tools/text_writes.h"
#include "tools/tone_options.h"
#include "tools/turn_options.h"

namespace {

// The command line of `scan`.
struct ScanCommand {
    std::string m_device;
    std::string m_output;
    std::string m_area;
    std::vector<std::string> m_sets;  // NAME=VALUE
    CModeOptions m_mode;
    ScanSettings m_settings;
    std::optional<int> m_pages;
    AutoWish m_auto;
    CToneFiles m_plots;
    bool m_isAdaptive = false;  // the palette is made from a preview
    bool m_isQuiet = false;
};

const std::map<std::string, ScanSource> kSourceNames = {{"flatbed", ScanSource::Flatbed},
                                                        {"feeder", ScanSource::Feeder},
                                                        {"duplex", ScanSource::Duplex},
                                                        {"slide", ScanSource::Slide},
                                                        {"negative", ScanSource::Negative}};
const std::map<std::string, ScanMedium> kMediumNames = {{"callback", ScanMedium::Callback},
                                                        {"file", ScanMedium::File}};

bool IsPagesSet(const ScanSettings& settings) {
    return std::ranges::any_of(settings.others, [](const ItemWrite& write) {
        return std::ranges::any_of(
            write.writes, [](const PropertyWrite& value) { return value.id == WIA_DPS_PAGES; });
    });
}

// As ScanOptions has it: all that are in the feeder, unless the user says otherwise.
int PagesAsked(const ScanCommand& command) {
    if (command.m_pages)
        return *command.m_pages;
    return IsPagesSet(command.m_settings) ? -1 : 0;
}

// Options and properties by name alike.
bool CheckExposure(const ScanCommand& command, std::string* error) {
    std::vector<PropertyWrite> writes;
    if (command.m_settings.brightness)
        writes.emplace_back(WIA_IPS_BRIGHTNESS, *command.m_settings.brightness);
    if (command.m_settings.contrast)
        writes.emplace_back(WIA_IPS_CONTRAST, *command.m_settings.contrast);
    for (const ItemWrite& item : command.m_settings.others)
        writes.insert(writes.end(), item.writes.begin(), item.writes.end());
    return !command.m_auto.WantsTone() || LeaveRoomForLevels(writes, error);
}

// What the command line says by itself is checked before anything else happens.
bool CheckLine(const ScanCommand& command, std::string* error) {
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
    return CheckExposure(command, error) && CheckFilters(command.m_settings.filters, error) &&
           command.m_plots.Check(error);
}

// A file that holds one page is enough for a scan of one.
bool FitsOneFile(const std::string& output, int pages) {
    return pages == 1 || CPageName(output).IsNumbered() || HoldsSeveralPages(output);
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

// Those that the user sets on the item with the image.
std::vector<PROPID> SetByUser(const ScanSettings& settings, const ItemState& image) {
    std::vector<PROPID> ids;
    for (const ItemWrite& write : settings.others) {
        if (write.item != image.item.fullName)
            continue;
        for (const PropertyWrite& value : write.writes)
            ids.push_back(value.id);
    }
    return ids;
}

// The quick look ahead of the scan. S_FALSE when it was cancelled.
ScanStatus Expose(CScanDevice& device, const ScanCommand& command,
                  const CDeviceProperties& properties) {
    if (!command.m_auto.WantsTone() && !command.m_auto.WantsColor())
        return {};
    std::optional<FoundExposure> found;
    ScanStatus status = FindExposure(device, command.m_auto, InterruptFlag(), found);
    const std::vector<PROPID> kept = SetByUser(command.m_settings, properties.Image());
    if (status.code == S_OK && found)
        status = ApplyExposure(device, *found, kept);
    if (!status.Ok())
        status.text = "--auto: " + status.text;
    const std::string text = found ? ExposureText(*found, kept) : kNothingToAnalyse;
    if (status.code == S_OK && !command.m_isQuiet && !text.empty())
        std::cout << text << '\n';
    return status;
}

// A palette of the original's own colours, by a quick look as well. S_FALSE when it was cancelled.
ScanStatus ChooseColors(CScanDevice& device, const CDeviceProperties& properties) {
    std::optional<PaletteRecord> found;
    ScanStatus status = FindPalette(device, InterruptFlag(), found);
    if (status.code == S_OK)
        status =
            device.Write(properties.Image().item.fullName, PaletteWrites(QL_PALETTE_USER, *found));
    if (!status.Ok())
        status.text = "--palette adaptive: " + status.text;
    return status;
}

// Told before anything is scanned: a name that would lose pages.
int Scan(CScanDevice& device, const ScanCommand& command, const CDeviceProperties& properties) {
    ScanOptions options;
    options.pages = PagesAsked(command);
    options.cancel = InterruptFlag();
    if (!FitsOneFile(command.m_output, PagesOfScan(properties, options.pages)))
        return Complain("-o " + command.m_output +
                            ": holds one page; name a file with %d for the page, a .tif or .pdf "
                            "file, or scan --pages 1",
                        kExitUsage);
    const bool isPlotted =
        !command.m_plots.m_histogram.empty() || !command.m_plots.m_curves.empty();
    CInputCounter input;
    CToneCounter result;
    options.input = isPlotted ? &input : nullptr;
    ScanStatus status = Expose(device, command, properties);
    if (status.code == S_OK && command.m_isAdaptive)
        status = ChooseColors(device, properties);
    CScanProgress progress(command.m_isQuiet);
    CPageFiles files(CPageName(command.m_output), progress, isPlotted ? &result : nullptr);
    if (status.code == S_OK)
        status = device.Scan(properties.Image().item.fullName, options, files);
    progress.Wipe();
    const int code = Conclude(status, files, command.m_output);
    std::string error;
    if (code == kExitDone && isPlotted &&
        !DrawScan(command.m_plots, device, input, result.Counts(), &error))
        return Complain(error, kExitFailed);
    return code;
}

bool CanBeTurned(const ItemState& image) {
    return CDeviceProperties::Number(image, QL_PROP_ROTATION) == 0 ||
           std::min(CDeviceProperties::Number(image, WIA_IPA_PIXELS_PER_LINE),
                    CDeviceProperties::Number(image, WIA_IPA_NUMBER_OF_LINES)) >=
               QL_LEAST_TURNED_SIDE;
}

// A palette that isn't one of the driver's goes to it as colours.
bool TakeMode(ScanCommand& command, std::string* error) {
    std::optional<CPaletteChoice> palette;
    if (!TakePalette(command.m_mode, &palette, error))
        return false;
    command.m_settings.mode = command.m_mode.m_mode;
    if (!palette)
        return true;
    // Its colours follow the preview.
    command.m_isAdaptive = palette->m_kind == QL_PALETTE_ADAPTIVE;
    if (!command.m_isAdaptive)
        command.m_settings.palette = ToScanPalette(*palette);
    return true;
}

// The command line is checked as far as it can be without a scanner, then properties by name, then
// the device has its say.
int Run(ScanCommand& command) {
    std::string error;
    if (!CheckLine(command, &error))
        return Complain(error, kExitUsage);
    if (!TakeMode(command, &error))
        return Complain(error, kExitUsage);
    if (!command.m_area.empty()) {
        command.m_settings.area = ParseArea(command.m_area, &error);
        if (!command.m_settings.area)
            return Complain(error, kExitUsage);
    }
    CatchInterrupts();
    CScanDevice device;
    if (const ScanStatus status = OpenScanner(command.m_device, device, command.m_isQuiet);
        !status.Ok())
        return Complain(status);
    CDeviceProperties properties;
    if (const ScanStatus status = CDeviceProperties::Read(device, properties); !status.Ok())
        return Complain(status);
    const auto sets = ParseWrites(properties, command.m_sets, &error);
    if (!sets)
        return Complain(error, kExitUsage);
    command.m_settings.others = GroupByItem(*sets, properties);
    if (!CheckExposure(command, &error))
        return Complain(error, kExitUsage);
    if (const ScanStatus status = ApplySettings(device, command.m_settings, properties);
        !status.Ok())
        return Complain(status);
    if (!CanBeTurned(properties.Image()))
        return Complain("the window is too small: only a page of at least " +
                            std::to_string(QL_LEAST_TURNED_SIDE) +
                            " pixels and lines can be turned",
                        kExitUsage);
    return Scan(device, command, properties);
}

void AddSettings(CLI::App& sub, ScanCommand& command) {
    ScanSettings& settings = command.m_settings;
    TakesWordOf(
        sub.add_option("--source", settings.source, "flatbed, feeder, duplex, slide or negative"),
        kSourceNames);
    AddModeOptions(sub, command.m_mode);
    sub.add_option("--resolution", settings.resolution, "Dots per inch");
    sub.add_option("--area", command.m_area,
                   "X,Y,W,H and mm, in or px: the window, such as 10,10,100,50mm");
    sub.add_option("--brightness", settings.brightness, "-1000 to 1000");
    sub.add_option("--contrast", settings.contrast, "-1000 to 1000");
    sub.add_option("--threshold", settings.threshold, "Of line art");
    AddTurnOptions(sub, settings.mirror, settings.rotation, "page",
                   "Rows come when the page's last line has been scanned, on either medium");
    AddFilterOptions(sub, settings.filters);
    sub.add_option("--set", command.m_sets,
                   "NAME=VALUE: any other property, by its shown name or id")
        ->take_all()
        ->allow_extra_args(false);
    AddAutoWish(
        sub, command.m_auto,
        "tone, color or expose, or several with commas: a quick preview first settles levels, "
        "the colour point, or both as a whole exposure; --set of any of them wins");
    AddToneFiles(sub, command.m_plots);
    TakesWordOf(
        sub.add_option("--medium", settings.medium,
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
