// A controller at a simulated scanner that lies where it is told to, with a clock that passes only
// when it is slept on.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>

#include "controller/flatbed_scan.h"
#include "tests/support/lying_toolkit.h"

using enum EOperation;

constexpr HRESULT Result(unsigned number) {
    return MakeResult(0x80040000u + number);
}

inline constexpr ScanSource kFromFlatbed = {};
inline constexpr ScanSource kFromAdapter = {.useXPA = 1};
inline constexpr ScanSource kFromFeeder = {.useADF = 1};
inline constexpr ScanSource kDuplex = {.useADF = 1, .duplex = 1};

class CFakeClock final : public ScanClock {
  public:
    ULONGLONG Milliseconds() override { return now; }
    void Sleep(DWORD milliseconds) override {
        EXPECT_EQ(milliseconds, 1000u);
        now += milliseconds * steps;
        ++sleeps;
    }
    ULONGLONG now = 0;
    DWORD steps = 1;
    int sleeps = 0;
};

// What tests look at or set that has no operation of its own.
class COpenScan final : public CNVFlatbedScan {
  public:
    using CNVFlatbedScan::CNVFlatbedScan;
    using CNVScan::m_bADFJobOpen;
    using CNVScan::m_dwErrorCode;
    using CNVScan::m_geometry;
    using CNVScan::m_lampSource;
    using CNVScan::m_pageLength;
    using CNVScan::m_scanParams;
    using CNVScan::m_source;
    using CNVScan::m_thresholdTable;
};

// A scanner with every facet. On its glass, in its feeder (both sides) and in its adapter lies the
// same small picture, and no lamp needs time.
class CControllerTest : public testing::Test {
  protected:
    CControllerTest() {
        setenv("NVQ_PROFILE_DIR", (TestFolder() + "/none").c_str(), 1);
        setenv("XDG_DATA_HOME", (TestFolder() + "/none").c_str(), 1);
        ForgetRegistry();
        SetIni({});
        device.SetClock(1000);
        Place(1, 0);
        std::mt19937 random(7);
        page.resize(static_cast<std::size_t>(windowWidth * windowHeight) * 3);
        std::generate(page.begin(), page.end(), [&] { return static_cast<BYTE>(random()); });
        WritePicture(device.Path() + "/page.bmp", windowWidth, windowHeight, 300, page);
        Renew();
    }
    // Whatever a test has done: nothing is held, and the device has no complaint.
    ~CControllerTest() override {
        scan.reset();
        EXPECT_EQ(toolkit.Violations(), "");
        EXPECT_EQ(toolkit.Levels() + toolkit.OpenSessions() + toolkit.References(), 0);
    }

    void SetIni(const std::string& more) {
        device.SetIni(
            "[simulator]\nmodel=SIM500D\n[device]\nlampWarmUpFlatbed=0\nchannelFlags=0x1F\n"
            "[xpa]\nlampWarmUpXPA=0\n[flatbed]\npicture=page.bmp\n[slide]\npicture=page.bmp\n"
            "[feeder]\npage1=page.bmp\npage1.back=page.bmp\n" +
            more);
    }
    // A device that nobody has used yet, with this lamp burning (0 none, 1 flatbed, 2 adapter).
    void Place(int lamp, int sheets) {
        WriteWholeFile(device.Path() + "/state",
                       "lampLit=1000\nlampTouched=1000\nnvramScanCount=1000\nlamp=" +
                           std::to_string(lamp) + "\nsheetsInTray=" + std::to_string(sheets));
    }
    void Renew() { scan = std::make_unique<COpenScan>(&toolkit, clock); }
    HRESULT Open() { return scan->initDriver(device.Port().c_str(), 1); }

    // The caller's order up to the start, for a window of so many pixels at 300 dots per inch.
    HRESULT Prepare(const ScanSource& source, DataFormat format = {0, 8, 0},
                    LONG resolution = 300) {
        scan->buildTonemap(nullptr);
        HRESULT hr = scan->firstScanInit(&source);
        GeomControl geometry = {};
        if (FAILED(hr) || FAILED(hr = scan->getGeomControl(&geometry)))
            return hr;
        geometry.xExtent = geometry.xExtent2 = windowWidth * resolution / 300;
        geometry.yExtent = geometry.yExtent2 = windowHeight * resolution / 300;
        geometry.xRes = geometry.yRes = resolution;
        bool overscanned = false;
        DWORD scale = 0;
        if (FAILED(hr = scan->setGeomControl(&geometry, 0, &overscanned, &scale)) ||
            FAILED(hr = scan->resolveDataFormat(&format)) ||
            FAILED(hr = scan->secondScanInit(&pixels, &lines)))
            return hr;
        return scan->setScannerTonemap();
    }
    HRESULT Start(const ScanSource& source) {
        const HRESULT hr = Prepare(source);
        return FAILED(hr) ? hr : scan->finalScanInit();
    }
    // All that was promised, in portions that no line fits, up to one that comes short.
    HRESULT Read(Bytes& bytes) {
        WORD phase = kScanReadOpen;
        HRESULT hr = S_OK;
        for (DWORD left = lines * pixels * 3; left > 0 && SUCCEEDED(hr); phase = 0) {
            const std::size_t begin = bytes.size();
            const DWORD wanted = std::min<DWORD>(50, left);
            DWORD got = wanted;
            bytes.resize(begin + wanted, 0xEE);
            hr = scan->readScanData(phase, &bytes[begin], wanted, &got, pixels * 3);
            bytes.resize(begin + got);
            left = got == wanted ? left - got : 0;
        }
        return hr;
    }
    // A whole page that comes out right; the result is endScan's.
    HRESULT ScanPage(const ScanSource& source) {
        Bytes bytes;
        EXPECT_EQ(Start(source), S_OK);
        EXPECT_EQ(Read(bytes), S_OK);
        EXPECT_EQ(bytes, page);
        return scan->endScan();
    }

    CDeviceRig device;
    CLyingToolkit toolkit{device};
    CFakeClock clock;
    std::unique_ptr<COpenScan> scan;
    Bytes page;  // the picture
    const LONG windowWidth = 12;
    const LONG windowHeight = 16;
    DWORD pixels = 0;  // of the scan, as the device told
    DWORD lines = 0;
};
