// A toolkit module in one file, to begin one's own with. Its scanner is a picture: the port is a
// file, binary PPM (P6) of 8 bits, whose pixels are the light that the scanner measures at 300 dpi;
// around it all is white.
//
//     nvqscan install --name Picture --toolkit ./picture_scanner.so --port /some/where/page.ppm
//     nvqscan scan Picture -o scan.png
#include <array>
#include <cstring>
#include <fstream>
#include <string>

#include "controller/toolkit.h"
#include "platform/contained.h"
#include "platform/counted.h"
#include "platform/device_lock.h"
#include "platform/module_class.h"
#include "platform/text.h"

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
// of that; a feeder or buttons would be a further face. It needs no guard against threads: only
// ReadScan comes on another one, and EndScan waits for that.
class CPictureScanner : public CCounted<Face<IOstrelDevice, IID_IOstrelDevice>> {
  public:
    // ---- Session and lock. The lock's name is the same in all programs that use the device.

    HRESULT OpenDevice(LPCOLESTR name, WORD, DWORD* session, DWORD* error) override {
        if (!name || !session || m_lock.IsOpen())
            return Answer(error, OSTREL_INVALID_PARAMETER);
        *session = kSession;
        return Run(error, [&] {
            m_port = TextFromWide(name);
            if (!std::ifstream(m_port))
                return OSTREL_NOT_FOUND;
            return m_lock.Open("picture:" + m_port) ? OSTREL_NO_ERROR : OSTREL_OPEN_FAILED;
        });
    }
    HRESULT CloseDevice(DWORD session, DWORD* error) override {
        if (!IsOpen(session))
            return Answer(error, OSTREL_INVALID_SESSION);
        m_lock.Close();
        return Answer(error, OSTREL_NO_ERROR);
    }
    HRESULT LockScanner(DWORD session, WORD, DWORD milliseconds, DWORD* error) override {
        if (!IsOpen(session))
            return Answer(error, OSTREL_INVALID_SESSION);
        return Answer(error, m_lock.Take(milliseconds) ? OSTREL_NO_ERROR : OSTREL_LOCK_FAILED);
    }
    HRESULT UnlockScanner(DWORD session, DWORD* error) override {
        const DWORD code = Check(session);
        if (code == OSTREL_NO_ERROR)
            m_lock.GiveBack();
        return Answer(error, code);
    }

    // ---- What a picture lacks: a lamp that can be off, calibration, steps at the opening's end

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

    // ---- What the device is like. The model names a profile; tables of tones have 256 bytes.

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

    // ---- A page. The first two are called at every change of a setting, the rest for the scan.

    // Exactly so much must come out of ReadScan: lines, and pixels in each.
    HRESULT GetScanSetup(DWORD session, const OstrelScanParams* params, OstrelScanSetup* setup,
                         DWORD* error) override {
        if (!params || !setup || !IsPossible(*params))
            return Answer(error, OSTREL_INVALID_PARAMETER);
        *setup = {};
        setup->pixelsPerLine = params->width * params->xResolution / kUnitsPerInch;
        setup->lines = params->height * params->yResolution / kUnitsPerInch;
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
    HRESULT StartScan(DWORD session, const OstrelScanParams* params, DWORD* error) override {
        OstrelScanSetup setup;
        if (GetScanSetup(session, params, &setup, error) != S_OK)
            return E_FAIL;
        return Run(error, [&] {
            if (!m_picture.Read(m_port))
                return OSTREL_COMMUNICATION;
            m_params = *params;
            m_setup = setup;
            m_line = 0;
            return OSTREL_NO_ERROR;
        });
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
    bool IsOpen(DWORD session) const { return m_lock.IsOpen() && session == kSession; }
    DWORD Check(DWORD session) const {
        if (!IsOpen(session))
            return OSTREL_INVALID_SESSION;
        return m_lock.IsHeld() ? OSTREL_NO_ERROR : OSTREL_NOT_LOCKED;
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

    std::string m_port;
    CDeviceLock m_lock;  // there while the device is open
    std::array<std::array<BYTE, kToneEntries>, kSamples> m_tones = {};
    CPicture m_picture;
    OstrelScanParams m_params = {};
    OstrelScanSetup m_setup = {};
    DWORD m_line = 0;  // the next
};

CModuleClass<CPictureScanner> g_class(kClass, "Picture scanner");

}  // namespace

NVQ_MODULE_ENTRIES(g_class)
