// Lamps, lock, faults, buttons, and what the device thinks of its callers.
#include <dlfcn.h>

#include <functional>
#include <thread>

#include "platform/files.h"
#include "platform/sync.h"
#include "tests/simulator/sim_rig.h"

namespace {

using Device = IOstrelDevice;

// ---- Lamps, on a clock that the test sets

constexpr std::uint64_t kStart = 5'000'000;
constexpr std::uint64_t kMinute = 60'000;

class Lamp : public testing::Test {
  protected:
    Lamp() { rig.SetClock(kStart); }
    ~Lamp() override { EXPECT_EQ(rig.State().violations, 0u); }

    CDeviceRig rig{"[simulator]\nmodel=SIM500D\n"};  // whose lamps take 12 and 18 seconds
};

TEST_F(Lamp, NeedsTimeAndCalibrationAfterItWasLit) {
    CSessionRig session(rig);
    const auto start = [&] { return session.Scan(Window(0, 0, 30, 30)); };
    EXPECT_EQ(start(), OSTREL_LAMP_OFF);
    EXPECT_EQ(session.Do(&Device::CalibrateScanner), OSTREL_LAMP_OFF);
    EXPECT_EQ(session.Do(&Device::LampOn), 0u);
    EXPECT_EQ(start(), OSTREL_CALIBRATION_FAILED);
    rig.SetClock(kStart + 2000);
    EXPECT_EQ(session.Do(&Device::CalibrateScanner), 0u);
    EXPECT_EQ(rig.Clock(), kStart + 12000) << "the device waits for the rest of the warm-up";
    EXPECT_EQ(rig.State().warmUpWaits, 1u);
    EXPECT_EQ(session.Do(&Device::LampOn), 0u) << "a burning lamp is only touched";
    // The time-out of 15 minutes counts from the last use.
    for (const std::uint64_t time : {12000 + 15 * kMinute - 1, 12000 + 30 * kMinute - 2}) {
        rig.SetClock(kStart + time);
        EXPECT_EQ(start(), OSTREL_END_OF_MEDIA);
    }
    rig.SetClock(rig.Clock() + 15 * kMinute);
    EXPECT_EQ(start(), OSTREL_LAMP_OFF);
}

TEST_F(Lamp, OfTheAdapterPutsTheOtherOut) {
    CSessionRig session(rig);
    DWORD lamp = 9;
    for (const WORD source : {OSTREL_SOURCE_FLATBED, OSTREL_SOURCE_POSITIVE}) {
        session.Prepare(source);
        EXPECT_EQ(session.Do(&IOstrelProperties::GetLongProperty, OLESTR("CurrentLampOn"), &lamp),
                  0u);
        EXPECT_EQ(lamp, source == OSTREL_SOURCE_FLATBED ? 1u : 2u);
    }
    EXPECT_EQ(session.Scan(Window(0, 0, 30, 30)), OSTREL_LAMP_OFF);
    EXPECT_EQ(session.Scan(Window(0, 0, 30, 30, 300, OSTREL_SOURCE_POSITIVE)), OSTREL_END_OF_MEDIA);
    BOOL on = FALSE;
    EXPECT_EQ(session.Do(&Device::IsLampOn, &on), 0u);
    EXPECT_TRUE(on) << "the lamp that this session lit";
    session.Unlock();
    EXPECT_EQ(CSessionRig(rig).Do(&Device::IsLampOn, &on), 0u);
    EXPECT_FALSE(on) << "to another session it is the flatbed's that counts";
}

TEST_F(Lamp, IsWarmAtOnceWhenToldToBe) {
    CSessionRig session(rig);
    EXPECT_EQ(session.Do(&IOstrelInstantLamp::SetInstantLamp, 1u), 0u);
    session.Prepare();
    EXPECT_EQ(rig.State().warmUpWaits, 0u);
}

// ---- The lock

TEST(Lock, NestsAndKeepsOthersOut) {
    CDeviceRig rig;
    CSessionRig holder(rig);
    CSessionRig other(rig, false);
    EXPECT_EQ(holder.Lock(0), 0u);
    for (int level = 0; level < 2; ++level) {
        EXPECT_EQ(other.Lock(0), OSTREL_LOCK_FAILED);
        EXPECT_EQ(holder.Unlock(), 0u);
    }
    const DWORD before = GetTickCount();
    EXPECT_EQ(other.Lock(0), 0u);
    EXPECT_EQ(holder.Lock(30), OSTREL_LOCK_FAILED);
    EXPECT_GE(GetTickCount() - before, 29u);
    std::thread releaser([&] { other.Unlock(); });
    EXPECT_EQ(holder.Lock(60000), 0u) << "had while waiting";
    releaser.join();
    EXPECT_EQ(rig.State().violations, 0u);
}

// ---- Callers that don't keep the rules

TEST(Caller, IsToldWhatItDidWrongAndCounted) {
    CDeviceRig rig;
    CSessionRig session(rig);
    session.Prepare();
    Device* const device = session.Device();
    DWORD error = 0;
    DWORD got = 0;
    Bytes buffer(64);
    BOOL on = FALSE;
    const auto params = Window(0, 0, 30, 30);
    const auto read = [&] { return session.Read(buffer.data(), 64, &got); };
    const auto start = [&] { return session.Do(&Device::StartScan, &params); };
    const auto begin = [&] { return session.Do(&Device::BeginRead); };
    const auto unlock = [&] { return session.Unlock(); };
    const struct {
        const char* what;
        std::function<DWORD()> before, call;
        DWORD code;
    } kCases[] = {
        {"ReadScan ahead of BeginRead", start, read, 2},
        {"BeginRead a second time", begin, begin, 2},
        {"ReadScan with a null pointer", {}, [&] { return session.Read(nullptr, 64, &got); }, 2},
        {"IsLampOn without the lock", unlock, [&] { return session.Do(&Device::IsLampOn, &on); },
         4},
        {"UnlockScanner without the lock", {}, unlock, 4},
        {"IsLampOn with session 77777, which isn't open",
         {},
         [&] { return device->IsLampOn(77777, &on, &error), error; },
         1},
    };
    std::uint64_t count = 0;
    for (const auto& c : kCases) {
        if (c.before) {
            EXPECT_EQ(c.before(), 0u) << c.what;
        }
        EXPECT_EQ(rig.State().violations, count) << c.what;
        EXPECT_EQ(c.call(), c.code) << c.what;
        EXPECT_EQ(rig.State().violations, ++count) << c.what;
        EXPECT_EQ(rig.State().lastViolation, c.what);
    }
    EXPECT_EQ(session.Do(&Device::CloseDevice), 0u);
    EXPECT_EQ(session.Do(&Device::CloseDevice), OSTREL_INVALID_SESSION);
    session.Forget();
}

TEST(Caller, MayEndWhatDidntBeginAndCloseWhatIsLocked) {
    CDeviceRig rig;
    EXPECT_EQ(CSessionRig(rig).Do(&Device::EndScan), 0u);
    const CDeviceState state = rig.State();
    EXPECT_EQ(std::tuple(state.violations, state.closedLocked, state.scans), std::tuple(0, 1, 0));
    EXPECT_EQ(CSessionRig(rig, false).Lock(0), 0u);
}

TEST(Parameters, AreCheckedAgainstTheDevice) {
    CDeviceRig rig;  // SIM300A
    CSessionRig session(rig);
    const auto with = [](std::function<void(OstrelScanParams&)> change) {
        auto params = Window(0, 0, 300, 300);
        change(params);
        return params;
    };
    const OstrelScanParams kBad[] = {
        with([](auto& p) { p.xResolution = 74; }),
        with([](auto& p) { p.source = 1, p.xResolution = 601; }),
        with([](auto& p) { p.left = 2251; }),
        with([](auto& p) { p.channelMask = 8; }),
        with([](auto& p) { p = OneChannel(p, 16, 8), p.xResolution = 1201; }),
        with([](auto& p) { p.scanFlags = OSTREL_SCAN_TONEMAP_THRESHOLD; }),
    };
    OstrelScanSetup setup = {};
    for (const auto& params : kBad)
        EXPECT_EQ(session.Do(&Device::GetScanSetup, &params, &setup), OSTREL_INVALID_PARAMETER)
            << &params - kBad;
    const auto odd = Window(0, 0, 101, 203, 150);
    EXPECT_EQ(session.Do(&Device::GetScanSetup, &odd, &setup), 0u);
    EXPECT_EQ(setup.pixelsPerLine, 50u) << "101 x 150 / 300, truncated";
    EXPECT_EQ(setup.lines, 101u);
    session.Prepare();
    const auto empty = Window(0, 0, 0, 30);
    EXPECT_EQ(session.Do(&Device::GetScanSetup, &empty, &setup), 0u);
    EXPECT_EQ(session.Scan(empty), OSTREL_INVALID_PARAMETER);
    EXPECT_EQ(rig.State().violations, 0u);
}

// ---- What can be ordered

TEST(Faults, StrikeTheCallsThatTheyAreOrderedFor) {
    CDeviceRig rig("[behaviour]\nrecord=1\n[faults]\nStartScan=2:12,4+:100\n");
    CSessionRig session(rig);
    session.Prepare();
    const auto params = Window(0, 0, 30, 30);
    for (const DWORD code : {0u, 12u, 0u, 100u, 100u}) {
        EXPECT_EQ(session.Do(&Device::StartScan, &params), code);
        session.Do(&Device::EndScan);
    }
    EXPECT_NE(rig.Calls().find("StartScan (ordered) -> 12\n"), std::string::npos) << rig.Calls();
}

TEST(Behaviour, EndsTheMediumAtAGivenLineAndTakesItsTime) {
    CDeviceRig rig("[behaviour]\nendAtLine=10\nlinesPerSecond=100\n");
    rig.SetClock(kStart);
    CSessionRig session(rig);
    session.Prepare();
    const std::uint64_t begin = rig.Clock();
    Bytes data;
    EXPECT_EQ(session.Scan(Window(0, 0, 30, 30), &data), OSTREL_END_OF_MEDIA);
    EXPECT_EQ(data.size(), 10u * 90);
    EXPECT_EQ(rig.Clock() - begin, 100u);
}

// A reader's thread reads while another session asks, as the driver's do.
TEST(Behaviour, AnswersOtherSessionsWhileAScanIsRead) {
    CDeviceRig rig;
    CSessionRig session(rig);
    session.Prepare();
    CSessionRig other(rig, false);
    Bytes data;
    std::thread reading([&] { session.Scan(Window(0, 0, 2550, 600), &data); });
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(other.Lock(0), OSTREL_LOCK_FAILED);
    reading.join();
    EXPECT_EQ(data.size(), 2550u * 600 * 3);
}

// ---- The module

// A copy, which nobody else in this program has loaded.
TEST(Module, MayGoWhenUnused) {
    const std::string path = TestFolder() + "/copy.so";
    std::filesystem::copy_file(SIMULATOR_MODULE, path);
    void* const module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    const auto mayGo = reinterpret_cast<HRESULT (*)()>(dlsym(module, "DllCanUnloadNow"));
    const auto get = reinterpret_cast<HRESULT (*)(REFCLSID, REFIID, LPVOID*)>(
        dlsym(module, "DllGetClassObject"));
    {
        ComPtr<IClassFactory> factory;
        ComPtr<IOstrelDevice> object;
        EXPECT_EQ(get(CLSID_OstrelSimulator, IID_IClassFactory, factory.OutVoid()), S_OK);
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IOstrelDevice, object.OutVoid()), S_OK);
        EXPECT_EQ(mayGo(), S_FALSE);
    }
    EXPECT_EQ(mayGo(), S_OK);
    dlclose(module);
    EXPECT_EQ(dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr) << "it has left";
}

