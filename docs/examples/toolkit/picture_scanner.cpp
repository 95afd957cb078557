// A toolkit module in one file, to begin one's own with. Its scanner is a picture: the port is a
// file, binary PPM (P6) of 8 bits, whose pixels are the light that the scanner measures at 300 dpi;
// around it all is white.
//
//     nvqscan install --name Picture --toolkit ./picture_scanner.so --port /some/where/page.ppm
//     nvqscan scan Picture -o scan.png
#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <fstream>
#include <new>
#include <string>
#include <vector>

#include "controller/toolkit.h"
#include "platform/class_registration.h"
#include "platform/contained.h"
#include "platform/sync.h"
#include "platform/text.h"
#include "platform/unique_handle.h"

namespace {

// One's own module has one of its own, which 'uuidgen' makes.
constexpr CLSID kClass = {
    0x3B5E6C1A, 0x0F52, 0x4D0B, {0x9B, 0x7E, 0x51, 0x6A, 0x2F, 0x8C, 0x4D, 0x13}};

constexpr DWORD kUnitsPerInch = 300;
constexpr DWORD kBedWidth = 2550;  // letter, in 1/300 inch
constexpr DWORD kBedHeight = 3300;
constexpr DWORD kSession = 1;  // an object has one
constexpr std::size_t kToneEntries = 256;
constexpr std::size_t kSamples = 3;  // of a pixel

std::atomic<int> g_objects = 0;

// Every operation ends so. A failure without a code would have no words.
HRESULT Answer(DWORD* error, DWORD code) {
    if (error)
        *error = code;
    return code == OSTREL_NO_ERROR ? S_OK : E_FAIL;
}

struct CPicture {
    DWORD width = 0;
    DWORD height = 0;
    std::string samples;  // red, green, blue

    bool Read(const std::string& path) {
        constexpr DWORD kMostSide = 0x8000;
        std::ifstream file(path, std::ios::binary);
        std::string kind;
        DWORD white = 0;
        file >> kind >> width >> height >> white;
        if (!file || kind != "P6" || white != 255 || width > kMostSide || height > kMostSide)
            return false;
        file.get();  // one blank
        samples.resize(kSamples * width * height);
        return static_cast<bool>(
            file.read(samples.data(), static_cast<std::streamsize>(samples.size())));
    }
    BYTE At(std::size_t x, std::size_t y, std::size_t sample) const {
        if (x >= width || y >= height)
            return 0xFF;
        return static_cast<BYTE>(samples[(y * width + x) * kSamples + sample]);
    }
};

// A plain flatbed for colour. What it doesn't say it has, gray and line art too, the driver makes
// of that. It needs no guard against threads: only ReadScan comes on another one, and EndScan waits
// for that; the buttons would be asked by another object.
class CPictureScanner final : public IOstrelDevice {
  public:
    CPictureScanner() { ++g_objects; }

    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (!object)
            return E_POINTER;
        *object = iid == IID_IUnknown || iid == IID_IOstrelDevice ? this : nullptr;
        if (!*object)
            return E_NOINTERFACE;  // and so has no feeder, no adapter, no buttons
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

    // The lock is one for all programs, by the port's name, and free when its holder is killed.
    HRESULT OpenDevice(LPCOLESTR name, WORD, DWORD* session, DWORD* error) override {
        return Run(error, [&]() -> DWORD {
            if (!name || !session || m_isOpen)
                return OSTREL_INVALID_PARAMETER;
            m_port = TextFromWide(name);
            if (!std::ifstream(m_port))
                return OSTREL_NOT_FOUND;
            m_lock = CHandle(CreateSemaphoreA(nullptr, 1, 1, ("picture:" + m_port).c_str()));
            m_isOpen = static_cast<bool>(m_lock);
            *session = kSession;
            return m_isOpen ? OSTREL_NO_ERROR : OSTREL_OPEN_FAILED;
        });
    }
    HRESULT CloseDevice(DWORD session, DWORD* error) override {
        if (!IsOpen(session))
            return Answer(error, OSTREL_INVALID_SESSION);
        if (m_levels > 0)
            ReleaseSemaphore(m_lock.Get(), 1, nullptr);
        m_levels = 0;
        m_isOpen = false;
        return Answer(error, OSTREL_NO_ERROR);
    }
    HRESULT LockScanner(DWORD session, WORD, DWORD milliseconds, DWORD* error) override {
        if (!IsOpen(session))
            return Answer(error, OSTREL_INVALID_SESSION);
        if (m_levels == 0 && WaitForSingleObject(m_lock.Get(), milliseconds) != WAIT_OBJECT_0)
            return Answer(error, OSTREL_LOCK_FAILED);
        ++m_levels;
        return Answer(error, OSTREL_NO_ERROR);
    }
    HRESULT UnlockScanner(DWORD session, DWORD* error) override {
        if (const DWORD code = Check(session); code != OSTREL_NO_ERROR)
            return Answer(error, code);
        if (--m_levels == 0)
            ReleaseSemaphore(m_lock.Get(), 1, nullptr);
        return Answer(error, OSTREL_NO_ERROR);
    }

