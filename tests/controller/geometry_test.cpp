#include <climits>

#include "tests/controller/controller_rig.h"

namespace {

// A device whose resolutions come from its table.
class CTableScan final : public CNVScan {
  public:
    using CNVScan::CNVScan;
    using CNVScan::m_pageLength;
    HRESULT getDefaultResolution(bool, bool, DWORD*) override { return E_NOTIMPL; }
    HRESULT createScanAttrib(const char*, DWORD) override {
        m_pAttrib = std::make_unique<CScanAttrib>(CScannerProfile(""));
        return S_OK;
    }
};

class Geometry : public CControllerTest {
  protected:
    static GeomControl Request(LONG xRes, LONG yRes) {
        GeomControl geometry = {};
        geometry.xRes = xRes;
        geometry.yRes = yRes;
        geometry.xExtent = geometry.yExtent = 10;
        geometry.maxWidth = 2550;
        geometry.maxHeight = 3300;
        geometry.minResolution = 75;
        geometry.maxResolution = 4800;
        return geometry;
    }
    struct Answer {
        HRESULT result;
        bool overscanned;
        DWORD scale;
    };
    static Answer Set(CNVScan& controller, GeomControl& geometry, BYTE oversample = 0) {
        Answer answer = {0, true, 77};
        answer.result =
            controller.setGeomControl(&geometry, oversample, &answer.overscanned, &answer.scale);
        return answer;
    }
};

TEST_F(Geometry, DeviceScansAtAStepOfTheLadder) {
    const struct {
        LONG xRes, yRes, maxResolution;
        WORD maxYOfDevice;
        BYTE oversample;
        LONG scanXRes, scanYRes;
        DWORD scale;
        bool overscanned;
    } cases[] = {
        {200, 200, 4800, 4800, 0, 300, 300, 0, false},
        {1, 1, 4800, 4800, 0, 150, 150, 0, false},
        {151, 600, 4800, 4800, 0, 300, 300, 0, false},
        {1200, 300, 4800, 4800, 0, 1200, 1200, 0, false},
        {2400, 2400, 4800, 4800, 0, 2400, 2400, 1, false},
        {2401, 2401, 4800, 4800, 0, 4800, 4800, 2, false},
        {4800, 9600, 4800, 9600, 0, 4800, 9600, 2, false},
        {4800, 4800, 4800, 9600, 0, 4800, 4800, 2, false},
        {300, 4801, 4800, 9600, 0, 300, 9600, 0, false},
        {4800, 9600, 4800, 4800, 0, 4800, 4800, 2, false},
        {2401, 2401, 2400, 4800, 0, 2400, 2400, 1, false},
        // The source ends between two steps, or below the first.
        {2401, 2401, 3000, 4800, 0, 2400, 2400, 1, false},
        {1000, 1000, 1000, 4800, 0, 600, 600, 0, false},
        {100, 100, 100, 4800, 0, 150, 150, 0, false},
        {600, 600, 0, 4800, 0, 150, 150, 0, false},
        // 1.4 times as fine: 420, 630, 700 held at 600.
        {300, 300, 4800, 4800, 1, 600, 600, 0, true},
        {450, 450, 4800, 4800, 1, 1200, 1200, 0, true},
        {500, 500, 600, 4800, 1, 600, 600, 0, false},
        {INT_MAX, INT_MAX, INT_MAX, 4800, 1, 4800, 4800, 2, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.xRes << ' ' << c.yRes << ' ' << c.maxResolution);
        toolkit.Lie<OstrelDeviceCaps>(GetDeviceCapabilities,
                                      [&](auto& caps) { caps.maxYResolution = c.maxYOfDevice; });
        ASSERT_EQ(Open(), S_OK);
        GeomControl geometry = Request(c.xRes, c.yRes);
        geometry.maxResolution = c.maxResolution;
        const Answer answer = Set(*scan, geometry, c.oversample);
        EXPECT_EQ(answer.result, S_OK);
        EXPECT_EQ(geometry.scanXRes, c.scanXRes);
        EXPECT_EQ(geometry.scanYRes, c.scanYRes);
        EXPECT_EQ(answer.scale, c.scale);
        EXPECT_EQ(answer.overscanned, c.overscanned);
    }
}

TEST_F(Geometry, WindowIsTruncatedToUnitsAndCutToTheSource) {
    ASSERT_EQ(Open(), S_OK);
    const struct {
        LONG pos, extent, resolution, limit;
        LONG start, length;
    } cases[] = {
        {0, 2550, 300, 2550, 0, 2550},
        {0, 2551, 300, 2550, 0, 2550},
        {100, 2550, 300, 2550, 100, 2450},
        {3, 10, 200, 2550, 4, 15},       // 900.5 / 200, 3000.5 / 200
        {2, 1, 600, 2550, 1, 0},         // 600.5 / 600, 300.5 / 600
        {2, 5, 601, 2550, 0, 2},         // 600.5 / 601, 1500.5 / 601
        {3000, 10, 300, 2550, 3000, 0},  // beyond the limit
        {2550, 10, 300, 2550, 2550, 0},
        {-100, 50, 300, 2550, -99, 50},
        {0, -5, 300, 2550, 0, 0},
        {10, 10, 300, 0, 10, 0},
        {INT_MAX, INT_MAX, 1, 2550, INT_MAX, 0},
        {INT_MIN, INT_MAX, 1, INT_MAX, INT_MIN, INT_MAX},
    };
    ASSERT_EQ(scan->firstScanInit(&kFromFlatbed), S_OK);
    for (const auto& c : cases) {
        GeomControl geometry = Request(c.resolution, c.resolution);
        geometry.xPos = geometry.yPos = c.pos;
        geometry.xExtent = geometry.yExtent = c.extent;
        geometry.maxWidth = geometry.maxHeight = c.limit;
        EXPECT_EQ(Set(*scan, geometry).result, S_OK);
        EXPECT_EQ(geometry.left, c.start) << c.pos;
        EXPECT_EQ(geometry.top, c.start) << c.pos;
        EXPECT_EQ(geometry.width, c.length) << c.pos;
        EXPECT_EQ(geometry.height, c.length) << c.pos;
        EXPECT_EQ(scan->fillScanParameters(), S_OK);
        EXPECT_EQ(scan->m_scanParams.left, static_cast<DWORD>(std::max(c.start, 0)));
    }
}

TEST_F(Geometry, CountsStayWithinOneAndHoldSixteenBits) {
    ASSERT_EQ(Open(), S_OK);
    // 2550 units at 300 are 2550 pixels, at 4800 they are 40800: 40800 - 65536 in 16 bits. 11 units
    // at 150 are 5.5.
    const struct {
        LONG units, resolution, before, after;
    } cases[] = {{2550, 300, 0, 2550},
                 {2550, 300, 2549, 2549},
                 {2550, 300, 2548, 2550},
                 {2550, 4800, 0, -24736},
                 {11, 150, 0, 6}};
    for (const auto& c : cases) {
        GeomControl geometry = Request(c.resolution, c.resolution);
        geometry.xExtent = 3300 * c.resolution / 300;
        geometry.maxWidth = c.units;
        geometry.adjustX = c.before;
        EXPECT_EQ(Set(*scan, geometry).result, S_OK);
        EXPECT_EQ(geometry.adjustX, c.after);
    }
}

TEST_F(Geometry, BadRequestsAreRefusedAndNothingIsDividedByZero) {
    GeomControl geometry = Request(300, 300);
    EXPECT_EQ(Set(*scan, geometry).result, E_FAIL);
    EXPECT_EQ(scan->getGeometry(&geometry), E_FAIL);
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(scan->getGeomControl(&geometry), E_FAIL) << "no source is chosen";
    EXPECT_EQ(scan->fillScanParameters(), Result(1));
    EXPECT_EQ(scan->setGeomControl(&geometry, 0, nullptr, nullptr), E_POINTER);
    for (const LONG bad : {0, -1, INT_MIN}) {
        GeomControl x = Request(bad, 300);
        GeomControl y = Request(300, bad);
        EXPECT_EQ(Set(*scan, x).result, E_INVALIDARG);
        EXPECT_EQ(Set(*scan, y).result, E_INVALIDARG);
    }
}

TEST_F(Geometry, LimitsAreTheSources) {
    Place(1, 1);
    toolkit.Without(IID_IOstrelXPAMedia);
    toolkit.Lie<OstrelDeviceCaps>(GetDeviceCapabilities,
                                  [](auto& caps) { caps.bedHeight = 0x80000000; });
    toolkit.Lie<OstrelXpaCaps>(GetXPACapabilities, [](auto& caps) { caps.minResolution = 150; });
    ASSERT_EQ(Open(), S_OK);
    const struct {
        ScanSource source;
        LONG width, height, lowest, highest, highestAlong;
    } cases[] = {
        {kFromFlatbed, 2592, INT_MAX, 75, 4800, 9600},
        {kFromAdapter, 1500, 2700, 150, 4800, 9600},
        {kFromFeeder, 2592, 4200, 75, 600, 600},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(scan->firstScanInit(&c.source), S_OK);
        GeomControl g = {};
        g.left = g.top = 9;
        ASSERT_EQ(scan->getGeomControl(&g), S_OK);
        const LONG expected[] = {0,       0,        c.width,  c.height,  100,      100,
                                 c.width, c.height, c.lowest, c.highest, c.lowest, c.highestAlong};
        const LONG told[] = {
            g.left,          g.top,           g.width,          g.height,
            g.scanXRes,      g.scanYRes,      g.maxWidth,       g.maxHeight,
            g.minResolution, g.maxResolution, g.minResolution2, g.maxVertResolution};
        EXPECT_TRUE(std::equal(told, told + 12, expected)) << c.width;
        EXPECT_EQ(g.xResList[g.xResCount - 1], 4800);
        EXPECT_EQ(g.yResList[g.yResCount - 1], 9600);
    }
    DWORD length = 0;
    scan->m_pageLength = 3300;
    EXPECT_EQ(scan->getMaxHeight(false, 0, true, &length), S_OK);
    EXPECT_EQ(length, 3300u) << "a page that has been measured";
    EXPECT_EQ(scan->getMaxHeight(true, 0, true, &length), E_INVALIDARG);
    EXPECT_EQ(scan->getMaxWidth(false, 0, false, nullptr), E_POINTER);
}

TEST_F(Geometry, LimitsFollowDuplexAndTheListOfMedia) {
    toolkit.Lie<OstrelAdf3Caps>(GetADF3Capabilities, [](auto& caps) { caps.hasDuplexSwitch = 0; });
    ASSERT_EQ(Open(), S_OK);
    scan->m_source.request = kDuplex;
    DWORD length = 0;
    EXPECT_EQ(scan->getMaxWidth(false, 0, true, &length), S_OK);
    EXPECT_EQ(length, 2550u);
    EXPECT_EQ(scan->getMaxHeight(false, 0, true, &length), S_OK);
    EXPECT_EQ(length, 3510u);
    EXPECT_EQ(scan->getMaxWidth(true, 2, false, &length), S_OK);
    EXPECT_EQ(length, 1500u);
    EXPECT_EQ(scan->getMaxHeight(true, 0, false, &length), S_OK);
    EXPECT_EQ(length, 283u);
    EXPECT_EQ(scan->getMaxWidth(true, 3, false, &length), E_INVALIDARG);
}

TEST_F(Geometry, DeviceWithATableScansAtItsEntries) {
    WORD count = 4;
    toolkit.Lie<OstrelResolutionTable>(GetResolutionTable, [&](auto& table) {
        const OstrelResolution entries[] = {
            {150, 300, 0, 0}, {300, 600, 2, 0}, {300, 300, 0, 0}, {1200, 600, 4, 0}};
        std::copy(std::begin(entries), std::end(entries), table.entries);
        table.count = count;
    });
    CTableScan controller(&toolkit, clock);
    const auto reopen = [&] {
        EXPECT_EQ(controller.initDriver(device.Port().c_str(), 1), S_OK);
        EXPECT_EQ(controller.firstScanInit(&kFromFlatbed), S_OK);
    };
    reopen();
    GeomControl limits = {};
    ASSERT_EQ(controller.getGeomControl(&limits), S_OK);
    EXPECT_EQ(limits.xResCount, 3);
    EXPECT_EQ(limits.xResList[2], 1200);
    EXPECT_EQ(limits.yResCount, 2);
    EXPECT_EQ(limits.yResList[1], 600);
    const struct {
        LONG xRes, yRes, scanXRes, scanYRes;
        DWORD scale;
    } cases[] = {{100, 100, 150, 300, 0},
                 {200, 200, 300, 600, 1},
                 {2400, 600, 1200, 600, 2},
                 {100, 2400, 1200, 600, 2}};
    for (const auto& c : cases) {
        GeomControl geometry = Request(c.xRes, c.yRes);
        EXPECT_EQ(Set(controller, geometry).scale, c.scale);
        EXPECT_EQ(geometry.scanXRes, c.scanXRes);
        EXPECT_EQ(geometry.scanYRes, c.scanYRes);
    }
    controller.m_pageLength = 1000;
    GeomControl geometry = Request(300, 300);
    geometry.yPos = 300;
    geometry.yExtent = 800;
    EXPECT_EQ(Set(controller, geometry).result, S_OK);
    EXPECT_EQ(geometry.height, 700) << "cut to the page";
    count = 0xFFFF;
    reopen();
    geometry = Request(2400, 2400);
    EXPECT_EQ(Set(controller, geometry).result, S_OK) << "no more entries than there is room for";
    count = 0;
    reopen();
    geometry = Request(2400, 1234);
    EXPECT_EQ(Set(controller, geometry).scale, 0u);
    EXPECT_EQ(geometry.scanYRes, 1234) << "as asked";
}

}  // namespace
