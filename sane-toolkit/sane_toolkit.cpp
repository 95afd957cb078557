#include "sane-toolkit/sane_toolkit.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstring>
#include <string_view>

#include "platform/contained.h"
#include "platform/text.h"

namespace {

constexpr DWORD kSession = 1;  // an object has one
constexpr BYTE kBits = 8;      // a sample

// The built-in defaults, but for the eighth number of the eleven: samples are sRGB.
constexpr char kEncodedProfile[] =
    "DEFAULTS\n"
    "200, 200, 1, 0, 1, 1200, 980, 1, 1, 240, 180\n";

HRESULT Answer(DWORD* error, DWORD code) {
    if (error)
        *error = code;
    return code == OSTREL_NO_ERROR ? S_OK : E_FAIL;
}

// No exception leaves an operation.
template <class Body>
DWORD ContainedCode(Body body) {
    DWORD code = OSTREL_OUT_OF_MEMORY;
    Contained([&] {
        code = body();
        return S_OK;
    });
    return code;
}

// The library is used by one thread at a time.
template <class Body>
DWORD Guarded(Body body) {
    return ContainedCode([&body] {
        const std::lock_guard lock(CSaneLibrary::Lock());
        return body();
    });
}

// The model names a profile's file: letters and digits of the device's name.
void WriteModel(std::string_view name, char (&model)[kOstrelModelChars]) {
    constexpr std::string_view kPrefix = "SANE-";
    std::size_t length = kPrefix.copy(model, kPrefix.size());
    for (const char letter : name) {
        const auto code = static_cast<unsigned char>(letter);
        if (length + 1 < kOstrelModelChars && (std::isalnum(code) || letter == '-'))
            model[length++] = static_cast<char>(std::toupper(code));
    }
    model[length] = '\0';
}

}  // namespace

CSaneToolkit::~CSaneToolkit() {
    if (m_device)
        CloseDevice(kSession, nullptr);
}

HRESULT CSaneToolkit::QueryInterface(REFIID iid, void** object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    const ScannerFacts* const facts = m_device ? &m_device->Facts() : nullptr;
    if (iid == IID_IUnknown || iid == IID_IOstrelDevice)
        *object = static_cast<IOstrelDevice*>(this);
    else if (iid == IID_IOstrelADF2 && HasFacet(facts && facts->sources.feeder.IsThere()))
        *object = static_cast<IOstrelADF2*>(this);
    else if (iid == IID_IOstrelXPA && HasFacet(facts && facts->sources.adapter.IsThere()))
        *object = static_cast<IOstrelXPA*>(this);
    else if (iid == IID_IOstrelButtons && HasFacet(m_device && m_device->Buttons().Count() > 0))
        *object = static_cast<IOstrelButtons*>(this);
    else if (iid == IID_IOstrelProfile && HasFacet(facts && !facts->isLight))
        *object = static_cast<IOstrelProfile*>(this);
    if (!*object)
        return E_NOINTERFACE;
    AddRef();
    return S_OK;
}
ULONG CSaneToolkit::AddRef() {
    return ++m_references;
}
ULONG CSaneToolkit::Release() {
    const ULONG left = --m_references;
    if (left == 0)
        delete this;
    return left;
}

// ---- Session and lock

bool CSaneToolkit::IsOpen(DWORD session) const {
    return m_device && session == kSession;
}
DWORD CSaneToolkit::Check(DWORD session) const {
    if (!IsOpen(session))
        return OSTREL_INVALID_SESSION;
    return m_lock.IsHeld() ? OSTREL_NO_ERROR : OSTREL_NOT_LOCKED;
}

DWORD CSaneToolkit::CheckDevice(DWORD session) const {
    const DWORD code = Check(session);
    return code != OSTREL_NO_ERROR || m_device->HasDevice() ? code : OSTREL_LOCK_FAILED;
}

DWORD CSaneToolkit::Open(const std::string& port) {
    return m_lock.Open(port) ? CSharedDevice::Open(port, m_device) : OSTREL_OPEN_FAILED;
}

