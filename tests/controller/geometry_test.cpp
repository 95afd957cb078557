#include <climits>

#include "tests/controller/controller_rig.h"

namespace {

// A request of 10 by 10 pixels, and its answer.
struct CRequest : GeomControl {
    CRequest(LONG x, LONG y) : GeomControl{} {
        xRes = x;
        yRes = y;
        xExtent = yExtent = 10;
        maxWidth = 2550;
        maxHeight = 3300;
        minResolution = 75;
        maxResolution = 4800;
    }
    HRESULT Set(CNVScan& scan, BYTE oversample = 0) {
        return scan.setGeomControl(this, oversample, &overscanned, &scale);
    }
    bool overscanned = true;
    DWORD scale = 77;
};

using Geometry = CControllerTest;

TEST_F(Geometry, DeviceScansAtAStepOfTheLadder) {
    ASSERT_EQ(Open(), S_OK);
    const struct {
        LONG xRes, yRes, maxResolution;
        BYTE oversample;
        LONG scanXRes, scanYRes;
        DWORD scale;
        bool overscanned;
    } cases[] = {
        {1, 1, 4800, 0, 150, 150, 0, false},
        {2400, 2400, 4800, 0, 2400, 2400, 1, false},
        {2401, 2401, 4800, 0, 4800, 4800, 2, false},
        {4800, 9600, 4800, 0, 4800, 9600, 2, false},
        // The source ends between two steps, or below the first.
        {2401, 2401, 3000, 0, 2400, 2400, 1, false},
        {600, 600, 0, 0, 150, 150, 0, false},
        // 1.4 times as fine: 420, 700 held at 600.
        {300, 300, 4800, 1, 600, 600, 0, true},
        {500, 500, 600, 1, 600, 600, 0, false},
        {INT_MAX, INT_MAX, INT_MAX, 1, 4800, 9600, 2, false},
    };
    for (const auto& c : cases) {
        CRequest request(c.xRes, c.yRes);
        request.maxResolution = c.maxResolution;
        EXPECT_EQ(request.Set(*scan, c.oversample), S_OK);
        EXPECT_EQ(std::tie(request.scanXRes, request.scanYRes, request.scale, request.overscanned),
                  std::tie(c.scanXRes, c.scanYRes, c.scale, c.overscanned))
            << c.xRes << ' ' << c.yRes << ' ' << c.maxResolution;
    }
    toolkit.Lie(GetDeviceCapabilities, [](OstrelDeviceCaps& caps) { caps.maxYResolution = 4800; });
    ASSERT_EQ(Open(), S_OK);
    CRequest request(4800, 9600);
    EXPECT_EQ(request.Set(*scan), S_OK);
    EXPECT_EQ(request.scanYRes, 4800);
}

TEST_F(Geometry, WindowIsTruncatedToUnitsAndCutToTheSource) {
    ASSERT_EQ(Open(), S_OK);
    const struct {
        LONG pos, extent, resolution, limit;
        LONG start, length;
    } cases[] = {
        {0, 2551, 300, 2550, 0, 2550},
        {3, 10, 200, 2550, 4, 15},       // 900.5 / 200, 3000.5 / 200
        {2, 5, 601, 2550, 0, 2},         // 600.5 / 601, 1500.5 / 601
        {-100, 50, 300, 2550, -99, 50},  // -29999.5 / 300
        {INT_MAX, INT_MAX, 1, 2550, INT_MAX, 0},
        {INT_MIN, INT_MAX, 1, INT_MAX, INT_MIN, INT_MAX},
    };
    ASSERT_EQ(scan->firstScanInit(&kFromFlatbed), S_OK);
    for (const auto& c : cases) {
        CRequest r(c.resolution, c.resolution);
        r.xPos = r.yPos = c.pos;
        r.xExtent = r.yExtent = c.extent;
        r.maxWidth = r.maxHeight = c.limit;
        EXPECT_EQ(r.Set(*scan), S_OK);
        EXPECT_EQ(std::tie(r.left, r.top, r.width, r.height),
                  std::tie(c.start, c.start, c.length, c.length))
            << c.pos;
        EXPECT_EQ(scan->fillScanParameters(), S_OK);
        EXPECT_EQ(scan->m_scanParams.left, static_cast<DWORD>(std::max(c.start, 0)));
    }
}

TEST_F(Geometry, CountsStayWithinOneAndHoldSixteenBits) {
    ASSERT_EQ(Open(), S_OK);
    // Units, resolution, count before and after. 2550 units at 4800 are 40800 pixels, which are
    // 40800 - 65536 in 16 bits; 11 units at 150 are 5.5.
    const LONG cases[][4] = {
        {2550, 300, 2549, 2549}, {2550, 300, 2548, 2550}, {2550, 4800, 0, -24736}, {11, 150, 0, 6}};
    for (const auto& [units, resolution, before, after] : cases) {
        CRequest request(resolution, resolution);
        request.xExtent = 11 * resolution;
        request.maxWidth = units;
        request.adjustX = before;
        EXPECT_EQ(request.Set(*scan), S_OK);
        EXPECT_EQ(request.adjustX, after);
    }
}

TEST_F(Geometry, BadRequestsAreRefusedAndNothingIsDividedByZero) {
    EXPECT_EQ(CRequest(300, 300).Set(*scan), E_FAIL);
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(scan->fillScanParameters(), Result(1)) << "no source is chosen";
    for (const LONG bad : {0, -1, INT_MIN}) {
        EXPECT_EQ(CRequest(bad, 300).Set(*scan), E_INVALIDARG);
        EXPECT_EQ(CRequest(300, bad).Set(*scan), E_INVALIDARG);
    }
    DWORD length = 0;
    EXPECT_EQ(scan->getMaxHeight(true, 3, false, &length), E_INVALIDARG) << "behind the media list";
}

TEST_F(Geometry, DeviceWithATableScansAtItsEntries) {
    toolkit.Lie(GetResolutionTable, [](OstrelResolutionTable& table) {
        table = {0xFFFF, 0, {{150, 300, 0, 0}, {300, 600, 2, 0}, {300, 300, 0, 0}}, {}};
        table.entries[kOstrelMaxResolutions - 1] = {1200, 600, 4, 0};
    });
    // This family answers from its own ladder.
    ASSERT_EQ(Open(), S_OK);
    ASSERT_EQ(scan->firstScanInit(&kFromFlatbed), S_OK);
    CRequest limits(1, 1);
    ASSERT_EQ(scan->CNVScan::getGeomControl(&limits), S_OK);
    EXPECT_EQ(std::pair(limits.xResCount, limits.xResList[2]), std::pair(3, 1200));
    for (const LONG resolution : {200, 2400}) {  // the last entry, if none is fine enough
        CRequest r(resolution, 200);
        EXPECT_EQ(scan->CNVScan::setGeomControl(&r, 0, &r.overscanned, &r.scale), S_OK);
        EXPECT_EQ(std::tuple(r.scanXRes, r.scanYRes, r.scale),
                  resolution == 200 ? std::tuple(300, 600, 1u) : std::tuple(1200, 600, 2u));
    }
}

}  // namespace
