#include <semaphore>

#include "tests/controller/controller_rig.h"

namespace {

class Phases : public CControllerTest {
  protected:
    // With a feeder that lays sheets onto the glass, or draws them through a slot.
    void OpenWith(int sheets, bool isSlot = false) {
        toolkit.Lie<OstrelAdf2Caps>(GetADF2Capabilities,
                                    [=](auto& caps) { caps.adfFlags = isSlot ? 1 : 0; });
        device.Act("load-" + std::to_string(sheets));
        ASSERT_EQ(Open(), S_OK);
        toolkit.ForgetCalls();
    }
    void SetSwitch(bool has, WORD flags) {
        toolkit.Lie<OstrelAdf3Caps>(GetADF3Capabilities, [=](auto& caps) {
            caps.hasDuplexSwitch = has;
            caps.switchFlags = flags;
        });
    }
    void BeFeederOnly() {
        toolkit.Lie<OstrelDeviceCaps>(GetDeviceCapabilities, [](auto& caps) {
            caps.wPaperPath = OSTREL_PAPER_PATH_FEEDER_ONLY;
        });
    }
    bool IsDuplex() {
        bool duplex = false;
        EXPECT_EQ(scan->getDuplexEnabled(&duplex), S_OK);
        return duplex;
    }
};

TEST_F(Phases, RequestsThatCantBeAreRefusedAheadOfTheDevice) {
    const auto refused = [this](const ScanSource& source) {
        EXPECT_EQ(scan->firstScanInit(&source), E_INVALIDARG);
        EXPECT_TRUE(toolkit.Calls().empty());
        EXPECT_FALSE(scan->m_source.valid);
    };
    OpenWith(1);
    refused({.useXPA = 1, .useADF = 1});
    refused({.duplex = 1});
    refused(kDuplex);  // the device has a switch that software can't overrule
    toolkit.Without(IID_IOstrelXPA);
    OpenWith(1);
    refused(kFromAdapter);
    BeFeederOnly();
    OpenWith(1);
    refused(kFromFlatbed);
}

TEST_F(Phases, FeederJobLastsUntilTheFeederIsEmpty) {
    OpenWith(2);
    EXPECT_EQ(ScanPage(kFromFeeder), S_OK);
    EXPECT_EQ(toolkit.Levels(), 2) << "job and gate";
    EXPECT_EQ(ScanPage(kFromFeeder), S_FALSE);
    EXPECT_EQ(toolkit.Levels(), 0);
    std::string order;
    for (const auto& call : toolkit.Calls()) {
        const std::string name = OperationOf(call.operation).name;
        order += name.find("ADF") != std::string::npos && name != "IsPaperInADF" ? name + ' ' : "";
    }
    EXPECT_EQ(order,
              "ADFStartJob ADF2PaperFeed SetADFMode ADF2PaperFeed SetADFMode ADFEndJob "
              "EndADF2Job ");
    EXPECT_EQ(toolkit.LastValue(SetADFMode), OSTREL_ADF_MODE_GLASS);
    EXPECT_EQ(scan->firstScanInit(&kFromFeeder), Result(0x0F));
    EXPECT_EQ(toolkit.Levels(), 0) << "neither job nor gate";
    BeFeederOnly();
    OpenWith(0);
    EXPECT_EQ(scan->firstScanInit(&kFromFeeder), Result(0x12));
    GeomControl limits = {};
    EXPECT_EQ(scan->getGeomControl(&limits), S_OK) << "what there is to tell waits for no paper";
    EXPECT_EQ(limits.maxWidth, 2592);
}

TEST_F(Phases, SheetIsFedOnceAndStaysPaper) {
    DWORD tenths = 110;
    toolkit.Lie<DWORD>(ADF2PaperFeed, [&](DWORD& length) { length = tenths; });
    OpenWith(1);
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(Prepare(kFromFeeder), S_OK);
    bool ready = false;
    EXPECT_EQ(scan->adfReady(&ready), S_OK);
    EXPECT_TRUE(ready) << "behind the empty tray";
    EXPECT_EQ(ScanPage({.preview = 1, .useADF = 1}), S_OK);
    EXPECT_EQ(scan->m_pageLength, 3300u) << "110 tenths of an inch";
    EXPECT_EQ(ScanPage(kFromFeeder), S_FALSE) << "the page of the preview";
    EXPECT_EQ(toolkit.Count(ADF2PaperFeed), 1);
    EXPECT_EQ(scan->m_pageLength, 0u);
    EXPECT_EQ(scan->adfReady(&ready), S_OK);
    EXPECT_FALSE(ready);
    tenths = 0xFFFFFFFF;
    device.Act("load-1");
    ASSERT_EQ(scan->firstScanInit(&kFromFeeder), S_OK);
    EXPECT_EQ(scan->m_pageLength, 0u) << "no page is so long";
}

TEST_F(Phases, JobStandsOnlyOnceItHasBeenStarted) {
    OpenWith(1);
    for (const EOperation operation : {GetDuplexSwitch, ADFStartJob}) {
        toolkit.Fail(operation, OSTREL_ADF_HATCH_OPEN);
        EXPECT_EQ(scan->firstScanInit(&kFromFeeder), Result(0x0E));
        EXPECT_FALSE(scan->m_bADFJobOpen);
        EXPECT_EQ(toolkit.Levels(), 0);
    }
    toolkit.Fail(ADF2PaperFeed, OSTREL_ADF_JAMMED);
    EXPECT_EQ(scan->firstScanInit(&kFromFeeder), Result(0x0A));
    EXPECT_TRUE(scan->m_bADFJobOpen) << "a feed may be tried again";
    EXPECT_EQ(toolkit.Levels(), 2);
    EXPECT_EQ(ScanPage(kFromFeeder), S_FALSE);
    EXPECT_EQ(toolkit.Count(ADFStartJob), 2);
}

TEST_F(Phases, DuplexIsDecidedUntilAPageHasBeenScanned) {
    SetSwitch(false, 0);
    OpenWith(2);
    for (const HRESULT expected : {S_OK, S_OK, S_OK, S_FALSE})
        EXPECT_EQ(ScanPage(kDuplex), expected) << "both sides of a sheet";
    EXPECT_EQ(toolkit.LastValue(SetADFMode), OSTREL_ADF_MODE_DUPLEX);
    OpenWith(3);
    ASSERT_EQ(Prepare(kFromFeeder), S_OK);
    EXPECT_FALSE(IsDuplex());
    ASSERT_EQ(Prepare(kDuplex), S_OK);
    EXPECT_TRUE(IsDuplex());
    EXPECT_EQ(ScanPage(kFromFeeder), S_OK);
    ASSERT_EQ(Prepare(kDuplex), S_OK);
    EXPECT_FALSE(IsDuplex());
    EXPECT_EQ(scan->releaseScanner(), S_OK);
    EXPECT_TRUE(IsDuplex()) << "the next job's";
}

TEST_F(Phases, SwitchDecidesOnlyWhereItCanBeRead) {
    const struct {
        DWORD duplex;
        bool hasSwitch;
        WORD flags;
        bool canRequest, enabledOff, enabledOn;  // with the switch off and on, duplex asked for
    } cases[] = {
        {0, false, 0, false, false, false},
        {1, false, 0, true, true, true},
        {1, true, 0, false, true, true},
        {1, true, OSTREL_SWITCH_READABLE, false, false, true},
        {1, true, OSTREL_SWITCH_REQUESTABLE, true, true, true},
        {1, true, 3, true, false, true},
    };
    for (const auto& c : cases) {
        SetSwitch(c.hasSwitch, c.flags);
        toolkit.Lie<OstrelAdf2Caps>(GetADF2Capabilities,
                                    [&](auto& caps) { caps.adfDuplexFlags = c.duplex; });
        ASSERT_EQ(Open(), S_OK);
        bool can = false;
        EXPECT_EQ(scan->canRequestDuplex(&can), S_OK);
        EXPECT_EQ(can, c.canRequest);
        scan->m_source.request = kDuplex;
        for (const BOOL position : {FALSE, TRUE}) {
            toolkit.Lie<BOOL>(GetDuplexSwitch, [=](BOOL& duplex) { duplex = position; });
            EXPECT_EQ(IsDuplex(), position ? c.enabledOn : c.enabledOff);
        }
    }
}

TEST_F(Phases, SheetThatHasVanishedIsNotWaitedForForever) {
    device.SetIni(
        "[simulator]\nmodel=SIM500D\n[device]\nlampWarmUpFlatbed=0\n"
        "[adf2]\nadfFlags=1\n[feeder]\npage1=page.bmp\n");
    OpenWith(1, true);
    EXPECT_EQ(ScanPage(kFromFeeder), S_FALSE);
    EXPECT_EQ(toolkit.LastValue(SetADFMode), OSTREL_ADF_MODE_SHEET_THROUGH);
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
        EXPECT_EQ(toolkit.Levels(), 0);
        device.Act("load-1");
        EXPECT_EQ(ScanPage(kFromFeeder), S_FALSE);
    }
}