HRESULT CSaneToolkit::OpenDevice(LPCOLESTR name, WORD, DWORD* session, DWORD* error) {
    if (!name || !session || m_device)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    *session = kSession;
    return Answer(error, ContainedCode([&] { return Open(TextFromWide(name)); }));
}

HRESULT CSaneToolkit::CloseDevice(DWORD session, DWORD* error) {
    if (!IsOpen(session))
        return Answer(error, OSTREL_INVALID_SESSION);
    Guarded([&]() -> DWORD {
        Cancel();
        m_device.reset();
        return OSTREL_NO_ERROR;
    });
    m_lock.Close();
    return Answer(error, OSTREL_NO_ERROR);
}

// A short job, such as a poll of the buttons, doesn't compete with others for the device.
HRESULT CSaneToolkit::LockScanner(DWORD session, WORD mode, DWORD milliseconds, DWORD* error) {
    if (!IsOpen(session))
        return Answer(error, OSTREL_INVALID_SESSION);
    using std::chrono::steady_clock;
    const auto begin = steady_clock::now();
    if (!m_lock.Take(milliseconds))
        return Answer(error, OSTREL_LOCK_FAILED);
    if (m_lock.Levels() > 1)
        return Answer(error, OSTREL_NO_ERROR);
    const bool isInPassing = mode == OSTREL_LOCK_SHORT_JOB && milliseconds == 0;
    const auto waited =
        std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - begin).count();
    const auto left = static_cast<DWORD>(milliseconds > waited ? milliseconds - waited : 0);
    const DWORD code = ContainedCode([&] { return m_device->Use(left, isInPassing); });
    if (code != OSTREL_NO_ERROR)
        m_lock.GiveBack();
    return Answer(error, code);
}
HRESULT CSaneToolkit::UnlockScanner(DWORD session, DWORD* error) {
    if (const DWORD code = Check(session); code != OSTREL_NO_ERROR)
        return Answer(error, code);
    m_lock.GiveBack();
    return Answer(error, OSTREL_NO_ERROR);
}

// ---- Lamps: back ends of SANE see to them and to calibration themselves, at the start of a scan.

HRESULT CSaneToolkit::IsLampOn(DWORD session, BOOL* on, DWORD* error) {
    if (on)
        *on = TRUE;
    return Answer(error, on ? Check(session) : OSTREL_INVALID_PARAMETER);
}
HRESULT CSaneToolkit::LampOn(DWORD session, DWORD* error) {
    return Answer(error, Check(session));
}
HRESULT CSaneToolkit::XPALampOn(DWORD session, DWORD* error) {
    return Answer(error, Check(session));
}
HRESULT CSaneToolkit::CalibrateScanner(DWORD session, DWORD* error) {
    return Answer(error, Check(session));
}
HRESULT CSaneToolkit::FinishOpen(DWORD session, DWORD* error) {
    return Answer(error, Check(session));
}

// ---- What the device is like

HRESULT CSaneToolkit::GetDeviceCapabilities(DWORD session, OstrelDeviceCaps* caps, DWORD* error) {
    if (!caps)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    *caps = {};
    if (const DWORD code = Check(session); code != OSTREL_NO_ERROR)
        return Answer(error, code);
    constexpr WORD kDeviceGray = 16;
    const ScannerFacts& facts = m_device->Facts();
    const SourceFacts& source = facts.sources.Main();
    WriteModel(m_device->Name(), caps->model);
    caps->opticalResolution = caps->maxXResolution = caps->maxYResolution = source.maxResolution;
    caps->minResolution = source.minResolution;
    caps->bedWidth = source.width;
    caps->bedHeight = source.height;
    caps->wPaperPath = facts.sources.flatbed.IsThere() ? 0 : OSTREL_PAPER_PATH_FEEDER_ONLY;
    caps->colorDepths[0] = caps->grayDepths[0] = kBits;
    if (facts.HasMode(false)) {
        caps->depthFlags = OSTREL_DEPTH_SINGLE_CHANNEL;
        caps->channelFlags = kDeviceGray;
    }
    caps->tonemapLength = kToneEntries;
    caps->tonemapMaxValue = kToneEntries - 1;
    caps->tonemapEntrySize = 1;
    return Answer(error, OSTREL_NO_ERROR);
}

