#include <cstring>

#include "tests/controller/controller_rig.h"

namespace {

using Format = CControllerTest;
using Depths = std::vector<BYTE>;

constexpr ScanSource kDeep = {.highDepth = 1};
constexpr ScanSource kDeepXpa = {.useXPA = 1, .highDepth = 1};

TEST_F(Format, WantedIsFittedToWhatTheSourceGives) {
    const struct {
        const char* what;
        ScanSource source;
        Depths color, gray;  // the adapter's list is `color`
        DWORD depthFlags;
        WORD channelFlags;
        LONG resolution;
        DataFormat wanted, given;
    } cases[] = {
        {"none by threshold", kFromFlatbed, {8}, {8}, 6, 8, 300, {1, 1, 100}, {1, 8, 0}},
        {"no single channel", kFromFlatbed, {8}, {8}, 4, 31, 300, {2, 8, 0}, {0, 8, 0}},
        {"device gray", kFromFlatbed, {8}, {8}, 6, 24, 600, {1, 8, 0}, {5, 8, 0}},
        {"beyond, no NTSC", kFromFlatbed, {8}, {8}, 6, 16, 1200, {1, 8, 0}, {0, 8, 0}},
        {"lacking channel", kFromFlatbed, {8}, {8}, 6, 1, 300, {4, 8, 0}, {0, 8, 0}},
        {"unknown channel", kFromFlatbed, {8}, {8}, 6, 0, 300, {77, 8, 0}, {77, 8, 0}},
        {"shallow gray", kFromFlatbed, {8, 16}, {8}, 6, 2, 300, {3, 16, 0}, {0, 16, 0}},
        {"colour one bit", kFromFlatbed, {8}, {8}, 6, 0, 300, {0, 1, 0}, {0, 8, 0}},
        {"deeper in colour", kDeep, {8, 16}, {8, 12}, 6, 2, 300, {3, 8, 0}, {0, 16, 0}},
        {"feeder's lists", kFromFeeder, {12}, {10}, 6, 2, 300, {3, 8, 0}, {3, 10, 0}},
        {"deep adapter", kDeepXpa, {8, 16}, {}, 0, 0, 300, {1, 1, 50}, {0, 16, 0}},
        {"ends at a zero", kDeepXpa, {8, 0, 16}, {}, 0, 0, 300, {1, 8, 5}, {1, 8, 0}},
        {"full", kFromFlatbed, {1, 2, 3, 4, 6, 8, 12, 14}, {8}, 6, 2, 300, {0, 13}, {0, 14}},
    };
    const auto set = [](BYTE(&list)[kOstrelDepths], Depths depths) {
        depths.resize(kOstrelDepths);
        std::copy(depths.begin(), depths.end(), list);
    };
    Place(1, 1);
    for (const auto& c : cases) {
        // The lists of the other sources would give other answers.
        const bool own = !c.source.useXPA && !c.source.useADF;
        toolkit.Lie(GetDeviceCapabilities, [&](OstrelDeviceCaps& caps) {
            caps.depthFlags = c.depthFlags;
            caps.modeFlags = 0;
            caps.channelFlags = c.channelFlags;
            caps.deviceGrayLimit = 600;
            set(caps.colorDepths, own ? c.color : Depths{3});
            set(caps.grayDepths, own ? c.gray : Depths{3});
        });
        toolkit.Lie(GetADF2Capabilities, [&](OstrelAdf2Caps& caps) {
            set(caps.colorDepths, c.source.useADF ? c.color : Depths{5});
            set(caps.grayDepths, c.source.useADF ? c.gray : Depths{5});
        });
        toolkit.Lie(GetXPACapabilities, [&](OstrelXpaCaps& caps) {
            set(caps.depths, c.source.useXPA ? c.color : Depths{7});
        });
        ASSERT_EQ(Open(), S_OK);
        ASSERT_EQ(scan->firstScanInit(&c.source), S_OK);
        scan->m_geometry.scanXRes = scan->m_geometry.scanYRes = c.resolution;
        DataFormat format = c.wanted;
        EXPECT_EQ(scan->resolveDataFormat(&format), S_OK);
        EXPECT_EQ(std::tie(format.channel, format.bits, format.threshold),
                  std::tie(c.given.channel, c.given.bits, c.given.threshold))
            << c.what;
    }
}

TEST_F(Format, ScanParametersTellWhatTheSourceTakes) {
    Place(1, 1);
    toolkit.Lie(GetADF2Capabilities, [](OstrelAdf2Caps& caps) { caps.modeFlags = 0; });
    ASSERT_EQ(Open(), S_OK);
    const auto expect = [this](const ScanSource& source, DWORD flags, WORD from) {
        ASSERT_EQ(Prepare(source, {5, 1, 99}), S_OK);
        EXPECT_EQ(std::pair(scan->m_scanParams.scanFlags, scan->m_scanParams.source),
                  std::pair(flags, from));
    };
    expect({.preview = 1}, OSTREL_SCAN_PREVIEW | OSTREL_SCAN_TONEMAP_THRESHOLD, 0);
    expect({.preview = 1, .useADF = 1}, OSTREL_SCAN_TONEMAP_THRESHOLD, 1);
    expect({.useXPA = 1, .negative = 1, .highDepth = 1}, 0, 3);
}

TEST_F(Format, CompressionFollowsTypeTableAndLimits) {
    const struct {
        const char* what;
        DWORD types, type;
        WORD maxResolution;
        DataFormat format;
        LONG resolution;
        DWORD grayFlags;
        const char* calls;  // the quality factor, and the type
    } cases[] = {
        {"other type", 6, 2, 0, {0, 8, 0}, 300, 0, "2 "},
        {"JPEG only", 4, 4, 0, {0, 8, 0}, 600, 0, "10 4 "},
        {"gray above the maximum", 5, 4, 0, {1, 8, 0}, 300, 0, "90 4 "},
        {"refused", 5, 4, 0, {1, 8, 0}, 300, OSTREL_NO_JPEG, "1 "},
        {"too fine", 5, 4, 200, {0, 8, 0}, 300, 0, "40 1 "},
        {"first row, fine enough", 5, 4, 300, {0, 8, 0}, 300, 0, "40 4 "},
    };
    WriteWholeFile(device.Path() + "/own",
                   "JPEG_QFACTOR_24\n2\n300 1 40\n1200 0 50\nJPEG_QFACTOR_8\n1\n4800 1 200\n");
    SetIni("[profile]\nfile=own\n");
    for (const EOperation operation : {SetCompressionValue, SetCompressionType, EnableCompression})
        toolkit.Answer(operation);
    for (const auto& c : cases) {
        toolkit.Lie(GetCompressionCapabilities, [&](OstrelCompressionCaps& caps) {
            caps = {c.types, c.type, 0, 10, 90, 0, c.maxResolution, 0, 0, c.grayFlags, 0, {}};
        });
        ASSERT_EQ(Open(), S_OK);
        ASSERT_EQ(Prepare(kFromFlatbed, c.format, c.resolution), S_OK);
        toolkit.ForgetCalls();
        ASSERT_EQ(scan->finalScanInit(), S_OK);
        std::string calls;
        for (const DWORD sent : std::exchange(toolkit.compression, {}))
            calls += std::to_string(sent) + ' ';
        EXPECT_EQ(calls, c.calls) << c.what;
        EXPECT_EQ(toolkit.Count(EnableCompression), calls.ends_with("1 ") ? 0 : 1) << c.what;
        EXPECT_EQ(scan->endScan(), S_OK);
    }
}

// ---- Tone map

class Tonemap : public CControllerTest {
  protected:
    Tonemap() { toolkit.Answer(SetTonemap); }
    void OpenWith(DWORD length, DWORD maximum, DWORD entryBytes) {
        toolkit.Lie(GetDeviceCapabilities, [=](OstrelDeviceCaps& caps) {
            caps.tonemapLength = length;
            caps.tonemapMaxValue = maximum;
            caps.tonemapEntrySize = static_cast<WORD>(entryBytes);
        });
        ASSERT_EQ(Open(), S_OK);
        toolkit.ForgetCalls();
    }
};

TEST_F(Tonemap, CurveIsResampledToTheDevicesTable) {
    // Entry i is i x step / every.
    const DWORD cases[][5] = {
        {1024, 65535, 2, 64, 1}, {256, 255, 1, 1, 1}, {65536, 255, 2, 1, 256}};
    for (const auto& [length, maximum, bytes, step, every] : cases) {
        OpenWith(length, maximum, bytes);
        ASSERT_EQ(scan->setScannerTonemap(), S_OK);
        for (const auto& table : toolkit.tonemap) {
            ASSERT_EQ(table.size(), length * bytes);
            for (DWORD i = 0; i < length; ++i) {
                WORD entry = 0;
                std::memcpy(&entry, &table[i * bytes], bytes);
                ASSERT_EQ(entry, i * step / every) << length << ' ' << i;
            }
        }
    }
    const DWORD sizesThatAreNone[][3] = {{1000, 255, 1}, {0, 255, 1},   {131072, 255, 1},
                                         {256, 200, 1},  {256, 255, 3}, {256, 1023, 1}};
    for (const auto& [length, maximum, bytes] : sizesThatAreNone) {
        OpenWith(length, maximum, bytes);
        EXPECT_EQ(scan->setScannerTonemap(), E_OUTOFMEMORY) << length << ' ' << maximum;
        EXPECT_EQ(scan->downloadTonemap(255, "", "", ""), E_INVALIDARG);
        EXPECT_TRUE(toolkit.Calls().empty());
    }
}

TEST_F(Tonemap, HasTheGammaCurveForHighDepthAndAThresholdForLineArt) {
    OpenWith(256, 255, 1);
    for (int i = 0; i < 2; ++i)  // the curve is built ahead of the source
        ASSERT_EQ(Prepare(kDeep, {0, 16, 0}), S_OK);
    // 255 * (128 / 255) ^ (1 / 2.2) is 186.4; from black the slope is held at 4.
    EXPECT_NEAR(toolkit.tonemap[1][128], 186, 1);
    EXPECT_NEAR(toolkit.tonemap[1][2], 8, 1);
    scan->m_thresholdTable.bytes[0] = 100;
    ASSERT_EQ(Prepare(kFromFlatbed, {1, 1, 0}), S_OK);
    ASSERT_EQ(Prepare(kFromFlatbed), S_OK);
    EXPECT_EQ(toolkit.tonemap[2][99], 0);
    EXPECT_EQ(toolkit.tonemap[2][100], 255);
}

}  // namespace