TEST_F(Phases, FailedStartKeepsOneLevelUntilTheEnd) {
    toolkit.Without(IID_IOstrelJobGate);
    OpenWith(0);
    ASSERT_EQ(Prepare(kFromFlatbed), S_OK);
    toolkit.Fail(CalibrateScanner, OSTREL_CALIBRATION_FAILED, 1, 2);
    EXPECT_EQ(toolkit.Levels(), 0);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(scan->finalScanInit(), Result(0x0B));
        EXPECT_EQ(toolkit.Levels(), 1);
    }
    EXPECT_EQ(scan->endScan(), S_OK);
    EXPECT_EQ(scan->endScan(), S_OK);
    EXPECT_EQ(toolkit.Count(EndScan), 1);
    EXPECT_EQ(toolkit.Levels(), 0);
    ASSERT_EQ(Prepare(kFromAdapter), S_OK);
    toolkit.Fail(CalibrateScanner, OSTREL_CALIBRATION_FAILED);
    EXPECT_EQ(scan->finalScanInit(), Result(0x05));
    EXPECT_EQ(scan->releaseScanner(), S_OK);
    // Without the scan's own level the end is told under another.
    ASSERT_EQ(Prepare(kFromFlatbed), S_OK);
    toolkit.Fail(LockScanner, OSTREL_LOCK_FAILED);
    EXPECT_EQ(scan->finalScanInit(), Result(6));
    EXPECT_EQ(scan->endScan(), S_OK);
    EXPECT_EQ(toolkit.Count(EndScan), 3);
}

