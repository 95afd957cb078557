// What the scripted back end shows is found, installed and read.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>

#include "sane-toolkit/scanner_list.h"
#include "tests/tools/program.h"

namespace {

using Json = nlohmann::json;

constexpr char kScanners[] =
    "device nvq:0 Own Own Own\n"
    "device \"two words\" null \" Model\x1b[2J X \" \"flatbed scanner\"\n"
    "device desk Maker \"model x\" \"flatbed scanner\"\n"
    "device desk Maker Twice \"flatbed scanner\"\n";
// Every second one is a button: what it is called, where it stands, or how it changes says so.
constexpr char kOptions[] =
    "option panel group\n"
    "option scan bool sensor=latched\noption stop bool caps=detect,inactive\n"
    "option button-2 int sensor=held\noption always bool caps=detect value=1\n"
    "option toggle bool sensor=held caps=detect,hard\noption lamp-on bool caps=detect,hard\n"
    "option sensors group\n"
    "option extra int caps=detect range=0,1\noption cover-open bool caps=detect\n"
    "option knob bool caps=detect\noption level int caps=detect range=0,9\n"
    "option button-3 string caps=detect\noption page-loaded bool sensor=paper\n"
    "option button-4 bool\n";

class SaneFind : public testing::Test {
  protected:
    SaneFind() {
        for (const char* name : {"NVQ_REGISTRY", "HOME", "SANE_CONFIG_DIR", "NVQ_STAGED_SCRIPT"})
            setenv(name, (m_home / (name[0] == 'N' ? name : "")).c_str(), 1);
        setenv("XDG_RUNTIME_DIR", (m_home / "").c_str(), 1);
        setenv("LD_LIBRARY_PATH", STAGED_FOLDER, 1);
        std::ofstream(m_home / "dll.conf") << "staged\n";
        Script(kOptions);
    }
    void Script(const std::string& more) {
        std::ofstream(m_home / "NVQ_STAGED_SCRIPT") << kScanners << more;
    }
    std::string Key(const std::string& button) const {
        return m_home / ("NVQ_STAGED_SCRIPT." + button);
    }
    std::unique_ptr<CSaneDevice> Open() const {
        std::unique_ptr<CSaneDevice> device;
        EXPECT_EQ(CSaneDevice::Open("staged:desk", device).code, OSTREL_NO_ERROR);
        return device;
    }
    // Both streams, one behind the other.
    std::string Run(const Arguments& arguments, int code = 0) {
        CProgram program(m_home, arguments);
        EXPECT_EQ(program.Wait(), code) << program.Error();
        return program.Out() + program.Error();
    }

