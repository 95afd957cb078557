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
    start();
    const std::string registry = ReadWholeFile(RegistryPath());
    for (const char* line : {"\"ModelString\"=\"SIM300A\"", "\"HWMaxPixelDepth\"=dword:00000010",
                             "\"ADFSupported\"=dword:00000001", "\"HasScanButton\"=dword:00000002",
                             "\"LoadSettingsOnce\"=dword:00000002"})
        EXPECT_TRUE(Contains(registry, line)) << line << '\n' << registry;
    // Another device would be noticed, and isn't asked.
    SetIni("[behaviour]\nrecord=1\n");
    start();
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
    for (const auto& [medium, select] :
         {std::pair{TYMED_CALLBACK, FLATBED}, {TYMED_FILE, DUPLEX}}) {
        SetIni("[behaviour]\nlinesPerSecond=2000\n");
        Act("load-1");
        const std::string sign = TestFolder() + "/begun" + std::to_string(medium);
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
        CPages pages;
        EXPECT_EQ(Failure(Scan(pages, 1)), "") << "the sheet went back to the tray";
        m_device.Close();
    }
}

TEST_F(Sessions, TellOnceThatTheToolkitIsMissingOrNone) {
    InstallOptions options = Options();
    options.toolkitModule = TestFolder() + "/toolkit.so";
    std::filesystem::copy_file(SIMULATOR_MODULE, options.toolkitModule);
    Install(options);
    for (const auto& [module, words] :
         {std::pair{"", "toolkit.so is missing"}, {EMPTY_MODULE, "toolkit.so is no component"}}) {
        std::error_code ignored;
        std::filesystem::remove(options.toolkitModule);
        std::filesystem::copy_file(module, options.toolkitModule, ignored);
        const ScanStatus status = m_client.Open("", m_device);
        EXPECT_TRUE(FAILED(status.code));
        EXPECT_TRUE(Contains(status.text, words)) << status.text;
        EXPECT_FALSE(Contains(status.text, "\n"));
        EXPECT_EQ(m_notices, std::vector<std::string>{});
    }
    std::filesystem::remove(options.toolkitModule);
    std::filesystem::copy_file(SIMULATOR_MODULE, options.toolkitModule);
    Open();
}

// ---- Faults

// Each operation fails at every call: the program gets its results, whatever they are, and the next
// one finds a scanner that works.
TEST_F(Sessions, OutliveTheFailuresOfEveryOperation) {
    Install(Options());
    std::set<HRESULT> results;
    const auto use = [&](const char* item, PropertyWrite source, LONG medium) {
        results.insert(m_device.Write(item, {source}).code);
        const std::vector<PropertyWrite> window = {
            {WIA_IPA_TYMED, medium}, {WIA_IPS_XEXTENT, 16}, {WIA_IPS_YEXTENT, 24}};
        results.insert(m_device.Write("Top", window).code);
        CPages pages;
        results.insert(Scan(pages, 1).code);
    };
    for (const COperation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        for (const bool fails : {true, false}) {
            SetIni(fails ? "[faults]\n" + std::string(operation.name) + "=1+:100\n" : "");
            Act("load-3");
            results = {m_client.Open("", m_device).code};
            if (FAILED(*results.begin()))
                continue;
            use("Top", {WIA_IPS_CONTRAST, 1}, TYMED_CALLBACK);
            use("Root", {WIA_DPS_DOCUMENT_HANDLING_SELECT, FEEDER}, TYMED_FILE);
            use("Root", {QL_PROP_TMA_SELECT, 1}, TYMED_CALLBACK);
            m_device.Close();
        }
        ASSERT_EQ(results, std::set<HRESULT>{S_OK});
    }
}

}  // namespace
