// Log settings of this process only, a temporary folder and an ear at the debugger output.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
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
        ASSERT_NE(mkdtemp(m_folder.data()), nullptr);
        setenv("NVQ_REGISTRY", (m_folder + "/none.reg").c_str(), 1);
        setenv("TMPDIR", m_folder.c_str(), 1);
        unsetenv("XDG_RUNTIME_DIR");
        m_before = SetDebugStringHook([this](LPCSTR text) {
            const std::lock_guard guard(m_lock);
            m_shown += text;
        });
    }
    void TearDown() override {
        SetDebugStringHook(m_before);
        RegClearProcessValues();
        std::filesystem::remove_all(m_folder);
    }

    // Of a key below the product's.
    static void Set(const std::string& key, const char* name, DWORD type, const std::string& data) {
        RegSetProcessValue(HKEY_LOCAL_MACHINE, ("Software\\Norvane\\Lumetra\\" + key).c_str(), name,
                           type, data.data(), static_cast<DWORD>(data.size()));
    }
    static void Set(const std::string& key, const char* name, DWORD number) {
        Set(key, name, REG_DWORD, {reinterpret_cast<const char*>(&number), sizeof(number)});
    }
    static void Settings(DWORD level, DWORD destination, const std::string& file = "") {
        const std::string key = "Ostrel\\{12AB34CD-5678-9ABC-DEF0-010203040506}";
        Set(key, "LogEnabled", 1);
        Set(key, "LogLevel", level);
        Set(key, "LogDestination", destination);
        Set(key, "LogFile", REG_SZ, file);
    }

    std::string File(const std::string& name = "ostrel.log") const {
        std::ifstream file(m_folder + '/' + name);
        return {std::istreambuf_iterator<char>(file), {}};
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

    std::string m_folder = "/tmp/nvq-diag-XXXXXX";

  private:
    DebugStringHook m_before;
    std::mutex m_lock;
    std::string m_shown;
};
