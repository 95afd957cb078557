// Lamps, lock, faults, buttons, and what the device thinks of its callers.
#include <dlfcn.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "platform/files.h"
#include "platform/sync.h"
#include "tests/simulator/sim_rig.h"

namespace {

// ---- Lamps, on a clock that the test sets

constexpr std::uint64_t kStart = 5'000'000;
constexpr std::uint64_t kMinute = 60'000;

TEST(Lamp, NeedsTimeAndCalibrationAfterItWasLit) {
    CDeviceRig rig("[simulator]\nmodel=SIM500D\n");  // 12 seconds
    rig.SetClock(kStart);
    CSessionRig session(rig);
    const DWORD id = session.Session();
    const auto start = [&] {
        Bytes data;
        return session.Scan(Window(0, 0, 30, 30), &data);
    };
    BOOL on = TRUE;
    EXPECT_EQ(session->IsLampOn(id, &on, session.Error()), S_OK);
    EXPECT_FALSE(on);
    EXPECT_EQ(start(), OSTREL_LAMP_OFF);
    EXPECT_EQ(session->CalibrateScanner(id, session.Error()), E_FAIL);
    EXPECT_EQ(session.Code(), OSTREL_LAMP_OFF);

    EXPECT_EQ(session->LampOn(id, session.Error()), S_OK);
    EXPECT_EQ(start(), OSTREL_CALIBRATION_FAILED);
    rig.SetClock(kStart + 2000);
    EXPECT_EQ(session->CalibrateScanner(id, session.Error()), S_OK);
    EXPECT_EQ(rig.Clock(), kStart + 12000) << "the device waits for the rest of the warm-up";
    EXPECT_EQ(rig.State().warmUpWaits, 1u);
    EXPECT_EQ(start(), OSTREL_END_OF_MEDIA);
    EXPECT_EQ(session->LampOn(id, session.Error()), S_OK) << "a burning lamp is only touched";
    EXPECT_EQ(start(), OSTREL_END_OF_MEDIA);

    // The time-out of 15 minutes counts from the last use.
    rig.SetClock(kStart + 12000 + 15 * kMinute - 1);
    EXPECT_EQ(start(), OSTREL_END_OF_MEDIA);
    rig.SetClock(rig.Clock() + 15 * kMinute);
    EXPECT_EQ(start(), OSTREL_LAMP_OFF);
    EXPECT_EQ(session->LampOn(id, session.Error()), S_OK);
    EXPECT_EQ(start(), OSTREL_CALIBRATION_FAILED);
    EXPECT_EQ(rig.State().violations, 0u);
}

TEST(Lamp, OfTheAdapterPutsTheOtherOut) {
    CDeviceRig rig("[simulator]\nmodel=SIM500D\n");
    rig.SetClock(kStart);
    CSessionRig session(rig);
    const DWORD id = session.Session();
    const auto lamp = session.Facet<IOstrelXPALamp>(IID_IOstrelXPALamp);
    const auto properties = session.Facet<IOstrelProperties>(IID_IOstrelProperties);
    const auto current = [&] {
        DWORD value = 9;
        EXPECT_EQ(properties->GetLongProperty(id, OLESTR("CurrentLampOn"), &value, session.Error()),
                  S_OK);
        return value;
    };
    EXPECT_EQ(current(), 0u);
    session.Prepare(OSTREL_SOURCE_FLATBED);
    EXPECT_EQ(current(), 1u);
    BOOL on = FALSE;
    session.Prepare(OSTREL_SOURCE_POSITIVE);
    EXPECT_EQ(current(), 2u);
    DWORD state = 0;
    EXPECT_EQ(lamp->IsXPALampOn(id, &state, session.Error()), S_OK);
    EXPECT_EQ(state, 1u);
    EXPECT_EQ(session->IsLampOn(id, &on, session.Error()), S_OK);
    EXPECT_TRUE(on) << "the lamp that this session lit";
    Bytes data;
    EXPECT_EQ(session.Scan(Window(0, 0, 30, 30), &data), OSTREL_LAMP_OFF);
    EXPECT_EQ(session.Scan(Window(0, 0, 30, 30, 300, OSTREL_SOURCE_POSITIVE), &data),
              OSTREL_END_OF_MEDIA);
    session->UnlockScanner(id, session.Error());
    CSessionRig other(rig);
    EXPECT_EQ(other->IsLampOn(other.Session(), &on, other.Error()), S_OK);
    EXPECT_FALSE(on) << "to another session it is the flatbed's that counts";
}

TEST(Lamp, IsWarmAtOnceWhenToldToBe) {
    CDeviceRig rig("[simulator]\nmodel=SIM500D\n");
    rig.SetClock(kStart);
    CSessionRig session(rig);
    const auto instant = session.Facet<IOstrelInstantLamp>(IID_IOstrelInstantLamp);
    EXPECT_EQ(instant->SetInstantLamp(session.Session(), 1, session.Error()), S_OK);
    session.Prepare();
    OstrelDeviceCaps caps = {};
    session->GetDeviceCapabilities(session.Session(), &caps, session.Error());
    EXPECT_EQ(caps.lampWarmUpFlatbed, 0);
    EXPECT_EQ(rig.State().warmUpWaits, 0u);
    const auto extended = session.Facet<IOstrelExtendedLamp>(IID_IOstrelExtendedLamp);
    EXPECT_EQ(extended->SetLampTimeout(session.Session(), 1, session.Error()), S_OK);
    rig.SetClock(kStart + kMinute);
    BOOL on = TRUE;
    session->IsLampOn(session.Session(), &on, session.Error());
    EXPECT_FALSE(on);
}

// ---- The lock

DWORD LockCode(CSessionRig& session, DWORD milliseconds) {
    return FAILED(session->LockScanner(session.Session(), OSTREL_LOCK_SHORT_JOB, milliseconds,
                                       session.Error()))
               ? session.Code()
               : 0;
}

TEST(Lock, NestsAndKeepsOthersOut) {
    CDeviceRig rig;
    CSessionRig holder(rig);
    CSessionRig other(rig, false);
    EXPECT_EQ(LockCode(holder, 0), 0u);
    EXPECT_EQ(LockCode(holder, 0), 0u);
    for (int level = 0; level < 3; ++level) {
        EXPECT_EQ(LockCode(other, 0), OSTREL_LOCK_FAILED);
        EXPECT_EQ(holder->UnlockScanner(holder.Session(), holder.Error()), S_OK);
    }
    const DWORD before = GetTickCount();
    EXPECT_EQ(LockCode(other, 0), 0u);
    EXPECT_EQ(LockCode(holder, 30), OSTREL_LOCK_FAILED);
    EXPECT_GE(GetTickCount() - before, 29u);
    std::thread releaser([&] { other->UnlockScanner(other.Session(), other.Error()); });
    EXPECT_EQ(LockCode(holder, 60000), 0u) << "had while waiting";
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
        session.Facet<IOstrelADF2>(IID_IOstrelADF2)
            ->ADF2PaperFeed(session.Session(), &length, session.Error());
        if (write(ready[1], "x", 1) != 1)
            _exit(1);
        for (;;)
            pause();
    }
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    CSessionRig session(rig, false);
    EXPECT_EQ(LockCode(session, 0), OSTREL_LOCK_FAILED);
    EXPECT_EQ(LockCode(session, 30), OSTREL_LOCK_FAILED);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(LockCode(session, 60000), 0u);
    BOOL paper = FALSE;
    session.Facet<IOstrelADF2>(IID_IOstrelADF2)
        ->IsPaperInADF(session.Session(), &paper, session.Error());
    EXPECT_TRUE(paper) << "the sheet that it had fed is back";
    close(ready[0]);
    close(ready[1]);
}

