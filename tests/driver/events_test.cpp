// Buttons of the scanner, from the finger to the program's handler.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/event_pipe.h"
#include "service/event_pump.h"
#include "tests/driver/driver_rig.h"

namespace {

using std::chrono::milliseconds;

class Buttons : public CDriverTest {
  protected:
    void SetUp() override {
        // A second of the service is a few milliseconds here.
        SetEventWait([](DWORD count, const HANDLE* handles, DWORD time) {
            return WaitForMultipleObjects(count, handles, FALSE,
                                          time == INFINITE ? time : std::min<DWORD>(time, 5));
        });
    }
    void TearDown() override {
        m_subscription.End();
        SetEventWait({});
        CDriverTest::TearDown();
    }
    void Begin(DWORD capabilities, DWORD subType, const std::string& report,
               const std::vector<InstallEvent>& events = DefaultEvents()) {
        m_subscription.End();
        ForgetRegistry();
        SetIni("[buttons]\nreport=" + report + "\n[behaviour]\nrecord=1\n");
        InstallOptions options = Options();
        options.capabilities = capabilities;
        options.subType = subType;
        options.events = events;
        Install(options);
        Subscribe();
    }
    void Subscribe() {
        ASSERT_EQ(Failure(m_client.Subscribe(
                      "",
                      [this](const ScanEvent& event) {
                          const std::lock_guard guard(m_lock);
                          m_heard.push_back(event.name);
                          m_changed.notify_all();
                      },
                      m_subscription)),
                  "");
    }
    // A press goes through the pipe only while somebody listens there.
    template <class Act>
    void Until(Act act) {
        for (int tries = 0; tries < 2000; ++tries) {
            if (act())
                return;
            std::this_thread::sleep_for(milliseconds(5));
        }
        FAIL() << "nobody listens";
    }
    void Press(unsigned button) {
        std::string error;
        Until([&] { return PressButton(m_folder, button, &error); });
    }
    void PressAndHear(unsigned button) {
        Press(button);
        ASSERT_TRUE(Hears(DefaultEvents()[button - 1].name));
    }
    bool Hears(const std::string& name) {
        std::unique_lock lock(m_lock);
        m_changed.wait_for(lock, std::chrono::seconds(20), [&] { return !m_heard.empty(); });
        return std::exchange(m_heard, {}) == std::vector{name};
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<std::string> m_heard;
    CScanSubscription m_subscription;
};

// One press, one thread: each is followed by another, which shows that the driver is armed again.
TEST_F(Buttons, ThroughThePipeMeanWhatTheSubTypeSays) {
    constexpr int kNone = -1;
    const struct {
        DWORD subType;
        DWORD masks[4];
        std::vector<std::pair<int, int>> bytes;  // and the event that each means
    } cases[] = {
        // An index; one out of range is none.
        {1, {}, {{1, 1}, {9, kNone}, {3, 3}, {4, kNone}, {2, 2}}},
        // The first mask whose bits are all there.
        {3, {4, 1, 2, 8}, {{5, 0}, {16, kNone}, {3, 1}, {8, 3}}},
        // The value itself.
        {4, {1, 2, 3, 2}, {{2, 1}, {9, kNone}, {1, 0}, {3, 2}}},
    };
    for (const auto& c : cases) {
        std::vector<InstallEvent> events = DefaultEvents();
        for (std::size_t i = 0; i < events.size(); ++i)
            events[i].mask = c.masks[i];
        Begin(STI_GENCAP_NOTIFICATIONS, c.subType, "pipe", events);
        for (const auto& [byte, event] : c.bytes) {
            SCOPED_TRACE(testing::Message() << "byte " << byte << " of subtype " << c.subType);
            Until([&, value = static_cast<BYTE>(byte)] {
                return SendEventByte(SimulatedPort(m_folder).c_str(), value);
            });
            if (event != kNone) {
                ASSERT_TRUE(Hears(events[static_cast<std::size_t>(event)].name));
            }
        }
    }
}

TEST_F(Buttons, ArePolledWhereTheCapabilitiesSaySo) {
    constexpr DWORD kPolled = STI_GENCAP_NOTIFICATIONS | STI_GENCAP_POLLING_NEEDED;
    Begin(kPolled, 1, "poll");
    PressAndHear(4);
    // More buttons than events: a press of the others means nothing, and is taken all the same.
    std::vector<InstallEvent> two = DefaultEvents();
    two.resize(2);
    Begin(kPolled, 1, "poll", two);
    Press(3);
    PressAndHear(1);
    EXPECT_EQ(State().buttonsPending, 0u);
}

TEST_F(Buttons, LiveOnBehindADisableAndAnEnable) {
    Begin(STI_GENCAP_NOTIFICATIONS, 3, "pipe");
    PressAndHear(1);
    // While the device is open the driver object stays, and its shutdown has been signalled.
    Open();
    for (int round = 0; round < 2; ++round) {
        m_subscription.End();
        Subscribe();
        PressAndHear(2);
    }
}

// The scanner's lock is held by the scan, so a poll gets no answer and asks again.
TEST_F(Buttons, PressedDuringAScanAreHeardOf) {
    for (const DWORD subType : {1u, 2u}) {
        SCOPED_TRACE(subType);
        const DWORD polling = subType == 1 ? STI_GENCAP_POLLING_NEEDED : 0;
        Begin(STI_GENCAP_NOTIFICATIONS | polling, subType, polling ? "poll" : "both");
        Open();
        Set({{WIA_IPS_XEXTENT, 100}, {WIA_IPS_YEXTENT, 200}});
        CPages pages;
        pages.m_onCall = [&] {
            if (pages.m_calls != 2)
                return;
            Press(2);
            // Some polls meet the lock.
            std::this_thread::sleep_for(milliseconds(40));
            const std::lock_guard guard(m_lock);
            EXPECT_TRUE(m_heard.empty());
        };
        ASSERT_EQ(Failure(Scan(pages)), "");
        ASSERT_TRUE(Hears("Copy button"));
        PressAndHear(1);
        m_device.Close();
    }
}

}  // namespace
