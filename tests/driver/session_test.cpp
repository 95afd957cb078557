// Beginnings and ends: first and later starts, several users of one device, crashes, a toolkit that
// is missing, and a device whose every operation fails.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <set>
#include <thread>

#include "simulator/operations.h"
#include "tests/driver/driver_rig.h"

namespace {

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class Sessions : public CDriverTest {
  protected:
    void SetWindow() { Set({{WIA_IPS_XEXTENT, 30}, {WIA_IPS_YEXTENT, 20}}); }
    void ExpectScan() {
        CPages pages;
        ASSERT_EQ(Failure(Scan(pages)), "");
        ASSERT_EQ(pages.m_pages.size(), 1u);
        EXPECT_EQ(pages.m_pages[0].rows.size(), 92u * 20) << "in colour";
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

// The engine has the settings of the item that is scanned, whoever validated last.
TEST_F(Sessions, OfOneDeviceScanWithTheirOwnProperties) {
    InstallAndOpen();
    CScanDevice other;
    ASSERT_EQ(Failure(m_client.Open("", other)), "");
    SetWindow();
    ASSERT_EQ(Failure(other.Write("Top", {{WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE}})), "");
    ExpectScan();
    other.Close();
    ExpectScan();
}

TEST_F(Sessions, ThatAreKilledLeaveNothingBehind) {
    Install(Options());
    for (const LONG medium : {TYMED_CALLBACK, TYMED_FILE}) {
        for (const LONG select : {FLATBED, DUPLEX}) {
            SCOPED_TRACE(medium * 10 + select);
            SetIni("[behaviour]\nlinesPerSecond=2000\n");
            Act("load-1");
            const std::string sign = TestFolder() + "/begun" + std::to_string(medium + select);
            const pid_t child = fork();
            if (child == 0) {  // another program
                Open();
                Set({{WIA_DPS_DOCUMENT_HANDLING_SELECT, select}}, "Root");
                Set({{WIA_IPA_TYMED, medium}, {WIA_IPS_XEXTENT, 30}});
                CPages pages;
                pages.m_onCall = [&] { WriteWholeFile(sign, ""); };
                static_cast<void>(Scan(pages));
                _exit(0);
            }
            for (int i = 0; i < 4000 && !std::filesystem::exists(sign); ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            kill(child, SIGKILL);
            int status = 0;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            ASSERT_TRUE(WIFSIGNALED(status)) << "in the middle of its page";
            EXPECT_EQ(TempFiles(), std::vector<std::string>{});
            SetIni("");
            Open();
            SetWindow();
            ExpectScan();
            Set({{WIA_DPS_DOCUMENT_HANDLING_SELECT, FEEDER}}, "Root");
            SetWindow();
            CPages pages;
            EXPECT_EQ(Failure(Scan(pages, 1)), "") << "the sheet went back to the tray";
            m_device.Close();
        }
    }
}

TEST_F(Sessions, OutliveTheDevicesKeyInTheRegistry) {
    InstallAndOpen();
    SetWindow();
    ASSERT_EQ(Failure(UninstallDevice("0000")), "");
    ExpectScan();
    m_device.Close();
    for (const char* gone : {"nvqdrv", "0C3A5327"})
        EXPECT_FALSE(Contains(ReadWholeFile(RegistryPath()), gone));
    Install(Options());
    Open();
}

TEST_F(Sessions, TellOnceThatTheToolkitIsMissingOrNone) {
    InstallOptions options = Options();
    options.toolkitModule = TestFolder() + "/toolkit.so";
    const auto put = [&](const char* module) {
        std::filesystem::remove(options.toolkitModule);
        if (*module)
            std::filesystem::copy_file(module, options.toolkitModule);
    };
    put(SIMULATOR_MODULE);
    Install(options);
    for (const auto& [module, words] :
         {std::pair{"", "toolkit.so is missing"}, {EMPTY_MODULE, "toolkit.so is no component"}}) {
        put(module);
        const ScanStatus status = m_client.Open("", m_device);
        EXPECT_TRUE(FAILED(status.code));
        EXPECT_TRUE(Contains(status.text, words)) << status.text;
        EXPECT_FALSE(Contains(status.text, "\n"));
        EXPECT_EQ(m_notices, std::vector<std::string>{});
    }
    put(SIMULATOR_MODULE);
    Open();
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
