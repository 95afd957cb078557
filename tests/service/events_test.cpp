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
    void Subscribe(DWORD capabilities, DWORD subType = 3) {
        InstallOptions options = TestInstall();
        options.capabilities = capabilities;
        options.subType = subType;
        Install(options);
        ASSERT_EQ(Failure(m_client.Subscribe("", Handler(), m_subscription)), "");
    }
    EventHandler Handler() {
        return [this](const ScanEvent& event) {
            const std::lock_guard guard(m_lock);
            m_heard.push_back(event);
            m_changed.notify_all();
        };
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
            ASSERT_TRUE(Until([&] { return !m_waits.empty() && m_waits.back() != INFINITE; }));
            {
                const std::lock_guard guard(m_lock);
                before = m_waits.size();
            }
            m_tick.Set();
            ASSERT_TRUE(Until([&] { return m_waits.size() > before; }));
        }
    }
    bool WaitsAgain(std::size_t waits) {
        return Until([&] { return m_waits.size() >= waits; });
    }

    CWaitEvent m_tick{false};
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<DWORD> m_waits;
    std::vector<ScanEvent> m_heard;
    CScanSubscription m_subscription;
};

TEST_F(Events, APressByHandleIsFetchedAndTheDriverArmedAgain) {
    Subscribe(STI_GENCAP_NOTIFICATIONS);
    ASSERT_TRUE(WaitsAgain(1));
    const auto buttons = DefaultEvents();
    TestScript().Press(buttons[1].guid);
    ASSERT_TRUE(HeardOf(1));
    EXPECT_EQ(m_heard[0].name, "Copy button") << "by its name in the registry";
    EXPECT_EQ(m_heard[0].guid, buttons[1].guid);
    EXPECT_EQ(m_heard[0].device, "{6BDD1FC6-810F-11D0-BEC7-08002BE2092F}\\0000");
    ASSERT_TRUE(WaitsAgain(2));
    TestScript().Press(CLSID_TestToolkit);
    ASSERT_TRUE(HeardOf(2));
    EXPECT_EQ(m_heard[1].name, "{1E0C2B4A-77F1-4B7E-A10F-6C2D54903BE8}") << "one without a name";
    ASSERT_TRUE(WaitsAgain(3));
    EXPECT_EQ(TestScript().Count("Arm"), 3);
    EXPECT_EQ(TestScript().Count("GetStatus"), 0) << "nothing is polled";
    EXPECT_EQ(std::count(m_waits.begin(), m_waits.end(), INFINITE), 3) << "and no time runs";
    m_subscription.End();
    EXPECT_EQ(TestScript().Count("Disarm"), 1);
    EXPECT_EQ(TestScript().m_objects, 0);
}

TEST_F(Events, AScannerThatIsLockedWhenAskedForTheButtonIsAskedAgain) {
    Subscribe(STI_GENCAP_NOTIFICATIONS, 2);
    ASSERT_TRUE(WaitsAgain(1));
    TestScript().Fail("GetNotificationData", kScannerLocked, 3);
    TestScript().Press(DefaultEvents()[0].guid);
    Tick(2);
    EXPECT_EQ(TestScript().Count("Arm"), 1) << "the event is fetched before the next one is armed";
    EXPECT_TRUE(m_heard.empty());
    Tick();
    ASSERT_TRUE(HeardOf(1));
    ASSERT_TRUE(WaitsAgain(5));
    EXPECT_EQ(m_waits, (std::vector<DWORD>{INFINITE, 1000, 1000, 1000, INFINITE}));
    EXPECT_EQ(TestScript().Count("GetNotificationData"), 4);
    EXPECT_EQ(TestScript().Count("Arm"), 2);
}

TEST_F(Events, ADeviceThatNeedsPollingIsAskedInItsIntervalAndLosesNoPress) {
    TestScript().m_capabilities = STI_GENCAP_POLLING_NEEDED;  // the driver adds it
    TestScript().m_interval = 250;
    Subscribe(STI_GENCAP_NOTIFICATIONS);
    Tick();
    EXPECT_EQ(TestScript().Count("GetStatus"), 1);
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
    EXPECT_EQ(m_heard[0].name, "File button");
    Tick(2);
    EXPECT_EQ(m_heard.size(), 1u);
    EXPECT_EQ(m_waits.front(), 1000u) << "until the driver has told its own";
    EXPECT_EQ(std::count(m_waits.begin() + 1, m_waits.end(), 250u), m_waits.size() - 1);
    EXPECT_EQ(TestScript().Count("Arm"), 0) << "the driver needs no handle";
    EXPECT_TRUE(m_notices.empty()) << "nothing of that is worth a word";
}

TEST_F(Events, WithoutButtonsThereIsNothingToAskFor) {
    InstallOptions options = TestInstall();
    options.capabilities = 0;
    Install(options);
    EXPECT_EQ(m_client.Subscribe("", Handler(), m_subscription).code, E_NOTIMPL);
    EXPECT_EQ(TestScript().m_objects, 0);
    ASSERT_EQ(Failure(UninstallDevice("0000")), "");

    TestScript().Fail("GetStatus", MakeResult(0x80070103u));
    Subscribe(STI_GENCAP_NOTIFICATIONS | STI_GENCAP_POLLING_NEEDED);
    ASSERT_TRUE(WaitsAgain(1));
    m_tick.Set();
    while (TestScript().Count("GetStatus") == 0)
        std::this_thread::yield();
    m_subscription.End();
    EXPECT_EQ(TestScript().Count("GetStatus"), 1) << "asked once";
    EXPECT_EQ(m_notices.size(), 1u);
}

TEST_F(Events, SubscribersComeAndGoAlsoFromTheirOwnHandlers) {
    Subscribe(STI_GENCAP_NOTIFICATIONS);
    ASSERT_TRUE(WaitsAgain(1));
    CScanSubscription second;
    int calls = 0;
    ASSERT_EQ(Failure(m_client.Subscribe(
                  "",
                  [&](const ScanEvent&) {
                      ++calls;
                      second.End();
                  },
                  second)),
              "");
    for (std::size_t i = 1; i <= 2; ++i) {
        TestScript().Press(DefaultEvents()[0].guid);
        ASSERT_TRUE(HeardOf(i));
        ASSERT_TRUE(WaitsAgain(i + 1));
    }
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(TestScript().m_made, 1) << "one driver for all";
    m_subscription.End();
    ASSERT_EQ(Failure(m_client.Subscribe("", Handler(), m_subscription)), "");
    ASSERT_TRUE(WaitsAgain(4));
    TestScript().Press(DefaultEvents()[0].guid);
    EXPECT_TRUE(HeardOf(3)) << "after a disable and an enable";
}

TEST_F(Events, ADriverThatIsGivenUpIsFollowedByOneThatListens) {
    Subscribe(STI_GENCAP_NOTIFICATIONS);
    ASSERT_TRUE(WaitsAgain(1));
    TestScript().Fail("drvInitializeWia", E_FAIL, 1);
    EXPECT_EQ(m_client.Open("", m_device).code, E_FAIL);
    ASSERT_TRUE(WaitsAgain(2));
    EXPECT_EQ(TestScript().m_made, 2);
    EXPECT_EQ(TestScript().m_objects, 1);
    TestScript().Press(DefaultEvents()[0].guid);
    EXPECT_TRUE(HeardOf(1));
    EXPECT_EQ(Failure(m_client.Open("", m_device)), "") << "beside the events";
    EXPECT_EQ(TestScript().m_made, 2);
}

}  // namespace
