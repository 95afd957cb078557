#include <atomic>
#include <semaphore>

#include "tests/controller/controller_rig.h"

namespace {

class Phases : public CControllerTest {
  protected:
    void OpenWith(int sheets) {
        toolkit.sheets = sheets;
        ASSERT_EQ(Open(), S_OK);
        toolkit.ForgetCalls();
    }
    bool IsDuplex() {
        bool duplex = false;
        EXPECT_EQ(scan->getDuplexEnabled(&duplex), S_OK);
        return duplex;
    }
};

TEST_F(Phases, RequestsThatCantBeAreRefusedAheadOfTheDevice) {
    EXPECT_EQ(scan->firstScanInit(nullptr), E_POINTER);
    toolkit.adf3Caps.hasDuplexSwitch = 1;
    toolkit.deviceCaps.wPaperPath = OSTREL_PAPER_PATH_FEEDER_ONLY;
    toolkit.Without(IID_IOstrelXPALamp);
    OpenWith(1);
    for (const ScanSource& source : {ScanSource{.useXPA = 1, .useADF = 1}, ScanSource{.duplex = 1},
                                     kDuplex, kFlatbed, kAdapter})
        EXPECT_EQ(scan->firstScanInit(&source), E_INVALIDARG);
    toolkit.Without(IID_IOstrelXPA);
    toolkit.deviceCaps.wPaperPath = 0;
    OpenWith(1);
    EXPECT_EQ(scan->firstScanInit(&kAdapter), E_INVALIDARG);
    EXPECT_TRUE(toolkit.Operations().empty());
    EXPECT_FALSE(scan->m_source.valid);
}

TEST_F(Phases, FeederJobLastsUntilTheFeederIsEmpty) {
    OpenWith(2);
    EXPECT_EQ(ScanPage(kFeeder), S_OK);
    EXPECT_EQ(toolkit.Levels(), 2) << "job and gate";
    EXPECT_EQ(ScanPage(kFeeder), S_FALSE);
    EXPECT_EQ(toolkit.Levels(), 0);
    std::string order;
    for (const std::string& name : toolkit.Operations())
        order += name.find("ADF") != std::string::npos && name != "IsPaperInADF" ? name + ' ' : "";
    EXPECT_EQ(order,
              "ADFStartJob ADF2PaperFeed SetADFMode ADF2PaperFeed SetADFMode ADFEndJob "
              "EndADF2Job ");
    EXPECT_EQ(toolkit.LastValue("SetADFMode"), OSTREL_ADF_MODE_GLASS);
    EXPECT_EQ(scan->firstScanInit(&kFeeder), Result(0x0F));
    EXPECT_EQ(toolkit.Levels(), 0) << "neither job nor gate";
    EXPECT_TRUE(scan->m_source.request.useADF);
    toolkit.deviceCaps.wPaperPath = OSTREL_PAPER_PATH_FEEDER_ONLY;
    OpenWith(0);
    EXPECT_EQ(scan->firstScanInit(&kFeeder), Result(0x12));
    GeomControl limits = {};
    EXPECT_EQ(scan->getGeomControl(&limits), S_OK) << "what there is to tell waits for no paper";
    EXPECT_EQ(limits.maxWidth, static_cast<LONG>(toolkit.adf2Caps.simplexWidth));
}

TEST_F(Phases, SheetIsFedOnceAndStaysPaper) {
    OpenWith(1);
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(Prepare(kFeeder), S_OK);
    EXPECT_EQ(toolkit.Count("ADF2PaperFeed"), 1);
    bool ready = false;
    EXPECT_EQ(scan->adfReady(&ready), S_OK);
    EXPECT_TRUE(ready) << "behind the empty tray";
    EXPECT_EQ(ScanPage({.preview = 1, .useADF = 1}), S_OK);
    EXPECT_EQ(scan->m_pageLength, 3300u) << "110 tenths of an inch";
    EXPECT_EQ(ScanPage(kFeeder), S_FALSE) << "the page of the preview";
    EXPECT_EQ(toolkit.Count("ADF2PaperFeed"), 1);
    EXPECT_EQ(scan->m_pageLength, 0u);
    EXPECT_EQ(scan->adfReady(&ready), S_OK);
    EXPECT_FALSE(ready);
    toolkit.pageTenths = 0xFFFFFFFF;
    toolkit.sheets = 1;
    ASSERT_EQ(scan->firstScanInit(&kFeeder), S_OK);
    EXPECT_EQ(scan->m_pageLength, 0u) << "no page is so long";
}

TEST_F(Phases, JobStandsOnlyOnceItHasBeenStarted) {
    toolkit.adf3Caps.hasDuplexSwitch = 1;
    toolkit.adf3Caps.switchFlags = OSTREL_SWITCH_READABLE;
    OpenWith(1);
    for (const char* operation : {"GetDuplexSwitch", "ADFStartJob"}) {
        toolkit.Fail(operation, OSTREL_ADF_HATCH_OPEN);
        EXPECT_EQ(scan->firstScanInit(&kFeeder), Result(0x0E)) << operation;
        EXPECT_FALSE(scan->m_bADFJobOpen);
        EXPECT_EQ(toolkit.Levels(), 0);
    }
    toolkit.Fail("ADF2PaperFeed", OSTREL_ADF_JAMMED);
    EXPECT_EQ(scan->firstScanInit(&kFeeder), Result(0x0A));
    EXPECT_TRUE(scan->m_bADFJobOpen) << "a feed may be tried again";
    EXPECT_EQ(toolkit.Levels(), 2);
    EXPECT_EQ(ScanPage(kFeeder), S_FALSE);
    EXPECT_EQ(toolkit.Count("ADFStartJob"), 2);
}

TEST_F(Phases, DuplexIsDecidedUntilAPageHasBeenScanned) {
    OpenWith(2);
    for (const HRESULT expected : {S_OK, S_OK, S_OK, S_FALSE})
        EXPECT_EQ(ScanPage(kDuplex), expected) << "both sides of a sheet";
    EXPECT_EQ(toolkit.LastValue("SetADFMode"), OSTREL_ADF_MODE_DUPLEX);
    OpenWith(3);
    ASSERT_EQ(Prepare(kFeeder), S_OK);
    EXPECT_FALSE(IsDuplex());
    ASSERT_EQ(Prepare(kDuplex), S_OK);
    EXPECT_TRUE(IsDuplex());
    EXPECT_EQ(ScanPage(kFeeder), S_OK);
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
        int reads;
    } cases[] = {
        {0, false, 0, false, false, false, 0},
        {1, false, 0, true, true, true, 0},
        {1, true, 0, false, true, true, 0},
        {1, true, OSTREL_SWITCH_READABLE, false, false, true, 2},
        {1, true, OSTREL_SWITCH_REQUESTABLE, true, true, true, 0},
        {1, true, 3, true, false, true, 2},
    };
    for (const auto& c : cases) {
        toolkit.adf2Caps.adfDuplexFlags = c.duplex;
        toolkit.adf3Caps.hasDuplexSwitch = c.hasSwitch;
        toolkit.adf3Caps.switchFlags = c.flags;
        OpenWith(0);
        bool can = false;
        EXPECT_EQ(scan->canRequestDuplex(&can), S_OK);
        EXPECT_EQ(can, c.canRequest);
        scan->m_source.request = kDuplex;
        toolkit.duplexSwitch = false;
        EXPECT_EQ(IsDuplex(), c.enabledOff);
        toolkit.duplexSwitch = true;
        EXPECT_EQ(IsDuplex(), c.enabledOn);
        EXPECT_EQ(toolkit.Count("GetDuplexSwitch"), c.reads);
    }
}

