#include "tests/controller/controller_rig.h"

namespace {

using OpenScanner = CControllerTest;

TEST_F(OpenScanner, DeviceWithEverythingTellsAndTakesIt) {
    WriteWholeFile(device.Path() + "/state", "nvramScanCount=4294967295\n");  // never set
    ASSERT_EQ(Open(), S_OK);
    EXPECT_EQ(scan->setLampTimeoutLevel(2), S_OK);
    EXPECT_EQ(scan->setLampTimeoutLevel(3), E_INVALIDARG);
    EXPECT_EQ(scan->setPanelText(u"Ready"), S_OK);
    EXPECT_EQ(ScanPage(kFromFlatbed), S_OK);
    const CDeviceState state = device.State();
    EXPECT_EQ(std::tuple(state.lampTimeout, state.panelText, state.nvramScanCount),
              std::tuple(60u, "Ready", 1u));
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
        EXPECT_EQ(std::tuple(controller.m_lampSource, device.State().lamp, scanner.Count(LampOn),
                             scanner.Count(XPALampOn)),
                  std::tie(c.source, c.source, c.flatbedOn, c.adapterOn))
            << &c - cases;
    }
}

TEST_F(OpenScanner, TablesComeFromTheDevicesProfileIfItHasAUsableOne) {
    WriteWholeFile(device.Path() + "/own", "DEFAULTS\n200 200 1 0 1 1200 980 0 1 77 180\n");
    SetIni("[profile]\nfile=own\n");
    // All sixteen characters, without a zero behind them.
    toolkit.Lie(GetDeviceCapabilities,
                [](OstrelDeviceCaps& caps) { std::fill_n(caps.model, 16, 'M'); });
    for (const DWORD size : {56u, 0u, 10000u, 0xFFFFFFFFu}) {
        if (size != 56)
            toolkit.Lie(GetProfileSize, [=](DWORD& bytes) { bytes = size; });
        DefaultsRecord defaults = {};
        ASSERT_EQ(Open(), S_OK);
        EXPECT_EQ(scan->getDefaults(&defaults), S_OK);
        EXPECT_EQ(defaults.m_lidColor, size == 56 ? 77 : 240) << "the built-in one's";
    }
    EXPECT_EQ(toolkit.Count(ReadProfile), 1);
}

TEST_F(OpenScanner, NothingOfAClosedSessionIsUsed) {
    Place(1, 2);
    ASSERT_EQ(Open(), S_OK);
    ASSERT_EQ(Start(kFromFeeder), S_OK);
    EXPECT_EQ(scan->closeScanner(), S_OK);
    EXPECT_EQ(toolkit.Count(EndScan) + toolkit.Count(EndADF2Job), 2);
    EXPECT_EQ(toolkit.OpenSessions(), 0);
    toolkit.ForgetCalls();
    bool on = true;
    EXPECT_EQ(scan->closeScanner(), S_OK);
    EXPECT_EQ(scan->getLampOn(&on, false), Result(1));
    EXPECT_EQ(scan->firstScanInit(&kFromFlatbed), Result(1));
    EXPECT_TRUE(toolkit.Calls().empty());
    ASSERT_EQ(Open(), S_OK);
    toolkit.Fail(LockScanner, OSTREL_LOCK_FAILED);
    toolkit.Fail(CloseDevice, OSTREL_COMMUNICATION);
    EXPECT_EQ(scan->closeScanner(), Result(6)) << "the first failure, and closed all the same";
    EXPECT_EQ(toolkit.OpenSessions(), 0);
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

// The log has it in a compiler's words.
TEST(OperationName, IsTheInterfacesAndTheOperations) {
    EXPECT_STREQ(kOperationName<&IOstrelDevice::StartScan>.data(), "IOstrelDevice::StartScan");
    EXPECT_STREQ(kOperationName<&IOstrelADF3::ADFEndJob>.data(), "IOstrelADF3::ADFEndJob");
}

TEST(ErrorCodes, OfSomeKindsMeanMoreToTheirDevice) {
    EXPECT_EQ(MapOstrelError(7, {}), Result(0x0B));
    EXPECT_EQ(MapOstrelError(7, {.useXpa = true}), Result(0x05));
    EXPECT_EQ(MapOstrelError(101, {}), Result(0x0F));
    EXPECT_EQ(MapOstrelError(101, {.sheetFedOnly = true}), Result(0x12));
}

}  // namespace
