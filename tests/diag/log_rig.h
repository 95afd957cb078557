// Log settings of this process only, and an ear at the debugger output.
#pragma once

#include <gtest/gtest.h>

#include <mutex>
#include <regex>
#include <string>
#include <utility>

#include "diag/log.h"
#include "platform/module.h"
#include "platform/registry.h"

// Holds the settings, as the driver object does.
struct CConfigHold {
    CLogConfig* const config =
        CLogConfig::Acquire({0x12AB34CD, 0x5678, 0x9ABC, {0xDE, 0xF0, 1, 2, 3, 4, 5, 6}});
    ~CConfigHold() { CLogConfig::Release(); }
};

class CLogRig : public testing::Test {
  protected:
    void SetUp() override {
        m_before = SetDebugStringHook([this](LPCSTR text) {
            const std::lock_guard guard(m_lock);
            m_shown += text;
        });
    }
    void TearDown() override {
        SetDebugStringHook(m_before);
        RegClearProcessValues();
    }

    static void Settings(DWORD level, DWORD destination, const std::string& file = "") {
        constexpr char kKey[] =
            "Software\\Norvane\\Lumetra\\Ostrel\\{12AB34CD-5678-9ABC-DEF0-010203040506}";
        const std::pair<const char*, DWORD> numbers[] = {
            {"LogEnabled", 1}, {"LogLevel", level}, {"LogDestination", destination}};
        for (const auto& [name, number] : numbers)
            RegSetProcessValue(HKEY_LOCAL_MACHINE, kKey, name, REG_DWORD, &number, sizeof(DWORD));
        RegSetProcessValue(HKEY_LOCAL_MACHINE, kKey, "LogFile", REG_SZ, file.data(),
                           static_cast<DWORD>(file.size()));
    }

    // What the debugger has seen since the last call.
    std::string TakeRaw() {
        const std::lock_guard guard(m_lock);
        return std::exchange(m_shown, {});
    }
    std::string Take() { return Plain(TakeRaw()); }

    // Without what no two runs have in common: banners, dates and times.
    static std::string Plain(const std::string& text) {
        static const std::regex varying(
            "\n[*]{34}\n[*]{4} PID=.*\n[*]{34}\n\n|"
            "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9:]{8} [0-9]{4}|[0-9]+ MS");
        return std::regex_replace(text, varying, "");
    }

  private:
    DebugStringHook m_before;
    std::mutex m_lock;
    std::string m_shown;
};
