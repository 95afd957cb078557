// What the program says when something around it is wrong: one line with the place, the reason and,
// where there is one, the way out.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <set>

#include "tests/tools/program.h"

namespace {

struct CSaid {
    int code;
    std::string out;
    std::string error;
};

class Words : public testing::Test {
  protected:
    // Without a runtime folder locks lie in the folder for temporary files.
    Words() {
        m_variables = {{"HOME", m_home / "home"},
                       {"TMPDIR", m_home / "tmp"},
                       {"NVQ_SIM_DIR", m_home / "scanners"},
                       {"NVQ_REGISTRY", m_home / "registry.reg"}};
        for (const auto& [name, value] : m_variables)
            setenv(name.c_str(), value.c_str(), 1);
        unsetenv("XDG_RUNTIME_DIR");
        unsetenv("XDG_CONFIG_HOME");
        std::filesystem::create_directories(m_home / "tmp");
    }
    ~Words() override { unsetenv("TMPDIR"); }

    CSaid Run(const Arguments& arguments) {
        CProgram program(m_home, arguments);
        const int code = program.Wait();
        return {code, program.Out(), program.Error()};
    }
    CSaid RunWith(const char* variable, const std::string& value, const Arguments& arguments) {
        setenv(variable, value.c_str(), 1);
        const CSaid said = Run(arguments);
        setenv(variable, m_variables[variable].c_str(), 1);
        return said;
    }
    void Install() { ASSERT_EQ(Run({"devices"}).code, 0); }
    std::string Device(const std::string& file) { return m_home / ("scanners/SIM300A/" + file); }
    Arguments Scan() const { return {"scan", "--area", "0,0,9,9px", "-o", m_home / "a.png"}; }

    CTempFolder m_home;
    std::map<std::string, std::string> m_variables;
};

// One line that holds all the parts.
void ExpectLine(const CSaid& said, const std::vector<std::string>& parts) {
    EXPECT_EQ(said.code, 1) << said.out << said.error;
    EXPECT_EQ(std::ranges::count(said.error, '\n'), 1) << said.error;
    EXPECT_TRUE(said.error.starts_with("nvqscan: ")) << said.error;
    for (const std::string& part : parts)
        EXPECT_NE(said.error.find(part), std::string::npos) << part << " in " << said.error;
}

// Causes that stop root too: a file where a folder should be.
TEST_F(Words, NameThePlaceThatCantBeUsed) {
    Install();
    const std::string file = m_home / "file";
    WriteBytes(file, {'x', '\n'});
    std::ofstream(m_home / "line3.reg") << "Windows Registry Editor Version 5.00\n\nx\n";
    Arguments turned = Scan();
    turned.insert(turned.end(), {"--rotate", "90"});
    const struct {
        const char* variable;
        std::string value;
        Arguments arguments;
        std::vector<std::string> parts;
    } table[] = {
        {"TMPDIR", file, Scan(), {file + "/nvqdrv-", "Not a directory", "set TMPDIR"}},
        {"TMPDIR", file, {"install"}, {file + "/nvqdrv-", "set TMPDIR"}},
        {"NVQ_REGISTRY", file, {"devices"}, {file + ":1: is no registry file", "move the file"}},
        {"NVQ_REGISTRY", m_home / "", {"devices"}, {"is no file", "NVQ_REGISTRY"}},
        {"NVQ_REGISTRY", m_home / "line3.reg", {"log"}, {"line3.reg:3: ", "move the file"}},
        {"NVQ_REGISTRY", file + "/x.reg", {"log", "on"}, {file + "/x.reg: can't", "NVQ_REGISTRY"}},
        {"NVQ_SIM_DIR", file, {"install"}, {file + "/SIM300A", "can't be made", "NVQ_SIM_DIR"}},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.variable + ('=' + row.value));
        ExpectLine(RunWith(row.variable, row.value, row.arguments), row.parts);
    }
    setenv("XDG_RUNTIME_DIR", (m_home / "tmp").c_str(), 1);
    ExpectLine(RunWith("TMPDIR", file, turned), {file, "set TMPDIR"});
    unsetenv("XDG_RUNTIME_DIR");
    for (const std::string& log : {m_home / "no/a.log", m_home / "tmp", file + "/a.log"})
        ExpectLine(Run({"log", "on", "--file", log}), {log + ": ", "folder"});
    EXPECT_NE(Run({"log"}).out.find("off"), std::string::npos) << "nothing was turned on";
}

