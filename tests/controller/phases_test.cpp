#include <utility>

#include "tests/controller/controller_rig.h"

namespace {

class Phases : public CControllerTest {
  protected:
    void OpenWith(int sheets) {
        device.Act("load-" + std::to_string(sheets));
        ASSERT_EQ(Open(), S_OK);
        toolkit.ForgetCalls();
    }
    void ExpectLevels(int levels) { EXPECT_EQ(toolkit.Levels(), levels); }
};

TEST_F(Phases, SheetIsFedOnceAndStaysPaper) {
    toolkit.Lie(ADF2PaperFeed, [](DWORD& tenths) { tenths = 110; });
    OpenWith(1);
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(Prepare(kFromFeeder), S_OK);
    ExpectLevels(2);  // job and gate
    bool ready = false;
    EXPECT_EQ(scan->adfReady(&ready), S_OK);
    EXPECT_TRUE(ready) << "behind the empty tray";
    EXPECT_EQ(ScanPage({.preview = 1, .useADF = 1}), S_OK);
    EXPECT_EQ(scan->m_pageLength, 3300u);
    EXPECT_EQ(ScanPage(kFromFeeder), S_FALSE) << "the page of the preview";
    EXPECT_EQ(toolkit.Count(ADF2PaperFeed), 1);
    EXPECT_EQ(scan->m_pageLength, 0u);
    EXPECT_EQ(scan->firstScanInit(&kFromFeeder), Result(0x0F));
    ExpectLevels(0);  // neither job nor gate
    toolkit.Lie(ADF2PaperFeed, [](DWORD& tenths) { tenths = 0xFFFFFFFF; });
    device.Act("load-1");
    ASSERT_EQ(scan->firstScanInit(&kFromFeeder), S_OK);
    EXPECT_EQ(scan->m_pageLength, 0u) << "no page is so long";
}

TEST_F(Phases, DuplexIsTheSwitchsOrTheRequests) {
    const struct {
        DWORD duplex;
        BYTE hasSwitch;
        WORD flags;
        bool canRequest, enabledOff, enabledOn;  // with the switch off and on, duplex asked for
    } cases[] = {
        {0, 0, 0, false, false, false}, {1, 1, 0, false, true, true}, {1, 1, 1, true, true, true},
        {1, 1, 2, false, false, true},  {1, 0, 0, true, true, true},
    };
    const auto isDuplex = [this] {
        bool duplex = false;
        EXPECT_EQ(scan->getDuplexEnabled(&duplex), S_OK);
        return duplex;
    };
    for (const auto& c : cases) {
        toolkit.Lie(GetADF3Capabilities, [&](OstrelAdf3Caps& caps) {
            caps.hasDuplexSwitch = c.hasSwitch;
            caps.switchFlags = c.flags;
        });
        toolkit.Lie(GetADF2Capabilities,
                    [&](OstrelAdf2Caps& caps) { caps.adfDuplexFlags = c.duplex; });
        OpenWith(3);
        bool can = false;
        EXPECT_EQ(scan->canRequestDuplex(&can), S_OK);
        scan->m_source.request = kDuplex;
        device.Act("switch-simplex");
        const bool off = isDuplex();
        device.Act("switch-duplex");
        EXPECT_EQ(std::tuple(can, off, isDuplex()),
                  std::tie(c.canRequest, c.enabledOff, c.enabledOn))
            << &c - cases;
    }
}

TEST_F(Phases, SheetThatHasVanishedIsNotWaitedForForever) {
    SetIni("[adf2]\nadfFlags=1\n");  // through a slot
    OpenWith(0);
    // Between feed and start; between start and the feeder's mode.
    for (const EOperation when : {StartScan, IsPaperInADF}) {
        device.Act("load-1");
        ASSERT_EQ(Prepare(kFromFeeder), S_OK);
        toolkit.onCall = [&](EOperation operation) {
            if (operation == when)
                device.Act("clear-jam");  // takes out what lies there
        };
        EXPECT_EQ(scan->finalScanInit(), Result(0x0F));
        toolkit.onCall = nullptr;
        EXPECT_EQ(scan->endScan(), S_FALSE);
        ExpectLevels(0);
    }
    device.Act("load-1");
    EXPECT_EQ(ScanPage(kFromFeeder), S_FALSE);
}

TEST_F(Phases, NonsenseAboutTheScanIsNotStarted) {
    OpenWith(0);
    EXPECT_EQ(scan->finalScanInit(), Result(1)) << "nothing is prepared";
    constexpr HRESULT kNoData = Result(0x0D);
    const std::tuple<DWORD, DWORD, HRESULT> cases[] = {{0, 6, kNoData},
                                                       {0x1000001, 6, kNoData},
                                                       {4, 0, kNoData},
                                                       {4, 0x80000000, kNoData},
                                                       {0x1000000, 0x7FFFFFFF, S_OK}};
    for (const auto& [wide, high, result] : cases) {
        toolkit.Lie(GetScanSetup, [w = wide, h = high](OstrelScanSetup& setup) {
            setup = {w, h, {}};
        });
        EXPECT_EQ(Prepare(kFromFlatbed), result) << wide << ' ' << high;
        EXPECT_EQ(pixels, FAILED(result) ? 0 : wide);
    }
    toolkit.Lie(GetScanSetup, [](OstrelScanSetup&) {});
    EXPECT_EQ(Prepare(kFromFlatbed, {}, 1), S_OK) << "an empty window has no pixels";
    EXPECT_EQ(scan->finalScanInit(), Result(1));
}

TEST_F(Phases, GateOpensForAScanAndClosesBehindIt) {
    OpenWith(0);
    const struct {
        DWORD state;
        HRESULT result;
        int levels, aborts, ends;
    } cases[] = {{1, Result(7), 0, 0, 1}, {2, S_OK, 1, 0, 0}, {9, Result(7), 0, 1, 1}};
    for (const auto& c : cases) {
        toolkit.ForgetCalls();
        toolkit.Lie(GetJobGateState, [&](DWORD& state) { state = c.state; });
        EXPECT_EQ(scan->firstScanInit(&kFromFlatbed), c.result);
        EXPECT_EQ(
            std::tuple(toolkit.Levels(), toolkit.Count(AbortJobGate), toolkit.Count(EndJobGate)),
            std::tie(c.levels, c.aborts, c.ends))
            << c.state;
        EXPECT_EQ(scan->endScan(), S_OK);
        ExpectLevels(0);
    }
}

TEST_F(Phases, LampIsWaitedForAndCalibratedOncePerLamp) {
    toolkit.Lie(GetDeviceCapabilities, [](OstrelDeviceCaps& caps) { caps.lampWarmUpFlatbed = 20; });
    toolkit.Lie(GetXPACapabilities, [](OstrelXpaCaps& caps) { caps.lampWarmUpXPA = 40; });
    const auto scanned = [this](const char* what, const ScanSource& source, int sleeps,
                                int calibrations) {
        ScanPage(source);
        EXPECT_EQ(std::tuple(std::exchange(clock.sleeps, 0), toolkit.Count(CalibrateScanner)),
                  std::tie(sleeps, calibrations))
            << what;
        toolkit.ForgetCalls();
    };
    OpenWith(1);
    scanned("found burning", kFromFlatbed, 0, 1);
    scanned("from the feeder", kFromFeeder, 0, 0);
    scanned("other lamp", kFromAdapter, 40, 1);
    device.Act("lamp-off");
    OpenWith(0);
    clock.now += 12500;
    scanned("the rest of it", kFromFlatbed, 8, 1);
    device.Act("lamp-off");
    ASSERT_EQ(Prepare(kFromFlatbed), S_OK);
    toolkit.Fail(LampOn, OSTREL_LAMP_OFF);
    EXPECT_EQ(scan->finalScanInit(), Result(1));
    clock.steps = 0;
    scanned("failed once, and with a clock that stands", kFromFlatbed, 20, 1);
}

}  // namespace
