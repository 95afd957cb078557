// nvqscan scan.
//
// In this order, so that each failure is told as early as it can be known: the command line alone;
// the scanner and its properties by name; the settings, in the service's order; the count of pages
// against the file's name; then the scan.

#include <algorithm>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "engine/private_properties.h"
#include "frame/image_format.h"
#include "tools/command.h"
#include "tools/filter_options.h"
#include "tools/geometry_text.h"
#include "tools/option_facts.h"
#include "tools/page_scale.h"
#include "tools/scan_job.h"
#include "tools/text_writes.h"
#include "tools/tone_options.h"
#include "tools/turn_options.h"

namespace {

const CWords<ScanSource> kSourceNames = {{"flatbed", ScanSource::Flatbed},
                                         {"feeder", ScanSource::Feeder},
                                         {"duplex", ScanSource::Duplex},
                                         {"slide", ScanSource::Slide},
                                         {"negative", ScanSource::Negative}};
const CWords<ScanMedium> kMediumNames = {{"callback", ScanMedium::Callback},
                                         {"file", ScanMedium::File}};

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
    return CheckPageOutput(command.m_output.m_path, command.m_output.m_picture, error) &&
           CheckJob(command.m_job, command.m_output.m_path, error) &&
           CheckExposure(command, error) && CheckFilters(command.m_settings.filters, error) &&
           command.m_plots.Check(error);
}

bool CanBeTurned(const ItemState& image) {
    return CDeviceProperties::Number(image, QL_PROP_ROTATION) == 0 ||
           std::min(CDeviceProperties::Number(image, WIA_IPA_PIXELS_PER_LINE),
                    CDeviceProperties::Number(image, WIA_IPA_NUMBER_OF_LINES)) >=
               QL_LEAST_TURNED_SIDE;
}

