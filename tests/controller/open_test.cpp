#include "tests/controller/controller_rig.h"

namespace {

using OpenScanner = CControllerTest;

// The operations that have been called, in a row, without the locks.
std::string Asked(const CLyingToolkit& toolkit) {
    std::string asked;
    for (const auto& call : toolkit.Calls()) {
        if (call.operation != LockScanner && call.operation != UnlockScanner)
            asked += std::string(OperationOf(call.operation).name) + ' ';
    }
    return asked;
}

TEST_F(OpenScanner, PlainDeviceIsAWorkingFlatbed) {
    toolkit.WithoutFacets();
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(Asked(toolkit), "OpenDevice GetDeviceCapabilities IsLampOn FinishOpen ");
    using Is = HRESULT (CNVScan::*)(bool*);
    for (const Is is : {&CNVScan::hasAdf, &CNVScan::hasXpa, &CNVScan::hasDuplex,
                        &CNVScan::canRequestDuplex, &CNVScan::hasColorMatrix, &CNVScan::adfReady,
                        &CNVScan::getDuplexEnabled, &CNVScan::getAdfOptionFlag}) {
        bool yes = true;
        EXPECT_EQ((scan.get()->*is)(&yes), S_OK);
        EXPECT_FALSE(yes);
    }
    bool isNot = false;
    DWORD number = 7;
    EXPECT_EQ(scan->isNotSheetThroughAdf(&isNot), S_OK);
    EXPECT_TRUE(isNot);
    EXPECT_EQ(scan->getAdfFlags(&number), Result(1));
    EXPECT_EQ(scan->setCompressionType(OSTREL_JPEG), E_INVALIDARG);
    EXPECT_EQ(scan->setLampTimeoutLevel(3), S_OK);
    EXPECT_EQ(scan->setPanelText(u"text"), S_OK);
    EXPECT_EQ(scan->getFirstUseDate(&number), E_FAIL);
    EXPECT_EQ(ScanPage(kFromFlatbed), S_OK);
}

TEST_F(OpenScanner, AsksEverythingInItsOrder) {
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(Asked(toolkit),
              "OpenDevice GetDeviceCapabilities IsXPALampOn IsLampOn LampOn GetADF2Capabilities "
              "GetADF3Capabilities GetXPACapabilities GetMediaSummary GetMediaRecord "
              "GetMediaRecord GetMediaRecord GetPanelCapabilities GetColorMatrixCapabilities "
              "GetNvramInfo ReadNvram WriteNvram ReadNvram GetCompressionCapabilities "
              "GetResolutionTable GetResolutionTable GetResolutionTable GetProfileSize "
              "ReadProfile FinishOpen ");
    DWORD number = 0;
    EXPECT_EQ(scan->getXpaMediaType(2, &number), S_OK);
    EXPECT_EQ(number, 4u);
    EXPECT_EQ(scan->getXpaMediaType(3, &number), E_INVALIDARG);
    EXPECT_EQ(scan->getScanCount(&number), S_OK);
    EXPECT_EQ(number, 1000u);
    EXPECT_EQ(scan->setLampTimeoutLevel(2), S_OK);
    EXPECT_EQ(toolkit.LastValue(SetLampTimeout), 60u);
    EXPECT_EQ(scan->setLampTimeoutLevel(3), E_INVALIDARG);
    EXPECT_EQ(scan->setPanelText(u"Ready"), S_OK);
    EXPECT_EQ(device.State().panelText, "Ready");
}

TEST_F(OpenScanner, FeaturesThatArentAttachedAreDropped) {
    device.SetIni(
        "[simulator]\nmodel=SIM500D\n[adf2]\nhasADF=0\n[adf3]\nhasADF=0\n"
        "[xpa]\nhasXPA=0\n[flatbed]\npicture=page.bmp\n[device]\nlampWarmUpFlatbed=0\n");
    WriteWholeFile(device.Path() + "/state", "");  // the count of scans was never set
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(toolkit.Count(GetMediaSummary), 0);
    bool yes = true;
    DWORD number = 7;
    EXPECT_EQ(scan->hasAdf(&yes), S_OK);
    EXPECT_FALSE(yes);
    EXPECT_EQ(scan->getScanCount(&number), S_OK);
    EXPECT_EQ(number, 0u);
    EXPECT_EQ(ScanPage(kFromFlatbed), S_OK);
    EXPECT_EQ(scan->getScanCount(&number), S_OK);
    EXPECT_EQ(number, 1u);
    yes = true;
    EXPECT_EQ(scan->setUseXpa(true), S_OK);
    EXPECT_EQ(scan->getUseXpa(&yes), S_OK);
    EXPECT_TRUE(yes) << "left alone";
}

TEST_F(OpenScanner, FindsTheLampThatBurns) {
    enum Offers { Facet, Property, Nothing };
    const struct {
        Offers offers;
        int lamp;
        DWORD source;
        int flatbedOn, adapterOn;  // calls that switch or touch
    } cases[] = {
        {Facet, 1, 1, 1, 0},    {Facet, 2, 2, 0, 1},    {Facet, 0, 1, 1, 0},
        {Property, 1, 1, 1, 0}, {Property, 2, 2, 0, 1}, {Property, 0, 1, 1, 0},
        {Nothing, 1, 1, 0, 0},  {Nothing, 0, 1, 1, 0},
    };
    for (const auto& c : cases) {
        Place(c.lamp, 0);
        CLyingToolkit scanner(device);
        if (c.offers != Facet)
            scanner.Without(IID_IOstrelXPALamp);
        if (c.offers == Nothing)
            scanner.Without(IID_IOstrelProperties);
        COpenScan controller(&scanner, clock);
        EXPECT_EQ(controller.initDriver(device.Port().c_str(), 1), S_OK);
        EXPECT_EQ(controller.m_lampSource, c.source) << c.offers << ' ' << c.lamp;
        EXPECT_EQ(device.State().lamp, c.source) << c.offers << ' ' << c.lamp;
        EXPECT_EQ(scanner.Count(LampOn), c.flatbedOn) << c.offers << ' ' << c.lamp;
        EXPECT_EQ(scanner.Count(XPALampOn), c.adapterOn) << c.offers << ' ' << c.lamp;
    }
}

TEST_F(OpenScanner, TablesComeFromTheDevicesProfileIfItHasAUsableOne) {
    const auto lidColor = [this] {
        DefaultsRecord defaults = {};
        EXPECT_EQ(scan->getDefaults(&defaults), S_OK);
        return defaults.m_lidColor;
    };
    DefaultsRecord defaults = {};
    EXPECT_EQ(scan->getDefaults(&defaults), E_FAIL) << "not open yet";
    EXPECT_EQ(scan->getDefaults(nullptr), E_POINTER);
    WriteWholeFile(device.Path() + "/own", "DEFAULTS\n200 200 1 0 1 1200 980 0 1 77 180\n");
    device.SetIni("[simulator]\nmodel=SIM500D\n[profile]\nfile=own\n");
    // All sixteen characters, without a zero behind them.
    toolkit.Lie<OstrelDeviceCaps>(GetDeviceCapabilities,
                                  [](auto& caps) { std::fill_n(caps.model, 16, 'M'); });
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(lidColor(), 77);
    for (const DWORD size : {0u, 10000u, 0xFFFFFFFFu}) {
        toolkit.Lie<DWORD>(GetProfileSize, [=](DWORD& bytes) { bytes = size; });
        toolkit.ForgetCalls();
        ASSERT_EQ(Open(), S_OK);
        EXPECT_EQ(lidColor(), 240) << "the built-in one's";
        EXPECT_EQ(toolkit.Count(ReadProfile), 0);
    }
    EXPECT_EQ(scan->closeScanner(), S_OK);
    EXPECT_EQ(scan->getDefaults(&defaults), E_FAIL);
}

TEST_F(OpenScanner, FailedOpeningAsksNoMoreAndIsTakenUpAgain) {
    toolkit.Fail(GetADF2Capabilities, OSTREL_COMMUNICATION);
    EXPECT_EQ(Open(), Result(7));
    EXPECT_EQ(toolkit.Count(GetXPACapabilities) + toolkit.Count(FinishOpen), 0);
    EXPECT_EQ(scan->m_dwErrorCode, OSTREL_COMMUNICATION);
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(toolkit.OpenSessions(), 1);
    EXPECT_EQ(ScanPage(kFromFlatbed), S_OK);
}

TEST_F(OpenScanner, NothingOfAClosedSessionIsUsed) {
    Place(1, 2);
    ASSERT_EQ(Open(), S_OK);
    ASSERT_EQ(Start(kFromFeeder), S_OK);
    Bytes line(36);
    DWORD got = 36;
    EXPECT_EQ(scan->readScanData(kScanReadOpen, line.data(), got, &got, got), S_OK);
    EXPECT_EQ(scan->closeScanner(), S_OK);
    EXPECT_EQ(toolkit.Count(EndScan), 1);
    EXPECT_EQ(toolkit.Count(EndADF2Job), 1);
    EXPECT_EQ(toolkit.OpenSessions(), 0);
    toolkit.ForgetCalls();
    bool on = true;
    EXPECT_EQ(scan->closeScanner(), S_OK) << "once more";
    EXPECT_EQ(scan->releaseScanner(), S_OK);
    EXPECT_EQ(scan->endScan(), S_OK);
    EXPECT_EQ(scan->getLampOn(&on, false), Result(1));
    EXPECT_EQ(scan->firstScanInit(&kFromFlatbed), Result(1));
    EXPECT_TRUE(toolkit.Calls().empty());
    ASSERT_EQ(Open(), S_OK);
    toolkit.Fail(LockScanner, OSTREL_LOCK_FAILED);
    toolkit.Fail(CloseDevice, OSTREL_COMMUNICATION);
    EXPECT_EQ(scan->closeScanner(), Result(6)) << "the first failure, and closed all the same";
    EXPECT_EQ(toolkit.OpenSessions(), 0);
}

TEST_F(OpenScanner, FirmwareVersionIsAlwaysAText) {
    const auto version = [this](HRESULT expected) {
        LPOLESTR text = nullptr;
        EXPECT_EQ(scan->getFirmwareVersion(&text), expected);
        const std::u16string copy = text ? text : u"null";
        CoTaskMemFree(text);
        return copy;
    };
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(version(S_OK), u"SIM 5.00D");
    toolkit.Fail(LockScanner, OSTREL_LOCK_FAILED);
    EXPECT_EQ(version(Result(6)), u"n/a");
    toolkit.Fail(GetStringProperty, OSTREL_INVALID_HW_PROPERTY);
    EXPECT_EQ(version(Result(1)), u"n/a");
    toolkit.Without(IID_IOstrelProperties);
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(version(S_OK), u"n/a");
}

// The log tells an operation's result with the device's error: one that is refused has none.
TEST_F(OpenScanner, RefusalIsNotToldWithAnEarlierOperationsError) {
    toolkit.Without(IID_IOstrelXPA);
    ASSERT_EQ(Open(), S_OK);
    const std::pair<HRESULT, std::function<HRESULT()>> refusals[] = {
        {E_POINTER, [this] { return scan->firstScanInit(nullptr); }},
        {E_INVALIDARG, [this] { return scan->firstScanInit(&kFromAdapter); }},
        {E_POINTER, [this] { return scan->secondScanInit(nullptr, nullptr); }},
        {E_INVALIDARG, [this] { return scan->setLampOn(true); }},
        {E_POINTER, [this] { return scan->getLampOn(nullptr, false); }},
        {E_POINTER, [this] { return scan->getFirmwareVersion(nullptr); }},
        {E_POINTER, [this] { return scan->getFirstUseDate(nullptr); }},
        {E_POINTER, [this] { return scan->initDriver(nullptr, 1); }},
    };
    for (const auto& [result, refused] : refusals) {
        bool on = false;
        toolkit.Fail(LockScanner, OSTREL_LOCK_FAILED);
        EXPECT_EQ(scan->getLampOn(&on, false), Result(6));
        EXPECT_EQ(scan->m_dwErrorCode, OSTREL_LOCK_FAILED);
        EXPECT_EQ(refused(), result);
        EXPECT_EQ(scan->m_dwErrorCode, OSTREL_NO_ERROR) << &result - &refusals->first;
    }
}

}  // namespace
