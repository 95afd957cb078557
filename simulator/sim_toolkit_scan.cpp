// The toolkit's operations for scanning.
#include <algorithm>
#include <cstring>

#include "platform/wait_watch.h"
#include "simulator/builtin_media.h"
#include "simulator/feeder.h"
#include "simulator/sim_toolkit.h"

namespace {

// Feeder and flatbed share the light under the glass.
ELamp LampOf(ESource source) {
    return source == kAdapter ? kAdapterLamp : kFlatbedLamp;
}

// A cold lamp holds the device up until it is warm.
void WaitForWarmLamp(CCall& call) {
    const std::uint64_t warm = WarmAt(call.Settings(), call.State());
    if (warm <= call.Now())
        return;
    ++call.State().warmUpWaits;
    const CWaitScope wait(WaitCause::LampWarming);
    call.SleepUntil(warm);
    if (!WaitGoesOn())
        throw CSimFailure(OSTREL_CANCEL_BUTTON);
}

void NeedLamp(CCall& call, ELamp lamp) {
    if (BurningLamp(call.State(), call.Now()) != lamp)
        throw CSimFailure(OSTREL_LAMP_OFF);
}

// What lies on the source now. Parameters that announce a negative get the negative, whatever is
// said to lie there.
std::unique_ptr<CMedium> OpenMedium(const CSettings& settings, const CDeviceState& state,
                                    const CScanPlan& plan) {
    const CNumbers& numbers = settings.m_numbers;
    if (plan.m_source == kFeeder)
        return OpenSheet(settings, state.sheetAtHead, state.backDue != 0);
    const bool negative = plan.m_negative || state.film == kNegative;
    const bool flatbed = plan.m_source == kFlatbed;
    const std::string& path = flatbed    ? settings.m_flatbedPicture
                              : negative ? settings.m_negativePicture
                                         : settings.m_slidePicture;
    if (path == kNoPicture)
        return MakeNoMedium();
    if (path.empty())
        return flatbed ? MakeTestPage() : MakeFilm(negative);
    return OpenPictureMedium(path, flatbed    ? numbers.m_flatbed
                                   : negative ? numbers.m_negative
                                              : numbers.m_slide);
}

const CPlacing& PlacingOf(const CNumbers& numbers, const CDeviceState& state,
                          const CScanPlan& plan) {
    if (plan.m_source == kFeeder)
        return numbers.m_pages;
    if (plan.m_source == kFlatbed)
        return numbers.m_flatbed;
    return plan.m_negative || state.film == kNegative ? numbers.m_negative : numbers.m_slide;
}

// The session's tone map and matrix as they stand at the start; later ones are for the next scan.
CLineFormatSettings FormatOf(const CSession& session, const CNumbers& numbers,
                             const CScanPlan& plan) {
    CLineFormatSettings format;
    format.m_channel = plan.m_channel;
    format.m_bits = plan.m_bits;
    // Single bits are of the sensor's own threshold, unless the tone map's is asked for.
    if (plan.m_bits != 1 || plan.m_thresholdByToneMap)
        format.m_toneMap = session.m_toneMap.get();
    format.m_hasMatrix = session.m_hasMatrix;
    format.m_matrix = session.m_matrix;
    format.m_noise = numbers.m_noise;
    format.m_seed = numbers.m_seed;
    return format;
}

// Where the medium ends before the scan does.
void SetEnds(CRunningScan& scan, const CNumbers& numbers, std::int32_t height, std::uint32_t dpi) {
    const CScanWindow& window = scan.m_plan.m_window;
    scan.m_endLine = window.m_lines;
    if (scan.m_plan.m_source == kFeeder) {
        scan.m_endStatus = OSTREL_ADF_END_OF_PAGE;
        scan.m_jamLine = numbers.m_jamAtLine;
        // A sheet that was laid onto the glass has the lid around it; through a slot it just ends.
        if ((numbers.m_adf2.adfFlags & OSTREL_ADF_SHEET_THROUGH) != 0)
            scan.m_endLine = LinesOnMedium(window, height, dpi);
    }
    if (numbers.m_endAtLine != 0)
        scan.m_endLine = std::min(scan.m_endLine, numbers.m_endAtLine);
}

// Away from the state: opening a picture may take a while, and other programs ask meanwhile.
std::shared_ptr<CRunningScan> MakeScan(const CSession& session, const CSettings& settings,
                                       const CDeviceState& state, const CScanPlan& plan) {
    const CNumbers& numbers = settings.m_numbers;
    auto scan = std::make_shared<CRunningScan>();
    scan->m_plan = plan;
    auto medium = OpenMedium(settings, state, plan);
    SetEnds(*scan, numbers, medium->Height(), medium->YDpi());
    scan->m_page = std::make_unique<CPageScan>(std::move(medium), PlacingOf(numbers, state, plan),
                                               numbers.m_lids[plan.m_source], plan.m_window,
                                               FormatOf(session, numbers, plan), session.m_toneMap);
    return scan;
}

// In the order in which a device would notice: lamp, calibration, warm-up, paper. Only then the
// medium is opened, and the carriage moves.
void Start(CCall& call, const CScanPlan& plan) {
    if (plan.m_window.m_pixels == 0 || plan.m_window.m_lines == 0)
        throw CSimFailure(OSTREL_INVALID_PARAMETER, "the window is empty");
    CSession& session = call.Session();
    const ELamp lamp = LampOf(plan.m_source);
    NeedLamp(call, lamp);
    if (session.m_calibratedLamp != lamp)
        throw CSimFailure(OSTREL_CALIBRATION_FAILED);
    WaitForWarmLamp(call);
    if (plan.m_source == kFeeder)
        FeedSheet(call.Settings(), call.State());
    std::shared_ptr<CRunningScan> scan;
    call.Away(
        [&, state = call.State()] { scan = MakeScan(session, call.Settings(), state, plan); });
    // Closed by another thread while the medium was opened.
    if (session.m_closed)
        throw CSimFailure(OSTREL_INVALID_SESSION);
    LightLamp(call.State(), lamp, call.Now());
    // A press from before the scan isn't meant for it.
    call.State().cancelPressed = 0;
    scan->m_startTime = call.Now();
    session.m_scan = std::move(scan);
}

// Lines until something happens.
std::uint32_t NextStop(const CRunningScan& scan) {
    return scan.m_jamLine != 0 ? std::min(scan.m_endLine, scan.m_jamLine) : scan.m_endLine;
}

// Waits until the carriage has passed the lines that are wanted, then gives them.
std::size_t ReadLines(CRunningScan& scan, const CDeviceFolder& folder, std::uint32_t linesPerSecond,
                      std::uint8_t* out, std::size_t bytes) {
    const std::lock_guard guard(scan.m_reading);
    CPageScan& page = *scan.m_page;
    const std::uint32_t stop = NextStop(scan);
    if (linesPerSecond != 0) {
        // A line is there when the carriage has passed its end: at start + line / speed.
        const std::uint64_t wanted = (bytes + page.LineBytes() - 1) / page.LineBytes();
        const std::uint64_t line = std::min<std::uint64_t>(page.LinesBegun() + wanted, stop);
        folder.SleepUntil(scan.m_startTime + line * 1000 / linesPerSecond);
    }
    return page.Read(out, bytes, stop);
}

// What became of a read that gave `got` of `wanted` bytes.
void JudgeRead(CCall& call, CRunningScan& scan, std::size_t got, std::size_t wanted) {
    if (got == wanted)
        return;
    const bool jams = scan.m_jamLine != 0 && scan.m_jamLine < scan.m_endLine;
    if (!jams)
        return call.SetStatus(scan.m_endLine < scan.m_page->Lines() ? scan.m_endStatus
                                                                    : OSTREL_END_OF_MEDIA);
    if (got > 0)
        return;  // what came before the jam
    call.State().jammed = 1;
    throw CSimFailure(OSTREL_ADF_JAMMED);
}

}  // namespace

