// An installed device with the scriptable driver, for one test.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "service/install.h"
#include "service/scan_client.h"
#include "tests/platform/test_folder.h"
#include "tests/support/test_driver.h"

inline InstallOptions TestInstall(const std::string& name = "Test scanner") {
    InstallOptions options;
    options.name = name;
    options.port = TestFolder() + "/ports/" + name;
    options.driverModule = TEST_DRIVER;
    options.toolkitModule = TEST_TOOLKIT;
    return options;
}

// "" for success.
inline std::string Failure(const ScanStatus& status) {
    return status.code == S_OK ? "" : status.text;
}

class CServiceTest : public testing::Test {
  protected:
    void SetUp() override {
        ForgetRegistry();
        RenewTestScript();
    }
    void TearDown() override {
        m_device.Close();
        EXPECT_EQ(TestScript().m_objects, 0) << "every driver object is released in the end";
    }

    void Install(const InstallOptions& options = TestInstall()) {
        ASSERT_EQ(Failure(InstallDevice(options)), "");
    }
    void InstallAndOpen() {
        Install();
        ASSERT_EQ(Failure(m_client.Open("", m_device)), "");
    }
    LONG Number(PROPID id) {
        std::vector<ScanProperty> read;
        EXPECT_EQ(Failure(m_device.Read("Top", {id}, read)), "");
        return read.empty() ? -1 : std::get<LONG>(read[0].value);
    }

    std::vector<std::string> m_notices;
    CScanClient m_client{[this](const std::string& line) { m_notices.push_back(line); }};
    CScanDevice m_device;
};

// With the device open from the start.
class COpenServiceTest : public CServiceTest {
  protected:
    void SetUp() override {
        CServiceTest::SetUp();
        InstallAndOpen();
    }
};

// Whole, and nothing but the picture.
inline void ExpectPicture(const std::vector<BYTE>& bytes) {
    ASSERT_EQ(bytes.size(), static_cast<std::size_t>(kTestStride * kTestLines));
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const auto at = static_cast<LONG>(i);
        ASSERT_EQ(bytes[i], TestPicture(at / kTestStride, at % kTestStride)) << i;
    }
}

// Takes pages and remembers them.
class CPageStore final : public IScanSink {
  public:
    bool BeginPage(const ScanPage& page) override {
        m_pages.push_back(page);
        m_bytes.emplace_back();
        return true;
    }
    bool Rows(const BYTE* rows, LONG count) override {
        m_bytes.back().insert(m_bytes.back().end(), rows,
                              rows + static_cast<std::size_t>(count) * m_pages.back().stride);
        if (m_throwInRows)
            throw std::runtime_error("no room");
        return true;
    }
    bool EndPage(const ScanPage&) override {
        ++m_whole;
        return true;
    }
    bool Progress(int page, int percent) override {
        m_progress.emplace_back(page, percent);
        if (m_onProgress)
            m_onProgress();
        return true;
    }

    std::vector<ScanPage> m_pages;
    int m_whole = 0;  // pages
    std::vector<std::vector<BYTE>> m_bytes;
    std::vector<std::pair<int, int>> m_progress;
    std::function<void()> m_onProgress;
    bool m_throwInRows = false;
};
