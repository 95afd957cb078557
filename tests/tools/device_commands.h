// Commands that work with scanners, each test on a simulated one of its own.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "simulator/device_state.h"
#include "tests/tools/program.h"

using Names = std::vector<std::string>;

struct Result {
    int code;
    std::string out;
    std::string error;
};

class DeviceCommands : public testing::Test {
  protected:
    DeviceCommands() {
        std::filesystem::create_directory(m_pages);
        std::filesystem::create_directories(Scanner());
        setenv("NVQ_REGISTRY", (m_home / "registry.reg").c_str(), 1);
        setenv("NVQ_SIM_DIR", (m_home / "scanners").c_str(), 1);
        setenv("HOME", (m_home / "").c_str(), 1);
        setenv("TMPDIR", (m_home / "").c_str(), 1);
    }
    ~DeviceCommands() override { unsetenv("TMPDIR"); }
    // Whatever was done: the scanner has seen no wrong call and no session is left in it.
    void TearDown() override {
        const CDeviceState state = State();
        EXPECT_EQ(state.violations, 0u) << state.lastViolation;
        EXPECT_EQ(state.closedLocked, 0u);
    }

    std::string Scanner() const { return m_home / "scanners/SIM300A"; }
    CDeviceState State() const { return LoadState(Scanner() + "/state", {}); }
    void SetIni(const std::string& text) { std::ofstream(Scanner() + "/device.ini") << text; }
    void Act(const std::string& act) {
        std::filesystem::create_directories(Scanner() + "/panel");
        WriteBytes(Scanner() + "/panel/" + act, {});
    }
    std::string Page(const std::string& name) const { return m_pages + "/" + name; }
    Names Pages() const {
        Names names;
        for (const auto& entry : std::filesystem::directory_iterator(m_pages))
            names.push_back(entry.path().filename());
        std::ranges::sort(names);
        return names;
    }
    Result Run(const Arguments& arguments) {
        CProgram program(m_streams, arguments);
        const int code = program.Wait();
        return {code, program.Out(), program.Error()};
    }
    // Words with blanks between them; '@' stands for the pages' folder.
    Result Run(const std::string& line) {
        Arguments arguments;
        std::istringstream words(line);
        for (std::string word; words >> word; arguments.push_back(word)) {
            if (const std::size_t at = word.find('@'); at != std::string::npos)
                word.replace(at, 1, m_pages + '/');
        }
        return Run(arguments);
    }
    // Without the line about the first use.
    void Install() { ASSERT_EQ(Run("devices").code, 0); }
    // Until a page has begun to come.
    void WaitForPage(const CProgram& program) {
        const auto hasBegun = [this] {
            const Names names = Pages();
            return !names.empty() && names.front().starts_with(".nvqscan-");
        };
        while (program.IsRunning() && !hasBegun())
            usleep(2000);
    }

    CTempFolder m_home;
    CTempFolder m_streams;
    std::string m_pages = m_home / "pages";
};

inline bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}