HRESULT CSimToolkit::GetDeviceCapabilities(DWORD session, OstrelDeviceCaps* caps, DWORD* error) {
    return Run(EOperation::GetDeviceCapabilities, session, error, [&](CCall& call) {
        call.NeedPointer(caps);
        *caps = call.Numbers().m_device;
        if (call.State().instantLamp != 0)
            caps->lampWarmUpFlatbed = 0;
    });
}

// Also the parameters that calibration is for, as it has none of its own.
HRESULT CSimToolkit::GetScanSetup(DWORD session, const OstrelScanParams* params,
                                  OstrelScanSetup* setup, DWORD* error) {
    return Run(EOperation::GetScanSetup, session, error, [&](CCall& call) {
        call.NeedPointer(params);
        call.NeedPointer(setup);
        const CScanPlan plan = PlanScan(call.Settings(), *params);
        call.Session().m_wantedLamp = LampOf(plan.m_source);
        *setup = {};
        setup->pixelsPerLine = plan.m_window.m_pixels;
        setup->lines = plan.m_window.m_lines;
    });
}

HRESULT CSimToolkit::CalibrateScanner(DWORD session, DWORD* error) {
    return Run(EOperation::CalibrateScanner, session, error, [&](CCall& call) {
        const ELamp burning = BurningLamp(call.State(), call.Now());
        const ELamp wanted = call.Session().m_wantedLamp;
        if (burning == kNoLamp || (wanted != kNoLamp && wanted != burning))
            throw CSimFailure(OSTREL_LAMP_OFF);
        WaitForWarmLamp(call);
        call.SleepUntil(call.Now() + call.Numbers().m_calibrationTime);
        LightLamp(call.State(), burning, call.Now());
        call.Session().m_calibratedLamp = burning;
        ++call.State().calibrations;
    });
}

