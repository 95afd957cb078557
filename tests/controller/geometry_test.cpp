#include <algorithm>
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
        toolkit.deviceCaps.maxYResolution = c.maxYOfDevice;
        ASSERT_EQ(Open(), S_OK);
        GeomControl geometry = Request(c.xRes, c.yRes);
        geometry.maxResolution = c.maxResolution;
        const Answer answer = Set(*scan, geometry, c.oversample);
        EXPECT_EQ(answer.result, S_OK);
        EXPECT_EQ(geometry.scanXRes, c.scanXRes) << c.xRes << ' ' << c.maxResolution;
        EXPECT_EQ(geometry.scanYRes, c.scanYRes) << c.xRes << ' ' << c.yRes;
        EXPECT_EQ(answer.scale, c.scale) << c.xRes;
        EXPECT_EQ(answer.overscanned, c.overscanned) << c.xRes;
        bool scaled = !(c.scale == 1);
        bool overscanned = false;
        EXPECT_EQ(scan->calcGeometry(&geometry, c.oversample, &overscanned, &scaled), S_OK);
        EXPECT_EQ(scaled, c.scale == 1);
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
        EXPECT_EQ(scan->firstScanInit(&kFlatbed), S_OK);
        EXPECT_EQ(scan->fillScanParameters(), S_OK);
        EXPECT_EQ(scan->m_scanParams.left, static_cast<DWORD>(std::max(c.start, 0)));
    }
}

TEST_F(Geometry, CountsStayWithinOneAndHoldSixteenBits) {
    ASSERT_EQ(Open(), S_OK);
    // 2550 units at 300 are 2550 pixels, at 4800 they are 40800: 40800 - 65536 in 16 bits.
    const struct {
        LONG resolution, before, after;
    } cases[] = {{300, 0, 2550}, {300, 2549, 2549}, {300, 2548, 2550}, {4800, 0, -24736}};
    for (const auto& c : cases) {
        GeomControl geometry = Request(c.resolution, c.resolution);
        geometry.xExtent = 85 * c.resolution / 10;  // 8.5 inches
        geometry.adjustX = c.before;
        EXPECT_EQ(Set(*scan, geometry).result, S_OK);
        EXPECT_EQ(geometry.adjustX, c.after);
    }
    // 11 units at 150 are 5.5 pixels.
    GeomControl geometry = Request(150, 150);
    geometry.xExtent = 6;
    geometry.maxWidth = 11;
    EXPECT_EQ(Set(*scan, geometry).result, S_OK);
    EXPECT_EQ(geometry.width, 11);
    EXPECT_EQ(geometry.adjustX, 6);
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
    toolkit.sheets = 1;
    toolkit.pageTenths = 0;
    toolkit.deviceCaps.bedHeight = 0x80000000;
    ASSERT_EQ(Open(), S_OK);
    const struct {
        ScanSource source;
        LONG width, height, lowest, highest, highestAlong;
    } cases[] = {
        {kFlatbed, 2550, INT_MAX, 75, 2400, 4800},
        {kAdapter, 300, 450, 150, 4800, 9600},
        {kFeeder, 2580, 4200, 100, 600, 600},
        {kDuplex, 2540, 3500, 100, 600, 600},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(scan->firstScanInit(&c.source), S_OK);
        GeomControl geometry = {};
        geometry.left = geometry.top = 9;
        ASSERT_EQ(scan->getGeomControl(&geometry), S_OK);
        const LONG told[] = {geometry.left,           geometry.top,
                             geometry.width,          geometry.height,
                             geometry.scanXRes,       geometry.scanYRes,
                             geometry.maxWidth,       geometry.maxHeight,
                             geometry.minResolution,  geometry.maxResolution,
                             geometry.minResolution2, geometry.maxVertResolution};
        const LONG expected[] = {0,       0,        c.width,  c.height,  100,      100,
                                 c.width, c.height, c.lowest, c.highest, c.lowest, c.highestAlong};
        EXPECT_TRUE(std::equal(told, told + 12, expected)) << c.width;
        EXPECT_EQ(geometry.xResList[geometry.xResCount - 1], 4800);
        EXPECT_EQ(geometry.yResList[geometry.yResCount - 1], 9600);
    }
    scan->m_pageLength = 3300;
    DWORD height = 0;
    EXPECT_EQ(scan->getMaxHeight(false, 0, true, &height), S_OK);
    EXPECT_EQ(height, 3300u) << "a page that has been measured";
    EXPECT_EQ(scan->getMaxHeight(true, 0, true, &height), E_INVALIDARG);
    EXPECT_EQ(scan->getMaxWidth(false, 0, false, nullptr), E_POINTER);
    EXPECT_EQ(scan->releaseScanner(), S_OK);
    toolkit.media.resize(2);
    toolkit.media[0].height = 222;
    toolkit.media[1].width = 333;
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(scan->getMaxWidth(true, 1, false, &height), S_OK);
    EXPECT_EQ(height, 333u);
    EXPECT_EQ(scan->getMaxHeight(true, 0, false, &height), S_OK);
    EXPECT_EQ(height, 222u);
    EXPECT_EQ(scan->getMaxWidth(true, 2, false, &height), E_INVALIDARG);
}

TEST_F(Geometry, DeviceWithATableScansAtItsEntries) {
    OstrelResolutionTable& table = toolkit.resolutions[OSTREL_SOURCE_FLATBED];
    const OstrelResolution entries[] = {
        {150, 300, 0, 0}, {300, 600, 2, 0}, {300, 300, 0, 0}, {1200, 600, 4, 0}};
    std::copy(std::begin(entries), std::end(entries), table.entries);
    table.count = 4;
    CTableScan controller(&toolkit, clock);
    ASSERT_EQ(controller.initDriver(u"port", 1), S_OK);
    ASSERT_EQ(controller.firstScanInit(&kFlatbed), S_OK);
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
    table.count = 0xFFFF;
    ASSERT_EQ(controller.initDriver(u"port", 1), S_OK);
    ASSERT_EQ(controller.firstScanInit(&kFlatbed), S_OK);
    EXPECT_EQ(controller.getGeomControl(&limits), S_OK);
    EXPECT_EQ(limits.xResCount, 3);
    geometry = Request(2400, 2400);
    EXPECT_EQ(Set(controller, geometry).result, S_OK);
    table.count = 0;
    ASSERT_EQ(controller.initDriver(u"port", 1), S_OK);
    geometry = Request(2400, 1234);
    EXPECT_EQ(Set(controller, geometry).scale, 0u);
    EXPECT_EQ(geometry.scanYRes, 1234) << "as asked";
}

}  // namespace
