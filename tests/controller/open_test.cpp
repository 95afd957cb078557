#include <cstring>

#include "platform/registry.h"
#include "tests/controller/controller_rig.h"
#include "tests/diag/log_rig.h"

namespace {

using OpenScanner = CControllerTest;
using Operations = std::vector<std::string>;

// Without the locks.
Operations Asked(const CFakeToolkit& toolkit) {
    Operations asked = toolkit.Operations();
    std::erase_if(asked, [](const std::string& name) {
        return name == "LockScanner" || name == "UnlockScanner";
    });
    return asked;
}

TEST_F(OpenScanner, PlainDeviceIsAWorkingFlatbed) {
    toolkit.WithoutFacets();
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(toolkit.Operations(),
              (Operations{"OpenDevice", "LockScanner", "GetDeviceCapabilities", "LockScanner",
                          "IsLampOn", "UnlockScanner", "FinishOpen", "UnlockScanner"}));
    bool yes = true;
    DWORD number = 7;
    using Is = HRESULT (CNVScan::*)(bool*);
    for (const Is is : {&CNVScan::hasAdf, &CNVScan::hasXpa, &CNVScan::hasDuplex,
                        &CNVScan::canRequestDuplex, &CNVScan::hasColorMatrix, &CNVScan::adfReady,
                        &CNVScan::getDuplexEnabled, &CNVScan::getAdfOptionFlag}) {
        yes = true;
        EXPECT_EQ((scan.get()->*is)(&yes), S_OK);
        EXPECT_FALSE(yes);
    }
    EXPECT_EQ(scan->isNotSheetThroughAdf(&yes), S_OK);
    EXPECT_TRUE(yes);
    EXPECT_EQ(scan->getAdfFlags(&number), Result(1));
    EXPECT_EQ(scan->setCompressionType(OSTREL_JPEG), E_INVALIDARG);
    EXPECT_EQ(scan->setLampTimeoutLevel(3), S_OK);
    EXPECT_EQ(scan->setPanelText(u"text"), S_OK);
    EXPECT_EQ(scan->getFirstUseDate(&number), E_FAIL);
    EXPECT_EQ(ScanPage(kFlatbed), S_OK);
}

TEST_F(OpenScanner, AsksEverythingInItsOrder) {
    toolkit.media.resize(2);
    toolkit.media[1].type = 5;
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(Asked(toolkit), (Operations{"OpenDevice",
                                          "GetDeviceCapabilities",
                                          "IsXPALampOn",
                                          "IsLampOn",
                                          "LampOn",
                                          "GetADF2Capabilities",
                                          "GetADF3Capabilities",
                                          "GetXPACapabilities",
                                          "GetMediaSummary",
                                          "GetMediaRecord",
                                          "GetMediaRecord",
                                          "GetPanelCapabilities",
                                          "GetColorMatrixCapabilities",
                                          "GetNvramInfo",
                                          "ReadNvram",
                                          "ReadNvram",
                                          "GetCompressionCapabilities",
                                          "GetResolutionTable",
                                          "GetResolutionTable",
                                          "GetResolutionTable",
                                          "GetProfileSize",
                                          "FinishOpen"}));
    DWORD number = 0;
    EXPECT_EQ(scan->getXpaMediaType(1, &number), S_OK);
    EXPECT_EQ(number, 5u);
    EXPECT_EQ(scan->getXpaMediaType(2, &number), E_INVALIDARG);
    EXPECT_EQ(scan->getScanCount(&number), S_OK);
    EXPECT_EQ(number, 1000u);
    EXPECT_EQ(scan->getFirstUseDate(&number), S_OK);
    EXPECT_EQ(number, 29u | 2 << 8 | 2020 << 16);
    EXPECT_EQ(scan->setLampTimeoutLevel(2), S_OK);
    EXPECT_EQ(toolkit.LastValue("SetLampTimeout"), 60u);
    EXPECT_EQ(scan->setLampTimeoutLevel(3), E_INVALIDARG);
    EXPECT_EQ(scan->setPanelText(u"Ready"), S_OK);
    EXPECT_EQ(toolkit.panelText, u"Ready");
    EXPECT_EQ(toolkit.LastValue("SetPanelText"), 12u) << "bytes, with the zero";
}

TEST_F(OpenScanner, FeaturesThatArentAttachedAreDropped) {
    toolkit.media.resize(1);
    toolkit.adf2Caps.hasADF = toolkit.adf3Caps.hasADF = toolkit.xpaCaps.hasXPA = 0;
    toolkit.nvram[OSTREL_NVRAM_SCAN_COUNT] = 0xFFFFFFFF;
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(toolkit.Count("GetMediaSummary"), 0);
    EXPECT_FALSE(scan->m_spXPAMedia);
    EXPECT_FALSE(scan->m_spADF3);
    bool has = true;
    EXPECT_EQ(scan->hasAdf(&has), S_OK);
    EXPECT_FALSE(has);
    DWORD number = 7;
    EXPECT_EQ(scan->getScanCount(&number), S_OK);
    EXPECT_EQ(number, 0u);
    EXPECT_EQ(ScanPage(kFlatbed), S_OK);
    EXPECT_EQ(scan->getScanCount(&number), S_OK);
    EXPECT_EQ(number, 1u);
    bool use = true;
    EXPECT_EQ(scan->setUseXpa(true), S_OK);
    EXPECT_EQ(scan->getUseXpa(&use), S_OK);
    EXPECT_TRUE(use) << "left alone";
}

TEST_F(OpenScanner, FindsTheLampThatBurns) {
    enum Offers { Facet, Property, Nothing };
    const struct {
        Offers offers;
        DWORD lampOn;
        DWORD source;
        DWORD lampAfter;
        int flatbedOn, adapterOn;  // calls that switch or touch
    } cases[] = {
        {Facet, 1, 1, 1, 1, 0},    {Facet, 2, 2, 2, 0, 1},    {Facet, 0, 1, 1, 1, 0},
        {Property, 1, 1, 1, 1, 0}, {Property, 2, 2, 2, 0, 1}, {Property, 0, 1, 1, 1, 0},
        {Nothing, 1, 1, 1, 0, 0},  {Nothing, 0, 1, 1, 1, 0},
    };
    for (const auto& c : cases) {
        CFakeToolkit device;
        if (c.offers != Facet)
            device.Without(IID_IOstrelXPALamp);
        if (c.offers == Property)
            device.longs[u"CurrentLampOn"] = c.lampOn;
        device.lampOn = c.lampOn;
        COpenScan controller(&device, clock);
        EXPECT_EQ(controller.initDriver(u"port", 1), S_OK);
        EXPECT_EQ(controller.m_lampSource, c.source);
        EXPECT_EQ(device.lampOn, c.lampAfter);
        EXPECT_EQ(device.Count("LampOn"), c.flatbedOn) << c.offers << ' ' << c.lampOn;
        EXPECT_EQ(device.Count("XPALampOn"), c.adapterOn) << c.offers << ' ' << c.lampOn;
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
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(lidColor(), 240) << "no profile in the device: the built-in one";
    toolkit.profile = "DEFAULTS\n200 200 1 0 1 1200 980 0 1 77 180\n";
    std::memset(toolkit.deviceCaps.model, 'M', sizeof(toolkit.deviceCaps.model));
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(lidColor(), 77);
    for (const DWORD size : {10000u, 0xFFFFFFFFu}) {
        toolkit.profileSize = size;
        toolkit.ForgetCalls();
        ASSERT_EQ(Open(), S_OK);
        EXPECT_EQ(lidColor(), 240);
        EXPECT_EQ(toolkit.Count("ReadProfile"), 0);
    }
    EXPECT_EQ(scan->closeScanner(), S_OK);
    EXPECT_EQ(scan->getDefaults(&defaults), E_FAIL);
}

TEST_F(OpenScanner, FailedOpeningIsTakenUpAgain) {
    toolkit.Fail("FinishOpen", OSTREL_NO_ERROR);
    EXPECT_EQ(Open(), CFakeToolkit::kFailure) << "a failure without a code is its own result";
    toolkit.Fail("OpenDevice", OSTREL_NOT_FOUND);
    EXPECT_EQ(Open(), Result(3));
    EXPECT_EQ(toolkit.OpenSessions(), 0);
    toolkit.Fail("GetADF2Capabilities", OSTREL_COMMUNICATION);
    toolkit.ForgetCalls();
    EXPECT_EQ(Open(), Result(7));
    EXPECT_EQ(toolkit.Count("GetXPACapabilities") + toolkit.Count("FinishOpen"), 0);
    EXPECT_EQ(scan->m_dwErrorCode, OSTREL_COMMUNICATION);
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(toolkit.OpenSessions(), 1);
    EXPECT_EQ(ScanPage(kFlatbed), S_OK);
}

TEST_F(OpenScanner, NothingOfAClosedSessionIsUsed) {
    toolkit.sheets = 2;
    ASSERT_EQ(Open(), S_OK);
    ASSERT_EQ(Start(kFeeder), S_OK);
    std::vector<BYTE> line(toolkit.BytesPerLine());
    DWORD got = static_cast<DWORD>(line.size());
    EXPECT_EQ(scan->readScanData(2, line.data(), got, &got, got), S_OK);
    EXPECT_EQ(scan->closeScanner(), S_OK);
    EXPECT_EQ(toolkit.Count("EndScan"), 1);
    EXPECT_EQ(toolkit.Count("EndADF2Job"), 1);
    EXPECT_EQ(toolkit.OpenSessions(), 0);
    toolkit.ForgetCalls();
    bool on = true;
    EXPECT_EQ(scan->closeScanner(), S_OK) << "once more";
    EXPECT_EQ(scan->releaseScanner(), S_OK);
    EXPECT_EQ(scan->endScan(), S_OK);
    EXPECT_EQ(scan->getLampOn(&on, false), Result(1));
    EXPECT_EQ(scan->firstScanInit(&kFlatbed), Result(1));
    EXPECT_EQ(toolkit.Operations(), Operations());
    ASSERT_EQ(Open(), S_OK);
    toolkit.Fail("LockScanner", OSTREL_LOCK_FAILED);
    toolkit.Fail("CloseDevice", OSTREL_COMMUNICATION);
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
    EXPECT_EQ(version(S_OK), u"1.07");
    toolkit.Fail("LockScanner", OSTREL_LOCK_FAILED);
    EXPECT_EQ(version(Result(6)), u"n/a");
    toolkit.firmware.reset();
    EXPECT_EQ(version(Result(1)), u"n/a");
    toolkit.Without(IID_IOstrelProperties);
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(version(S_OK), u"n/a");
}

// With the toolkit's own result; the adapter's line ends each opening that has failed by then.
TEST_F(OpenScanner, FailureToReadARecordIsLogged) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE,
                              "Software\\Norvane\\Lumetra\\Ostrel\\"
                              "{12AB34CD-5678-9ABC-DEF0-010203040506}",
                              0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    const auto set = [key](const char* name, DWORD value) {
        RegSetValueExA(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                       sizeof(value));
    };
    set("LogEnabled", 1);
    set("LogLevel", kLogGeneral | kLogInformation);
    set("LogDestination", kLogToDebugger);
    scan.reset();  // holds settings from before
    const CConfigHold hold;
    std::string shown;
    const DebugStringHook before = SetDebugStringHook([&](LPCSTR text) { shown += text; });
    Renew();
    const auto logged = [&](const char* operation) {
        shown.clear();
        toolkit.Fail(operation, OSTREL_COMMUNICATION);
        EXPECT_EQ(Open(), Result(7));
        std::string found;
        for (std::size_t at = 0; (at = shown.find("initDriver:", at)) != std::string::npos; ++at)
            found += shown.substr(at, shown.find('\n', at) - at) + ';';
        return found;
    };
    EXPECT_EQ(logged("GetADF2Capabilities"),
              "initDriver: GetADF2Capabilities failed 8000ffff;initDriver:GetADF2Caps HasADF 0;"
              "initDriver: GetXPACapabilities failed 8000ffff;");
    EXPECT_EQ(logged("GetXPACapabilities"),
              "initDriver:GetADF2Caps HasADF 1;initDriver:GetADF3Caps HasADF 1;"
              "initDriver: GetXPACapabilities failed 8000ffff;");
    SetDebugStringHook(before);
    set("LogEnabled", 0);
    RegCloseKey(key);
}

}  // namespace