// Once a session; that it is called at all is the driver's business.
HRESULT CSimToolkit::FinishOpen(DWORD session, DWORD* error) {
    return Run(EOperation::FinishOpen, session, error, [&](CCall& call) {
        if (call.Session().m_openFinished)
            call.Violation(OSTREL_INVALID_PARAMETER, "a second time");
        call.Session().m_openFinished = true;
    });
}

HRESULT CSimToolkit::StartScan(DWORD session, const OstrelScanParams* params, DWORD* error) {
    return Run(EOperation::StartScan, session, error, [&](CCall& call) {
        call.NeedPointer(params);
        if (call.Session().m_scan)
            call.Violation(OSTREL_INVALID_PARAMETER, "while a scan runs");
        const CScanPlan plan = PlanScan(call.Settings(), *params);
        call.Note("source " + std::to_string(params->source) + ", " +
                  std::to_string(plan.m_window.m_pixels) + " x " +
                  std::to_string(plan.m_window.m_lines) + ", " + std::to_string(plan.m_bits) +
                  " bits");
        Start(call, plan);
    });
}

// Copied: the caller's tables are its own again when this returns.
HRESULT CSimToolkit::SetTonemap(DWORD session, DWORD bytes, const void* red, const void* green,
                                const void* blue, DWORD* error) {
    return Run(EOperation::SetTonemap, session, error, [&](CCall& call) {
        for (const void* table : {red, green, blue})
            call.NeedPointer(table);
        const OstrelDeviceCaps& device = call.Numbers().m_device;
        if (bytes != device.tonemapLength * device.tonemapEntrySize)
            throw CSimFailure(OSTREL_INVALID_PARAMETER,
                              std::to_string(bytes) + " bytes are no table");
        call.Session().m_toneMap =
            std::make_shared<const CToneMap>(device.tonemapLength, device.tonemapMaxValue,
                                             device.tonemapEntrySize, red, green, blue);
    });
}

HRESULT CSimToolkit::BeginRead(DWORD session, DWORD* status) {
    return Run(EOperation::BeginRead, session, status, [](CCall& call) {
        const auto& scan = call.Session().m_scan;
        if (!scan)
            call.Violation(OSTREL_INVALID_PARAMETER, "without a scan");
        if (scan->m_readBegun)
            call.Violation(OSTREL_INVALID_PARAMETER, "a second time");
        scan->m_readBegun = true;
    });
}

