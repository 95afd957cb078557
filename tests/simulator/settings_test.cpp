// Models, devices' settings, and what else a device tells.

#include "platform/module.h"
#include "tests/simulator/sim_rig.h"

namespace {

// Collects what the simulator tells a person.
class CLines {
  public:
    CLines() {
        m_before = SetDebugStringHook([this](LPCSTR text) { m_text += text; });
    }
    ~CLines() { SetDebugStringHook(m_before); }
    const std::string& Text() const { return m_text; }
    testing::AssertionResult Tell(const std::string& part) const {
        return testing::AssertionResult(m_text.find(part) != std::string::npos) << m_text;
    }

  private:
    std::string m_text;
    DebugStringHook m_before;
};

DWORD OpenCode(IOstrelDevice* device, const std::u16string& port, WORD ioType = 1) {
    DWORD session = 0;
    DWORD error = 0;
    return SUCCEEDED(device->OpenDevice(port.c_str(), ioType, &session, &error)) ? 0 : error;
}

TEST(Models, OfTheUsersOwnComeFirst) {
    const std::string folder = TestFolder() + "/models";
    const std::string text =
        "[model]\nname=MINE\nfacets=Panel\n[device]\nminResolution=100\n"
        "maxXResolution=200\nmaxYResolution=0x190\nbedWidth=300\nbedHeight=400\n"
        "colorDepths=8, 16\ntonemapLength=4\ntonemapMaxValue=3\ntonemapEntrySize=1\n";
    WriteWholeFile(folder + "/MINE.ini", text);
    setenv("NVQ_SIM_MODELS", folder.c_str(), 1);
    CDeviceRig rig("[simulator]\nmodel=MINE\n[device]\nbedHeight=500 ; 1 2/3 inches\n");
    OstrelDeviceCaps caps = {};
    CSessionRig(rig).Do(&IOstrelDevice::GetDeviceCapabilities, &caps);
    EXPECT_EQ(caps.maxYResolution, 400);
    EXPECT_EQ(caps.bedHeight, 500u) << "the device's own settings lie over the model's";
    EXPECT_EQ(Bytes(caps.colorDepths, caps.colorDepths + 3), (Bytes{8, 16, 0}));
    unsetenv("NVQ_SIM_MODELS");
}

TEST(Settings, ThatAreFaultyAreNamed) {
    const struct {
        const char* ini;
        const char* line;
    } kCases[] = {
        {"lost", "device.ini:1: is neither a section"},
        {"[simulator]\nmodel=SIM300A\n\n[device", "device.ini:4: a section is"},
        {"[device]\nbedWith=3", "device.ini:2: [device] knows no \"bedWith\""},
        {"[device]\nbedWidth=-1", "device.ini:2: bedWidth is \"-1\", and must be a number from 1"},
        {"[device]\ntonemapEntrySize=1", "largest value must fit the entry"},
        {"[media.4]\nwidth=5\nheight=5", "no number may be left out"},
        {"[resolutions]\nflatbed=300", "must be at most 86 pairs"},
        {"[faults]\nStartScann=1:2", "is no operation"},
    };
    for (const auto& c : kCases) {
        CDeviceRig rig(c.ini);
        const CLines lines;
        EXPECT_EQ(OpenCode(CreateToolkit().Get(), rig.Port()), OSTREL_OPEN_FAILED) << c.ini;
        EXPECT_TRUE(lines.Tell(c.line)) << c.ini;
        EXPECT_EQ(std::count(lines.Text().begin(), lines.Text().end(), '\n'), 1) << lines.Text();
    }
}

TEST(Settings, ThatChangeCountFromTheNextLockOnAndFaultyOnesAreToldAlone) {
    CDeviceRig rig("[flatbed]\npicture=page.png\n");
    CSessionRig session(rig);
    session.Prepare();
    for (const char* content : {"", "BM", "\x89PNG\r\n\x1a\n", "no picture at all"}) {
        if (*content)
            WriteWholeFile(rig.Path() + "/page.png", content);
        const CLines lines;
        EXPECT_EQ(session.Scan(Window(0, 0, 30, 30)), OSTREL_OPEN_FAILED) << content;
        EXPECT_TRUE(lines.Tell("page.png"));
    }
    const struct {
        const char *ini, *line;
    } kCases[] = {{"[flatbed]\npicture=none\nlid=9,8,7\n", ""},
                  {"[flatbed]\nlit=1\n", "device.ini:2:"},
                  {"[simulator]\nmodel=SIM100F\n", "opened anew"}};
    for (const auto& c : kCases) {
        const CLines lines;
        Bytes data;
        rig.SetIni(c.ini);
        session.Unlock();
        session.Lock(0);
        EXPECT_EQ(session.Scan(Window(0, 0, 1, 1), &data), OSTREL_END_OF_MEDIA);
        EXPECT_EQ(data, (Bytes{9, 8, 7}));
        EXPECT_TRUE(lines.Tell(c.line));
    }
}

TEST(Device, IsFoundByItsPort) {
    const CLines lines;
    for (const char16_t* port : {u"/no/such/folder/port", u"", u"port"})
        EXPECT_EQ(OpenCode(CreateToolkit().Get(), port), OSTREL_NOT_FOUND);
    EXPECT_TRUE(lines.Tell("is no simulated scanner's port"));
    EXPECT_EQ(OpenCode(CreateToolkit().Get(), CDeviceRig().Port(), 6), OSTREL_INVALID_PARAMETER);
}

TEST(Device, RemembersWhatItIsTold) {
    CDeviceRig rig("[simulator]\nmodel=SIM500D\n[device]\nlampWarmUpFlatbed=0\n");
    DWORD value = 77;
    EXPECT_EQ(CSessionRig(rig).Do(&IOstrelNvram::WriteNvram, 8u, 1234u), 0u);
    CSessionRig session(rig);
    EXPECT_EQ(session.Do(&IOstrelNvram::ReadNvram, 2u, &value), OSTREL_INVALID_PARAMETER);
    EXPECT_EQ(session.Do(&IOstrelPanel::SetPanelText, 1u, OLESTR("Gr\u00F6\u00DFe"), 10u),
              OSTREL_INVALID_PARAMETER)
        << "no zero at its end";
    EXPECT_EQ(session.Do(&IOstrelNvram::ReadNvram, 8u, &value), 0u);
    EXPECT_EQ(value, 1234u);
    WriteWholeFile(rig.Path() + "/state",
                   "lamp=x\n\xFF\xFE=\nscans\nnvramScanCount=99999999999999999999\n");
    EXPECT_EQ(session.Do(&IOstrelNvram::ReadNvram, 8u, &value), 0u)
        << "a spoilt state is a fresh one";
}

TEST(Device, RefusesWhatItHasNot) {
    CDeviceRig rig("[simulator]\nmodel=SIM500D\n[properties]\nXPA=0\n[xpa]\nhasXPA=0\n");
    CSessionRig session(rig);
    DWORD value = 9;
    EXPECT_EQ(session.Do(&IOstrelProperties::GetLongProperty, OLESTR("XPA"), &value),
              OSTREL_INVALID_HW_PROPERTY);
    OstrelResolutionTable table = {};
    EXPECT_EQ(session.Do(&IOstrelResolutions::GetResolutionTable, 3u, &table), 2u);
    EXPECT_EQ(session.Do(&IOstrelProfile::GetProfileSize, &value), 0u);
    std::string profile(value, 0);
    void* const into = profile.data();
    EXPECT_EQ(session.Do(&IOstrelProfile::ReadProfile, value + 1, into), 2u);
    EXPECT_EQ(session.Do(&IOstrelProfile::ReadProfile, value, into), 0u);
    EXPECT_EQ(session.Do(&IOstrelJobGate::EndJobGate), 2u);
}

}  // namespace