// ---- Callers that don't keep the rules

TEST(Caller, IsToldWhatItDidWrongAndCounted) {
    CDeviceRig rig("[behaviour]\nrecord=1\n");
    CSessionRig session(rig);
    session.Prepare();
    const DWORD id = session.Session();
    IOstrelDevice* device = session.operator->();
    DWORD error = 0;
    DWORD got = 0;
    BYTE buffer[64] = {};
    BOOL on = FALSE;
    OstrelDeviceCaps caps = {};
    const auto params = Window(0, 0, 30, 30);
    const auto start = [&] { EXPECT_EQ(device->StartScan(id, &params, &error), S_OK); };
    const auto unlock = [&] { EXPECT_EQ(device->UnlockScanner(id, &error), S_OK); };
    const struct {
        const char* what;
        std::function<void()> before;
        std::function<HRESULT()> call;
        DWORD code;
    } kCases[] = {
        {"BeginRead without a scan", {}, [&] { return device->BeginRead(id, &error); }, 2},
        {"ReadScan without a scan",
         {},
         [&] { return device->ReadScan(id, buffer, 64, &got, &error); },
         2},
        {"ReadScan ahead of BeginRead", start,
         [&] { return device->ReadScan(id, buffer, 64, &got, &error); }, 2},
        {"StartScan while a scan runs",
         {},
         [&] { return device->StartScan(id, &params, &error); },
         2},
        {"BeginRead a second time", [&] { device->BeginRead(id, &error); },
         [&] { return device->BeginRead(id, &error); }, 2},
        {"ReadScan with a null pointer",
         {},
         [&] { return device->ReadScan(id, nullptr, 64, &got, &error); },
         2},
        {"FinishOpen a second time", [&] { device->FinishOpen(id, &error); },
         [&] { return device->FinishOpen(id, &error); }, 2},
        {"IsLampOn without the lock", unlock, [&] { return device->IsLampOn(id, &on, &error); }, 4},
        {"GetDeviceCapabilities without the lock",
         {},
         [&] { return device->GetDeviceCapabilities(id, &caps, &error); },
         4},
        {"UnlockScanner without the lock",
         {},
         [&] { return device->UnlockScanner(id, &error); },
         4},
        {"IsLampOn with session 77777, which isn't open",
         {},
         [&] { return device->IsLampOn(77777, &on, &error); },
         1},
    };
    std::uint64_t count = 0;
    for (const auto& c : kCases) {
        if (c.before)
            c.before();
        EXPECT_EQ(rig.State().violations, count) << c.what;
        EXPECT_EQ(c.call(), E_FAIL) << c.what;
        EXPECT_EQ(error, c.code) << c.what;
        EXPECT_EQ(rig.State().violations, ++count) << c.what;
        EXPECT_EQ(rig.State().lastViolation, c.what);
    }
    EXPECT_EQ(device->CloseDevice(id, &error), S_OK);
    EXPECT_EQ(device->CloseDevice(id, &error), E_FAIL);
    EXPECT_EQ(error, OSTREL_INVALID_SESSION);
    EXPECT_EQ(rig.State().violations, ++count);
    session.Forget();
}

