// A registry, a temporary folder and an ear at the debugger output, for tests of the log.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>

#include "diag/log.h"
#include "platform/module.h"
#include "platform/sync.h"

inline constexpr GUID kComponent = {0x12AB34CD, 0x5678, 0x9ABC, {0xDE, 0xF0, 1, 2, 3, 4, 5, 6}};

// Holds the settings, as the driver object does.
struct CConfigHold {
    CConfigHold() : config(CLogConfig::Acquire(kComponent)) {}
    ~CConfigHold() { CLogConfig::Release(); }
    CConfigHold(const CConfigHold&) = delete;
    CConfigHold& operator=(const CConfigHold&) = delete;
    CLogConfig* const config;
};

class CLogRig : public testing::Test {
  protected:
    void SetUp() override {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        m_folder = Base() + '-' + test->name();
        std::filesystem::create_directories(m_folder);
        setenv("NVQ_REGISTRY", RegistryFile().c_str(), 1);
        setenv("TMPDIR", m_folder.c_str(), 1);
        unsetenv("XDG_RUNTIME_DIR");
        m_before = SetDebugStringHook([this](LPCSTR text) {
            const std::lock_guard guard(m_lock);
            m_shown += text;
        });
    }
    void TearDown() override {
        SetDebugStringHook(m_before);
        std::filesystem::remove_all(m_folder);
        std::filesystem::remove(RegistryFile());
    }

    // The component's key gets these lines and no others.
    void Settings(const std::string& lines) {
        std::ofstream(RegistryFile()) << "Windows Registry Editor Version 5.00\n\n"
                                         "[HKEY_LOCAL_MACHINE\\Software\\Norvane\\Lumetra\\Ostrel\\"
                                         "{12AB34CD-5678-9ABC-DEF0-010203040506}]\n"
                                      << lines;
    }
    void Settings(DWORD level, DWORD destination, const std::string& file = "") {
        std::ostringstream lines;
        lines << std::hex << "\"LogEnabled\"=dword:1\n\"LogLevel\"=dword:" << level
              << "\n\"LogDestination\"=dword:" << destination << "\n\"LogFile\"=\"" << file
              << "\"\n";
        Settings(lines.str());
    }

    std::string File(const std::string& name = "ostrel.log") const {
        std::ifstream in(m_folder / name);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }

    // What the debugger has seen since the last call.
    std::string TakeRaw() {
        const std::lock_guard guard(m_lock);
        return std::exchange(m_shown, {});
    }
    std::string Take() { return Plain(TakeRaw()); }

    // Without banners, and without what no two runs have in common.
    static std::string Plain(std::string text) {
        const std::string rule(34, '*');
        text = Replaced(text, '\n' + rule + '\n', rule + "\n\n", 0, "");
        text = Replaced(text, "Elapsed Time = ", " MS", 0, "N MS");
        // The line's last 24 characters, as in "Mon Nov 18 08:00:00 2026".
        return Replaced(text, "+++", "\n", 24, "TIME");
    }

    std::filesystem::path m_folder;

  private:
    // A path for this process. Asked for once, as it depends on what the tests set.
    static const std::string& Base() {
        static const std::string base =
            testing::TempDir() + "diag" + std::to_string(GetCurrentProcessId());
        return base;
    }
    // One for all tests: a process asks for its name only once.
    static std::string RegistryFile() { return Base() + ".reg"; }
    // Each piece from `begin` to `end`, or its `last` characters before `end`, becomes `by`.
    static std::string Replaced(std::string text, const std::string& begin, const std::string& end,
                                std::size_t last, const std::string& by) {
        for (std::size_t from = 0; (from = text.find(begin, from)) != std::string::npos;) {
            const std::size_t to = text.find(end, from + begin.size());
            if (to == std::string::npos)
                break;
            if (last != 0 && to - from >= last)
                text.replace(to - last, last, by);
            else
                text.replace(from, to + end.size() - from, by);
            from += by.size();
        }
        return text;
    }

    DebugStringHook m_before;
    std::mutex m_lock;
    std::string m_shown;
};