// A minute from the press, or from the last use of the scanner.
TEST(Buttons, APressThatNobodyReadsIsForgotten) {
    CDeviceRig rig;
    rig.SetClock(1000);
    CSessionRig session(rig, false);
    const auto use = [&](std::uint64_t time) {
        rig.SetClock(time);
        EXPECT_EQ(session.Lock(1000), 0u);
        EXPECT_EQ(session.Unlock(), 0u);
    };
    const auto press = [&](std::uint64_t time) {
        rig.Act("press-2");
        use(time);  // an act is noticed at a call
    };
    const auto isPressed = [&](std::uint64_t time) {
        rig.SetClock(time);
        BYTE buttons[4] = {};
        EXPECT_EQ(session.Lock(1000), 0u);
        EXPECT_EQ(session.Do(&IOstrelButtons::ReadButtons, DWORD{4}, buttons), 0u);
        EXPECT_EQ(session.Unlock(), 0u);
        return buttons[1] == 1;
    };
    press(2000);
    EXPECT_TRUE(isPressed(61000));
    EXPECT_FALSE(isPressed(61001)) << "told once";
    press(100000);
    EXPECT_FALSE(isPressed(161000));
    press(200000);
    use(250000);
    EXPECT_TRUE(isPressed(300000));

    rig.Act("press-2");
    using Clock = std::filesystem::file_time_type::clock;
    std::filesystem::last_write_time(rig.Path() + "/panel/press-2",
                                     Clock::now() - std::chrono::minutes(2));
    EXPECT_FALSE(isPressed(300000)) << "made while nobody asked";
}

TEST(Port, InAFolderThatIsNoDevicesGetsNoFile) {
    CDeviceRig rig;
    std::filesystem::remove(rig.Path() + "/device.ini");
    DWORD session = 0;
    DWORD error = 0;
    EXPECT_EQ(CreateToolkit()->OpenDevice(rig.Port().c_str(), 1, &session, &error), E_FAIL);
    EXPECT_EQ(error, DWORD{OSTREL_NOT_FOUND});
    EXPECT_TRUE(std::filesystem::is_empty(rig.Path()));
}

}  // namespace