TEST(Caller, MayEndWhatDidntBeginAndCloseWhatIsLocked) {
    CDeviceRig rig;
    {
        CSessionRig session(rig);
        EXPECT_EQ(session->EndScan(session.Session(), session.Error()), S_OK);
        EXPECT_EQ(session.Code(), OSTREL_NO_ERROR);
    }
    EXPECT_EQ(rig.State().violations, 0u);
    EXPECT_EQ(rig.State().closedLocked, 1u);
    EXPECT_EQ(rig.State().scans, 0u);
    CSessionRig next(rig, false);
    EXPECT_EQ(LockCode(next, 0), 0u);
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
    for (const auto& params : kBad) {
        EXPECT_EQ(session->GetScanSetup(session.Session(), &params, &setup, session.Error()),
                  E_FAIL)
            << &params - kBad;
        EXPECT_EQ(session.Code(), OSTREL_INVALID_PARAMETER);
    }
    const auto odd = Window(0, 0, 101, 203, 150);
    EXPECT_EQ(session->GetScanSetup(session.Session(), &odd, &setup, session.Error()), S_OK);
    EXPECT_EQ(setup.pixelsPerLine, 50u) << "101 x 150 / 300, truncated";
    EXPECT_EQ(setup.lines, 101u);
    session.Prepare();
    const auto empty = Window(0, 0, 0, 30);
    EXPECT_EQ(session->GetScanSetup(session.Session(), &empty, &setup, session.Error()), S_OK);
    EXPECT_EQ(session->StartScan(session.Session(), &empty, session.Error()), E_FAIL);
    EXPECT_EQ(rig.State().violations, 0u);
}

// ---- What can be ordered