TEST_F(Phases, NonsenseAboutTheScanIsNotStarted) {
    OpenWith(0);
    EXPECT_EQ(scan->finalScanInit(), Result(1)) << "nothing is prepared";
    EXPECT_EQ(Prepare(kFromFlatbed, {}, 1), S_OK) << "an empty window has no pixels";
    EXPECT_EQ(pixels, 0u);
    EXPECT_EQ(scan->finalScanInit(), Result(1));
    const struct {
        DWORD pixels, lines;
        HRESULT result;
    } cases[] = {{0, 6, Result(0x0D)},          {0x80000000, 6, Result(0x0D)},
                 {0x1000001, 6, Result(0x0D)},  {4, 0, Result(0x0D)},
                 {4, 0x80000000, Result(0x0D)}, {0x1000000, 0x7FFFFFFF, S_OK}};
    for (const auto& c : cases) {
        toolkit.Lie<OstrelScanSetup>(GetScanSetup, [&](auto& setup) {
            setup.pixelsPerLine = c.pixels;
            setup.lines = c.lines;
        });
        EXPECT_EQ(Prepare(kFromFlatbed), c.result) << c.pixels << ' ' << c.lines;
        EXPECT_EQ(pixels, FAILED(c.result) ? 0 : c.pixels);
        EXPECT_EQ(FAILED(c.result) ? scan->finalScanInit() : Result(1), Result(1));
    }
    EXPECT_EQ(toolkit.Count(StartScan), 0);
}

TEST_F(Phases, GateOpensForAScanAndClosesBehindIt) {
    OpenWith(0);
    const struct {
        DWORD state;
        HRESULT result;
        int levels, aborts, ends;
    } cases[] = {{1, Result(7), 0, 0, 1},
                 {2, S_OK, 1, 0, 0},
                 {3, S_OK, 1, 0, 0},
                 {0, Result(7), 0, 1, 1},
                 {9, Result(7), 0, 1, 1}};
    for (const auto& c : cases) {
        toolkit.ForgetCalls();
        toolkit.Lie<DWORD>(GetJobGateState, [&](DWORD& state) { state = c.state; });
        EXPECT_EQ(scan->firstScanInit(&kFromFlatbed), c.result) << c.state;
        EXPECT_EQ(toolkit.Levels(), c.levels) << c.state;
        EXPECT_EQ(toolkit.Count(AbortJobGate), c.aborts) << c.state;
        EXPECT_EQ(toolkit.Count(EndJobGate), c.ends) << c.state;
        EXPECT_EQ(scan->endScan(), S_OK);
        EXPECT_EQ(toolkit.Levels(), 0);
    }
    DWORD state = 0;
    for (const EOperation operation : {LockScanner, BeginJobGate, GetJobGateState}) {
        toolkit.Fail(operation, OSTREL_COMMUNICATION);
        EXPECT_EQ(scan->checkJobGate(&state), Result(7));
        EXPECT_EQ(state, 4u);
        EXPECT_EQ(toolkit.Levels(), 0);
    }
    toolkit.Lie<DWORD>(GetJobGateState, [](DWORD& told) { told = 2; });
    EXPECT_EQ(scan->checkJobGate(&state), S_OK);
    EXPECT_EQ(state, 2u);
    EXPECT_EQ(scan->cancelJobGate(1), S_OK);
    EXPECT_EQ(toolkit.Levels(), 1) << "no reason to cancel";
    toolkit.Fail(AbortJobGate, OSTREL_COMMUNICATION);
    EXPECT_EQ(scan->cancelJobGate(3), Result(7));
    EXPECT_EQ(toolkit.Levels(), 0);
}

