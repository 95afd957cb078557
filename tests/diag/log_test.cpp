// The log: levels and destinations, traces of calls, dumps of records.
#include "diag/log.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <filesystem>
#include <map>
#include <ostream>
#include <sstream>
#include <thread>
#include <tuple>
#include <vector>

#include "diag/debug_dump.h"
#include "diag/function_trace.h"
#include "platform/handle.h"
#include "tests/diag/log_rig.h"
#include "tests/platform/test_folder.h"

namespace {

class Log : public CLogRig {};

// Of lines that are no part of a banner.
std::map<std::string, int> CountLines(const std::string& text) {
    std::map<std::string, int> counts;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line[0] != '*')
            ++counts[line];
    }
    return counts;
}

TEST_F(Log, LetsThroughWhatTheLevelsSay) {
    // What is configured, a message's level, and whether it passes.
    constexpr DWORD kRows[][3] = {
        {0x80000040, 64, 0},         {0x10000040, 64, 1},         {0x80000040, 0x80000002, 1},
        {0, 0x80000000, 0},          {0x10000040, 66, 0},         {0x10000000, 0, 0},
        {0x10000008, 0x10000000, 1}, {0x00000008, 0x80000000, 1}, {0x10000040, 0x80000040, 1},
    };
    for (const auto& [configured, level, passes] : kRows) {
        Settings(configured, kLogToDebugger);
        EXPECT_EQ(CConfigHold().config->ShouldLog(level), passes != 0)
            << std::hex << level << " under " << configured;
    }
    Settings(0xF000007F, 0);
    EXPECT_FALSE(CConfigHold().config->ShouldLog(kLogError)) << "no destination";
}

TEST_F(Log, WritesIndentedLinesAndFormatsOnlyWhatIsWanted) {
    Settings(0x10000042, kLogToDebugger);
    const CConfigHold hold;
    {
        CLog log;
        log.Format(16, "%s", reinterpret_cast<const char*>(ULONG_PTR{1}));
        log.Format("%S is %lx, %d%%", OLESTR("wide"), 0xBEEFu, -5);
        CLog::EnterCall();
        log.Write(64, "first\n\nthird");
        CLog::LeaveCall();
        log.Write(static_cast<const char*>(nullptr));
        EXPECT_EQ(Take(), "wide is beef, -5%\n     first\n\n     third\n\n");
        *log.Open(64) << "left open\n";
        std::ostream* finished = log.Open(64);
        *finished << "finished\n";
        log.Finish(finished);
        EXPECT_EQ(Take(), "finished\n");
    }
    EXPECT_EQ(Take(), "left open\n") << "what is open is sent at the object's end";
}

TEST_F(Log, FindsItsFileAndLeavesTheCallerAloneWithoutOne) {
    const auto logs = [](const std::string& file) {
        Settings(0x80000040, kLogToFile, file);
        const CConfigHold hold;
        CLog().Write(64, "information");
        CLog().Write(kLogError, "error");
    };
    const std::string usual = TestFolder() + "/ostrel.log";
    logs(std::string(300, 'x'));
    EXPECT_EQ(Plain(ReadWholeFile(usual)), "error\n") << "a name that is too long counts as none";
    SetLastError(1234);
    logs(usual + "/none");
    EXPECT_EQ(GetLastError(), 1234u);
}

TEST_F(Log, BannerTellsWheneverTheWriterChanges) {
    Settings(0x10000040, kLogToDebugger);
    const CConfigHold hold;
    CLog().Write("mine");
    TakeRaw();
    CLog().Write("mine again");
    EXPECT_EQ(TakeRaw(), "mine again\n");
    std::thread([] { CLog().Write("another's"); }).join();
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_NE(TakeRaw().find('(' + program + "), TID=0x"), std::string::npos);
}

TEST_F(Log, ObjectAndSettingsAreSharedByThreads) {
    const auto together = [](auto work) {
        std::thread other(work);
        work();
        other.join();
    };
    Settings(0x10000042, kLogToDebugger);
    {
        const CConfigHold hold;
        CLog log;
        together([&log] {
            for (int i = 0; i < 300; ++i)
                log.Write("line");
        });
        EXPECT_EQ(CountLines(Take()), (std::map<std::string, int>{{"line", 600}}));
    }
    together([] {
        for (int i = 0; i < 100; ++i) {
            const CConfigHold hold;
            const CFunctionTrace trace("f");
        }
    });
    CLogConfig::Release();  // one too many does no harm
    EXPECT_FALSE(CLog().ShouldLog(64)) << "every reference was given back";
}

// Programs that were started in different sessions have no lock in common.
TEST_F(Log, ProcessesAppendToOneFileWhateverTheirRuntimeFolder) {
    constexpr int kMessages = 1000;
    const std::string file = TestFolder() + "/shared.log";
    Settings(0x10000040, kLogToFile, file);
    std::map<std::string, int> expected;
    for (const char mark : {'A', 'B', 'C', 'D'}) {
        const std::string text(900, mark);
        expected[text] = kMessages;
        const std::string runtime = TestFolder() + '/' + mark;
        std::filesystem::create_directory(runtime);
        if (fork() != 0)
            continue;
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        const CConfigHold hold;
        CLog log;
        for (int i = 0; i < kMessages; ++i)
            log.Write(text.c_str());
        _exit(0);
    }
    for (int status = -1; wait(&status) > 0;)
        EXPECT_EQ(status, 0);
    EXPECT_TRUE(CountLines(ReadWholeFile(file)) == expected) << "a message is lost or torn";
}

