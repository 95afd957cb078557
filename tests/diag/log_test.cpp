#include "diag/log.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <ostream>
#include <thread>
#include <vector>

#include "diag/function_trace.h"
#include "diag/log_banner.h"
#include "platform/handle.h"
#include "tests/diag/log_rig.h"

namespace {

class Log : public CLogRig {
  protected:
    using Counts = std::map<std::string, int>;
    static Counts CountLines(const std::string& text) {
        Counts counts;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);)
            ++counts[line];
        return counts;
    }
};

TEST_F(Log, LetsThroughWhatTheLevelsSay) {
    struct Row {
        DWORD configured;
        DWORD level;
        bool passes;
    };
    constexpr Row kRows[] = {
        {0x80000040, 64, false},        {0x10000040, 64, true},
        {0x00000040, 64, false},        {0x80000040, 0x80000000, true},
        {0x80000040, 0x80000002, true}, {0, 0x80000000, false},
        {0x10000002, 2, true},          {0x10000040, 66, false},
        {0x10000000, 0, false},         {0x10000008, 0x10000000, true},
        {0x00000008, 0x80000000, true}, {0x10000040, 0x80000000, false},
        {0x10000040, 0x80000040, true}, {0x10000040, 0x20000040, false},
    };
    for (const Row& row : kRows) {
        Settings(row.configured, kLogToDebugger);
        const CConfigHold hold;
        EXPECT_EQ(hold.config->ShouldLog(row.level), row.passes)
            << std::hex << row.level << " under " << row.configured;
    }
}

TEST_F(Log, IsOffUntilEnabledWithADestination) {
    const auto passes = [] { return CConfigHold().config->ShouldLog(kLogError); };
    EXPECT_FALSE(passes()) << "no registry at all";
    Settings("\"LogEnabled\"=dword:1\n");
    EXPECT_FALSE(passes()) << "no destination";
    Settings("\"LogEnabled\"=\"yes\"\n\"LogDestination\"=dword:1\n");
    EXPECT_FALSE(passes()) << "a text is no number";
    Settings("\"LogEnabled\"=dword:1\n\"LogDestination\"=dword:1\n");
    EXPECT_TRUE(passes()) << "errors pass the level that stands without LogLevel";
    EXPECT_FALSE(CConfigHold().config->ShouldLog(kLogInformation));
}

TEST_F(Log, ReadsTheFirstIdentifiersKeyOnceUntilTheLastRelease) {
    CLogConfig::Release();  // one too many does no harm
    Settings(0x80000040, kLogToDebugger);
    CLogConfig* config = CLogConfig::Acquire(kComponent);
    EXPECT_EQ(CLogConfig::Acquire(GUID_NULL), config);
    Settings(0, kLogToDebugger);
    CLogConfig::Release();
    EXPECT_TRUE(CLog().ShouldLog(kLogError));
    CLogConfig::Release();
    EXPECT_FALSE(CConfigHold().config->ShouldLog(kLogError));
    Settings(0x80000040, kLogToDebugger);
    EXPECT_FALSE(CLog().ShouldLog(kLogError)) << "alone it reads the zero identifier's key";
}

TEST_F(Log, WritesIndentedLinesAndFormatsOnlyWhatIsWanted) {
    Settings(0x10000042, kLogToDebugger);
    const CConfigHold hold;
    CLog log;
    log.Write("plain");
    log.Format(16, "%s", reinterpret_cast<const char*>(ULONG_PTR{1}));
    log.Format("%S is %lx, %d%%", OLESTR("wide"), 0xBEEFu, -5);
    CLog::EnterCall();
    CLog::EnterCall();
    log.Format(2, "two deep %s", "here");
    CLog::LeaveCall();
    log.Write(64, "first\n\nthird");
    CLog::LeaveCall();
    log.Write(static_cast<const char*>(nullptr));
    EXPECT_EQ(Take(),
              "plain\nwide is beef, -5%\n          two deep here\n     first\n\n     third\n\n");
    log.Format("%s", std::string(5000, 'x').c_str());
    EXPECT_EQ(Take(), std::string(1023, 'x') + '\n');
}

