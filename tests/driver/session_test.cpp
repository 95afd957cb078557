// Beginnings and ends: first and later starts, several users of one device, crashes, modules that
// are missing, and a device whose every operation fails.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <iterator>
#include <set>
#include <thread>

#include "platform/registry.h"
#include "simulator/operations.h"
#include "tests/driver/driver_rig.h"

namespace {

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class Sessions : public CDriverTest {
  protected:
    void SetWindow(CScanDevice& device, LONG lines = 20) {
        ASSERT_EQ(Failure(device.Write("Top", {{WIA_IPS_XEXTENT, 30}, {WIA_IPS_YEXTENT, lines}})),
                  "");
    }
    void ExpectScan(CScanDevice& device, std::size_t lines = 20) {
        CPages pages;
        ASSERT_EQ(Failure(device.Scan("Top", {}, pages)), "");
        ASSERT_EQ(pages.m_pages.size(), 1u);
        EXPECT_EQ(pages.m_pages[0].rows.size(), 92 * lines);
    }
    // Another program: `body` runs in it, and it ends. False when it was killed.
    template <class Body>
    pid_t Program(Body body) {
        const pid_t child = fork();
        if (child == 0) {
            body();
            _exit(testing::Test::HasFailure() ? 1 : 0);
        }
        return child;
    }
    static bool EndsWell(pid_t child) {
        int status = 0;
        return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    void WaitForFile(const std::string& path) {
        for (int i = 0; i < 4000 && !std::filesystem::exists(path); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ASSERT_TRUE(std::filesystem::exists(path));
    }
};

TEST_F(Sessions, StoreWhatTheDeviceIsAtTheFirstStartAlone) {
    Install(Options());
    // What the still-image face alone does: no item is made.
    const auto start = [&] {
        CScanSubscription subscription;
        ASSERT_EQ(Failure(m_client.Subscribe(
                      "", [](const ScanEvent&) {}, subscription)),
                  "");
    };
    EXPECT_FALSE(Contains(ReadWholeFile(RegistryPath()), "LoadSettingsOnce"));
    start();
    const std::string registry = ReadWholeFile(RegistryPath());
    for (const char* line :
         {"\"ModelString\"=\"SIM300A\"", "\"HWCompressionTypesSupported\"=dword:00000001",
          "\"HWMaxPixelDepth\"=dword:00000010", "\"HWLegalConfigSupported\"=dword:00000001",
          "\"HWExtendedLampSupported\"=dword:00000001", "\"ADFSupported\"=dword:00000001",
          "\"TMASupported\"=dword:00000001", "\"ADFDuplexSupported\"=dword:00000001",
          "\"HasADFDuplexSwitch\"=dword:00000000", "\"HasScanButton\"=dword:00000002",
          "\"LoadSettingsOnce\"=dword:00000002", "\"InstantLampWarmUp\"=dword:00000000"})
        EXPECT_TRUE(Contains(registry, line)) << line << '\n' << registry;
    const std::uint64_t opens = State().opens;
    EXPECT_GE(opens, 1u);
    // Another device would be noticed, and isn't asked.
    SetIni("[behaviour]\nrecord=1\n");
    start();
    EXPECT_EQ(State().opens, opens);
    EXPECT_EQ(Calls(), "");
    EXPECT_EQ(ReadWholeFile(RegistryPath()), registry);
}

TEST_F(Sessions, OfOneDeviceHaveTheirOwnPropertiesAndScanInTurn) {
    InstallAndOpen();
    CScanDevice other;
    ASSERT_EQ(Failure(m_client.Open("", other)), "");
    SetWindow(m_device);
    ASSERT_EQ(Failure(other.Write("Top", {{WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE}})), "");
    EXPECT_EQ(Number(WIA_IPA_DATATYPE), WIA_DATA_COLOR);
    // The engine has the settings of the item that is scanned, whoever validated last.
    ExpectScan(m_device);
    other.Close();
    ExpectScan(m_device);
    m_device.Close();
    Open();
    EXPECT_EQ(Number(WIA_IPS_XEXTENT), 1275) << "a new session has the defaults";
}

TEST_F(Sessions, OfTwoProgramsWaitForEachOther) {
    SetIni("[behaviour]\nlinesPerSecond=100\n");
    Install(Options());
    const std::string sign = TestFolder() + "/scanning";
    const pid_t child = Program([&] {
        Open();
        SetWindow(m_device, 40);
        CPages pages;
        pages.m_onCall = [&] { WriteWholeFile(sign, ""); };
        EXPECT_EQ(Failure(m_device.Scan("Top", {}, pages)), "");
        m_device.Close();
    });
    WaitForFile(sign);
    // The lock is waited for, as long as it is to be expected.
    Open();
    SetWindow(m_device);
    ExpectScan(m_device);
    EXPECT_TRUE(EndsWell(child));
    // A scanner that doesn't come free in time: the toolkit's code 5.
    SetIni("[faults]\nLockScanner=1+:5\n");
    CPages pages;
    EXPECT_EQ(static_cast<std::uint32_t>(m_device.Scan("Top", {}, pages).code), 0x80040006u);
    m_device.Close();
    SetIni("");
    Open();
    SetWindow(m_device);
    ExpectScan(m_device);
}

TEST_F(Sessions, ThatAreKilledLeaveNothingBehind) {
    Install(Options());
    for (const LONG medium : {TYMED_CALLBACK, TYMED_FILE}) {
        for (const LONG select : {FLATBED, DUPLEX}) {
            SCOPED_TRACE(medium * 10 + select);
            SetIni("[behaviour]\nlinesPerSecond=2000\n");
            Act("load-1");
            const std::string sign = TestFolder() + "/begun" + std::to_string(medium + select);
            const pid_t child = Program([&] {
                Open();
                Set({{WIA_DPS_DOCUMENT_HANDLING_SELECT, select}}, "Root");
                Set({{WIA_IPA_TYMED, medium}, {WIA_IPS_XEXTENT, 30}});
                CPages pages;
                pages.m_onCall = [&] { WriteWholeFile(sign, ""); };
                static_cast<void>(Scan(pages));
            });
            WaitForFile(sign);
            kill(child, SIGKILL);
            EXPECT_FALSE(EndsWell(child));
            EXPECT_EQ(TempFiles(), std::vector<std::string>{});
            SetIni("");
            Open();
            SetWindow(m_device);
            ExpectScan(m_device);
            Set({{WIA_DPS_DOCUMENT_HANDLING_SELECT, FEEDER}}, "Root");
            SetWindow(m_device);
            CPages pages;
            EXPECT_EQ(Failure(Scan(pages, 1)), "") << "the sheet went back to the tray";
            m_device.Close();
        }
    }
}

TEST_F(Sessions, EndWithTheDevicesKeyInTheRegistry) {
    Install(Options());
    Open();
    SetWindow(m_device);
    ASSERT_EQ(Failure(UninstallDevice("0000")), "");
    ExpectScan(m_device);
    m_device.Close();
    EXPECT_EQ(ReadWholeFile(RegistryPath()).find("nvqdrv"), std::string::npos);
    EXPECT_FALSE(Contains(ReadWholeFile(RegistryPath()), "0C3A5327"));
    CScanDevice gone;
    EXPECT_FALSE(m_client.Open("0001", gone).Ok());
    Install(Options());
    Open();
}

TEST_F(Sessions, TellOnceWhichModuleIsMissingOrNone) {
    const std::string driver = TestFolder() + "/modules/driver.so";
    const std::string toolkit = TestFolder() + "/modules/toolkit.so";
    std::filesystem::create_directories(TestFolder() + "/modules");
    const auto copy = [](const char* from, const std::string& to) {
        std::filesystem::remove(to);
        std::filesystem::copy_file(from, to);
    };
    copy(DRIVER_MODULE, driver);
    copy(SIMULATOR_MODULE, toolkit);
    InstallOptions options = Options();
    options.driverModule = driver;
    options.toolkitModule = toolkit;
    Install(options);
    const auto expectFailure = [&](const char* words) {
        CScanDevice device;
        const ScanStatus status = m_client.Open("", device);
        EXPECT_TRUE(FAILED(status.code));
        EXPECT_TRUE(Contains(status.text, words)) << status.text;
        EXPECT_EQ(std::count(status.text.begin(), status.text.end(), '\n'), 0);
        EXPECT_EQ(m_notices, std::vector<std::string>{});
    };
    std::filesystem::remove(driver);
    expectFailure("driver.so is missing");
    copy(EMPTY_MODULE, driver);
    expectFailure("driver.so is no component");
    copy(DRIVER_MODULE, driver);
    std::filesystem::remove(toolkit);
    expectFailure("toolkit.so is missing");
    copy(EMPTY_MODULE, toolkit);
    expectFailure("toolkit.so is no component");
    copy(SIMULATOR_MODULE, toolkit);
    Open();
    SetWindow(m_device);
    ExpectScan(m_device);
    m_device.Close();
    ForgetRegistry();
    options.toolkitModule = EMPTY_MODULE;
    EXPECT_TRUE(Contains(InstallDevice(options).text, "empty_module.so"));
}

TEST_F(Sessions, CanBeOpenedWhenTheDeviceCanAgain) {
    SetIni("[faults]\nOpenDevice=1+:3\n");
    Install(Options());
    for (int i = 0; i < 2; ++i) {
        const ScanStatus status = m_client.Open("", m_device);
        EXPECT_TRUE(FAILED(status.code));
        EXPECT_TRUE(Contains(status.text, "Scanner")) << status.text;
        EXPECT_FALSE(m_device.IsOpen());
    }
    // The still-image face has met the device, the imaging face can't.
    SetIni("[faults]\nOpenDevice=2:3\n");
    EXPECT_TRUE(FAILED(m_client.Open("", m_device).code));
    SetIni("");
    Open();
    SetWindow(m_device);
    ExpectScan(m_device);
}

// ---- Faults

// One user's way through the whole device. The result of what failed first.
HRESULT UseEverything(CScanClient& client, std::set<HRESULT>& results) {
    CScanDevice device;
    const auto note = [&](const ScanStatus& status) {
        results.insert(status.code);
        return status.Ok();
    };
    if (!note(client.Open("", device)))
        return E_FAIL;
    const auto scan = [&](LONG medium) {
        note(device.Write("Top",
                          {{WIA_IPA_TYMED, medium}, {WIA_IPS_XEXTENT, 16}, {WIA_IPS_YEXTENT, 24}}));
        CPages pages;
        ScanOptions options;
        options.pages = 1;
        note(device.Scan("Top", options, pages));
    };
    scan(TYMED_CALLBACK);
    note(device.Write("Root", {{WIA_DPS_DOCUMENT_HANDLING_SELECT, FEEDER}}));
    scan(TYMED_FILE);
    note(device.Write("Root", {{QL_PROP_TMA_SELECT, 1}}));
    scan(TYMED_CALLBACK);
    std::vector<ScanProperty> properties;
    note(device.Read("Root", {}, properties));
    return S_OK;
}

class Faults : public Sessions, public testing::WithParamInterface<std::size_t> {};

// The first call fails, or a later one, or all of them: every time the program gets a result, and
// the next one finds a scanner that works. One test for each operation.
TEST_P(Faults, OfAnOperationReachTheCallerAndPass) {
    constexpr char kSettings[] =
        "[simulator]\nmodel=SIM500D\n[device]\nlampWarmUpFlatbed=0\n[xpa]\nlampWarmUpXPA=0\n";
    const char* name = kOperations[GetParam()].name;
    Install(Options());
    for (const char* fault : {"1:12", "2:16", "1+:100"}) {
        SCOPED_TRACE(fault);
        SetIni(std::string(kSettings) + "[faults]\n" + name + '=' + fault + '\n');
        Act("load-3");
        std::set<HRESULT> results;
        UseEverything(m_client, results);
        SetIni(kSettings);
        Act("clear-jam");
        Act("load-3");
        results.clear();
        EXPECT_EQ(UseEverything(m_client, results), S_OK);
        EXPECT_EQ(results, std::set<HRESULT>{S_OK});
        ASSERT_EQ(State().violations, 0u) << State().lastViolation;
        ASSERT_EQ(State().closedLocked, 0u);
    }
}

INSTANTIATE_TEST_SUITE_P(Toolkit, Faults, testing::Range<std::size_t>(0, kOperationCount),
                         [](const auto& test) {
                             return std::string(kOperations[test.param].name);
                         });

}  // namespace
