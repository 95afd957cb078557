// Pages from the scanner's lines to what the client gets, and what is left behind when a page does
// not come through.

#include <gtest/gtest.h>

#include "tests/frontend/transfer_rig.h"

namespace {

constexpr LONG kChannelGreen = 3;

TEST_F(CTransferTest, TakesTheSettingsOfItsOwnItem) {
    CItemStore::Item other = store.top;
    other.longs[WIA_IPA_DATATYPE] = WIA_DATA_THRESHOLD;
    CTestItem validatedLast;
    validatedLast.m_longs = other.longs;
    driver->m_pEngine->ReadItemSettings(&validatedLast);
    CTestTransfer transfer(TYMED_CALLBACK);
    EXPECT_EQ(Acquire(transfer), S_OK);
    EXPECT_EQ(transfer.Header().biBitCount, 24);
}

// ---- The band loop, by what goes into the engine

class Bands : public CTransferTest {
  protected:
    Bands() { KeepRaw(); }
    // The stream of the next scan, which must be a whole bitmap from the top.
    Bytes Stream(LONG tymed = TYMED_CALLBACK) {
        std::filesystem::remove(TestFolder() + "/scanraw.bmp");
        CTestTransfer transfer(tymed);
        EXPECT_EQ(Acquire(transfer), S_OK);
        const Bytes raw = Raw();
        const CTestBitmap bitmap(raw);
        EXPECT_EQ(bitmap.info.biHeight, -store.top.longs[WIA_IPA_NUMBER_OF_LINES]);
        EXPECT_EQ(bitmap.info.biWidth, store.top.longs[WIA_IPA_PIXELS_PER_LINE]);
        EXPECT_EQ(DWORD{bitmap.file.bfOffBits}, bitmap.info.biBitCount == 8 ? 54u + 1024 : 54u);
        return {raw.begin() + static_cast<std::ptrdiff_t>(bitmap.file.bfOffBits), raw.end()};
    }
};

TEST_F(Bands, AnyHeightAndWidthAtEqualResolution) {
    for (const auto& [width, height] :
         {std::pair{LONG{1}, LONG{1}}, {4, 20}, {5, 21}, {2, 100}, {533, 41}}) {
        for (const LONG channel : {LONG{0}, kChannelGreen}) {
            store.top.longs[QL_PROP_SCANNER_CHANNEL] = channel;
            Request(width, height);
            const auto page =
                CTestLines::Scanned(static_cast<std::size_t>(width), channel == 0 ? 3 : 1,
                                    static_cast<std::size_t>(height));
            EXPECT_TRUE(Same(Stream(), page.Rows())) << width << " x " << height;
        }
    }
}

// 39.37 inches are a metre.
TEST_F(Bands, HeadersTellThePage) {
    store.top.longs[QL_PROP_SCANNER_CHANNEL] = kChannelGreen;
    Request(41, 31, 200, 600);
    Stream();
    const Bytes raw = Raw();
    const CTestBitmap bitmap(raw);
    EXPECT_EQ(bitmap.info.biSize, 40u);
    EXPECT_EQ(bitmap.info.biPlanes, 1);
    EXPECT_EQ(bitmap.info.biBitCount, 8);
    EXPECT_EQ(bitmap.info.biCompression, 0u);
    EXPECT_EQ(bitmap.info.biSizeImage, 44u * 31);
    EXPECT_EQ(bitmap.info.biXPelsPerMeter, 7874) << "7874.0, and a half";
    EXPECT_EQ(bitmap.info.biYPelsPerMeter, 23622) << "23622.0";
    EXPECT_EQ(bitmap.info.biClrUsed, 256u);
    EXPECT_EQ(bitmap.info.biClrImportant, 0u);
    for (std::size_t i = 0; i < 1024; ++i)
        EXPECT_EQ(raw[54 + i], i % 4 == 3 ? 0 : i / 4);
}

// A bitmap that is wider than the scan, by its padding or by much, is white there; a narrower one
// takes the left of the lines.
TEST_F(Bands, OtherWidthsThanTheScans) {
    for (const LONG channel : {LONG{0}, kChannelGreen}) {
        store.top.longs[QL_PROP_SCANNER_CHANNEL] = channel;
        for (const LONG width : {LONG{1}, LONG{59}, LONG{60}, LONG{62}, LONG{64}, LONG{200}}) {
            Request(61, 45);
            store.top.longs[WIA_IPA_PIXELS_PER_LINE] = width;
            const auto page = CTestLines::Scanned(61, channel == 0 ? 3 : 1, 45);
            EXPECT_TRUE(Same(Stream(), page.Fitted(static_cast<std::size_t>(width)).Rows()))
                << width;
        }
    }
}

// Three bands of 20 lines at 300 make 13.33 lines at 200 each: the third passes 1 by the last bits
// of a third.
TEST_F(Bands, RemaindersOfScaledLinesAddUp) {
    Request(40, 40, 200, 200);
    EXPECT_TRUE(Same(Stream(), CTestLines::Scanned(60, 3, 60).Scaled(40, {13, 13, 14}).Rows()));
    store.top.longs[WIA_IPA_NUMBER_OF_LINES] = 35;
    EXPECT_TRUE(Same(Stream(), CTestLines::Scanned(60, 3, 60).Scaled(40, {13, 13, 9}).Rows()))
        << "none beyond the page";
    store.top.longs[WIA_IPA_NUMBER_OF_LINES] = 26;
    EXPECT_TRUE(Same(Stream(), CTestLines::Scanned(60, 3, 60).Scaled(40, {13, 13}).Rows()))
        << "a band that owes none gives none";
}

TEST_F(Bands, ScalingInOneDirectionAndUpwards) {
    Request(61, 30, 300, 150);  // 60 lines of the device, as its resolutions are equal
    EXPECT_TRUE(Same(Stream(), CTestLines::Scanned(61, 3, 60).Scaled(61, {10, 10, 10}).Rows()));
    Request(40, 45, 200, 300);
    EXPECT_TRUE(Same(Stream(), CTestLines::Scanned(60, 3, 45).Scaled(40, {20, 20, 5}).Rows()));
    Request(64, 48, 4800, 4800);  // the device ends at 2400
    EXPECT_TRUE(Same(Stream(), CTestLines::Scanned(32, 3, 24).Scaled(64, {40, 8}).Rows()));
    // With equal resolutions across and other widths, lines still lie at the scan's stride.
    Request(61, 30, 300, 150);
    store.top.longs[WIA_IPA_PIXELS_PER_LINE] = 100;
    EXPECT_TRUE(Same(Stream(), CTestLines::Scanned(61, 3, 60).Scaled(100, {10, 10, 10}).Rows()));
}

// 27 lines come, and a part of one more.
TEST_F(Bands, MediaThatEndEarly) {
    toolkit.linesOfMedia = 27;
    toolkit.strayBytes = 50;
    EXPECT_TRUE(Same(Stream(TYMED_CALLBACK), CTestLines::Scanned(61, 3, 47, 27).Rows()))
        << "the page keeps its height";
    EXPECT_TRUE(Same(Stream(TYMED_FILE), CTestLines::Scanned(61, 3, 27).Rows()));
    toolkit.linesOfMedia = 0;
    toolkit.strayBytes = 0;
    EXPECT_TRUE(Same(Stream(), CTestLines::Scanned(61, 3, 47, 0).Rows()));
    // A read that fails ends the media as well.
    toolkit.linesOfMedia = ~0u;
    toolkit.FailAlways("ReadScan", OSTREL_COMMUNICATION);
    EXPECT_TRUE(Same(Stream(), CTestLines::Scanned(61, 3, 47, 0).Rows()));
    toolkit.Heal();
}

TEST_F(Bands, TheRawFileHasTheNameThatIsAskedFor) {
    KeepRaw(TestFolder() + "/stream.bmp");
    EXPECT_EQ(Scan(), S_OK);
    const Bytes raw = Whole(TestFolder() + "/stream.bmp");
    EXPECT_EQ(raw.size(), 54u + 47 * 184);
    KeepRaw(TestFolder() + "/none/stream.bmp");
    EXPECT_EQ(Scan(), S_OK) << "and nobody misses it";
}

// ---- Feeder jobs

class FeederJob : public CTransferTest {
  protected:
    FeederJob() { Select(FEEDER); }
    void Select(LONG select) {
        store.root.longs[WIA_DPS_DOCUMENT_HANDLING_SELECT] = select;
        store.root.longs[WIA_DPS_DOCUMENT_HANDLING_STATUS] = 77;
    }
    // The call behind the last page, which the device doesn't hear of.
    void ExpectSpent() {
        EXPECT_EQ(toolkit.Levels(), 0) << "the job has ended with its last page";
        toolkit.ForgetCalls();
        EXPECT_EQ(Scan(), WIA_ERROR_PAPER_EMPTY);
        EXPECT_EQ(toolkit.Operations(), std::vector<std::string>());
        EXPECT_EQ(store.root.longs[WIA_DPS_DOCUMENT_HANDLING_STATUS], FLAT_READY);
        EXPECT_EQ(store.top.longs.count(WIA_DPS_DOCUMENT_HANDLING_STATUS), 0u);
    }
};

TEST_F(FeederJob, WithoutPaperNothingIsScannedAndNothingHeld) {
    EXPECT_EQ(Scan(), WIA_ERROR_PAPER_EMPTY);
    EXPECT_EQ(toolkit.Count("StartScan"), 0);
    EXPECT_EQ(toolkit.Levels(), 0);
    toolkit.Fail("IsPaperInADF", OSTREL_COMMUNICATION);
    EXPECT_EQ(Scan(), driver->m_pScan->mapToolkitError(OSTREL_COMMUNICATION))
        << "not to know is not to be empty";
}

TEST_F(FeederJob, AnotherSelectOrPaperThatIsSeenForgetsThatItWasSpent) {
    toolkit.sheets = 1;
    EXPECT_EQ(Scan(), S_OK);
    Select(FLATBED);
    EXPECT_EQ(Scan(), S_OK);
    EXPECT_EQ(toolkit.started.source, OSTREL_SOURCE_FLATBED);
    Select(FEEDER);
    toolkit.sheets = 1;
    EXPECT_EQ(Scan(), S_OK);
    EXPECT_TRUE(driver->m_bFeederEmpty);
    toolkit.sheets = 1;
    GeomControl geometry = {};
    DWORD width = 0;
    DWORD lines = 0;
    EXPECT_EQ(driver->ValidateWidthHeight(store.top.Context(), geometry, width, lines), S_OK);
    EXPECT_EQ(Scan(), S_OK) << "loaded anew, it scans at the first call";
}

TEST_F(FeederJob, ACancelledPageGivesUpTheJob) {
    toolkit.sheets = 3;
    CTestTransfer transfer(TYMED_CALLBACK);
    transfer.act = [](const auto&) { return S_FALSE; };
    EXPECT_EQ(Acquire(transfer), S_FALSE);
    EXPECT_EQ(toolkit.Count("EndScan"), 1);
    EXPECT_EQ(toolkit.Levels(), 0);
    EXPECT_FALSE(driver->m_bFeederEmpty);
    EXPECT_EQ(Scan(), S_OK);
    EXPECT_EQ(toolkit.sheets, 1);
    CTestTransfer last(TYMED_CALLBACK);
    last.act = transfer.act;
    EXPECT_EQ(Acquire(last), S_FALSE);
    EXPECT_TRUE(driver->m_bFeederEmpty) << "the end of the page has told";
    ExpectSpent();
}

// ---- Sources

TEST_F(CTransferTest, SourcesFollowDevicePaperAndRoot) {
    const auto resolve = [this](LONG tmaDefault = 0) {
        return driver->ResolveSource(store.top.Context(), tmaDefault);
    };
    auto& root = store.root.longs;
    root[WIA_DPS_DOCUMENT_HANDLING_SELECT] = DUPLEX;
    EXPECT_EQ(resolve().useADF, 0) << "no paper";
    toolkit.sheets = 1;
    EXPECT_EQ(resolve().useADF, 1);
    EXPECT_EQ(resolve().duplex, 1);
    toolkit.adf2Caps.adfDuplexFlags = 0;
    driver.reset();
    MakeDriver();
    EXPECT_EQ(resolve().duplex, 0) << "can't be asked for";
    for (const LONG select : {FLATBED, FEEDER | DUPLEX, LONG{0}}) {
        root[WIA_DPS_DOCUMENT_HANDLING_SELECT] = select;
        EXPECT_EQ(resolve().useADF, 0) << select;
    }
    root[QL_PROP_TMA_SELECT] = 1;
    EXPECT_EQ(resolve().useXPA, 0) << "the controller hasn't been told";
    driver->m_pScan->setUseXpa(true);
    EXPECT_EQ(resolve().useXPA, 1);
    root.erase(QL_PROP_TMA_SELECT);
    EXPECT_EQ(resolve(0).useXPA, 0);
    EXPECT_EQ(resolve(1).useXPA, 1);
    // A device that has nothing else is always asked for its feeder.
    toolkit.deviceCaps.wPaperPath = OSTREL_PAPER_PATH_FEEDER_ONLY;
    toolkit.sheets = 0;
    driver.reset();
    MakeDriver();
    driver->m_pScan->setUseXpa(true);
    EXPECT_EQ(resolve(1).useADF, 1);
    EXPECT_EQ(resolve(1).useXPA, 0);
    EXPECT_EQ(Scan(), MakeResult(0x80040012)) << "paper is out on a feeder-only device";
}

// ---- Preparation

TEST_F(CTransferTest, PreparationSettlesTheFormatWithTheDevice) {
    GeomControl geometry = {};
    DWORD width = 0;
    DWORD lines = 0;
    const auto prepare = [&] {
        store.top.writes.clear();
        return driver->ValidateWidthHeight(store.top.Context(), geometry, width, lines);
    };
    using Writes = std::vector<std::pair<PROPID, LONG>>;
    // The television gray is the device's own where that can be had.
    store.top.longs[QL_PROP_SCANNER_CHANNEL] = 1;
    Request(61, 47, 2400, 2400);
    EXPECT_EQ(prepare(), S_OK);
    EXPECT_EQ(store.top.writes, (Writes{{71711, 1}, {QL_PROP_SCANNER_CHANNEL, 5}}));
    EXPECT_EQ(geometry.scanXRes, 2400);
    EXPECT_EQ(geometry.xExtent2, 61);
    EXPECT_EQ(geometry.yExtent2, 47);
    EXPECT_EQ(width, 56u) << "61 pixels at 2400 are 7 units of 1/300 inch";

    store.top.failingWrites[71711] = E_UNEXPECTED;
    EXPECT_EQ(prepare(), E_UNEXPECTED);
    EXPECT_EQ(Scan(), E_UNEXPECTED);
    store.top.failingWrites = {{QL_PROP_SCANNER_CHANNEL, E_UNEXPECTED}};
    EXPECT_EQ(prepare(), E_UNEXPECTED);
    store.top.failingWrites.clear();
    // A window that can't be read is one of nothing, and its pages are refused.
    store.top.failingReads[WIA_IPS_XEXTENT] = E_UNEXPECTED;
    EXPECT_EQ(prepare(), S_OK);
    EXPECT_EQ(width, 0u);
    EXPECT_EQ(Scan(), MakeResult(0x80040001));
    store.top.failingReads.clear();

    toolkit.deviceCaps.colorDepths[0] = 16;
    toolkit.deviceCaps.colorDepths[1] = 0;
    store.top.longs[QL_PROP_SCANNER_CHANNEL] = 0;
    driver.reset();
    MakeDriver();
    EXPECT_EQ(prepare(), E_FAIL) << "16 bits a sample are more than a bitmap has";
    EXPECT_EQ(Scan(), E_FAIL);
    EXPECT_EQ(toolkit.Count("StartScan"), 0);
}

// ---- Failures

TEST_F(CTransferTest, FailuresOfTheScannerReachTheCallerAndTheNextPageComes) {
    const Bytes kGood = [this] {
        CTestTransfer transfer(TYMED_CALLBACK);
        EXPECT_EQ(Acquire(transfer), S_OK);
        return transfer.Data();
    }();
    for (const char* operation : {"GetScanSetup", "SetTonemap", "CalibrateScanner", "StartScan"}) {
        SCOPED_TRACE(operation);
        for (const LONG tymed : {TYMED_CALLBACK, TYMED_FILE}) {
            driver.reset();
            MakeDriver();  // which has to calibrate
            toolkit.Fail(operation, OSTREL_COMMUNICATION);
            CTestTransfer transfer(tymed);
            EXPECT_EQ(Acquire(transfer), driver->m_pScan->mapToolkitError(OSTREL_COMMUNICATION));
            EXPECT_TRUE(transfer.messages.empty());
            EXPECT_EQ(toolkit.Levels(), 0);
            toolkit.Heal();
            CTestTransfer next(TYMED_CALLBACK);
            EXPECT_EQ(Acquire(next), S_OK);
            EXPECT_TRUE(Same(next.Data(), kGood));
        }
    }
}

TEST_F(CTransferTest, EndsTheScanWhenThereIsNoMemoryForTheBands) {
    Request(61, 47, 300, 300);
    store.top.longs[WIA_IPS_YRES] = 2000000000;
    store.top.longs[WIA_IPS_YEXTENT] = 2000000000;
    EXPECT_EQ(Scan(), E_OUTOFMEMORY);
    EXPECT_EQ(toolkit.Count("StartScan"), 1);
    EXPECT_EQ(toolkit.Count("EndScan"), 1);
    EXPECT_EQ(toolkit.Levels(), 0);
    Request(61, 47);
    EXPECT_EQ(Scan(), S_OK);
}

TEST_F(CTransferTest, NonsenseIsRefusedBeforeTheScannerHearsOfIt) {
    toolkit.ForgetCalls();
    LONG error = 0;
    CTestTransfer transfer(TYMED_CALLBACK);
    EXPECT_EQ(driver->drvAcquireItemData(nullptr, 0, &transfer.context, &error), E_INVALIDARG);
    EXPECT_EQ(driver->drvAcquireItemData(store.top.Context(), 0, nullptr, &error), E_INVALIDARG);
    transfer.context.lSize = 143;
    EXPECT_EQ(Acquire(transfer), E_INVALIDARG);
    transfer.context.lSize = sizeof(transfer.context);
    transfer.context.lBufferSize = 0;
    EXPECT_EQ(Acquire(transfer), E_INVALIDARG);
    transfer.context.lBufferSize = 100;
    transfer.context.pTransferBuffer = nullptr;
    EXPECT_EQ(Acquire(transfer), E_INVALIDARG);
    for (const PROPID id :
         {WIA_IPS_XRES, WIA_IPS_YRES, WIA_IPA_PIXELS_PER_LINE, WIA_IPA_NUMBER_OF_LINES}) {
        for (const LONG value : {LONG{0}, LONG{-1}, std::numeric_limits<LONG>::min()}) {
            Request(61, 47);
            store.top.longs[id] = value;
            EXPECT_EQ(Scan(), E_INVALIDARG) << id << " = " << value;
        }
    }
    store.top.longs[WIA_IPA_PIXELS_PER_LINE] = std::numeric_limits<LONG>::max();
    EXPECT_EQ(Scan(), E_INVALIDARG);
    EXPECT_EQ(toolkit.Operations(), std::vector<std::string>());
    driver->m_pImageStream.Reset();
    EXPECT_EQ(Scan(), E_FAIL) << "not opened";
}

}  // namespace
