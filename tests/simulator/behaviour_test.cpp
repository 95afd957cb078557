// Lamps, lock, faults, buttons, and what the device thinks of its callers.
#include <dlfcn.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

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
    EXPECT_EQ(start(), OSTREL_END_OF_MEDIA);
    EXPECT_EQ(session.Do(&Device::LampOn), 0u) << "a burning lamp is only touched";
    EXPECT_EQ(start(), OSTREL_END_OF_MEDIA);
    // The time-out of 15 minutes counts from the last use.
    rig.SetClock(kStart + 12000 + 15 * kMinute - 1);
    EXPECT_EQ(start(), OSTREL_END_OF_MEDIA);
    rig.SetClock(rig.Clock() + 15 * kMinute);
    EXPECT_EQ(start(), OSTREL_LAMP_OFF);
    EXPECT_EQ(session.Do(&Device::LampOn), 0u);
    EXPECT_EQ(start(), OSTREL_CALIBRATION_FAILED);
}

TEST_F(Lamp, OfTheAdapterPutsTheOtherOut) {
    CSessionRig session(rig);
    const auto current = [&] {
        DWORD lamp = 9;
        EXPECT_EQ(session.Do(&IOstrelProperties::GetLongProperty, OLESTR("CurrentLampOn"), &lamp),
                  0u);
        return lamp;
    };
    EXPECT_EQ(current(), 0u);
    session.Prepare(OSTREL_SOURCE_FLATBED);
    EXPECT_EQ(current(), 1u);
    session.Prepare(OSTREL_SOURCE_POSITIVE);
    EXPECT_EQ(current(), 2u);
    BOOL on = FALSE;
    EXPECT_EQ(session.Do(&Device::IsLampOn, &on), 0u);
    EXPECT_TRUE(on) << "the lamp that this session lit";
    EXPECT_EQ(session.Scan(Window(0, 0, 30, 30)), OSTREL_LAMP_OFF);
    EXPECT_EQ(session.Scan(Window(0, 0, 30, 30, 300, OSTREL_SOURCE_POSITIVE)), OSTREL_END_OF_MEDIA);
    session.Unlock();
    CSessionRig other(rig);
    EXPECT_EQ(other.Do(&Device::IsLampOn, &on), 0u);
    EXPECT_FALSE(on) << "to another session it is the flatbed's that counts";
}

