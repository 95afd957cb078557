#include "tools/scan_job.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <iostream>
#include <optional>

#include "engine/private_properties.h"
#include "tools/command.h"
#include "tools/console.h"
#include "tools/dry_run.h"
#include "tools/output_proof.h"
#include "tools/page_files.h"
#include "tools/scan_batch.h"
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
    if (command.m_job.m_pages)
        return *command.m_job.m_pages;
    return IsPagesSet(command.m_settings) ? -1 : 0;
}

// Of the whole job; 0: nobody knows.
int PagesOfJob(const ScanCommand& command, const CDeviceProperties& properties) {
    return command.m_job.m_batch ? command.m_job.m_pages.value_or(0)
                                 : PagesOfScan(properties, PagesAsked(command));
}

bool Prove(const ScanCommand& command, int pages, std::string* error) {
    return ProveOutput(CPageName(command.m_output.m_path),
                       {command.m_job.m_start, pages, command.m_job.m_mayReplace}, error);
}

// A file that holds one page is enough for a scan of one.
bool FitsOneFile(const COutputOptions& output, int pages) {
    return pages == 1 || CPageName(output.m_path).IsNumbered() ||
           HoldsSeveralPages(output.m_path, output.m_picture);
}

// The end of the job, whichever it was.
int Conclude(const ScanStatus& status, CPageFiles& files) {
    int code = kExitFailed;
    if (!files.Finish())
        Complain(files.Error(), kExitFailed);
    else if (status.code == S_OK)
        return kExitDone;
    else if (status.code == S_FALSE)
        code = TellCancelled();
    else if (status.code == kCancelledAtScanner)
        code = Complain(ResultText(status.code), kExitCancelled);
    else
        code = Complain(files.BrokenOff().Ok() ? status : files.BrokenOff());
    files.TellKept();
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

// Standard output is a picture or for programs: what is for people goes to standard error.
bool IsOutputTaken(const ScanCommand& command) {
    return command.m_job.m_isJson || IsStandardOutput(command.m_output.m_path);
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
    if (status.code == S_OK && !command.m_job.m_isQuiet && !text.empty())
        (IsOutputTaken(command) ? std::cerr : std::cout) << text << '\n';
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

// The quick looks that the user asked for.
ScanStatus Prepare(CScanDevice& device, const ScanCommand& command,
                   const CDeviceProperties& properties) {
    ScanStatus status = Expose(device, command, properties);
    return status.code == S_OK && command.m_isAdaptive ? ChooseColors(device, properties) : status;
}

// Each round is a scan of its own, of a page or of what lies in the feeder.
ScanStatus ScanBatch(CScanDevice& device, const std::string& item, ScanOptions options,
                     const JobOptions& job, CPageFiles& files) {
    using CClock = std::chrono::steady_clock;

    const int most = job.m_pages.value_or(0);
    const auto interval =
        std::chrono::duration_cast<CClock::duration>(std::chrono::duration<double>(*job.m_batch));
    for (;;) {
        const CClock::time_point next = CClock::now() + interval;
        options.pages = most > 0 ? most - files.Pages() : options.pages;
        const ScanStatus status = device.Scan(item, options, files);
        // Whoever feeds sheet by sheet may be late with one.
        const bool isEmpty = IsEmptyFeeder(status.code) && files.Pages() > 0;
        if (status.code != S_OK && !isEmpty)
            return status;
        if (most > 0 && files.Pages() >= most)
            return {};
        if (isEmpty)
            TellLine(ResultText(status.code));
        const BatchWish wish = *job.m_batch > 0 ? WaitForNextPage(files.Number(), next)
                                                : AskForNextPage(files.Number());
        if (wish != BatchWish::Next)
            return wish == BatchWish::Done ? ScanStatus{} : CancelledScan();
    }
}

PageRules RulesOf(const ScanCommand& command, const CDeviceProperties& properties) {
    PageRules rules = {.picture = command.m_output.m_picture,
                       .first = command.m_job.m_start,
                       .mayReplace = command.m_job.m_mayReplace,
                       .isOnlyOne = PagesOfJob(command, properties) == 1,
                       .scale = ScaleOf(properties, command.m_settings)};
    const auto tell = command.m_job.m_isJson ? PageJson : PageLine;
    rules.words = [tell, origin = OriginOf(properties)](const PageReport& report) {
        return tell(report, origin);
    };
    return rules;
}

}  // namespace

// A feeder or a batch brings pages until somebody says otherwise; of the rest nobody knows before
// the scanner is asked.
bool ProveCommand(const ScanCommand& command, std::string* error) {
    const ScanSource source = command.m_settings.source;
    const bool isSeries = source == ScanSource::Feeder || source == ScanSource::Duplex ||
                          command.m_job.m_batch.has_value();
    if (!Prove(command, isSeries ? command.m_job.m_pages.value_or(0) : 1, error))
        return false;
    return std::ranges::all_of(
        std::array{command.m_plots.m_histogram, command.m_plots.m_curves},
        [error](const std::string& plot) { return plot.empty() || ProveFile(plot, error); });
}

int RunScanJob(CScanDevice& device, const ScanCommand& command,
               const CDeviceProperties& properties) {
    std::string error;
    const int pages = PagesOfJob(command, properties);
    if (!FitsOneFile(command.m_output, pages))
        return Complain("-o " + command.m_output.m_path +
                            ": holds one page; name a file with %d for the page, a .tif or .pdf "
                            "file, or scan --pages 1",
                        kExitUsage);
    if (!Prove(command, pages, &error))
        return Complain(error, kExitFailed);
    if (command.m_isDryRun) {
        if (const std::string lack = FeederLack(properties); !lack.empty())
            TellLine(lack);
        PrintDryRun(command, properties, pages);
        return kExitDone;
    }
    const bool isPlotted =
        !command.m_plots.m_histogram.empty() || !command.m_plots.m_curves.empty();
    CInputCounter input;
    CToneCounter result;
    CScanProgress progress(command.m_job.m_isQuiet, IsStandardOutput(command.m_output.m_path));
    CPageFiles files(CPageName(command.m_output.m_path), RulesOf(command, properties), progress,
                     isPlotted ? &result : nullptr);
    std::optional<CInterruptedEnd> interrupted([&files] {
        return files.MayBeEnded() ? Conclude(CancelledScan(), files) : TellCancelled();
    });
    ScanStatus status = Prepare(device, command, properties);
    if (status.code == S_OK) {
        const ScanOptions options = {.pages = PagesAsked(command),
                                     .cancel = InterruptFlag(),
                                     .input = isPlotted ? &input : nullptr};
        const std::string& item = properties.Image().item.fullName;
        status = command.m_job.m_batch ? ScanBatch(device, item, options, command.m_job, files)
                                       : device.Scan(item, options, files);
    }
    int code = kExitDone;
    {
        const CWorkHold hold = files.Hold();
        code = Conclude(status, files);
        interrupted.reset();
    }
    if (code == kExitDone && isPlotted &&
        !DrawScan(command.m_plots, device, input, result.Counts(), &error))
        code = Complain(error, kExitFailed);
    return EndWatch(code);
}