TEST_F(Phases, ReleaseGivesUpWhateverIsHeld) {
    OpenWith(3);
    ASSERT_EQ(Start(kFromFeeder), S_OK);
    EXPECT_EQ(toolkit.Levels(), 3) << "scan, job and gate";
    toolkit.Fail(EndADF2Job, OSTREL_ADF_JAMMED);
    EXPECT_EQ(scan->releaseScanner(), Result(0x0A));
    EXPECT_EQ(toolkit.Levels(), 0);
    for (const EOperation operation : {EndScan, ADFEndJob, EndADF2Job, EndJobGate})
        EXPECT_EQ(toolkit.Count(operation), 1);
    toolkit.ForgetCalls();
    EXPECT_EQ(scan->releaseScanner(), S_OK);
    EXPECT_TRUE(toolkit.Calls().empty());
    // A sheet that was fed for a job that has ended is fed no more.
    ASSERT_EQ(scan->firstScanInit(&kFromFeeder), S_OK);
    EXPECT_EQ(scan->endAdfJob(), S_OK);
    EXPECT_EQ(scan->releaseScanner(), S_OK);
    // A job that could not be ended stays open, with the level of the lock that it has left.
    ASSERT_EQ(scan->firstScanInit(&kFromFeeder), S_OK);
    for (const EOperation operation : {EndADF2Job, UnlockScanner}) {
        toolkit.Fail(operation, OSTREL_COMMUNICATION);
        EXPECT_EQ(scan->endAdfJob(), Result(7));
        EXPECT_TRUE(scan->m_bADFJobOpen);
    }
    EXPECT_EQ(toolkit.Levels(), 1) << "the gate's";
    scan->releaseScanner();  // the device may say that its job is over already
    EXPECT_EQ(toolkit.Levels(), 0);
    EXPECT_EQ(ScanPage(kFromFeeder), S_OK);
}

TEST_F(Phases, LampIsWaitedForAndCalibratedOncePerLamp) {
    toolkit.Lie<OstrelDeviceCaps>(GetDeviceCapabilities,
                                  [](auto& caps) { caps.lampWarmUpFlatbed = 20; });
    toolkit.Lie<OstrelXpaCaps>(GetXPACapabilities, [](auto& caps) { caps.lampWarmUpXPA = 40; });
    const auto scanned = [this](const char* what, const ScanSource& source, int sleeps,
                                int calibrations) {
        SCOPED_TRACE(what);
        clock.sleeps = 0;
        toolkit.ForgetCalls();
        ScanPage(source);
        EXPECT_EQ(clock.sleeps, sleeps);
        EXPECT_EQ(toolkit.Count(CalibrateScanner), calibrations);
    };
    OpenWith(1);
    scanned("found burning", kFromFlatbed, 0, 1);
    scanned("again", kFromFlatbed, 0, 0);
    scanned("from the feeder", kFromFeeder, 0, 0);
    scanned("other lamp", kFromAdapter, 40, 1);
    scanned("other lamp again", kFromAdapter, 0, 0);
    scanned("and back", kFromFlatbed, 20, 1);
    device.Act("lamp-off");
    scanned("gone out", kFromFlatbed, 20, 1);
    device.Act("lamp-off");
    OpenWith(0);
    clock.now += 12500;
    scanned("the rest of it", kFromFlatbed, 8, 1);
    device.Act("lamp-off");
    clock.steps = 0;
    OpenWith(0);
    scanned("a clock that stands", kFromFlatbed, 20, 1);
}

