// A controller at a scanner in memory, with a clock that passes only when it is slept on.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "controller/flatbed_scan.h"
#include "tests/support/fake_toolkit.h"

constexpr HRESULT Result(unsigned number) {
    return MakeResult(0x80040000u + number);
}

inline constexpr ScanSource kFlatbed = {};
inline constexpr ScanSource kAdapter = {.useXPA = 1};
inline constexpr ScanSource kFeeder = {.useADF = 1};
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
    using CNVScan::m_qFactor;
    using CNVScan::m_scanParams;
    using CNVScan::m_source;
    using CNVScan::m_spADF3;
    using CNVScan::m_spXPAMedia;
    using CNVScan::m_thresholdTable;
    using CNVScan::m_tonemapData;
};

class CControllerTest : public testing::Test {
  protected:
    CControllerTest() {
        const std::string base = testing::TempDir() + "controller" + std::to_string(getpid());
        m_registry = base + ".reg";
        setenv("NVQ_REGISTRY", m_registry.c_str(), 1);
        setenv("NVQ_PROFILE_DIR", (base + "-none").c_str(), 1);
        setenv("XDG_DATA_HOME", (base + "-none").c_str(), 1);
        Renew();
    }
    // Whatever a test has done: nothing is held, and the toolkit has no complaint.
    ~CControllerTest() override {
        scan.reset();
        EXPECT_EQ(toolkit.Violations(), std::vector<std::string>());
        EXPECT_EQ(toolkit.Levels(), 0);
        EXPECT_EQ(toolkit.OpenSessions(), 0);
        EXPECT_EQ(toolkit.References(), 0);
        std::filesystem::remove(m_registry);
    }

    void Renew() { scan = std::make_unique<COpenScan>(&toolkit, clock); }
    HRESULT Open() { return scan->initDriver(u"port", 1); }

    // The caller's order up to the start. The window has 3 by 4 units at 1/100 inch.
    HRESULT Prepare(const ScanSource& source, LONG resolution = 100,
                    DataFormat format = {0, 8, 0}) {
        scan->buildTonemap(nullptr);
        HRESULT hr = scan->firstScanInit(&source);
        if (FAILED(hr))
            return hr;
        GeomControl geometry = {};
        hr = scan->getGeomControl(&geometry);
        if (FAILED(hr))
            return hr;
        geometry.xExtent = geometry.xExtent2 = 3 * resolution / 100;
        geometry.yExtent = geometry.yExtent2 = 4 * resolution / 100;
        geometry.xRes = geometry.yRes = resolution;
        bool overscanned = false;
        DWORD scale = 0;
        hr = scan->setGeomControl(&geometry, 0, &overscanned, &scale);
        if (SUCCEEDED(hr))
            hr = scan->resolveDataFormat(&format);
        if (SUCCEEDED(hr))
            hr = scan->secondScanInit(&pixels, &lines);
        return FAILED(hr) ? hr : scan->setScannerTonemap();
    }
    HRESULT Start(const ScanSource& source) {
        const HRESULT hr = Prepare(source);
        return FAILED(hr) ? hr : scan->finalScanInit();
    }
    struct Page {
        HRESULT result = S_OK;
        std::vector<BYTE> bytes;
    };
    // All that was promised, in portions that no line fits, up to one that comes short.
    Page Read(DWORD portion = 50) {
        Page page;
        WORD phase = 2;
        DWORD left = lines * toolkit.BytesPerLine();
        while (SUCCEEDED(page.result) && left > 0) {
            std::vector<BYTE> buffer(std::min(portion, left), 0xEE);
            const auto wanted = static_cast<DWORD>(buffer.size());
            DWORD got = wanted;
            page.result =
                scan->readScanData(phase, buffer.data(), wanted, &got, toolkit.BytesPerLine());
            page.bytes.insert(page.bytes.end(), buffer.begin(), buffer.begin() + got);
            left = got == wanted ? left - got : 0;
            phase = 0;
        }
        return page;
    }
    // What the fake delivers of the scan.
    std::vector<BYTE> Expected(DWORD wholeLines) const {
        std::vector<BYTE> bytes;
        for (DWORD line = 0; line < wholeLines; ++line) {
            for (DWORD i = 0; i < toolkit.BytesPerLine(); ++i)
                bytes.push_back(CFakeToolkit::Pixel(line, i));
        }
        return bytes;
    }
    // A whole page that comes out right; the result is endScan's.
    HRESULT ScanPage(const ScanSource& source) {
        EXPECT_EQ(Start(source), S_OK);
        const Page page = Read();
        EXPECT_EQ(page.result, S_OK);
        EXPECT_EQ(page.bytes, Expected(lines));
        EXPECT_FALSE(page.bytes.empty());
        return scan->endScan();
    }

    CFakeToolkit toolkit;
    CFakeClock clock;
    std::unique_ptr<COpenScan> scan;
    DWORD pixels = 0;
    DWORD lines = 0;

  private:
    std::string m_registry;
};