    CTempFolder m_home;
};

TEST_F(SaneFind, ButtonsAreNoStatesAndTellAPressOnce) {
    const std::lock_guard guard(CSaneLibrary::Lock());
    auto device = Open();
    const std::vector<ScannerButton> buttons = LearnButtons(*device);
    std::vector<std::string> names;
    for (const ScannerButton& button : buttons)
        names.push_back(button.name);
    ASSERT_EQ(names, (std::vector<std::string>{"scan", "button-2", "toggle", "extra", "knob"}));

    using Presses = std::vector<BYTE>;
    CButtonReader reader(buttons);
    WriteBytes(Key("scan"), {});
    WriteBytes(Key("button-2"), {});
    EXPECT_EQ(reader.Read(*device), (Presses{1, 1, 0, 0, 0})) << "kept since before";
    WriteBytes(Key("toggle"), {});
    EXPECT_EQ(reader.Read(*device), (Presses{0, 0, 1, 0, 0}));
    std::filesystem::remove(Key("button-2"));
    WriteBytes(Key("scan"), {});
    EXPECT_EQ(reader.Read(*device), (Presses{1, 0, 0, 0, 0}));
    WriteBytes(Key("button-2"), {});
    Script("fail get:button-2 9\noption button-2 int sensor=held\n");
    device.reset();
    device = Open();
    EXPECT_EQ(reader.Read(*device), Presses(5)) << "all but one are gone, and that one fails";

    std::string many;
    for (int i = 0; i < 40; ++i)
        many += "option button-" + std::to_string(i) + " bool sensor=held\n";
    Script(many);
    device.reset();
    EXPECT_EQ(LearnButtons(*Open()).size(), kMostScannerButtons);
}

TEST_F(SaneFind, ThePaperSensorIsReadWhereThereIsOne) {
    const std::lock_guard guard(CSaneLibrary::Lock());
    const std::pair<std::string, std::optional<bool>> kCases[] = {
        {"", std::nullopt},
        {std::string(kOptions), false},
        {"sheets 1\n" + std::string(kOptions), true},
        {"sheets 1\nfail get:page-loaded 9\n" + std::string(kOptions), std::nullopt},
        {"option page-loaded bool value=1\n", std::nullopt},  // somebody's setting
    };
    for (const auto& [script, paper] : kCases) {
        Script(script);
        EXPECT_EQ(ReadPaperSensor(*Open()), paper) << script;
    }
}

TEST_F(SaneFind, WhatIsFoundIsInstalledAsItIs) {
    EXPECT_NE(Run({"find"}).find("install --sane 'staged:two words'"), std::string::npos);
    Run({"install", "--sane", "staged:desk"});
    Run({"install", "--sane", "staged:two words", "--samples", "light"});
    const Json devices = Json::parse(Run({"devices", "--json"}))["devices"];
    ASSERT_EQ(devices.size(), 2u);
    EXPECT_EQ(devices[0]["name"], "model x");
    EXPECT_EQ(devices[0]["vendor"], "Maker");
    EXPECT_EQ(devices[1]["name"], "Model [2J X") << "no sign that a terminal would obey";
    EXPECT_EQ(devices[1]["port"], "sane-light:staged:two words");
    Run({"install", "--sane", "staged:desk", "--samples", "display", "--vendor", "Mine"});
    const Json found = Json::parse(Run({"find", "--json"}))["scanners"];
    ASSERT_EQ(found.size(), 2u) << "neither its own nor one twice: " << found;
    EXPECT_EQ(found[1]["name"], "staged:desk");
    EXPECT_EQ(found[1]["installed"], (Json{"0000", "0002"}));
    const std::string registry = ReadText(m_home / "NVQ_REGISTRY");
    for (const char* part : {"\"DriverDesc\"=\"model x-2\"", "\"ProviderName\"=\"Mine\"",
                             "Events\\Button5]\n@=\"knob\""})
        EXPECT_NE(registry.find(part), std::string::npos) << part;
    EXPECT_EQ(registry.find("Button6"), std::string::npos);
}

TEST_F(SaneFind, WhatCantBeInstalledIsToldInWords) {
    std::unique_lock lock(CSaneLibrary::Lock());
    const auto desk = Open();
    const struct {
        Arguments more;
        int code;
        const char* words;
    } kCases[] = {
        {{"staged:desk"}, 1, "in use by another program"},
        {{"staged:away"}, 1, "nvqscan find"},
        {{"staged:nvq:0", "--force"}, 1, "a scanner of this driver"},
        {{"staged:desk", "--model", "SIM300A"}, 2, "--model"},
        {{"staged:desk", "--events", "pipe"}, 2, "polled"},
        {{"staged:away", "--force"}, 0, "Scanner at sane:staged:away"},
        {{"staged:desk", "--force"}, 0, "model x"},
    };
    for (const auto& [more, code, words] : kCases) {
        Arguments arguments = {"install", "--sane"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const std::string told = Run(arguments, code);
        EXPECT_NE(told.find(words), std::string::npos) << told;
    }
    std::ofstream(m_home / "dll.conf") << "";
    EXPECT_NE(Run({"find"}).find("dll.conf"), std::string::npos);
    // With a library that can't be loaded only these fail.
    std::ofstream(m_home / "libsane.so.1") << "none";
    setenv("LD_LIBRARY_PATH", (m_home / "").c_str(), 1);
    EXPECT_NE(Run({"find"}, 1).find("libsane.so.1"), std::string::npos);
    EXPECT_NE(Run({"devices", "--names"}).find("model x"), std::string::npos);
}

}  // namespace
