#include "tools/scan_job.h"

#include <algorithm>
#include <iostream>

#include "engine/private_properties.h"
#include "tools/command.h"
#include "tools/console.h"
#include "tools/page_files.h"
#include "tools/scan_tones.h"

namespace {

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

// A file that holds one page is enough for a scan of one.
bool FitsOneFile(const COutputOptions& output, int pages) {
    return pages == 1 || CPageName(output.m_path).IsNumbered() ||
           HoldsSeveralPages(output.m_path, output.m_picture);
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
        (IsStandardOutput(command.m_output.m_path) ? std::cerr : std::cout) << text << '\n';
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

}  // namespace

int RunScanJob(CScanDevice& device, const ScanCommand& command,
               const CDeviceProperties& properties) {
    ScanOptions options;
    options.pages = PagesAsked(command);
    options.cancel = InterruptFlag();
    if (!FitsOneFile(command.m_output, PagesOfScan(properties, options.pages)))
        return Complain("-o " + command.m_output.m_path +
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
    CScanProgress progress(command.m_isQuiet, IsStandardOutput(command.m_output.m_path));
    CPageFiles files(CPageName(command.m_output.m_path), command.m_output.m_picture, progress,
                     isPlotted ? &result : nullptr);
    if (status.code == S_OK)
        status = device.Scan(properties.Image().item.fullName, options, files);
    progress.Wipe();
    const int code = Conclude(status, files, ShownName(command.m_output.m_path));
    std::string error;
    if (code == kExitDone && isPlotted &&
        !DrawScan(command.m_plots, device, input, result.Counts(), &error))
        return Complain(error, kExitFailed);
    return code;
}