// Blocks for the carriage away from all guards, so that the session can be asked and closed
// meanwhile.
HRESULT CSimToolkit::ReadScan(DWORD session, void* buffer, DWORD bytesWanted, DWORD* bytesRead,
                              DWORD* status) {
    if (bytesRead)
        *bytesRead = 0;
    return Run(EOperation::ReadScan, session, status, [&](CCall& call) {
        call.NeedPointer(buffer);
        call.NeedPointer(bytesRead);
        const auto scan = call.Session().m_scan;
        if (!scan || !scan->m_readBegun)
            call.Violation(OSTREL_INVALID_PARAMETER,
                           scan ? "ahead of BeginRead" : "without a scan");
        if (call.State().cancelPressed != 0)
            throw CSimFailure(OSTREL_CANCEL_BUTTON);
        std::size_t got = 0;
        call.Away([&, lines = call.Numbers().m_linesPerSecond] {
            got = ReadLines(*scan, call.Session().m_folder, lines,
                            static_cast<std::uint8_t*>(buffer), bytesWanted);
        });
        *bytesRead = static_cast<DWORD>(got);
        call.Note(std::to_string(got) + " of " + std::to_string(bytesWanted) + " bytes");
        JudgeRead(call, *scan, got, bytesWanted);
    });
}

// Also without a scan: the driver ends what may not have begun.
HRESULT CSimToolkit::EndScan(DWORD session, DWORD* error) {
    return Run(EOperation::EndScan, session, error, [](CCall& call) {
        constexpr std::uint64_t kNeverSet = 0xFFFFFFFFu;
        const auto scan = std::exchange(call.Session().m_scan, nullptr);
        if (!scan)
            return;
        CDeviceState& state = call.State();
        ++state.scans;
        state.nvramScanCount = state.nvramScanCount == kNeverSet ? 1 : state.nvramScanCount + 1;
        LightLamp(state, LampOf(scan->m_plan.m_source), call.Now());
        if (scan->m_plan.m_source == kFeeder && !scan->m_plan.m_preview)
            EndSide(state);
    });
}

HRESULT CSimToolkit::GetColorMatrixCapabilities(DWORD session, OstrelColorMatrixCaps* caps,
                                                DWORD* error) {
    return Give(EOperation::GetColorMatrixCapabilities, session, &CNumbers::m_colorMatrix, caps,
                error);
}

// The identity counts as none: plain 8-bit colour keeps its short way.
HRESULT CSimToolkit::SetColorMatrix(DWORD session, const double* matrix, DWORD* error) {
    return Run(EOperation::SetColorMatrix, session, error, [&](CCall& call) {
        constexpr std::array<double, 9> kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
        call.NeedPointer(matrix);
        if (call.Numbers().m_colorMatrix.hasMatrix == 0)
            throw CSimFailure(OSTREL_NOT_IMPLEMENTED);
        CSession& own = call.Session();
        std::copy_n(matrix, own.m_matrix.size(), own.m_matrix.begin());
        own.m_hasMatrix = own.m_matrix != kIdentity;
    });
}

// ---- The stream's compression. Only plain data are produced.

HRESULT CSimToolkit::GetCompressionCapabilities(DWORD session, OstrelCompressionCaps* caps,
                                                DWORD* error) {
    return Give(EOperation::GetCompressionCapabilities, session, &CNumbers::m_compression, caps,
                error);
}

HRESULT CSimToolkit::SetCompressionType(DWORD session, DWORD type, DWORD* error) {
    return Run(EOperation::SetCompressionType, session, error, [&](CCall& call) {
        call.Note("type " + std::to_string(type));
        if (type != OSTREL_UNCOMPRESSED)
            throw CSimFailure(OSTREL_INVALID_PARAMETER, "the type isn't supported");
    });
}

HRESULT CSimToolkit::EnableCompression(DWORD session, DWORD, DWORD* error) {
    return Run(EOperation::EnableCompression, session, error, [](CCall&) {
        throw CSimFailure(OSTREL_INVALID_PARAMETER, "there is no compression to enable");
    });
}

HRESULT CSimToolkit::SetCompressionValue(DWORD session, DWORD, DWORD, DWORD* error) {
    return Run(EOperation::SetCompressionValue, session, error, [](CCall&) {
        throw CSimFailure(OSTREL_INVALID_PARAMETER, "there is no compression to set");
    });
}
