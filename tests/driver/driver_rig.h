// A simulated scanner behind the driver's real modules, used as an application uses it.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "engine/item_properties.h"
#include "service/install.h"
#include "service/scan_client.h"
#include "simulator/device_state.h"
#include "simulator/panel.h"
#include "tests/platform/test_folder.h"
#include "tests/simulator/sim_rig.h"

using Bytes = std::vector<BYTE>;

// "" for success.
inline std::string Failure(const ScanStatus& status) {
    return status.code == S_OK ? "" : status.text;
}

// Takes pages and remembers them. `m_stopAt` counts its calls from 1; the one with that number
// answers false.
class CPages final : public IScanSink {
  public:
    struct Page {
        ScanPage page;
        Bytes rows;
        bool ended = false;
    };

    bool BeginPage(const ScanPage& page) override {
        m_pages.push_back({page, {}, false});
        return Go();
    }
    bool Rows(const BYTE* rows, LONG count) override {
        Bytes& all = m_pages.back().rows;
        all.insert(all.end(), rows,
                   rows + static_cast<std::size_t>(count) * m_pages.back().page.stride);
        return Go();
    }
    bool EndPage(const ScanPage& page) override {
        if (m_pages.size() < static_cast<std::size_t>(page.number))
            m_pages.push_back({page, {}, false});
        m_pages.back().page.result = page.result;
        m_pages.back().ended = true;
        return Go();
    }
    bool Progress(int, int) override { return Go(); }
    std::string PageFile(int page) override {
        return TestFolder() + "/page" + std::to_string(page) + ".bmp";
    }

    std::vector<Page> m_pages;
    int m_stopAt = 0;
    int m_calls = 0;
    std::function<void()> m_onCall;

  private:
    bool Go() {
        ++m_calls;
        if (m_onCall)
            m_onCall();
        return m_calls != m_stopAt;
    }
};

class CDriverTest : public testing::Test {
  protected:
    CDriverTest() {
        const std::string data = TestFolder() + "/data";
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directories(m_folder);
        std::filesystem::create_directories(data);
        SetIni({});
        setenv("XDG_DATA_HOME", data.c_str(), 1);
        setenv("HOME", TestFolder().c_str(), 1);
        ForgetRegistry();
    }
    // Whatever a test did: the scanner has seen no wrong call, nobody holds its lock, and no file
    // of a page is left.
    void TearDown() override {
        m_device.Close();
        const CDeviceState state = State();
        EXPECT_EQ(state.violations, 0u) << state.lastViolation;
        EXPECT_EQ(state.closedLocked, 0u);
        EXPECT_EQ(TempFiles(), std::vector<std::string>{});
    }

    void SetIni(const std::string& ini) { WriteWholeFile(m_folder + "/device.ini", ini); }
    InstallOptions Options() const {
        InstallOptions options;
        options.name = "Scanner";
        options.port = SimulatedPort(m_folder);
        options.driverModule = DRIVER_MODULE;
        options.toolkitModule = SIMULATOR_MODULE;
        return options;
    }
    void Install(const InstallOptions& options) { ASSERT_EQ(Failure(InstallDevice(options)), ""); }
    void Open() { ASSERT_EQ(Failure(m_client.Open("", m_device)), ""); }
    void InstallAndOpen(const std::string& ini = {}) {
        SetIni(ini);
        Install(Options());
        Open();
    }

    void Set(const std::vector<PropertyWrite>& writes, const std::string& item = "Top") {
        ASSERT_EQ(Failure(m_device.Write(item, writes)), "");
    }
    LONG Number(PROPID id, const std::string& item = "Top") {
        std::vector<ScanProperty> properties;
        const ScanStatus status = m_device.Read(item, {id}, properties);
        const LONG* number =
            properties.size() == 1 ? std::get_if<LONG>(&properties.front().value) : nullptr;
        EXPECT_TRUE(number) << status.text;
        return number ? *number : -1;
    }
    ScanStatus Scan(CPages& pages, int wanted = -1, int* scanned = nullptr,
                    IScanSink* input = nullptr) {
        ScanOptions options;
        options.pages = wanted;
        options.input = input;
        return m_device.Scan("Top", options, pages, scanned);
    }

    CDeviceState State() const { return LoadState(m_folder + "/state", {}); }
    std::string Calls() const { return ReadWholeFile(m_folder + "/calls.log"); }
    void Act(const std::string& act) {
        std::string error;
        ASSERT_TRUE(ActOnDevice(m_folder, act, &error)) << error;
    }
    // Can another program have the scanner now?
    bool IsFree() const {
        const ComPtr<IOstrelDevice> toolkit = CreateToolkit();
        const std::u16string port = std::filesystem::path(SimulatedPort(m_folder)).u16string();
        DWORD session = 0;
        DWORD error = 0;
        if (FAILED(toolkit->OpenDevice(port.c_str(), 1, &session, &error)))
            return false;
        const bool locked = SUCCEEDED(toolkit->LockScanner(session, 0, 0, &error));
        if (locked)
            toolkit->UnlockScanner(session, &error);
        toolkit->CloseDevice(session, &error);
        return locked;
    }
    static std::vector<std::string> TempFiles() {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(TestFolder())) {
            if (entry.is_regular_file() && entry.path().extension() == ".TMP")
                found.push_back(entry.path().string());
        }
        return found;
    }

    const std::string m_folder = TestFolder() + "/scanner";
    std::vector<std::string> m_notices;
    CScanClient m_client{[this](const std::string& line) { m_notices.push_back(line); }};
    CScanDevice m_device;
};