// The settings are in the device: pixels and lines are those of the page that will come.
bool FitsFile(const ScanCommand& command, const CDeviceProperties& properties, std::string* error) {
    const COutputOptions& output = command.m_output;
    const auto kind = FileKindOf(output.m_path, output.m_picture, error);
    const BITMAPINFOHEADER info = PageHeader(properties, ScaleOf(properties, command.m_settings));
    const bool fits = kind && CheckPicture(*kind, output.m_picture, info.biWidth, info.biHeight,
                                           info.biBitCount, error);
    if (!fits)
        *error = "-o " + output.m_path + ": " + *error;
    return fits;
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

// Window and resolution.
bool TakeGeometry(ScanCommand& command, std::string* error) {
    ScanSettings& settings = command.m_settings;
    if (command.m_area && !(settings.area = ParseArea(*command.m_area, error)))
        return false;
    if (command.m_paper && !(settings.area = ParsePaper(*command.m_paper, error)))
        return false;
    settings.reduces = !command.m_isExact;
    return !command.m_resolution ||
           (settings.resolution = ParseResolution(*command.m_resolution, error)).has_value();
}

// The command line is checked as far as it can be without a scanner, then properties by name, then
// the device has its say.
int Run(ScanCommand& command) {
    std::string error;
    if (!CheckLine(command, &error))
        return Complain(error, kExitUsage);
    if (!TakeMode(command, &error))
        return Complain(error, kExitUsage);
    if (!TakeGeometry(command, &error))
        return Complain(error, kExitUsage);
    if (!ProveCommand(command, &error))
        return Complain(error, kExitFailed);
    CScanDevice device;
    if (const ScanStatus status = OpenScanner(command.m_device, device, command.m_job.m_isQuiet);
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
    if (!FitsFile(command, properties, &error))
        return Complain(error, kExitUsage);
    if (!CanBeTurned(properties.Image()))
        return Complain("the window is too small: only a page of at least " +
                            std::to_string(QL_LEAST_TURNED_SIDE) +
                            " pixels and lines can be turned",
                        kExitUsage);
    return RunScanJob(device, command, properties);
}

void AddGeometry(CLI::App& sub, ScanCommand& command) {
    sub.add_option("--resolution", command.m_resolution,
                   "Dots per inch, or two as 300x600 for across and along the page. What the "
                   "scanner lacks is made of the next higher one")
        ->type_name("DPI")
        ->default_str("that of the source, as 'nvqscan options' tells");
    sub.add_flag("--exact", command.m_isExact,
                 "Refuse a resolution that the scanner lacks, rather than make the page smaller");
    CLI::Option* area =
        sub.add_option("--area", command.m_area,
                       "The window: X,Y,W,H and mm, cm, in or px, such as 10,10,100,50mm, or a "
                       "paper in the upper left corner, such as a4")
            ->default_str("all that can be scanned");
    CLI::Option* paper = sub.add_option("--paper", command.m_paper,
                                        "The window: a paper in the upper left corner, upright or "
                                        "as a4-landscape: " +
                                            PaperNames())
                             ->type_name("PAPER")
                             ->excludes(area)
                             ->default_str("all that can be scanned");
    Suggests(paper,
             CLI::detail::split(CLI::detail::find_and_replace(PaperNames(), ", ", ","), ','));
    sub.add_flag("--preview", command.m_settings.preview,
                 "A quick look: at the lowest resolution unless --resolution says otherwise; "
                 "a feeder keeps its sheet for the scan");
}

void AddSettings(CLI::App& sub, ScanCommand& command) {
    ScanSettings& settings = command.m_settings;
    sub.option_defaults()->group(kGroupSource);
    TakesWordOf(sub.add_option("--source", settings.source,
                               "Where the original lies: flatbed, feeder, duplex (feeder, both "
                               "sides of each sheet), slide or negative (in the adapter)")
                    ->default_str("flatbed"),
                kSourceNames);
    AddGeometry(sub, command);
    sub.option_defaults()->group(kGroupPicture);
    AddModeOptions(sub, command.m_mode);
    sub.add_option("--brightness", settings.brightness, "-1000 (dark) to 1000 (light)")
        ->default_str("0");
    sub.add_option("--contrast", settings.contrast, "-1000 (weak) to 1000 (strong)")
        ->default_str("0");
    sub.add_option("--threshold", settings.threshold,
                   "What is black in line art: 0 to 128, the higher, the more")
        ->default_str("55");
    AddTurnOptions(sub, settings.mirror, settings.rotation, "page",
                   "Rows come when the page's last line has been scanned, on either medium");
    AddFilterOptions(sub, settings.filters);
    sub.add_option("--set", command.m_sets,
                   "Any other property, by the name or number that 'nvqscan properties' shows")
        ->type_name("NAME=VALUE")
        ->take_all()
        ->allow_extra_args(false);
    AddAutoWish(
        sub, command.m_auto,
        "tone, color or expose, or several with commas: a quick preview first settles levels, "
        "the colour point, or both as a whole exposure; --set of any of them wins");
    sub.option_defaults()->group(kGroupFiles);
    AddToneFiles(sub, command.m_plots);
    sub.option_defaults()->group(kGroupJob);
    TakesWordOf(
        sub.add_option("--medium", settings.medium,
                       "How pages come: callback (rows as they are scanned) or file (the driver "
                       "writes a bitmap file)")
            ->default_str("callback"),
        kMediumNames);
    sub.add_flag("--dry-run", command.m_isDryRun,
                 "Tell what the driver makes of the settings, and scan nothing");
}

}  // namespace

void AddScanCommand(CLI::App& app, CCommandList& commands) {
    const auto command = std::make_shared<ScanCommand>();
    CLI::App* sub = app.add_subcommand("scan", "Scan pages into files");
    AddDevice(*sub, command->m_device)->default_str("the first one");
    sub->option_defaults()->group(kGroupFiles);
    AddOutputOptions(*sub, command->m_output,
                     "File: .png, .tif, .jpg, .bmp, .pnm or .pdf. %d in the name stands for the "
                     "page, %3d for three digits; .tif and .pdf files without hold all pages. A "
                     "job of the feeder that may have several takes one of these")
        ->required();
    AddSettings(*sub, *command);
    AddJobOptions(*sub, command->m_job);
    commands.push_back({sub, [command] { return Run(*command); }});
}