// Sink, table of interfaces and the class of both. The table marks what it is asked for.
struct CFakeComponent final : ILogSink, IClassFactory, IGlobalInterfaceTable {
    HRESULT QueryInterface(REFIID iid, void** object) override {
        AddRef();
        *object = static_cast<IClassFactory*>(this);
        if (iid == IID_ILogSink)
            *object = static_cast<ILogSink*>(this);
        if (iid == IID_IGlobalInterfaceTable)
            *object = static_cast<IGlobalInterfaceTable*>(this);
        return S_OK;
    }
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override { return --m_references; }
    HRESULT CreateInstance(IUnknown*, REFIID iid, void** object) override {
        return QueryInterface(iid, object);
    }
    HRESULT LockServer(BOOL) override { return S_OK; }
    HRESULT Write(DWORD, const char* text, DWORD length) override {
        m_text.append(text, length - 1);
        return E_FAIL;  // which is nobody's business
    }
    HRESULT RegisterInterfaceInGlobal(IUnknown*, REFIID, DWORD* cookie) override {
        *cookie = 77;
        return S_OK;
    }
    HRESULT RevokeInterfaceFromGlobal(DWORD) override { return S_OK; }
    HRESULT GetInterfaceFromGlobal(DWORD cookie, REFIID iid, void** object) override {
        m_text += "by " + std::to_string(cookie) + ": ";
        return QueryInterface(iid, object);
    }
    std::string m_text;
    std::atomic<ULONG> m_references = 0;
};

TEST_F(Log, SinkGetsEachThreadsMessagesThroughItsOwnPointer) {
    Settings(0x10000040, kLogToSink | kLogToDebugger);
    CFakeComponent sink;
    std::vector<DWORD> cookies;
    for (const CLSID& clsid : {GUID_NULL, CLSID_LogSink, CLSID_LogInterfaceTable}) {
        CoRegisterClassObject(clsid, static_cast<IClassFactory*>(&sink), CLSCTX_ALL, 0,
                              &cookies.emplace_back());
        const CConfigHold hold;
        CLog().Write("owner");
        std::thread([] { CLog().Write("other"); }).join();
    }
    for (const DWORD cookie : cookies)
        CoRevokeClassObject(cookie);
    EXPECT_EQ(Take(), "owner\nother\nowner\nother\nowner\nother\n") << "with or without a sink";
    EXPECT_EQ(Plain(sink.m_text), "owner\nother\nowner\nby 77: other\n") << "at first no table";
    EXPECT_EQ(sink.m_references, 0u);
}

TEST_F(Log, TraceFramesAndIndentsWhatHappensInside) {
    Settings(0x90000042, kLogToDebugger);
    const CConfigHold hold;
    {
        CFunctionTrace outer("Outer");
        { const CFunctionTrace inner("CNVwiaMiniDrv::ValidateBPC", 0xABC); }
        // Lines that aren't wanted count for the depth all the same: 16 isn't configured.
        const CFunctionTrace unseen("unseen", 0, nullptr, 16);
        CLog().Write("deep");
        outer.SetResult(S_FALSE);
    }
    EXPECT_EQ(Take(),
              "+++Outer : \n"
              "     +++CNVwiaMiniDrv::ValidateBPC : SessionID=0xabc : \n"
              "     ---CNVwiaMiniDrv::ValidateBPC : SessionID=0xabc :  Returned 0x0: "
              "Elapsed Time = \n\n"
              "          deep\n"
              "---Outer :  ERROR: Returned 0x1: Elapsed Time = \n\n");
}

TEST_F(Log, TraceShowsFailuresAndDeviceErrorsByDefault) {
    const std::tuple<HRESULT, DWORD, std::string> kRows[] = {
        {S_FALSE, 0, ""},
        {E_FAIL, 0, " ERROR: Returned 0x80004005, OstrelError=No Error (0)"},
        {S_OK, 102, " Returned 0x0, OstrelError=ADF unexpected end of page (102)"},
        {S_OK, 17, " Returned 0x0, OstrelError=no definition (17)"},
    };
    Settings(0x80000040, kLogToDebugger);
    const CConfigHold hold;
    for (const auto& [result, deviceError, shown] : kRows) {
        CFunctionTrace("f", 0, &deviceError).SetResult(result);
        EXPECT_EQ(Take(), shown.empty() ? "" : "---f : " + shown + ": Elapsed Time = \n\n");
    }
}

// Each word of the record holds its own offset, so that the lines must show the published layout,
// and of the fields of 64 bits the lower half.
TEST_F(Log, DumpsShowRecordsFieldByField) {
    std::array<LONG, sizeof(MINIDRV_TRANSFER_CONTEXT) / sizeof(LONG)> words;
    for (LONG offset = 0; LONG & word : words)
        word = std::exchange(offset, offset + LONG{sizeof(LONG)});
    Settings(kLogGeneral | kLogDumps | kLogInformation, kLogToDebugger);
    const CConfigHold hold;
    CLog log;
    DumpTransferContext(log, std::bit_cast<MINIDRV_TRANSFER_CONTEXT>(words));
    const std::string text = Take();
    for (const char* line : {"hFile            \t= 48\n", "lPrevIfdOffset   \t= 136\n",
                             "pBaseBuffer\t     \t= 0000004C00000048\n"})
        EXPECT_NE(text.find(std::string("WIA_PMDTC : pmdtc->") + line), std::string::npos) << line;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 27) << "25 fields between two rules";

    const PROPSPEC spec = {0, {WIA_IPS_YEXTENT}};
    PROPVARIANT value = {};
    value.lVal = -7;
    DumpPropSpec(log, spec, value, 3);
    EXPECT_EQ(Take(), "PROPSPEC: 3:  6152  Val      -7  \t WIA_IPS_YEXTENT\n");
}

}  // namespace
