// Waits for the scanner and its lamp: told, and ended by a cancel.
#include "tests/driver/scan_rig.h"

namespace {

class Waits : public CScanTest {
  protected:
    // With a client that cancels as soon as it hears of a wait.
    void OpenImpatient() {
        m_told.clear();
        m_cancel = false;
        ASSERT_EQ(Failure(m_impatient.Open("", m_device)), "");
    }
    // Far below the 30 seconds of the lock and the 20 of the lamp, far above a busy machine's.
    template <class Operation>
    HRESULT Soon(Operation operation) {
        m_told.clear();
        m_cancel = false;
        const auto begin = std::chrono::steady_clock::now();
        const HRESULT code = operation().code;
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(8));
        return code;
    }

    std::vector<std::string> m_told;
    std::atomic<bool> m_cancel = false;
    CScanClient m_impatient{[this](const std::string& line) {
                                m_told.push_back(line);
                                m_cancel = true;
                            },
                            &m_cancel};
    CScanClient m_hasty{{}, nullptr, std::chrono::milliseconds(200)};
    CPages m_pages;
};

// Another session has the lock, as another program would.
TEST_F(Waits, ForAScannerInUseAreToldAndEnd) {
    InstallAndOpen();
    m_device.Close();
    OpenImpatient();
    const ComPtr<IOstrelDevice> other = CreateToolkit();
    DWORD session = 0;
    DWORD error = 0;
    const std::u16string port = std::filesystem::path(SimulatedPort(m_folder)).u16string();
    ASSERT_EQ(other->OpenDevice(port.c_str(), 1, &session, &error), S_OK);
    ASSERT_EQ(other->LockScanner(session, 0, 0, &error), S_OK);
    const std::vector<std::string> told = {"waiting for the scanner, in use by another program"};
    CScanDevice second;
    EXPECT_EQ(Soon([&] { return m_device.Write("Top", {{WIA_IPS_XRES, 300}}); }), kCancelledWait);
    EXPECT_EQ(m_told, told);
    EXPECT_EQ(Soon([&] { return Scan(m_pages); }), S_FALSE);
    EXPECT_EQ(m_told, told);
    // The driver goes on from each step that doesn't get the scanner to the next one.
    m_device.Close();
    EXPECT_EQ(other->UnlockScanner(session, &error), S_OK);
    EXPECT_EQ(Failure(m_hasty.Open("", m_device)), "");
    ASSERT_EQ(other->LockScanner(session, 0, 0, &error), S_OK);
    EXPECT_EQ(Soon([&] {
                  return m_device.Write("Top", {{WIA_IPS_XRES, 300}});
              }),
              MakeResult(0x80040006u));
    m_device.Close();
    EXPECT_EQ(Soon([&] { return m_impatient.Open("", second); }), kCancelledWait);
    EXPECT_EQ(m_told, told);
    EXPECT_FALSE(second.IsOpen());
    // One that nobody cancels gets the scanner when it is free.
    std::thread later([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(600));
        EXPECT_EQ(other->UnlockScanner(session, &error), S_OK);
    });
    EXPECT_EQ(Failure(m_client.Open("", m_device)), "");
    later.join();
    EXPECT_EQ(m_notices, told);
    EXPECT_EQ(other->CloseDevice(session, &error), S_OK);
}

// At first the driver waits, as it has lit the lamp; the next one finds it burning, and the scanner
// waits.
TEST_F(Waits, ForALampAreToldAndEnd) {
    InstallAndOpen("[simulator]\nmodel=SIM100F\n");
    for (int turn = 0; turn < 2; ++turn) {
        SCOPED_TRACE(turn);
        m_device.Close();
        OpenImpatient();
        EXPECT_EQ(Soon([&] { return Scan(m_pages); }), S_FALSE);
        EXPECT_EQ(m_told, std::vector<std::string>{"the lamp is warming up"});
        EXPECT_TRUE(IsFree());
    }
    EXPECT_TRUE(m_pages.m_pages.empty());
}

}  // namespace
