#include "diag/log.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <ostream>
#include <sstream>
#include <thread>

#include "diag/function_trace.h"
#include "platform/handle.h"
#include "platform/sync.h"
#include "tests/diag/log_rig.h"

namespace {

class Log : public CLogRig {};

// Of lines that are no part of a banner.
std::map<std::string, int> CountLines(const std::string& text) {
    std::map<std::string, int> counts;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        counts[line] += !line.empty() && line[0] != '*';
    std::erase_if(counts, [](const auto& count) { return count.second == 0; });
    return counts;
}

TEST_F(Log, LetsThroughWhatTheLevelsSay) {
    constexpr struct {
        DWORD configured;
        DWORD level;
        bool passes;
    } kRows[] = {
        {0x80000040, 64, false},        {0x10000040, 64, true},
        {0x00000040, 64, false},        {0x80000040, 0x80000000, true},
        {0x80000040, 0x80000002, true}, {0, 0x80000000, false},
        {0x10000002, 2, true},          {0x10000040, 66, false},
        {0x10000000, 0, false},         {0x10000008, 0x10000000, true},
        {0x00000008, 0x80000000, true}, {0x10000040, 0x80000000, false},
        {0x10000040, 0x80000040, true}, {0x10000040, 0x20000040, false},
    };
    for (const auto& row : kRows) {
        Settings(row.configured, kLogToDebugger);
        EXPECT_EQ(CConfigHold().config->ShouldLog(row.level), row.passes)
            << std::hex << row.level << " under " << row.configured;
    }
    Settings(0xF000007F, 0);
    EXPECT_FALSE(CConfigHold().config->ShouldLog(kLogError)) << "no destination";
}

TEST_F(Log, ReadsTheFirstIdentifiersKeyOnceUntilTheLastRelease) {
    CLogConfig::Release();  // one too many does no harm
    Settings(0x80000040, kLogToDebugger);
    {
        const CConfigHold hold;
        EXPECT_EQ(CLogConfig::Acquire(GUID_NULL), hold.config);
        CLogConfig::Release();
        Settings(0, kLogToDebugger);
        EXPECT_TRUE(CLog().ShouldLog(kLogError));
    }
    EXPECT_FALSE(CConfigHold().config->ShouldLog(kLogError));
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

TEST_F(Log, MakesAFileOnlyForAMessageThatPasses) {
    const auto logs = [](DWORD level, DWORD destination, const std::string& file = "") {
        Settings(level, destination, file);
        const CConfigHold hold;
        CLog().Write(64, "information");
        CLog().Write(kLogError, "error");
    };
    logs(0x80000040, 0);
    logs(0, kLogToFile);
    logs(0x80000040, kLogToDebugger);
    EXPECT_FALSE(std::filesystem::exists(m_folder + "/ostrel.log"));
    logs(0x80000040, kLogToFile);
    logs(0x80000040, kLogToFile, std::string(300, 'x'));
    EXPECT_EQ(Plain(File()), "error\nerror\n") << "a name that is too long counts as none";
    EXPECT_EQ(Take(), "error\n") << "once, for the debugger alone";
    logs(0x80000040, kLogToFile | kLogToDebugger, m_folder + "/own.txt");
    EXPECT_EQ(Plain(File("own.txt")) + Take(), "error\nerror\n");
    SetLastError(1234);
    logs(0x80000040, kLogToFile, m_folder + "/missing/own.txt");
    EXPECT_EQ(GetLastError(), 1234u) << "a message that is lost leaves the caller alone";
}

TEST_F(Log, BannerTellsWheneverTheWriterChanges) {
    Settings(0x10000040, kLogToDebugger);
    const CConfigHold hold;
    CLog().Write("mine");
    TakeRaw();
    CLog().Write("mine again");
    EXPECT_EQ(TakeRaw(), "mine again\n");
    std::ostringstream expected;
    const std::string rule = '\n' + std::string(34, '*') + '\n';
    std::thread([&] {
        CLog().Write("another's");
        expected << rule << "**** PID=0x" << std::hex << getpid() << '('
                 << std::filesystem::read_symlink("/proc/self/exe").string() << "), TID=0x"
                 << GetCurrentThreadId() << " ****" << rule << "\nanother's\n";
    }).join();
    EXPECT_EQ(TakeRaw(), expected.str());
}

TEST_F(Log, ObjectAndSettingsAreSharedByThreads) {
    Settings(0x10000042, kLogToDebugger);
    {
        const CConfigHold hold;
        CLog log;
        const auto write = [&log](const char* text) {
            for (int i = 0; i < 300; ++i)
                log.Write(text);
        };
        std::thread other(write, "other");
        write("own");
        other.join();
        EXPECT_EQ(CountLines(Take()), (std::map<std::string, int>{{"other", 300}, {"own", 300}}));
    }
    const auto comeAndGo = [] {
        for (int i = 0; i < 100; ++i) {
            const CConfigHold hold;
            const CFunctionTrace trace("f");
        }
    };
    std::thread other(comeAndGo);
    comeAndGo();
    other.join();
    EXPECT_FALSE(CLog().ShouldLog(64)) << "every reference was given back";
}

// Programs that were started in different sessions have no lock in common.
TEST_F(Log, ProcessesAppendToOneFileWhateverTheirRuntimeFolder) {
    constexpr int kMessages = 1000;
    Settings(0x10000040, kLogToFile);
    std::map<std::string, int> expected;
    for (const char mark : {'A', 'B', 'C', 'D'}) {
        const std::string text(900, mark);
        expected[text] = kMessages;
        const std::string runtime = m_folder + '/' + mark;
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
    EXPECT_TRUE(CountLines(File()) == expected) << "a message is lost or torn";
}

// Sink, table and their class in one; the table hands out another sink than the one it was given,
// as one that marshals does.
struct CFakeComponent final : ILogSink, IGlobalInterfaceTable, IClassFactory {
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
        return cookie == 77 ? m_proxy->QueryInterface(iid, object) : E_FAIL;
    }
    CFakeComponent* m_proxy = nullptr;
    std::string m_text;
    std::atomic<ULONG> m_references = 0;
};

TEST_F(Log, SinkGetsEachThreadsMessagesThroughItsOwnPointer) {
    Settings(0x10000040, kLogToSink | kLogToDebugger);
    CFakeComponent proxy, sink, table;
    table.m_proxy = &proxy;
    const auto log = [] {
        const CConfigHold hold;
        CLog().Write("owner");
        std::thread([] { CLog().Write("other"); }).join();
    };
    const auto enter = [](REFCLSID clsid, IClassFactory* object, DWORD& cookie) {
        CoRegisterClassObject(clsid, object, CLSCTX_ALL, REGCLS_MULTIPLEUSE, &cookie);
    };
    log();
    EXPECT_EQ(Take(), "owner\nother\n") << "other destinations do without a sink";
    DWORD cookies[2] = {};
    enter(CLSID_LogSink, &sink, cookies[0]);
    log();
    EXPECT_EQ(Plain(std::exchange(sink.m_text, "")), "owner\nother\n") << "there is no table";
    enter(CLSID_LogInterfaceTable, &table, cookies[1]);
    log();
    EXPECT_EQ(Plain(sink.m_text), "owner\n");
    EXPECT_EQ(Plain(proxy.m_text), "other\n");
    for (const DWORD cookie : cookies)
        CoRevokeClassObject(cookie);
    EXPECT_EQ(sink.m_references + table.m_references + proxy.m_references, 0u);
}

}  // namespace