    HRESULT IsLampOn(DWORD session, BOOL* on, DWORD* error) override {
        if (on)
            *on = TRUE;
        return Answer(error, on ? Check(session) : OSTREL_INVALID_PARAMETER);
    }
    HRESULT LampOn(DWORD session, DWORD* error) override { return Answer(error, Check(session)); }
    HRESULT CalibrateScanner(DWORD session, DWORD* error) override {
        return Answer(error, Check(session));
    }
    HRESULT FinishOpen(DWORD session, DWORD* error) override {
        return Answer(error, Check(session));
    }
    HRESULT Reserved1() override { return E_NOTIMPL; }
    HRESULT Reserved2() override { return E_NOTIMPL; }

    // Tables of 256 bytes; both sizes must be powers of two.
    HRESULT GetDeviceCapabilities(DWORD session, OstrelDeviceCaps* caps, DWORD* error) override {
        if (!caps)
            return Answer(error, OSTREL_INVALID_PARAMETER);
        *caps = {};
        std::strcpy(caps->model, "PICTURE");
        caps->opticalResolution = caps->maxXResolution = caps->maxYResolution = 600;
        caps->minResolution = 150;
        caps->bedWidth = kBedWidth;
        caps->bedHeight = kBedHeight;
        caps->colorDepths[0] = caps->grayDepths[0] = 8;
        caps->tonemapLength = kToneEntries;
        caps->tonemapMaxValue = kToneEntries - 1;
        caps->tonemapEntrySize = 1;
        return Answer(error, Check(session));
    }
    HRESULT SetTonemap(DWORD session, DWORD bytes, const void* red, const void* green,
                       const void* blue, DWORD* error) override {
        if (bytes != kToneEntries || !red || !green || !blue)
            return Answer(error, OSTREL_INVALID_PARAMETER);
        const void* const tables[] = {red, green, blue};
        for (std::size_t sample = 0; sample < kSamples; ++sample)
            std::memcpy(m_tones[sample].data(), tables[sample], bytes);
        return Answer(error, Check(session));
    }

    // Asked at every change of a setting, so it is quick. Exactly so much comes out of ReadScan.
    HRESULT GetScanSetup(DWORD session, const OstrelScanParams* params, OstrelScanSetup* setup,
                         DWORD* error) override {
        if (!params || !setup || !IsPossible(*params))
            return Answer(error, OSTREL_INVALID_PARAMETER);
        *setup = {};
        setup->pixelsPerLine = params->width * params->xResolution / kUnitsPerInch;
        setup->lines = params->height * params->yResolution / kUnitsPerInch;
        return Answer(error, Check(session));
    }
    HRESULT StartScan(DWORD session, const OstrelScanParams* params, DWORD* error) override {
        if (GetScanSetup(session, params, &m_setup, error) != S_OK)
            return E_FAIL;
        m_params = *params;
        m_line = 0;
        return Run(error,
                   [&] { return m_picture.Read(m_port) ? OSTREL_NO_ERROR : OSTREL_COMMUNICATION; });
    }
    HRESULT BeginRead(DWORD session, DWORD* status) override {
        return Answer(status, Check(session));
    }
    // Whole lines, at least one; behind the last one the medium's end, which is a success. What is
    // asked for is never less than a line.
    HRESULT ReadScan(DWORD session, void* buffer, DWORD bytesWanted, DWORD* bytesRead,
                     DWORD* status) override {
        if (!buffer || !bytesRead)
            return Answer(status, OSTREL_INVALID_PARAMETER);
        *bytesRead = 0;
        if (const DWORD code = Check(session); code != OSTREL_NO_ERROR)
            return Answer(status, code);
        auto* out = static_cast<BYTE*>(buffer);
        const DWORD lineBytes = m_setup.pixelsPerLine * kSamples;
        for (; m_line < m_setup.lines && *bytesRead + lineBytes <= bytesWanted; ++m_line) {
            WriteLine(out + *bytesRead);
            *bytesRead += lineBytes;
        }
        if (status)
            *status = *bytesRead > 0 ? OSTREL_NO_ERROR : OSTREL_END_OF_MEDIA;
        return S_OK;
    }
    HRESULT EndScan(DWORD session, DWORD* error) override {
        m_setup = {};
        return Answer(error, Check(session));
    }

