#include "sane-toolkit/sane_toolkit.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "platform/contained.h"
#include "platform/sync.h"
#include "platform/text.h"

std::atomic<int> g_saneObjects = 0;

namespace {

constexpr DWORD kSession = 1;  // an object has one

// The built-in defaults, but for the seventh number of the eleven: samples are sRGB.
constexpr char kEncodedProfile[] =
    "DEFAULTS\n"
    "200, 200, 1, 0, 1, 1200, 980, 1, 1, 240, 180\n";

HRESULT Answer(DWORD* error, DWORD code) {
    if (error)
        *error = code;
    return code == OSTREL_NO_ERROR ? S_OK : E_FAIL;
}

// No exception leaves an operation, and the library is used by one thread at a time.
template <class Body>
DWORD Guarded(Body body) {
    DWORD code = OSTREL_OUT_OF_MEMORY;
    Contained([&] {
        const std::lock_guard lock(CSaneLibrary::Lock());
        code = body();
        return S_OK;
    });
    return code;
}

// The model names a profile's file: letters and digits of the device's name, without the unit's
// place behind the back end.
void WriteModel(const std::string& name, char (&model)[kOstrelModelChars]) {
    std::size_t length = 0;
    for (const char letter : "SANE-" + name) {
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
    --g_saneObjects;
}

HRESULT CSaneToolkit::QueryInterface(REFIID iid, void** object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    if (iid == IID_IUnknown || iid == IID_IOstrelDevice)
        *object = static_cast<IOstrelDevice*>(this);
    else if (iid == IID_IOstrelProfile)
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

bool CSaneToolkit::IsOpen(DWORD session) const {
    return m_device && session == kSession;
}
DWORD CSaneToolkit::Check(DWORD session) const {
    if (!IsOpen(session))
        return OSTREL_INVALID_SESSION;
    return m_levels > 0 ? OSTREL_NO_ERROR : OSTREL_NOT_LOCKED;
}

DWORD CSaneToolkit::Open(const std::string& port) {
    for (const auto& [prefix, isLight] : {std::pair(kDisplayPort, false), {kLightPort, true}}) {
        if (port.starts_with(prefix)) {
            m_name = port.substr(std::strlen(prefix));
            m_isLight = isLight;
        }
    }
    if (m_name.empty())
        return OSTREL_NOT_FOUND;
    m_lock = CHandle(CreateSemaphoreA(nullptr, 1, 1, ("sane:" + m_name).c_str()));
    if (!m_lock)
        return OSTREL_OPEN_FAILED;
    std::unique_ptr<CSaneDevice> device;
    DWORD code = CSaneDevice::Open(m_name, device);
    if (code == OSTREL_NO_ERROR)
        code = LearnFacts(*device, m_facts);
    if (code == OSTREL_NO_ERROR)
        m_device = std::move(device);
    return code;
}

HRESULT CSaneToolkit::OpenDevice(LPCOLESTR name, WORD, DWORD* session, DWORD* error) {
    if (!name || !session || m_device)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    *session = kSession;
    return Answer(error, Guarded([&] { return Open(TextFromWide(name)); }));
}

HRESULT CSaneToolkit::CloseDevice(DWORD session, DWORD* error) {
    if (!IsOpen(session))
        return Answer(error, OSTREL_INVALID_SESSION);
    if (m_isScanning)
        EndScan(session, nullptr);
    Guarded([&]() -> DWORD {
        m_device.reset();
        return OSTREL_NO_ERROR;
    });
    if (m_levels > 0)
        ReleaseSemaphore(m_lock.Get(), 1, nullptr);
    m_levels = 0;
    return Answer(error, OSTREL_NO_ERROR);
}

HRESULT CSaneToolkit::LockScanner(DWORD session, WORD, DWORD milliseconds, DWORD* error) {
    if (!IsOpen(session))
        return Answer(error, OSTREL_INVALID_SESSION);
    if (m_levels == 0 && WaitForSingleObject(m_lock.Get(), milliseconds) != WAIT_OBJECT_0)
        return Answer(error, OSTREL_LOCK_FAILED);
    ++m_levels;
    return Answer(error, OSTREL_NO_ERROR);
}
HRESULT CSaneToolkit::UnlockScanner(DWORD session, DWORD* error) {
    if (const DWORD code = Check(session); code != OSTREL_NO_ERROR)
        return Answer(error, code);
    if (--m_levels == 0)
        ReleaseSemaphore(m_lock.Get(), 1, nullptr);
    return Answer(error, OSTREL_NO_ERROR);
}

// Back ends of SANE see to lamp and calibration themselves, at the start of a scan.
HRESULT CSaneToolkit::IsLampOn(DWORD session, BOOL* on, DWORD* error) {
    if (on)
        *on = TRUE;
    return Answer(error, on ? Check(session) : OSTREL_INVALID_PARAMETER);
}
HRESULT CSaneToolkit::LampOn(DWORD session, DWORD* error) {
    return Answer(error, Check(session));
}
HRESULT CSaneToolkit::CalibrateScanner(DWORD session, DWORD* error) {
    return Answer(error, Check(session));
}
HRESULT CSaneToolkit::FinishOpen(DWORD session, DWORD* error) {
    return Answer(error, Check(session));
}

HRESULT CSaneToolkit::GetDeviceCapabilities(DWORD session, OstrelDeviceCaps* caps, DWORD* error) {
    if (!caps)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    *caps = {};
    if (const DWORD code = Check(session); code != OSTREL_NO_ERROR)
        return Answer(error, code);
    constexpr WORD kDeviceGray = 16;
    WriteModel(m_name, caps->model);
    caps->opticalResolution = caps->maxXResolution = caps->maxYResolution = m_facts.maxResolution;
    caps->minResolution = m_facts.minResolution;
    caps->bedWidth = m_facts.bedWidth;
    caps->bedHeight = m_facts.bedHeight;
    caps->colorDepths[0] = caps->grayDepths[0] = 8;
    if (!m_facts.gray.empty()) {
        caps->depthFlags = OSTREL_DEPTH_SINGLE_CHANNEL;
        caps->channelFlags = kDeviceGray;
    }
    caps->tonemapLength = kToneEntries;
    caps->tonemapMaxValue = kToneEntries - 1;
    caps->tonemapEntrySize = 1;
    return Answer(error, OSTREL_NO_ERROR);
}

HRESULT CSaneToolkit::SetTonemap(DWORD session, DWORD bytes, const void* red, const void* green,
                                 const void* blue, DWORD* error) {
    if (bytes != kToneEntries || !red || !green || !blue)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    const void* const tables[] = {red, green, blue};
    for (std::size_t color = 0; color < kColors; ++color)
        std::memcpy(m_tones[color].data(), tables[color], bytes);
    return Answer(error, Check(session));
}

HRESULT CSaneToolkit::GetScanSetup(DWORD session, const OstrelScanParams* params,
                                   OstrelScanSetup* setup, DWORD* error) {
    if (!params || !setup)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    *setup = {};
    if (const DWORD code = Check(session); code != OSTREL_NO_ERROR)
        return Answer(error, code);
    const DWORD code = Guarded([&] { return PlanScan(*m_device, m_facts, *params, m_plan); });
    if (code == OSTREL_NO_ERROR)
        *setup = m_plan.setup;
    return Answer(error, code);
}

HRESULT CSaneToolkit::StartScan(DWORD session, const OstrelScanParams* params, DWORD* error) {
    OstrelScanSetup setup;
    if (const HRESULT hr = GetScanSetup(session, params, &setup, error); hr != S_OK)
        return hr;
    m_linesLeft = setup.lines;
    const DWORD code = Guarded([&] {
        const SANE_Handle device = m_device->Handle();
        if (const SANE_Status status = sane_start(device); status != SANE_STATUS_GOOD)
            return CodeOfSane(status);
        m_isScanning = true;
        sane_set_io_mode(device, SANE_FALSE);  // blocks; what can't be asked to does so already
        return m_reader.Begin(device, m_plan.cut, m_tones);
    });
    if (code != OSTREL_NO_ERROR)
        EndScan(session, nullptr);
    return Answer(error, code);
}

HRESULT CSaneToolkit::BeginRead(DWORD session, DWORD* status) {
    return Answer(status, Check(session));
}

HRESULT CSaneToolkit::EndScan(DWORD session, DWORD* error) {
    const DWORD code = Check(session);
    if (IsOpen(session) && m_isScanning) {
        Guarded([&]() -> DWORD {
            sane_cancel(m_device->Handle());
            return OSTREL_NO_ERROR;
        });
    }
    m_isScanning = false;
    m_linesLeft = 0;
    return Answer(error, code);
}

// At least a line, and no more than comes: a failure behind whole lines is told by the next call.
DWORD CSaneToolkit::Read(BYTE* out, DWORD bytesWanted, DWORD& bytesRead) {
    const auto lineBytes = static_cast<DWORD>(m_reader.LineBytes());
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
    return code;
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

HRESULT CSaneToolkit::GetProfileSize(DWORD session, DWORD* bytes, DWORD* error) {
    if (!bytes)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    *bytes = m_isLight ? 0 : sizeof kEncodedProfile - 1;
    return Answer(error, Check(session));
}
HRESULT CSaneToolkit::ReadProfile(DWORD session, DWORD bytes, void* buffer, DWORD* error) {
    if (!buffer || m_isLight || bytes != sizeof kEncodedProfile - 1)
        return Answer(error, OSTREL_INVALID_PARAMETER);
    std::memcpy(buffer, kEncodedProfile, bytes);
    return Answer(error, Check(session));
}