TEST_F(Lamp, IsWarmAtOnceWhenToldToBeAndGoesOutWhenTold) {
    CSessionRig session(rig);
    EXPECT_EQ(session.Do(&IOstrelInstantLamp::SetInstantLamp, 1u), 0u);
    session.Prepare();
    OstrelDeviceCaps caps = {};
    EXPECT_EQ(session.Do(&Device::GetDeviceCapabilities, &caps), 0u);
    EXPECT_EQ(caps.lampWarmUpFlatbed, 0);
    EXPECT_EQ(rig.State().warmUpWaits, 0u);
    EXPECT_EQ(session.Do(&IOstrelExtendedLamp::SetLampTimeout, 1u), 0u);
    rig.SetClock(kStart + kMinute);
    BOOL on = TRUE;
    EXPECT_EQ(session.Do(&Device::IsLampOn, &on), 0u);
    EXPECT_FALSE(on);
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

TEST(Lock, AndJobOfAKilledProgramAreGone) {
    CDeviceRig rig("[simulator]\nmodel=SIM500D\n[feeder]\nsheets=1\n");
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        CSessionRig session(rig);
        DWORD length = 0;
        session.Do(&IOstrelADF2::ADF2PaperFeed, &length);
        if (write(ready[1], "x", 1) != 1)
            _exit(1);
        for (;;)
            pause();
    }
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    CSessionRig session(rig, false);
    EXPECT_EQ(session.Lock(30), OSTREL_LOCK_FAILED);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(session.Lock(60000), 0u);
    BOOL paper = FALSE;
    EXPECT_EQ(session.Do(&IOstrelADF2::IsPaperInADF, &paper), 0u);
    EXPECT_TRUE(paper) << "the sheet that it had fed is back";
    close(ready[0]);
    close(ready[1]);
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
    const auto finish = [&] { return session.Do(&Device::FinishOpen); };
    const auto unlock = [&] { return session.Unlock(); };
    const struct {
        const char* what;
        std::function<DWORD()> before, call;
        DWORD code;
    } kCases[] = {
        {"BeginRead without a scan", {}, begin, 2},
        {"ReadScan without a scan", {}, read, 2},
        {"ReadScan ahead of BeginRead", start, read, 2},
        {"StartScan while a scan runs", {}, start, 2},
        {"BeginRead a second time", begin, begin, 2},
        {"ReadScan with a null pointer", {}, [&] { return session.Read(nullptr, 64, &got); }, 2},
        {"FinishOpen a second time", finish, finish, 2},
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
    EXPECT_EQ(rig.State().violations, 0u);
    EXPECT_EQ(rig.State().closedLocked, 1u);
    EXPECT_EQ(rig.State().scans, 0u);
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
        with([](auto& p) { p.source = 4; }),
        with([](auto& p) { p.source = 1, p.xResolution = 601; }),
        with([](auto& p) { p.left = 2251; }),
        with([](auto& p) { p.top = 0xFFFFFFFF; }),
        with([](auto& p) { p.bitsPerSample = 12; }),
        with([](auto& p) { p.source = 2, p.bitsPerSample = 16; }),
        with([](auto& p) { p.colorMode = OSTREL_ONE_CHANNEL; }),
        with([](auto& p) { p.channelMask = 8; }),
        with([](auto& p) { p = OneChannel(p, 32, 8); }),
        with([](auto& p) { p = OneChannel(p, 8, 1), p.bitsPerSample = 8; }),
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
    CDeviceRig rig(
        "[behaviour]\nrecord=1\n[faults]\nOpenDevice=1:13\nStartScan=2:12,4+:100\n"
        "ReadScan=2:16\nGetNvramInfo=1:9\n");
    DWORD id = 0;
    DWORD error = 0;
    EXPECT_EQ(CreateToolkit()->OpenDevice(rig.Port().c_str(), 1, &id, &error), E_FAIL);
    EXPECT_EQ(error, OSTREL_OPEN_FAILED);
    CSessionRig session(rig);
    session.Prepare();
    const auto params = Window(0, 0, 30, 30);
    for (const DWORD code : {0u, 12u, 0u, 100u, 100u}) {
        EXPECT_EQ(session.Do(&Device::StartScan, &params), code);
        session.Do(&Device::EndScan);
    }
    OstrelNvramInfo info = {};
    EXPECT_EQ(session.Do(&IOstrelNvram::GetNvramInfo, &info), 9u);
    // Other faults count anew.
    session.Unlock();
    rig.SetIni("[faults]\nReadScan=2:16\n");
    session.Lock(0);
    Bytes data;
    EXPECT_EQ(session.Scan(params, &data, 900), OSTREL_CANCEL_BUTTON);
    EXPECT_EQ(data.size(), 900u);
    EXPECT_NE(rig.Calls().find("StartScan (ordered) -> 12\n"), std::string::npos) << rig.Calls();
    EXPECT_EQ(rig.State().violations, 0u);
}

// A program doesn't ask again: whatever an ending tells, the thing is over and can begin anew.
TEST(Faults, OfAnEndingStillEndIt) {
    CDeviceRig rig(
        "[simulator]\nmodel=SIM500D\n[faults]\nUnlockScanner=1:12\nEndScan=1:12\n"
        "EndADF2Job=1:12\nADFEndJob=1:12\nEndJobGate=1:12\nCloseDevice=1:12\n");
    rig.SetClock(kStart);
    CSessionRig session(rig);
    session.Prepare();
    const auto params = Window(0, 0, 30, 30);
    const auto start = [&] { return session.Do(&Device::StartScan, &params); };
    const auto startJob = [&] { return session.Do(&IOstrelADF3::ADFStartJob); };
    const auto begin = [&] { return session.Do(&IOstrelJobGate::BeginJobGate, 0u); };
    const std::pair<std::function<DWORD()>, std::function<DWORD()>> kCases[] = {
        {start, [&] { return session.Do(&Device::EndScan); }},
        {startJob, [&] { return session.Do(&IOstrelADF3::ADFEndJob); }},
        {startJob, [&] { return session.Do(&IOstrelADF2::EndADF2Job); }},
        {begin, [&] { return session.Do(&IOstrelJobGate::EndJobGate); }},
    };
    for (const auto& [again, end] : kCases) {
        EXPECT_EQ(again(), 0u);
        EXPECT_EQ(end(), OSTREL_COMMUNICATION);
        EXPECT_EQ(again(), 0u);
        EXPECT_EQ(end(), 0u);
    }
    EXPECT_EQ(session.Unlock(), OSTREL_COMMUNICATION);
    CSessionRig other(rig, false);
    EXPECT_EQ(other.Lock(0), 0u);
    EXPECT_EQ(session.Do(&Device::CloseDevice), OSTREL_COMMUNICATION);
    EXPECT_EQ(session.Do(&Device::CloseDevice), OSTREL_INVALID_SESSION);
    session.Forget();
}

TEST(Behaviour, EndsTheMediumAtAGivenLineAndTakesItsTime) {
    CDeviceRig rig("[behaviour]\nendAtLine=10\nrecord=1\nlinesPerSecond=100\n");
    rig.SetClock(kStart);
    CSessionRig session(rig);
    session.Prepare();
    const std::uint64_t begin = rig.Clock();
    Bytes data;
    EXPECT_EQ(session.Scan(Window(0, 0, 30, 30), &data), OSTREL_END_OF_MEDIA);
    EXPECT_EQ(data.size(), 10u * 90);
    EXPECT_EQ(rig.Clock() - begin, 100u);
    const std::string id = std::to_string(getpid()) + '.' + std::to_string(session.Session());
    EXPECT_NE(rig.Calls().find(id + " depth 1 ReadScan 900 of 65536 bytes -> 15\n"),
              std::string::npos)
        << rig.Calls();
}

TEST(Behaviour, CancelButtonEndsARunningScan) {
    CDeviceRig rig;
    CSessionRig session(rig);
    session.Prepare();
    rig.Act("cancel");
    const auto params = Window(0, 0, 300, 300);
    ASSERT_EQ(session.Do(&Device::StartScan, &params), 0u) << "it was pressed before";
    EXPECT_EQ(session.Do(&Device::BeginRead), 0u);
    Bytes data(9000);
    DWORD got = 0;
    EXPECT_EQ(session.Read(data.data(), 9000, &got), 0u);
    rig.Act("cancel");
    EXPECT_EQ(session.Read(data.data(), 9000, &got), OSTREL_CANCEL_BUTTON);
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(session.Do(&Device::EndScan), 0u);
    EXPECT_EQ(session.Scan(params), OSTREL_END_OF_MEDIA);
}

// A reader's thread reads while another session asks, as the driver's do.
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

// ---- Buttons

TEST(Buttons, ArePolledAndForgotten) {
    CDeviceRig rig("[buttons]\nreport=poll\n");
    CSessionRig session(rig);
    DWORD count = 0;
    EXPECT_EQ(session.Do(&IOstrelButtons::GetButtonDataSize, &count), 0u);
    EXPECT_EQ(count, 4u);
    std::string error;
    EXPECT_TRUE(PressButton(rig.Path(), 2, &error)) << error;
    rig.Act("press-4");
    rig.Act("press-9");
    Bytes pressed(6, 7);
    const auto read = [&](DWORD bytes) {
        EXPECT_EQ(session.Do(&IOstrelButtons::ReadButtons, bytes, pressed.data()), 0u);
        return pressed;
    };
    EXPECT_EQ(read(3), (Bytes{0, 1, 0, 7, 7, 7})) << "no more than there is room for";
    EXPECT_EQ(read(6), (Bytes{0, 0, 0, 1, 7, 7}));
    EXPECT_EQ(read(4), (Bytes{0, 0, 0, 0, 7, 7}));
    EXPECT_FALSE(PressButton(rig.Path(), 5, &error));
    EXPECT_NE(error.find("4 buttons"), std::string::npos) << error;
}

TEST(Buttons, ComeThroughThePortAlsoWhenNobodyWaitsYet) {
    CDeviceRig rig("[buttons]\nreport=pipe\nbytes=1,0x20\n");
    std::string error;
    EXPECT_FALSE(PressButton(rig.Path(), 1, &error)) << "the device isn't there";
    CSessionRig session(rig, false);
    EXPECT_TRUE(PressButton(rig.Path(), 2, &error)) << error;
    const HANDLE port = CreateFileA((rig.Path() + "/port").c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
    BYTE bytes[2] = {};
    DWORD got = 0;
    EXPECT_TRUE(ReadFile(port, bytes, 2, &got, nullptr));
    EXPECT_EQ(got, 1u);
    EXPECT_EQ(bytes[0], 0x20);
    CloseHandle(port);
    EXPECT_FALSE(std::filesystem::exists(rig.Path() + "/panel/press-2"));
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

}  // namespace