TEST_F(Words, OfADevicesFilesStandInTheOneMessage) {
    Install();
    std::ofstream(Device("device.ini")) << "[flatbed]\nlit=1\n";
    ExpectLine(Run(Scan()), {"scanner SIM300A: ", "device.ini:2: [flatbed] knows no"});
    std::ofstream(Device("device.ini")) << "[flatbed]\npicture=no.png\n";
    ExpectLine(Run(Scan()), {"no.png can't be opened"});
    std::ofstream(Device("device.ini")) << "";

    const std::string profile = m_home / "tmp/nvlmtSIM300A.spf";
    WriteBytes(profile, {'!', '@', '#', '$', '%', 0, 1});
    setenv("NVQ_PROFILE_DIR", (m_home / "tmp").c_str(), 1);
    const CSaid said = Run(Scan());
    unsetenv("NVQ_PROFILE_DIR");
    EXPECT_EQ(said.code, 0);
    EXPECT_EQ(std::ranges::count(said.error, '\n'), 1) << said.error;
    EXPECT_NE(said.error.find(profile + " is damaged"), std::string::npos) << said.error;
}

TEST_F(Words, RefuseWhatIsNoScannersPortOrNoName) {
    Install();
    ASSERT_EQ(Run({"install", "--name", "Big"}).code, 0);
    std::filesystem::create_directory(m_home / "empty");
    const std::string port = m_home / "empty/port";
    ExpectLine(Run({"install", "--port", port}), {port + ": there is no such port", "--force"});
    ExpectLine(Run({"install", "--port", "/dev/null"}), {"/dev/null: is no simulated"});
    for (const char* name : {"bIG", "1", "0000"})
        ExpectLine(Run({"install", "--name", name}), {name, "means ", "another name"});
    for (const char* name : {"two\nlines", "two\u2028lines", "Two\u0085"})
        ExpectLine(Run({"install", "--name", name}), {"one line"});
    for (const char* name : {"Big ", " ", " Big"})
        ExpectLine(Run({"install", "--name", name}), {"no blank"});

    EXPECT_EQ(Run({"install", "--port", port, "--force"}).code, 0);
    ExpectLine(Run({"properties", "2"}), {port, "no device.ini"});
    EXPECT_TRUE(std::filesystem::is_empty(m_home / "empty")) << "nothing is made there";
    for (const char* device : {"big", "BIG", "1", "01"})
        EXPECT_EQ(Run({"uninstall", device}).code, device == std::string("big") ? 0 : 1) << device;
}

TEST_F(Words, OfEightInstallationsAtOnceAreEightNumbers) {
    std::vector<std::unique_ptr<CTempFolder>> folders;
    std::vector<CProgram> programs;
    for (int i = 0; i < 8; ++i)
        programs.emplace_back(*folders.emplace_back(std::make_unique<CTempFolder>()),
                              Arguments{"install"});
    std::set<std::string> numbers;
    for (CProgram& program : programs) {
        EXPECT_EQ(program.Wait(), 0) << program.Error();
        numbers.insert(program.Out().substr(0, 4));
    }
    EXPECT_EQ(numbers.size(), 8u);
    EXPECT_EQ(*numbers.rbegin(), "0007");
}

TEST_F(Words, APressOfWhichNobodyHearsIsTold) {
    for (const char* events : {"pipe", "poll"}) {
        ASSERT_EQ(Run({"install", "--events", events, "--name", events}).code, 0);
        ExpectLine(Run({"press", "1", events}), {"nobody listens"});
    }
}

}  // namespace