TEST_F(Phases, SheetThatHasVanishedIsNotWaitedForForever) {
    toolkit.adf2Caps.adfFlags = OSTREL_ADF_SHEET_THROUGH;
    OpenWith(1);
    EXPECT_EQ(ScanPage(kFeeder), S_FALSE);
    EXPECT_EQ(toolkit.LastValue("SetADFMode"), OSTREL_ADF_MODE_SHEET_THROUGH);
    // Between feed and start; between start and the feeder's mode.
    for (const char* when : {"StartScan", "IsPaperInADF"}) {
        toolkit.sheets = 1;
        ASSERT_EQ(Prepare(kFeeder), S_OK) << when;
        toolkit.onCall = [&](const std::string& name) {
            if (name == when)
                toolkit.LosePaper();
        };
        EXPECT_EQ(scan->finalScanInit(), Result(0x0F)) << when;
        toolkit.onCall = nullptr;
        EXPECT_EQ(scan->endScan(), S_FALSE) << when;
        EXPECT_EQ(toolkit.Levels(), 0);
        toolkit.sheets = 1;
        EXPECT_EQ(ScanPage(kFeeder), S_FALSE) << when;
    }
}

TEST_F(Phases, FailedStartKeepsOneLevelUntilTheEnd) {
    toolkit.Without(IID_IOstrelJobGate);
    OpenWith(0);
    ASSERT_EQ(Prepare(kFlatbed), S_OK);
    toolkit.Fail("CalibrateScanner", OSTREL_CALIBRATION_FAILED, 1, 2);
    EXPECT_EQ(toolkit.Levels(), 0);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(scan->finalScanInit(), Result(0x0B));
        EXPECT_EQ(toolkit.Levels(), 1);
    }
    EXPECT_EQ(scan->endScan(), S_OK);
    EXPECT_EQ(scan->endScan(), S_OK);
    EXPECT_EQ(toolkit.Count("EndScan"), 1);
    EXPECT_EQ(toolkit.Levels(), 0);
    ASSERT_EQ(Prepare(kAdapter), S_OK);
    toolkit.Fail("CalibrateScanner", OSTREL_CALIBRATION_FAILED);
    EXPECT_EQ(scan->finalScanInit(), Result(0x05));
    EXPECT_EQ(scan->releaseScanner(), S_OK);
    // Without the scan's own level the end is told under another.
    ASSERT_EQ(Prepare(kFlatbed), S_OK);
    toolkit.Fail("LockScanner", OSTREL_LOCK_FAILED);
    EXPECT_EQ(scan->finalScanInit(), Result(6));
    EXPECT_EQ(scan->endScan(), S_OK);
    EXPECT_EQ(toolkit.Count("EndScan"), 3);
}