TEST_F(Log, MakesAFileOnlyForAMessageThatPasses) {
    const auto logs = [] {
        const CConfigHold hold;
        CLog log;
        log.Write(64, "information");
        log.Write(kLogError, "error");
    };
    for (const auto& [level, destination] :
         {std::pair{0x80000040u, DWORD{0}}, {0u, kLogToFile}, {0x80000040u, kLogToDebugger}}) {
        Settings(level, destination);
        logs();
    }
    EXPECT_FALSE(std::filesystem::exists(m_folder / "ostrel.log"));
    Settings(0x80000040, kLogToFile);
    logs();
    Settings(0x80000040, kLogToFile, std::string(300, 'x'));
    logs();
    EXPECT_EQ(Plain(File()), "error\nerror\n") << "a name that is too long counts as none";
    EXPECT_EQ(Take(), "error\n") << "once, for the debugger alone";
    Settings(0x80000040, kLogToFile | kLogToDebugger, (m_folder / "own.txt").string());
    logs();
    EXPECT_EQ(Plain(File("own.txt")), "error\n");
    EXPECT_EQ(Take(), "error\n");
    Settings(0x80000040, kLogToFile, (m_folder / "missing" / "own.txt").string());
    SetLastError(1234);
    logs();
    EXPECT_EQ(GetLastError(), 1234u) << "a message that is lost leaves the caller alone";
}

TEST_F(Log, BannerTellsWheneverTheWriterChanges) {
    Settings(0x10000040, kLogToDebugger);
    const CConfigHold hold;
    CLog log;
    log.Write("mine");
    TakeRaw();
    log.Write("mine again");
    EXPECT_EQ(TakeRaw(), "mine again\n");

    DWORD other = 0;
    std::thread([&other] {
        other = GetCurrentThreadId();
        CLog otherLog;
        *otherLog.Open(64) << "another's " << 16 << '\n';
    }).join();
    log.Write("mine");
    const auto banner = [](DWORD thread) {
        const std::string rule(34, '*');
        std::ostringstream text;
        text << '\n'
             << rule << "\n**** PID=0x" << std::hex << getpid() << '('
             << std::filesystem::read_symlink("/proc/self/exe").string() << "), TID=0x" << thread
             << " ****\n"
             << rule << "\n\n";
        return text.str();
    };
    EXPECT_EQ(TakeRaw(),
              banner(other) + "another's 16\n" + banner(GetCurrentThreadId()) + "mine\n");

    std::ostringstream sameThread;
    WriteLogBanner(sameThread, {0x1A, 0x2B}, {0x19, 0x2B});
    EXPECT_NE(sameThread.str().find(") ****\n**** TID=0x2b ****\n*"), std::string::npos);
}

TEST_F(Log, SendsWhatIsStillOpenAtItsEnd) {
    Settings(0x10000040, kLogToDebugger);
    const CConfigHold hold;
    {
        CLog log;
        *log.Open(64) << "first\n";
        std::ostream* second = log.Open(64);
        *second << "second\n";
        *log.Open(64) << "third\n";
        log.Finish(second);
        log.Finish(nullptr);
        EXPECT_EQ(Take(), "second\n");
    }
    EXPECT_EQ(Take(), "first\nthird\n");
}

TEST_F(Log, IsSharedByThreads) {
    Settings(0x10000040, kLogToDebugger);
    const CConfigHold hold;
    CLog log;
    const auto write = [&log](const char* text) {
        for (int i = 0; i < 300; ++i)
            log.Write(text);
    };
    std::thread other(write, "other");
    write("own");
    other.join();
    EXPECT_EQ(CountLines(Take()), (Counts{{"other", 300}, {"own", 300}}));
}

