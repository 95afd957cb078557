// Button presses, from the driver's still-image face to subscribers, on a clock of the test's own.
#include <chrono>
#include <condition_variable>
#include <thread>

#include "service/event_pump.h"
#include "tests/service/service_rig.h"

namespace {

constexpr HRESULT kScannerLocked = MakeResult(0x80070021u);

class Events : public CServiceTest {
  protected:
    void SetUp() override {
        CServiceTest::SetUp();
        // A timed wait ends when the test says so; the handles are waited for as ever.
        SetEventWait([this](DWORD count, const HANDLE* handles, DWORD milliseconds) {
            HANDLE all[3] = {handles[0], handles[count - 1], m_tick.Get()};
            all[count] = m_tick.Get();
            {
                const std::lock_guard guard(m_lock);
                m_waits.push_back(milliseconds);
            }
            m_changed.notify_all();
            const DWORD woken = WaitForMultipleObjects(milliseconds == INFINITE ? count : count + 1,
                                                       all, FALSE, INFINITE);
            return woken == count ? WAIT_TIMEOUT : woken;
        });
    }
    void TearDown() override {
        m_subscription.End();
        SetEventWait({});
        CServiceTest::TearDown();
    }
    void Subscribe() {
        InstallOptions options = TestInstall();
        options.capabilities = STI_GENCAP_NOTIFICATIONS;
        Install(options);
        const auto hear = [this](const ScanEvent& event) {
            const std::lock_guard guard(m_lock);
            m_heard.push_back(event.name);
            m_changed.notify_all();
        };
        ASSERT_EQ(Failure(m_client.Subscribe("", hear, m_subscription)), "");
    }
    // Until the condition holds; a minute is for ever.
    template <class Condition>
    bool Until(Condition condition) {
        std::unique_lock lock(m_lock);
        return m_changed.wait_for(lock, std::chrono::minutes(1), condition);
    }
    bool HeardOf(std::size_t count) {
        return Until([&] { return m_heard.size() >= count; });
    }
    // Lets the time of `count` intervals go by, one after the other.
    void Tick(int count = 1) {
        for (int i = 0; i < count; ++i) {
            std::size_t before = 0;
            ASSERT_TRUE(Until([&] {
                before = m_waits.size();
                return before > 0 && m_waits.back() != INFINITE;
            }));
            m_tick.Set();
            ASSERT_TRUE(Until([&] { return m_waits.size() > before; }));
        }
    }
    bool HasWaited(std::size_t times) {
        return Until([&] { return m_waits.size() >= times; });
    }

    CWaitEvent m_tick{false};
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<DWORD> m_waits;
    std::vector<std::string> m_heard;
    CScanSubscription m_subscription;
};

TEST_F(Events, AScannerThatIsLockedWhenAskedForTheButtonIsAskedAgain) {
    Subscribe();
    ASSERT_TRUE(HasWaited(1));
    TestScript().Fail("GetNotificationData", kScannerLocked, 3);
    TestScript().Press(DefaultEvents()[0].guid);
    Tick(2);
    EXPECT_EQ(TestScript().Count("Arm"), 1) << "the event is fetched before the next one is armed";
    EXPECT_TRUE(m_heard.empty());
    Tick();
    ASSERT_TRUE(HeardOf(1));
    EXPECT_EQ(m_heard[0], "Scan button") << "by its name in the registry";
    ASSERT_TRUE(HasWaited(5));
    EXPECT_EQ(m_waits, (std::vector<DWORD>{INFINITE, 1000, 1000, 1000, INFINITE}));
    EXPECT_EQ(TestScript().Count("Arm"), 2);
    EXPECT_EQ(TestScript().Count("GetStatus"), 0) << "nothing is polled";
    m_subscription.End();
    EXPECT_EQ(TestScript().Count("Disarm"), 1);
    EXPECT_EQ(TestScript().m_objects, 0);
}

TEST_F(Events, ADeviceThatNeedsPollingIsAskedInItsIntervalAndLosesNoPress) {
    TestScript().m_capabilities = STI_GENCAP_POLLING_NEEDED;  // the driver adds it
    TestScript().m_interval = 250;
    Subscribe();
    Tick();
    EXPECT_EQ(TestScript().Count("GetNotificationData"), 0) << "nothing is pending";
    TestScript().Press(DefaultEvents()[3].guid);
    TestScript().Fail("GetStatus", kScannerLocked, 2);
    Tick(2);
    TestScript().Fail("GetNotificationData", kScannerLocked, 2);
    Tick(2);  // pending, and locked again
    EXPECT_TRUE(m_heard.empty());
    EXPECT_EQ(TestScript().Count("GetStatus"), 4) << "not asked while an event waits";
    Tick();
    ASSERT_TRUE(HeardOf(1));
    EXPECT_EQ(m_heard[0], "File button");
    Tick(2);
    EXPECT_EQ(m_heard.size(), 1u);
    EXPECT_EQ(m_waits.front(), 1000u) << "until the driver has told its own";
    EXPECT_EQ(std::count(m_waits.begin() + 1, m_waits.end(), 250u), m_waits.size() - 1);
    EXPECT_EQ(TestScript().Count("Arm"), 0) << "the driver needs no handle";
}

TEST_F(Events, SubscribersComeAndGoAlsoFromTheirOwnHandlers) {
    Subscribe();
    ASSERT_TRUE(HasWaited(1));
    CScanSubscription second;
    int calls = 0;
    const auto leave = [&](const ScanEvent&) {
        ++calls;
        second.End();
    };
    ASSERT_EQ(Failure(m_client.Subscribe("", leave, second)), "");
    for (std::size_t i = 1; i <= 2; ++i) {
        TestScript().Press(DefaultEvents()[0].guid);
        ASSERT_TRUE(HeardOf(i));
        ASSERT_TRUE(HasWaited(i + 1));
    }
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(TestScript().m_made, 1) << "one driver for all";
}

TEST_F(Events, ADriverThatIsGivenUpIsFollowedByOneThatListens) {
    Subscribe();
    ASSERT_TRUE(HasWaited(1));
    TestScript().Fail("drvInitializeWia", E_FAIL, 1);
    EXPECT_EQ(m_client.Open("", m_device).code, E_FAIL);
    ASSERT_TRUE(HasWaited(2));
    EXPECT_EQ(TestScript().m_made, 2);
    EXPECT_EQ(TestScript().m_objects, 1);
    TestScript().Press(DefaultEvents()[0].guid);
    EXPECT_TRUE(HeardOf(1));
    EXPECT_EQ(Failure(m_client.Open("", m_device)), "") << "beside the events";
    EXPECT_EQ(TestScript().m_made, 2);
}

}  // namespace