TEST(Faults, StrikeTheCallsThatTheyAreOrderedFor) {
    CDeviceRig rig(
        "[behaviour]\nrecord=1\n[faults]\nOpenDevice=1:13\nStartScan=2:12,4+:100\n"
        "ReadScan=2:16\nGetNvramInfo=1:9\nEndScan=1:11\n");
    auto toolkit = CreateToolkit();
    DWORD id = 0;
    DWORD error = 0;
    EXPECT_EQ(toolkit->OpenDevice(rig.Port().c_str(), 1, &id, &error), E_FAIL);
    EXPECT_EQ(error, OSTREL_OPEN_FAILED);
    CSessionRig session(rig);
    session.Prepare();
    Bytes data;
    const auto params = Window(0, 0, 30, 30);
    DWORD starts[5] = {};
    for (DWORD& code : starts) {
        if (FAILED(session->StartScan(session.Session(), &params, session.Error())))
            code = session.Code();
        else if (FAILED(session->EndScan(session.Session(), session.Error())))
            session->EndScan(session.Session(), session.Error());  // the first one had failed
    }
    EXPECT_EQ((std::vector<DWORD>(starts, starts + 5)), (std::vector<DWORD>{0, 12, 0, 100, 100}));
    OstrelNvramInfo info = {};
    EXPECT_EQ(session.Facet<IOstrelNvram>(IID_IOstrelNvram)
                  ->GetNvramInfo(session.Session(), &info, session.Error()),
              E_FAIL);
    EXPECT_EQ(session.Code(), 9u);
    // Other faults count anew.
    session->UnlockScanner(session.Session(), session.Error());
    rig.SetIni("[faults]\nReadScan=2:16\n");
    session->LockScanner(session.Session(), 0, 0, session.Error());
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
    const DWORD id = session.Session();
    session.Prepare();
    const auto fails = [&](HRESULT hr) {
        EXPECT_EQ(hr, E_FAIL);
        EXPECT_EQ(session.Code(), OSTREL_COMMUNICATION);
    };
    const auto params = Window(0, 0, 30, 30);
    const auto feeder = session.Facet<IOstrelADF2>(IID_IOstrelADF2);
    const auto job = session.Facet<IOstrelADF3>(IID_IOstrelADF3);
    const auto gate = session.Facet<IOstrelJobGate>(IID_IOstrelJobGate);
    EXPECT_EQ(session->StartScan(id, &params, session.Error()), S_OK);
    fails(session->EndScan(id, session.Error()));
    EXPECT_EQ(session->StartScan(id, &params, session.Error()), S_OK);
    EXPECT_EQ(job->ADFStartJob(id, session.Error()), S_OK);
    fails(job->ADFEndJob(id, session.Error()));
    EXPECT_EQ(job->ADFStartJob(id, session.Error()), S_OK);
    fails(feeder->EndADF2Job(id, session.Error()));
    EXPECT_EQ(job->ADFStartJob(id, session.Error()), S_OK);
    EXPECT_EQ(gate->BeginJobGate(id, 0, session.Error()), S_OK);
    fails(gate->EndJobGate(id, session.Error()));
    EXPECT_EQ(gate->BeginJobGate(id, 0, session.Error()), S_OK);
    fails(session->UnlockScanner(id, session.Error()));
    CSessionRig other(rig, false);
    EXPECT_EQ(LockCode(other, 0), 0u);
    EXPECT_EQ(rig.State().violations, 0u);
    fails(session->CloseDevice(id, session.Error()));
    EXPECT_EQ(session->CloseDevice(id, session.Error()), E_FAIL);
    EXPECT_EQ(session.Code(), OSTREL_INVALID_SESSION);
    session.Forget();
}

TEST(Behaviour, EndsTheMediumAtAGivenLine) {
    CDeviceRig rig("[behaviour]\nendAtLine=10\nrecord=1\n");
    CSessionRig session(rig);
    session.Prepare();
    Bytes data;
    EXPECT_EQ(session.Scan(Window(0, 0, 30, 30), &data), OSTREL_END_OF_MEDIA);
    EXPECT_EQ(data.size(), 10u * 90);
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
    ASSERT_EQ(session->StartScan(session.Session(), &params, session.Error()), S_OK)
        << "it was pressed before";
    session->BeginRead(session.Session(), session.Error());
    Bytes data(9000);
    DWORD got = 0;
    EXPECT_EQ(session->ReadScan(session.Session(), data.data(), 9000, &got, session.Error()), S_OK);
    rig.Act("cancel");
    EXPECT_EQ(session->ReadScan(session.Session(), data.data(), 9000, &got, session.Error()),
              E_FAIL);
    EXPECT_EQ(session.Code(), OSTREL_CANCEL_BUTTON);
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(session->EndScan(session.Session(), session.Error()), S_OK);
    EXPECT_EQ(session.Scan(params, &data), OSTREL_END_OF_MEDIA);
}