HRESULT CSaneToolkit::GetADF2Capabilities(DWORD session, OstrelAdf2Caps* caps, DWORD* error) {
    if (!caps)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    *caps = {};
    if (const DWORD code = Check(session); code != OSTREL_NO_ERROR)
        return Answer(error, code);
    const SourceFacts& feeder = m_device->Facts().sources.feeder;
    const SourceFacts& duplex = m_device->Facts().sources.duplex;
    caps->hasADF = feeder.IsThere();
    caps->adfDuplexFlags = duplex.IsThere();
    caps->maxXResolution = caps->maxYResolution = feeder.maxResolution;
    caps->minResolution = feeder.minResolution;
    caps->simplexWidth = feeder.width;
    caps->simplexHeight = feeder.height;
    caps->duplexWidth = duplex.width;
    caps->duplexHeight = duplex.height;
    caps->colorDepths[0] = caps->grayDepths[0] = kBits;
    return Answer(error, OSTREL_NO_ERROR);
}

HRESULT CSaneToolkit::GetXPACapabilities(DWORD session, OstrelXpaCaps* caps, DWORD* error) {
    if (!caps)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    *caps = {};
    if (const DWORD code = Check(session); code != OSTREL_NO_ERROR)
        return Answer(error, code);
    const SourceFacts& adapter = m_device->Facts().sources.adapter;
    caps->hasXPA = adapter.IsThere();
    caps->maxXResolution = caps->maxYResolution = adapter.maxResolution;
    caps->minResolution = adapter.minResolution;
    caps->xpaWidth = adapter.width;
    caps->xpaHeight = adapter.height;
    caps->depths[0] = kBits;
    return Answer(error, OSTREL_NO_ERROR);
}

HRESULT CSaneToolkit::GetProfileSize(DWORD session, DWORD* bytes, DWORD* error) {
    if (!bytes)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    *bytes = 0;
    const DWORD code = Check(session);
    if (code == OSTREL_NO_ERROR && !m_device->Facts().isLight)
        *bytes = sizeof kEncodedProfile - 1;
    return Answer(error, code);
}
HRESULT CSaneToolkit::ReadProfile(DWORD session, DWORD bytes, void* buffer, DWORD* error) {
    if (!buffer || bytes != sizeof kEncodedProfile - 1)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    std::memcpy(buffer, kEncodedProfile, bytes);
    return Answer(error, Check(session));
}

// ---- A page

HRESULT CSaneToolkit::SetTonemap(DWORD session, DWORD bytes, const void* red, const void* green,
                                 const void* blue, DWORD* error) {
    if (bytes != kToneEntries || !red || !green || !blue)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    const void* const tables[] = {red, green, blue};
    for (std::size_t color = 0; color < kColors; ++color)
        std::memcpy(m_tones[color].data(), tables[color], bytes);
    return Answer(error, Check(session));
}

// Within a batch nothing is written to a device that is set up already: many refuse that between
// two sheets. Another wish ends the batch.
DWORD CSaneToolkit::Plan(const OstrelScanParams& params, bool isDuplex) {
    if (m_isInBatch && isDuplex == m_isDuplex &&
        std::memcmp(&params, &m_params, sizeof params) == 0)
        return OSTREL_NO_ERROR;
    Cancel();
    const DWORD code = PlanScan(m_device->Device(), m_device->Facts(), params, isDuplex, m_plan);
    m_params = params;
    m_isDuplex = isDuplex;
    return code;
}

HRESULT CSaneToolkit::GetScanSetup(DWORD session, const OstrelScanParams* params,
                                   OstrelScanSetup* setup, DWORD* error) {
    if (!params || !setup)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    *setup = {};
    if (const DWORD code = CheckDevice(session); code != OSTREL_NO_ERROR)
        return Answer(error, code);
    // Whether a sheet has two sides comes later; the last answer is likely to be the next one.
    const bool isDuplex = m_isDuplex && params->source == OSTREL_SOURCE_FEEDER;
    const DWORD code = Guarded([&] { return Plan(*params, isDuplex); });
    if (code == OSTREL_NO_ERROR)
        *setup = m_plan.setup;
    return Answer(error, code);
}