TEST_F(Phases, NonsenseAboutTheScanIsNotStarted) {
    OpenWith(0);
    EXPECT_EQ(scan->finalScanInit(), Result(1)) << "nothing is prepared";
    for (const auto& [wide, high] :
         {std::pair{0u, 6u}, {0x80000000u, 6u}, {0x1000001u, 6u}, {4u, 0u}, {4u, 0x80000000u}}) {
        toolkit.setup = OstrelScanSetup{wide, high, {}};
        EXPECT_EQ(Prepare(kFlatbed), Result(0x0D));
        EXPECT_EQ(pixels + lines, 0u);
        EXPECT_EQ(scan->finalScanInit(), Result(1));
    }
    toolkit.setup.reset();
    EXPECT_EQ(Prepare(kFlatbed, 1), S_OK) << "an empty window has no pixels";
    EXPECT_EQ(pixels, 0u);
    EXPECT_EQ(scan->finalScanInit(), Result(1));
    EXPECT_EQ(toolkit.Count("StartScan"), 0);
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
        toolkit.gateState = c.state;
        EXPECT_EQ(scan->firstScanInit(&kFlatbed), c.result) << c.state;
        EXPECT_EQ(toolkit.Levels(), c.levels) << c.state;
        EXPECT_EQ(toolkit.Count("AbortJobGate"), c.aborts) << c.state;
        EXPECT_EQ(toolkit.Count("EndJobGate"), c.ends) << c.state;
        EXPECT_EQ(scan->endScan(), S_OK);
        EXPECT_EQ(toolkit.Levels(), 0);
    }
    DWORD state = 0;
    for (const char* operation : {"LockScanner", "BeginJobGate", "GetJobGateState"}) {
        toolkit.Fail(operation, OSTREL_COMMUNICATION);
        EXPECT_EQ(scan->checkJobGate(&state), Result(7)) << operation;
        EXPECT_EQ(state, 4u);
        EXPECT_EQ(toolkit.Levels(), 0) << operation;
    }
    toolkit.gateState = 2;
    EXPECT_EQ(scan->checkJobGate(&state), S_OK);
    EXPECT_EQ(state, 2u);
    EXPECT_EQ(scan->cancelJobGate(1), S_OK);
    EXPECT_EQ(toolkit.Levels(), 1) << "no reason to cancel";
    toolkit.Fail("AbortJobGate", OSTREL_COMMUNICATION);
    EXPECT_EQ(scan->cancelJobGate(3), Result(7));
    EXPECT_EQ(toolkit.Levels(), 0);
}