TEST(Behaviour, CarriageTakesItsTime) {
    CDeviceRig rig("[behaviour]\nlinesPerSecond=100\n");
    rig.SetClock(kStart);
    CSessionRig session(rig);
    session.Prepare();
    const std::uint64_t begin = rig.Clock();
    Bytes data;
    EXPECT_EQ(session.Scan(Window(0, 0, 30, 250), &data, 90 * 50), OSTREL_END_OF_MEDIA);
    EXPECT_EQ(rig.Clock() - begin, 2500u);
}

// A reader's thread reads while another session asks, as the driver's do.
TEST(Behaviour, AnswersOtherSessionsWhileAScanIsRead) {
    CDeviceRig rig;
    CSessionRig session(rig);
    session.Prepare();
    CSessionRig other(rig, false);
    std::atomic<bool> done{false};
    std::thread asking([&] {
        while (!done)
            EXPECT_EQ(LockCode(other, 0), OSTREL_LOCK_FAILED);
    });
    Bytes data;
    std::thread reading([&] { session.Scan(Window(0, 0, 2550, 600), &data); });
    reading.join();
    done = true;
    asking.join();
    EXPECT_EQ(data.size(), 2550u * 600 * 3);
}

// ---- Buttons

TEST(Buttons, ArePolledAndForgotten) {
    CDeviceRig rig("[buttons]\nreport=poll\n");
    CSessionRig session(rig);
    const auto buttons = session.Facet<IOstrelButtons>(IID_IOstrelButtons);
    ASSERT_TRUE(buttons);
    DWORD count = 0;
    EXPECT_EQ(buttons->GetButtonDataSize(session.Session(), &count, session.Error()), S_OK);
    EXPECT_EQ(count, 4u);
    std::string error;
    EXPECT_TRUE(PressButton(rig.Path(), 2, &error)) << error;
    rig.Act("press-4");
    rig.Act("press-9");
    Bytes pressed(6, 7);
    EXPECT_EQ(buttons->ReadButtons(session.Session(), 3, pressed.data(), session.Error()), S_OK);
    EXPECT_EQ(pressed, (Bytes{0, 1, 0, 7, 7, 7})) << "no more than there is room for";
    EXPECT_EQ(buttons->ReadButtons(session.Session(), 6, pressed.data(), session.Error()), S_OK);
    EXPECT_EQ(pressed, (Bytes{0, 0, 0, 1, 7, 7}));
    EXPECT_EQ(buttons->ReadButtons(session.Session(), 4, pressed.data(), session.Error()), S_OK);
    EXPECT_EQ(pressed[3], 0);
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

TEST(Module, RegistersItselfAndMayGoWhenUnused) {
    void* module = dlopen(SIMULATOR_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    const auto entry = [&](const char* name) {
        return reinterpret_cast<HRESULT (*)()>(dlsym(module, name));
    };
    EXPECT_EQ(entry("DllUnregisterServer")(), S_OK);
    ComPtr<IUnknown> object;
    EXPECT_EQ(CoCreateInstance(CLSID_OstrelSimulator, nullptr, CLSCTX_ALL, IID_IUnknown,
                               object.OutVoid()),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(entry("DllRegisterServer")(), S_OK);
    EXPECT_EQ(CoCreateInstance(CLSID_OstrelSimulator, nullptr, CLSCTX_ALL, IID_IUnknown,
                               object.OutVoid()),
              S_OK);
    EXPECT_EQ(entry("DllCanUnloadNow")(), S_FALSE);
    object.Reset();
    EXPECT_EQ(entry("DllCanUnloadNow")(), S_OK);
    dlclose(module);
}

}  // namespace