  private:
    ~CPictureScanner() {
        if (m_isOpen)
            CloseDevice(kSession, nullptr);
        --g_objects;
    }

    // No exception leaves an operation.
    template <class Body>
    static HRESULT Run(DWORD* error, Body body) {
        DWORD code = OSTREL_OUT_OF_MEMORY;
        Contained([&] {
            code = body();
            return S_OK;
        });
        return Answer(error, code);
    }
    bool IsOpen(DWORD session) const { return m_isOpen && session == kSession; }
    DWORD Check(DWORD session) const {
        if (!IsOpen(session))
            return OSTREL_INVALID_SESSION;
        return m_levels > 0 ? OSTREL_NO_ERROR : OSTREL_NOT_LOCKED;
    }
    static bool IsPossible(const OstrelScanParams& params) {
        return params.colorMode == OSTREL_COLOR && params.bitsPerSample == 8 &&
               params.source == OSTREL_SOURCE_FLATBED && params.left <= kBedWidth &&
               params.width <= kBedWidth - params.left && params.top <= kBedHeight &&
               params.height <= kBedHeight - params.top && params.xResolution != 0 &&
               params.xResolution <= 600 && params.yResolution != 0 && params.yResolution <= 600;
    }
    // Light, red first, pixel by pixel, without padding; through the tone map.
    void WriteLine(BYTE* out) const {
        const DWORD y = m_params.top + m_line * kUnitsPerInch / m_params.yResolution;
        for (DWORD i = 0; i < m_setup.pixelsPerLine; ++i) {
            const DWORD x = m_params.left + i * kUnitsPerInch / m_params.xResolution;
            for (std::size_t sample = 0; sample < kSamples; ++sample)
                *out++ = m_tones[sample][m_picture.At(x, y, sample)];
        }
    }

    std::atomic<ULONG> m_references = 1;
    std::string m_port;
    bool m_isOpen = false;
    CHandle m_lock;
    DWORD m_levels = 0;  // of the lock
    std::array<std::array<BYTE, kToneEntries>, kSamples> m_tones = {};
    CPicture m_picture;
    OstrelScanParams m_params = {};
    OstrelScanSetup m_setup = {};
    DWORD m_line = 0;  // the next
};

// ---- The module

// Lives as long as the module, so its references aren't counted.
class CFactory final : public IClassFactory {
  public:
    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (!object)
            return E_POINTER;
        *object = iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr;
        return *object ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }
    HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        auto* scanner = outer ? nullptr : new (std::nothrow) CPictureScanner;
        if (!scanner)
            return outer ? CLASS_E_NOAGGREGATION : E_OUTOFMEMORY;
        const HRESULT hr = scanner->QueryInterface(iid, object);
        scanner->Release();
        return hr;
    }
    HRESULT LockServer(BOOL lock) override {
        g_objects += lock ? 1 : -1;
        return S_OK;
    }
};

CFactory g_factory;

}  // namespace

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    return clsid == kClass ? g_factory.QueryInterface(iid, object) : CLASS_E_CLASSNOTAVAILABLE;
}

EXPORT HRESULT DllCanUnloadNow() {
    return g_objects == 0 ? S_OK : S_FALSE;
}

EXPORT HRESULT DllRegisterServer() {
    return RegisterModuleClass(kClass, "Picture scanner", &g_factory);
}

EXPORT HRESULT DllUnregisterServer() {
    return UnregisterModuleClass(kClass);
}