TEST_F(Phases, ReleaseGivesUpWhateverIsHeld) {
    OpenWith(3);
    ASSERT_EQ(Start(kFeeder), S_OK);
    EXPECT_EQ(toolkit.Levels(), 3) << "scan, job and gate";
    toolkit.Fail("EndADF2Job", OSTREL_ADF_JAMMED);
    EXPECT_EQ(scan->releaseScanner(), Result(0x0A));
    EXPECT_EQ(toolkit.Levels(), 0);
    for (const char* operation : {"EndScan", "ADFEndJob", "EndADF2Job", "EndJobGate"})
        EXPECT_EQ(toolkit.Count(operation), 1) << operation;
    toolkit.ForgetCalls();
    EXPECT_EQ(scan->releaseScanner(), S_OK);
    EXPECT_TRUE(toolkit.Operations().empty());
    // A sheet that was fed for a job that has ended is fed no more.
    ASSERT_EQ(scan->firstScanInit(&kFeeder), S_OK);
    EXPECT_EQ(scan->endAdfJob(), S_OK);
    EXPECT_EQ(scan->releaseScanner(), S_OK);
    EXPECT_EQ(ScanPage(kFeeder), S_FALSE);
    // A job that could not be ended stays open, with the level of the lock that it has left.
    toolkit.sheets = 1;
    ASSERT_EQ(scan->firstScanInit(&kFeeder), S_OK);
    for (const char* operation : {"EndADF2Job", "UnlockScanner"}) {
        toolkit.Fail(operation, OSTREL_COMMUNICATION);
        EXPECT_EQ(scan->endAdfJob(), Result(7)) << operation;
        EXPECT_TRUE(scan->m_bADFJobOpen);
    }
    EXPECT_EQ(toolkit.Levels(), 1) << "the gate's";
    EXPECT_EQ(scan->releaseScanner(), S_OK);
    EXPECT_EQ(toolkit.Levels(), 0);
}

TEST_F(Phases, LampIsWaitedForAndCalibratedOncePerLamp) {
    struct Step {
        const char* what;
        ScanSource source;
        int sleeps, calibrations;
    };
    const auto run = [this](const Step& step) {
        SCOPED_TRACE(step.what);
        clock.sleeps = 0;
        toolkit.ForgetCalls();
        ScanPage(step.source);
        EXPECT_EQ(clock.sleeps, step.sleeps);
        EXPECT_EQ(toolkit.Count("CalibrateScanner"), step.calibrations);
    };
    OpenWith(1);
    run({"found burning", kFlatbed, 0, 1});
    run({"again", kFlatbed, 0, 0});
    run({"from the feeder", kFeeder, 0, 0});
    run({"other lamp", kAdapter, 40, 1});
    run({"other lamp again", kAdapter, 0, 0});
    run({"and back", kFlatbed, 20, 1});
    toolkit.lampOn = 0;
    run({"gone out", kFlatbed, 20, 1});
    toolkit.lampOn = 0;
    Renew();
    OpenWith(0);
    clock.now += 12500;
    run({"the rest of it", kFlatbed, 8, 1});
    toolkit.deviceCaps.lampWarmUpFlatbed = 0;
    toolkit.lampOn = 0;
    OpenWith(0);
    run({"no warm-up", kFlatbed, 0, 1});
    toolkit.deviceCaps.lampWarmUpFlatbed = 5;
    toolkit.lampOn = 0;
    clock.steps = 0;
    OpenWith(0);
    run({"a clock that stands", kFlatbed, 5, 1});
}