DWORD CSaneToolkit::Begin() {
    CSaneDevice& device = m_device->Device();
    m_pending = OSTREL_NO_ERROR;
    const SANE_Status status = device.Start();
    m_isInBatch = m_isInBatch || status == SANE_STATUS_GOOD;
    if (status != SANE_STATUS_GOOD)
        return CodeOfSane(status);
    m_isScanning = true;
    sane_set_io_mode(device.Handle(),
                     SANE_FALSE);  // blocks; what can't be asked to does so already
    return m_reader.Begin(device, m_plan.cut, m_tones);
}

// A sheet waits for the feeder's mode, without which nobody knows from where it comes.
HRESULT CSaneToolkit::StartScan(DWORD session, const OstrelScanParams* params, DWORD* error) {
    OstrelScanSetup setup;
    if (const HRESULT hr = GetScanSetup(session, params, &setup, error); hr != S_OK)
        return hr;
    m_linesLeft = setup.lines;
    m_isArmed = params->source == OSTREL_SOURCE_FEEDER;
    if (m_isArmed)
        return Answer(error, OSTREL_NO_ERROR);
    const DWORD code = Guarded([&] { return Begin(); });
    if (code != OSTREL_NO_ERROR)
        EndScan(session, nullptr);
    return Answer(error, code);
}

HRESULT CSaneToolkit::BeginRead(DWORD session, DWORD* status) {
    return Answer(status, Check(session));
}

void CSaneToolkit::Cancel() {
    if (m_isInBatch && m_device->HasDevice())
        m_device->Device().Cancel();
    m_isScanning = m_isInBatch = m_isBackDue = false;
}

// A sheet that the device has given whole leaves it ready for the next one.
HRESULT CSaneToolkit::EndScan(DWORD session, DWORD* error) {
    const DWORD code = Check(session);
    if (IsOpen(session) && m_isScanning) {
        const bool goesOn = m_params.source == OSTREL_SOURCE_FEEDER && m_reader.IsOver();
        if (!goesOn) {
            Guarded([&]() -> DWORD {
                Cancel();
                return OSTREL_NO_ERROR;
            });
        } else {
            m_isBackDue = m_isDuplex && !m_isBackDue;
        }
    }
    m_isScanning = m_isArmed = false;
    m_linesLeft = 0;
    return Answer(error, code);
}

// At least a line, and no more than comes: a failure behind whole lines is told by the next call.
DWORD CSaneToolkit::Read(BYTE* out, DWORD bytesWanted, DWORD& bytesRead) {
    const auto lineBytes = static_cast<DWORD>(m_reader.LineBytes());
    if (bytesWanted < lineBytes)
        return OSTREL_INVALID_PARAMETER;
    if (m_pending != OSTREL_NO_ERROR)
        return m_pending;
    DWORD code = OSTREL_END_OF_MEDIA;
    while (m_linesLeft > 0 && bytesRead + lineBytes <= bytesWanted) {
        code = m_reader.ReadLine(out + bytesRead);
        if (code != OSTREL_NO_ERROR)
            break;
        bytesRead += lineBytes;
        --m_linesLeft;
        if (m_linesLeft == 0)
            m_reader.Drain();
    }
    if (code == OSTREL_NO_ERROR || code == OSTREL_END_OF_MEDIA || bytesRead == 0)
        return code;
    m_pending = code;
    return OSTREL_NO_ERROR;
}

HRESULT CSaneToolkit::ReadScan(DWORD session, void* buffer, DWORD bytesWanted, DWORD* bytesRead,
                               DWORD* status) {
    if (!buffer || !bytesRead)
        return Answer(status, OSTREL_INVALID_PARAMETER);
    *bytesRead = 0;
    DWORD code = Check(session);
    if (code == OSTREL_NO_ERROR && !m_isScanning)
        code = OSTREL_INVALID_PARAMETER;
    if (code != OSTREL_NO_ERROR)
        return Answer(status, code);
    code = OSTREL_OUT_OF_MEMORY;
    Contained([&] {
        code = Read(static_cast<BYTE*>(buffer), bytesWanted, *bytesRead);
        return S_OK;
    });
    const HRESULT hr = Answer(status, code);
    return code == OSTREL_END_OF_MEDIA ? S_OK : hr;
}