TEST_F(Log, SettingsComeAndGoUnderThreads) {
    Settings(0x10000042, kLogToDebugger);
    const auto work = [] {
        for (int i = 0; i < 100; ++i) {
            const CConfigHold hold;
            const CFunctionTrace trace("f");
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_FALSE(CLog().ShouldLog(64)) << "every reference was given back";
}

TEST_F(Log, ProcessesAppendToOneFileMessageByMessage) {
    constexpr int kMessages = 150;
    Settings(0x10000040, kLogToFile);
    Counts expected;
    std::vector<pid_t> children;
    for (const char mark : {'A', 'B', 'C'}) {
        const std::string text(900, mark);
        expected[text] = kMessages;
        const pid_t child = fork();
        if (child == 0) {
            const CConfigHold hold;
            CLog log;
            for (int i = 0; i < kMessages; ++i)
                log.Write(text.c_str());
            _exit(0);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    EXPECT_TRUE(CountLines(Plain(File())) == expected) << "a message is lost or torn";
}

// An object of the test's own, under one interface.
template <class Interface>
class CFake : public Interface {
  public:
    HRESULT QueryInterface(REFIID, void** object) override {
        ++m_references;
        *object = static_cast<Interface*>(this);
        return S_OK;
    }
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override { return --m_references; }

    std::atomic<ULONG> m_references = 0;

  protected:
    ~CFake() = default;
};

struct CFakeSink final : CFake<ILogSink> {
    HRESULT Write(DWORD processId, const char* text, DWORD length) override {
        EXPECT_EQ(processId, GetCurrentProcessId());
        EXPECT_EQ(length, std::strlen(text) + 1);
        m_text += text;
        return E_FAIL;  // which is nobody's business
    }
    std::string m_text;
};

// Hands out another sink than the one it was given, as a table that marshals does.
struct CFakeTable final : CFake<IGlobalInterfaceTable> {
    HRESULT RegisterInterfaceInGlobal(IUnknown* object, REFIID iid, DWORD* cookie) override {
        EXPECT_EQ(iid, IID_ILogSink);
        m_registered = object;
        *cookie = 77;
        return S_OK;
    }
    HRESULT RevokeInterfaceFromGlobal(DWORD cookie) override {
        EXPECT_EQ(cookie, 77u);
        m_registered = nullptr;
        return S_OK;
    }
    HRESULT GetInterfaceFromGlobal(DWORD cookie, REFIID iid, void** object) override {
        EXPECT_EQ(cookie, 77u);
        *object = nullptr;
        return m_fails ? E_FAIL : m_proxy.QueryInterface(iid, object);
    }
    bool m_fails = false;
    IUnknown* m_registered = nullptr;
    CFakeSink m_proxy;
};

struct CFakeClass final : CFake<IClassFactory> {
    CFakeClass(REFCLSID clsid, IUnknown* instance) : m_instance(instance) {
        EXPECT_EQ(CoRegisterClassObject(clsid, this, CLSCTX_ALL, REGCLS_MULTIPLEUSE, &m_cookie),
                  S_OK);
    }
    ~CFakeClass() { EXPECT_EQ(CoRevokeClassObject(m_cookie), S_OK); }
    HRESULT CreateInstance(IUnknown*, REFIID iid, void** object) override {
        return m_instance->QueryInterface(iid, object);
    }
    HRESULT LockServer(BOOL) override { return S_OK; }

    IUnknown* const m_instance;
    DWORD m_cookie = 0;
};

TEST_F(Log, SinkGetsEachThreadsMessagesThroughItsOwnPointer) {
    const auto logElsewhere = [](const char* text) {
        std::thread([text] { CLog().Write(text); }).join();
    };
    Settings(0x10000040, kLogToSink | kLogToDebugger);
    CFakeSink sink;
    CFakeTable table;
    {
        const CConfigHold hold;
        CLog().Write("none");
        EXPECT_EQ(Take(), "none\n") << "other destinations do without it";
    }
    const CFakeClass sinkClass(CLSID_LogSink, &sink);
    {
        const CConfigHold hold;
        logElsewhere("no table");
        EXPECT_EQ(Plain(std::exchange(sink.m_text, "")), "no table\n");
    }
    const CFakeClass tableClass(CLSID_LogInterfaceTable, &table);
    {
        const CConfigHold hold;
        EXPECT_EQ(table.m_registered, &sink);
        CLog().Write("owner");
        logElsewhere("other");
        table.m_fails = true;
        logElsewhere("absent");
        EXPECT_EQ(Plain(sink.m_text), "owner\n");
        EXPECT_EQ(Plain(table.m_proxy.m_text), "other\n");
    }
    EXPECT_EQ(table.m_registered, nullptr);
    EXPECT_EQ(sink.m_references + table.m_references + table.m_proxy.m_references, 0u);
}

}  // namespace
