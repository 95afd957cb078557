#include <cstring>

#include "tests/controller/controller_rig.h"

namespace {

using Format = CControllerTest;
using Depths = std::vector<int>;

void SetDepths(BYTE (&list)[kOstrelDepths], const Depths& depths) {
    std::fill(std::begin(list), std::end(list), BYTE{0});
    std::transform(depths.begin(), depths.end(), list, [](int d) { return static_cast<BYTE>(d); });
}

constexpr ScanSource kDeep = {.highDepth = 1};
constexpr ScanSource kDeepXpa = {.useXPA = 1, .highDepth = 1};

TEST_F(Format, WantedIsFittedToWhatTheSourceGives) {
    const struct {
        const char* what;
        ScanSource source;
        Depths color, gray;  // the adapter's list is `color`
        DWORD depthFlags, modeFlags;
        WORD channelFlags, grayLimit;
        LONG resolution;
        DataFormat wanted, given;
    } cases[] = {
        {"colour", kFromFlatbed, {8}, {8}, 6, 8, 31, 0, 300, {0, 8, 9}, {0, 8, 0}},
        {"between", kFromFlatbed, {8, 12, 16}, {8}, 6, 0, 0, 0, 300, {0, 10, 0}, {0, 12, 0}},
        {"above all", kFromFlatbed, {8, 16}, {8}, 6, 0, 0, 0, 300, {0, 24, 0}, {0, 16, 0}},
        {"deepest", kDeep, {8, 16}, {8}, 6, 0, 0, 0, 300, {0, 8, 0}, {0, 16, 0}},
        {"one bit", kFromFlatbed, {8}, {8}, 6, 8, 8, 0, 300, {1, 1, 100}, {1, 1, 100}},
        {"no one bit", kFromFlatbed, {8}, {8}, 2, 8, 8, 0, 300, {1, 1, 0}, {1, 8, 0}},
        {"none by threshold", kFromFlatbed, {8}, {8}, 6, 0, 8, 0, 300, {1, 1, 100}, {1, 8, 0}},
        {"no single channel", kFromFlatbed, {8}, {8}, 4, 0, 31, 0, 300, {2, 8, 0}, {0, 8, 0}},
        {"device gray", kFromFlatbed, {8}, {8}, 6, 0, 16, 0, 4800, {1, 8, 0}, {5, 8, 0}},
        {"up to its limit", kFromFlatbed, {8}, {8}, 6, 0, 24, 600, 600, {1, 8, 0}, {5, 8, 0}},
        {"beyond it", kFromFlatbed, {8}, {8}, 6, 0, 24, 600, 1200, {1, 8, 0}, {1, 8, 0}},
        {"beyond, no NTSC", kFromFlatbed, {8}, {8}, 6, 0, 16, 600, 1200, {1, 8, 0}, {0, 8, 0}},
        {"no device gray", kFromFlatbed, {8}, {8}, 6, 0, 8, 600, 300, {1, 8, 0}, {1, 8, 0}},
        {"lacking channel", kFromFlatbed, {8}, {8}, 6, 0, 1, 0, 300, {4, 8, 0}, {0, 8, 0}},
        {"unknown channel", kFromFlatbed, {8}, {8}, 6, 0, 0, 0, 300, {77, 8, 0}, {77, 8, 0}},
        {"shallow gray", kFromFlatbed, {8, 16}, {8}, 6, 0, 2, 0, 300, {3, 16, 0}, {0, 16, 0}},
        {"both shallow", kFromFlatbed, {8}, {8}, 6, 0, 2, 0, 300, {3, 16, 0}, {3, 8, 0}},
        {"colour one bit", kFromFlatbed, {8}, {8}, 6, 0, 0, 0, 300, {0, 1, 0}, {0, 8, 0}},
        {"deep gray", kDeep, {8, 16}, {8, 16}, 6, 0, 2, 0, 300, {3, 8, 0}, {3, 16, 0}},
        {"deeper in colour", kDeep, {8, 16}, {8, 12}, 6, 0, 2, 0, 300, {3, 8, 0}, {0, 16, 0}},
        {"feeder's lists", kFromFeeder, {12}, {10}, 6, 0, 2, 0, 300, {3, 8, 0}, {3, 10, 0}},
        {"deep adapter", kDeepXpa, {8, 16}, {}, 0, 0, 0, 0, 300, {1, 1, 50}, {0, 16, 0}},
        {"ends at a zero", kDeepXpa, {8, 0, 16}, {}, 0, 0, 0, 0, 300, {1, 8, 5}, {1, 8, 0}},
        {"adapter's own", kFromAdapter, {12, 16}, {}, 6, 0, 0, 0, 300, {0, 8, 0}, {0, 12, 0}},
        {"no depths", kFromFlatbed, {}, {}, 6, 0, 2, 0, 300, {3, 8, 0}, {3, 0, 0}},
        {"full", kFromFlatbed, {1, 2, 3, 4, 6, 8, 12, 14}, {8}, 6, 0, 2, 0, 300, {0, 13}, {0, 14}},
    };
    Place(1, 1);
    for (const auto& c : cases) {
        // The lists of the other sources would give other answers.
        const bool own = !c.source.useXPA && !c.source.useADF;
        LieAboutDevice([&](OstrelDeviceCaps& caps) {
            caps.depthFlags = c.depthFlags;
            caps.modeFlags = c.modeFlags;
            caps.channelFlags = c.channelFlags;
            caps.deviceGrayLimit = c.grayLimit;
            SetDepths(caps.colorDepths, own ? c.color : Depths{3});
            SetDepths(caps.grayDepths, own ? c.gray : Depths{3});
        });
        LieAboutFeeder([&](OstrelAdf2Caps& caps) {
            SetDepths(caps.colorDepths, c.source.useADF ? c.color : Depths{5});
            SetDepths(caps.grayDepths, c.source.useADF ? c.gray : Depths{5});
        });
        LieAboutAdapter([&](OstrelXpaCaps& caps) {
            SetDepths(caps.depths, c.source.useXPA ? c.color : Depths{7});
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

TEST_F(Format, ScanParametersCarryIt) {
    const struct {
        ScanSource source;
        DataFormat format;
        DWORD colorMode, flags;
        WORD mask, from;
    } cases[] = {
        {kFromFlatbed, {1, 8, 0}, OSTREL_ONE_CHANNEL, 0, 16, 0},
        {kFromFlatbed, {4, 1, 0}, OSTREL_ONE_BIT, 0, 4, 0},
        {kFromFlatbed, {5, 1, 99}, OSTREL_ONE_BIT, OSTREL_SCAN_TONEMAP_THRESHOLD, 16, 0},
        {{.useXPA = 1, .negative = 1}, {0, 8, 0}, OSTREL_COLOR, 0, 0, 3},
        {{.preview = 1}, {0, 8, 0}, OSTREL_COLOR, OSTREL_SCAN_PREVIEW, 0, 0},
        {{.preview = 1, .useADF = 1}, {0, 8, 0}, OSTREL_COLOR, 0, 0, 1},
    };
    Place(1, 1);
    LieAboutFeeder([](OstrelAdf2Caps& caps) { caps.modeFlags = 0; });
    ASSERT_EQ(Open(), S_OK);
    for (const auto& c : cases) {
        ASSERT_EQ(Prepare(c.source, c.format, 200), S_OK);
        const OstrelScanParams& params = scan->m_scanParams;
        EXPECT_EQ(std::tie(params.colorMode, params.scanFlags, params.channelMask, params.source),
                  std::tie(c.colorMode, c.flags, c.mask, c.from))
            << &c - cases;
        EXPECT_EQ(params.width, 12u) << "8 pixels at 200";
    }
}

TEST_F(Format, CompressionFollowsTypeTableAndLimits) {
    const struct {
        const char* what;
        DWORD types, type;
        WORD maxResolution;
        DataFormat format;
        LONG resolution;
        BYTE preview;
        DWORD grayFlags;
        const char* calls;  // the quality factor, the type, and whether it is enabled
    } cases[] = {
        {"plain", 5, 1, 0, {0, 8, 0}, 300, 0, 0, "T1 "},
        {"other type", 6, 2, 0, {0, 8, 0}, 300, 0, 0, "T2 E1 "},
        {"row that forbids", 5, 4, 0, {0, 8, 0}, 600, 0, 0, "T1 "},
        {"JPEG only", 4, 4, 0, {0, 8, 0}, 600, 0, 0, "V10 T4 E1 "},
        {"gray above the maximum", 5, 4, 0, {1, 8, 0}, 300, 0, 0, "V90 T4 E1 "},
        {"preview", 5, 4, 0, {0, 8, 0}, 600, 1, 0, "V10 T4 E1 "},
        {"refused", 5, 4, 0, {1, 8, 0}, 300, 0, OSTREL_NO_JPEG, "T1 "},
        {"no table", 5, 4, 0, {0, 16, 0}, 300, 0, 0, "T1 "},
        {"too fine", 5, 4, 200, {0, 8, 0}, 300, 0, 0, "V40 T1 "},
        {"first row, fine enough", 5, 4, 300, {0, 8, 0}, 300, 0, 0, "V40 T4 E1 "},
    };
    WriteWholeFile(device.Path() + "/own",
                   "JPEG_QFACTOR_24\n2\n300 1 40\n1200 0 50\nJPEG_QFACTOR_8\n1\n4800 1 200\n");
    SetIni("[profile]\nfile=own\n");
    const std::pair<EOperation, char> marks[] = {
        {SetCompressionValue, 'V'}, {SetCompressionType, 'T'}, {EnableCompression, 'E'}};
    for (const auto& [operation, mark] : marks)
        toolkit.Answer(operation);
    for (const auto& c : cases) {
        toolkit.Lie<OstrelCompressionCaps>(GetCompressionCapabilities, [&](auto& caps) {
            caps = {c.types, c.type, 0, 10, 90, 0, c.maxResolution, 0, 0, c.grayFlags, 0, {}};
        });
        ASSERT_EQ(Open(), S_OK);
        ASSERT_EQ(Prepare({.preview = c.preview}, c.format, c.resolution), S_OK);
        toolkit.ForgetCalls();
        ASSERT_EQ(scan->finalScanInit(), S_OK);
        std::string calls;
        for (const auto& call : toolkit.Calls()) {
            for (const auto& [operation, mark] : marks)
                calls += call.operation == operation ? mark + std::to_string(call.value) + ' ' : "";
        }
        EXPECT_EQ(calls, c.calls) << c.what;
        EXPECT_EQ(scan->endScan(), S_OK);
    }
    EXPECT_EQ(scan->setCompressionType(8), E_INVALIDARG);
    scan->m_qFactor = 33;
    scan->m_geometry.scanYRes = 9600;
    EXPECT_EQ(scan->prepareCompression(), S_OK);
    EXPECT_EQ(scan->m_qFactor, 33u) << "no row reaches so far: as it was";
}

// ---- Tone map

class Tonemap : public CControllerTest {
  protected:
    Tonemap() { toolkit.Answer(SetTonemap); }
    void OpenWith(DWORD length, DWORD maximum, DWORD entryBytes) {
        LieAboutDevice([=](OstrelDeviceCaps& caps) {
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
    const DWORD cases[][5] = {{1024, 65535, 2, 64, 1},
                              {256, 255, 1, 1, 1},
                              {4096, 4095, 2, 1, 1},
                              {65536, 255, 2, 1, 256}};
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
    const DWORD sizesThatAreNone[][3] = {{1000, 255, 1},   {0, 255, 1},         {131072, 255, 1},
                                         {256, 200, 1},    {256, 0, 1},         {256, 255, 3},
                                         {256, 131071, 2}, {256, 0xFFFFFFFF, 2}};
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
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(Prepare(kDeepXpa), S_OK);
    EXPECT_EQ(toolkit.tonemap[1][99], 99) << "the adapter has neither";
    ASSERT_EQ(Prepare(kFromFlatbed, {1, 1, 0}), S_OK);
    ASSERT_EQ(Prepare(kFromFlatbed), S_OK);
    EXPECT_EQ(toolkit.tonemap[2][99], 0);
    EXPECT_EQ(toolkit.tonemap[2][100], 255);
    DWORD value = 0;
    EXPECT_EQ(scan->getThresholdValue(&value), S_OK);
    EXPECT_EQ(value, 100u);
}

}  // namespace