// ---- The feeder. Back ends of SANE feed at the start of a scan, and tell only then that there is
// no sheet.

HRESULT CSaneToolkit::IsPaperInADF(DWORD session, BOOL* paper, DWORD* error) {
    if (!paper)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    *paper = FALSE;
    if (const DWORD code = CheckDevice(session); code != OSTREL_NO_ERROR)
        return Answer(error, code);
    return Answer(error, Guarded([&]() -> DWORD {
                      *paper = m_isBackDue || ReadPaperSensor(m_device->Device()).value_or(true);
                      return OSTREL_NO_ERROR;
                  }));
}

HRESULT CSaneToolkit::ADF2PaperFeed(DWORD session, DWORD* pageLength, DWORD* error) {
    if (!pageLength)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    *pageLength = 0;
    BOOL paper = FALSE;
    if (const HRESULT hr = IsPaperInADF(session, &paper, error); hr != S_OK)
        return hr;
    return Answer(error, paper ? OSTREL_NO_ERROR : OSTREL_ADF_EMPTY);
}

// What was told of the page holds, also where the device has another window for both sides.
HRESULT CSaneToolkit::SetADFMode(DWORD session, DWORD mode, DWORD* error) {
    if (const DWORD code = CheckDevice(session); code != OSTREL_NO_ERROR)
        return Answer(error, code);
    if (!m_isArmed)
        return Answer(error, OSTREL_NO_ERROR);
    m_isArmed = false;
    const OstrelScanParams params = m_params;
    const OstrelScanSetup told = m_plan.setup;
    DWORD code = Guarded([&] {
        const DWORD planned = Plan(params, mode == OSTREL_ADF_MODE_DUPLEX);
        m_plan.setup = told;
        m_plan.cut.width = told.pixelsPerLine;
        m_plan.cut.height = told.lines;
        return planned == OSTREL_NO_ERROR ? Begin() : planned;
    });
    if (code != OSTREL_NO_ERROR)
        EndScan(session, nullptr);
    return Answer(error, code);
}

HRESULT CSaneToolkit::EndADF2Job(DWORD session, DWORD* error) {
    const DWORD code = Check(session);
    if (IsOpen(session)) {
        Guarded([&]() -> DWORD {
            Cancel();
            return OSTREL_NO_ERROR;
        });
    }
    return Answer(error, code);
}

// ---- Buttons

// Who polls gives the device away where another process waits for it: nobody would have it else.
HRESULT CSaneToolkit::GetButtonDataSize(DWORD session, DWORD* bytes, DWORD* error) {
    if (!bytes)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    *bytes = 0;
    if (const DWORD code = Check(session); code != OSTREL_NO_ERROR)
        return Answer(error, code);
    return Answer(error, Guarded([&]() -> DWORD {
                      if (m_lock.Levels() == 1 && m_device->GiveAway())
                          return OSTREL_LOCK_FAILED;
                      *bytes = static_cast<DWORD>(m_device->Buttons().Count());
                      return OSTREL_NO_ERROR;
                  }));
}
HRESULT CSaneToolkit::ReadButtons(DWORD session, DWORD bytes, BYTE* buffer, DWORD* error) {
    if (const DWORD code = Check(session); code != OSTREL_NO_ERROR)
        return Answer(error, code);
    return Answer(error, Guarded([&]() -> DWORD {
                      if (!buffer || bytes != m_device->Buttons().Count() || !m_device->HasDevice())
                          return OSTREL_INVALID_PARAMETER;
                      std::ranges::copy(m_device->Buttons().Read(m_device->Device()), buffer);
                      return OSTREL_NO_ERROR;
                  }));
}
HRESULT CSaneToolkit::EndButtonRead(DWORD session, DWORD* error) {
    return Answer(error, Check(session));
}