TEST_F(Phases, LampThatFailedIsWaitedForAtTheNextAttempt) {
    toolkit.Lie<OstrelDeviceCaps>(GetDeviceCapabilities,
                                  [](auto& caps) { caps.lampWarmUpFlatbed = 20; });
    OpenWith(0);
    device.Act("lamp-off");
    ASSERT_EQ(Prepare(kFromFlatbed), S_OK);
    toolkit.Fail(LampOn, OSTREL_LAMP_OFF);
    EXPECT_EQ(scan->finalScanInit(), Result(1));
    EXPECT_EQ(scan->finalScanInit(), S_OK);
    EXPECT_EQ(clock.sleeps, 20);
    EXPECT_EQ(scan->endScan(), S_OK);
}

// ---- Reading

class Reading : public Phases {
  protected:
    // A page that takes several buffers of the reader, of 65100 bytes each.
    static constexpr DWORD kLineBytes = 300;
    static constexpr DWORD kLines = 1000;

    void StartLongPage(const std::string& ini = {}) {
        std::mt19937 random(8);
        page.resize(kLineBytes * kLines);
        std::generate(page.begin(), page.end(), [&] { return static_cast<BYTE>(random()); });
        WritePicture(device.Path() + "/long.bmp", kLineBytes / 3, kLines, 300, page);
        device.SetIni(
            "[simulator]\nmodel=SIM500D\n[device]\nlampWarmUpFlatbed=0\n"
            "[flatbed]\npicture=long.bmp\n[feeder]\npage1=long.bmp\n" +
            ini);
        OpenWith(1);
    }
    void StartWindow(const ScanSource& source) {
        ASSERT_EQ(Prepare(source), S_OK);
        GeomControl geometry = {};
        EXPECT_EQ(scan->getGeometry(&geometry), S_OK);
        geometry.xExtent = kLineBytes / 3;
        geometry.yExtent = kLines;
        bool overscanned = false;
        DWORD scale = 0;
        EXPECT_EQ(scan->setGeomControl(&geometry, 0, &overscanned, &scale), S_OK);
        EXPECT_EQ(scan->secondScanInit(&pixels, &lines), S_OK);
        ASSERT_EQ(scan->finalScanInit(), S_OK);
    }
};

TEST_F(Reading, EveryByteThatTheDeviceDeliversComes) {
    StartLongPage("[behaviour]\nendAtLine=900\n");
    page.resize(kLineBytes * 900);
    for (const ScanSource& source : {kFromFlatbed, kFromFeeder}) {
        for (const DWORD portion : {250u, 50000u, 300000u}) {
            device.Act("load-1");
            StartWindow(source);
            Bytes bytes;
            EXPECT_EQ(Read(bytes, portion), S_OK);
            EXPECT_TRUE(bytes == page) << portion << ": " << bytes.size();
            EXPECT_EQ(scan->endScan(), source.useADF ? S_FALSE : S_OK);
        }
    }
}

TEST_F(Reading, FailureTellsTheBytesAheadOfIt) {
    StartLongPage();
    toolkit.Fail(ReadScan, OSTREL_ADF_JAMMED, 2);
    StartWindow(kFromFlatbed);
    std::binary_semaphore firstLineIsTaken(0);
    std::atomic<int> reads = 0;
    toolkit.onCall = [&](EOperation operation) {
        if (operation == ReadScan && ++reads == 2)
            firstLineIsTaken.acquire();
    };
    Bytes bytes(page.size());
    DWORD got = kLineBytes;
    EXPECT_EQ(scan->readScanData(kScanReadOpen, bytes.data(), got, &got, kLineBytes), S_OK);
    firstLineIsTaken.release();
    got = static_cast<DWORD>(bytes.size());
    EXPECT_EQ(scan->readScanData(0, bytes.data(), got, &got, kLineBytes), Result(0x0A));
    EXPECT_EQ(got, 218 * kLineBytes - kLineBytes) << "the rest of the reader's first buffer";
    EXPECT_EQ(scan->m_dwErrorCode, OSTREL_ADF_JAMMED);
    EXPECT_EQ(scan->endScan(), S_OK);
}

TEST_F(Reading, NeedsAStart) {
    OpenWith(0);
    BYTE buffer[300] = {};
    DWORD got = sizeof(buffer);
    EXPECT_EQ(scan->readScanData(kScanReadOpen, buffer, got, &got, 12), Result(0x0D));
    EXPECT_EQ(got, 0u);
    EXPECT_TRUE(toolkit.Calls().empty());
    ASSERT_EQ(Start(kFromFlatbed), S_OK);
    got = sizeof(buffer);
    EXPECT_EQ(scan->readScanData(kScanReadOpen, buffer, got, &got, 0), Result(0x0D))
        << "lines of no bytes";
    EXPECT_EQ(scan->endScan(), S_OK);
}

}  // namespace