TEST_F(Phases, LampThatFailedIsWaitedForAtTheNextAttempt) {
    OpenWith(0);
    toolkit.lampOn = 0;
    ASSERT_EQ(Prepare(kFlatbed), S_OK);
    toolkit.Fail("LampOn", OSTREL_LAMP_OFF);
    EXPECT_EQ(scan->finalScanInit(), Result(1));
    toolkit.lampOn = 1;
    EXPECT_EQ(scan->finalScanInit(), S_OK);
    EXPECT_EQ(clock.sleeps, 20);
    EXPECT_EQ(scan->endScan(), S_OK);
    bool on = true;
    EXPECT_EQ(scan->getLampOn(&on, true), S_OK);
    EXPECT_FALSE(on);
}

TEST_F(Phases, EveryByteThatTheDeviceDeliversIsRead) {
    OpenWith(0);
    toolkit.setup = OstrelScanSetup{4, 12000, {}};  // three buffers of the reader
    for (const DWORD status : {OSTREL_END_OF_MEDIA, OSTREL_ADF_END_OF_PAGE}) {
        for (const DWORD portion : {240u, 50000u, 144000u}) {
            ASSERT_EQ(Start(kFlatbed), S_OK);
            toolkit.linesOfMedia = 11000;
            toolkit.strayBytes = 5;
            toolkit.endStatus = status;
            const Page page = Read(portion);
            EXPECT_EQ(page.result, S_OK);
            std::vector<BYTE> expected = Expected(11001);
            expected.resize(11000 * 12 + 5);
            EXPECT_TRUE(page.bytes == expected) << portion << ": " << page.bytes.size();
            EXPECT_EQ(scan->endScan(), S_OK);
        }
    }
}

TEST_F(Phases, FailedReadTellsTheBytesAheadOfIt) {
    OpenWith(0);
    toolkit.setup = OstrelScanSetup{4, 6000, {}};
    toolkit.Fail("ReadScan", OSTREL_ADF_JAMMED, 2);
    ASSERT_EQ(Start(kFlatbed), S_OK);
    std::binary_semaphore firstLineIsTaken(0);
    std::atomic<int> reads = 0;
    toolkit.onCall = [&](const std::string& name) {
        if (name == "ReadScan" && ++reads == 2)
            firstLineIsTaken.acquire();
    };
    std::vector<BYTE> page(72000);
    DWORD got = 12;
    EXPECT_EQ(scan->readScanData(2, page.data(), 12, &got, 12), S_OK);
    firstLineIsTaken.release();
    got = static_cast<DWORD>(page.size());
    EXPECT_EQ(scan->readScanData(0, page.data(), got, &got, 12), Result(0x0A));
    EXPECT_EQ(got, 65532u - 12) << "the rest of the reader's first buffer";
    EXPECT_EQ(scan->m_dwErrorCode, OSTREL_ADF_JAMMED);
    EXPECT_EQ(scan->endScan(), S_OK);
}

TEST_F(Phases, NothingIsReadWithoutAStart) {
    OpenWith(0);
    BYTE buffer[300] = {};
    DWORD got = sizeof(buffer);
    EXPECT_EQ(scan->readScanData(2, buffer, got, &got, 12), Result(0x0D));
    EXPECT_EQ(got, 0u);
    EXPECT_TRUE(toolkit.Operations().empty());
    ASSERT_EQ(Start(kFlatbed), S_OK);
    got = sizeof(buffer);
    EXPECT_EQ(scan->readScanData(2, buffer, got, &got, 0), Result(0x0D)) << "lines of no bytes";
    EXPECT_EQ(scan->endScan(), S_OK);
}

}  // namespace
