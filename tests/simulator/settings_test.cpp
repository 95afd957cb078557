// Models, devices' settings, and what else a device tells.
#include <cstdlib>

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

  private:
    std::string m_text;
    DebugStringHook m_before;
};

DWORD OpenCode(IOstrelDevice* device, const std::u16string& port, WORD ioType = 1) {
    DWORD session = 0;
    DWORD error = 0;
    return SUCCEEDED(device->OpenDevice(port.c_str(), ioType, &session, &error)) ? 0 : error;
}

ComPtr<IUnknown> CreateForModel(LPCOLESTR model, HRESULT expected = S_OK) {
    RegisterSimulator();
    ComPtr<IOstrelModelFactory> factory;
    EXPECT_EQ(CoGetClassObject(CLSID_OstrelSimulator, CLSCTX_INPROC_SERVER, nullptr,
                               IID_IOstrelModelFactory, factory.OutVoid()),
              S_OK);
    ComPtr<IUnknown> object;
    EXPECT_EQ(factory->CreateForModel(model, object.Out()), expected);
    return object;
}

int CountFacets(IUnknown* object) {
    const IID kFacets[] = {
        IID_IOstrelADF,     IID_IOstrelADF2,        IID_IOstrelADF3,
        IID_IOstrelXPA,     IID_IOstrelXPALamp,     IID_IOstrelXPAMedia,
        IID_IOstrelNvram,   IID_IOstrelCompression, IID_IOstrelExtendedLamp,
        IID_IOstrelPanel,   IID_IOstrelProperties,  IID_IOstrelColorMatrix,
        IID_IOstrelJobGate, IID_IOstrelProfile,     IID_IOstrelResolutions,
        IID_IOstrelButtons, IID_IOstrelInstantLamp, IID_IOstrelPendingTask,
    };
    int count = 0;
    for (const IID& iid : kFacets) {
        ComPtr<IUnknown> facet;
        count += facet.QueryFrom(object, iid) == S_OK ? 1 : 0;
    }
    return count;
}

TEST(Models, HaveTheFacetsThatTheirFilesTell) {
    EXPECT_EQ(CountFacets(CreateForModel(OLESTR("SIM100F")).Get()), 0);
    EXPECT_EQ(CountFacets(CreateForModel(OLESTR("SIM200S")).Get()), 4);
    EXPECT_EQ(CountFacets(CreateForModel(OLESTR("SIM300A")).Get()), 15);
    EXPECT_EQ(CountFacets(CreateForModel(OLESTR("SIM500D")).Get()), 18);
    EXPECT_EQ(CountFacets(CreateForModel(OLESTR("")).Get()), 0);
    const CLines lines;
    CreateForModel(OLESTR("Unknown"), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_NE(lines.Text().find("no model \"Unknown\""), std::string::npos) << lines.Text();
}

TEST(Models, AreTakenFromTheDeviceByAnObjectOfNone) {
    CDeviceRig rig("[simulator]\nmodel=SIM100F\n");
    CSessionRig session(rig);
    EXPECT_EQ(CountFacets(session.operator->()), 0);
    OstrelDeviceCaps caps = {};
    EXPECT_EQ(session->GetDeviceCapabilities(session.Session(), &caps, session.Error()), S_OK);
    EXPECT_STREQ(caps.model, "SIM100F");
    EXPECT_EQ(caps.bedWidth, 2550u);
    EXPECT_EQ(caps.lampWarmUpFlatbed, 20);
    EXPECT_EQ(caps.tonemapEntrySize, 1);
    CDeviceRig plain;
    CSessionRig defaults(plain);
    EXPECT_EQ(CountFacets(defaults.operator->()), 15) << "without a file: the default model";
    ComPtr<IOstrelDevice> object;
    object.QueryFrom(CreateForModel(OLESTR("SIM500D")).Get(), IID_IOstrelDevice);
    const CLines lines;
    EXPECT_EQ(OpenCode(object.Get(), rig.Port()), OSTREL_OPEN_FAILED);
    EXPECT_NE(lines.Text().find("is a SIM100F, and a SIM500D was to be opened"), std::string::npos)
        << lines.Text();
}

TEST(Models, OfTheUsersOwnComeFirst) {
    const std::string folder = TestFolder() + "/models";
    std::string text =
        "[model]\nname=MINE\nfacets=Panel\n[device]\nminResolution=100\n"
        "maxXResolution=200\nmaxYResolution=0x190\nbedWidth=300\nbedHeight=400\n"
        "colorDepths=8, 16\ntonemapLength=4\ntonemapMaxValue=3\n"
        "tonemapEntrySize=1\n";
    WriteWholeFile(folder + "/MINE.ini", text);
    WriteWholeFile(folder + "/OTHER.ini", text);
    setenv("NVQ_SIM_MODELS", folder.c_str(), 1);
    CDeviceRig rig("[simulator]\nmodel=MINE\n[device]\nbedHeight=500 ; 1 2/3 inches\n");
    CSessionRig session(rig);
    OstrelDeviceCaps caps = {};
    session->GetDeviceCapabilities(session.Session(), &caps, session.Error());
    EXPECT_EQ(caps.maxYResolution, 400);
    EXPECT_EQ(caps.bedHeight, 500u) << "the device's own settings lie over the model's";
    EXPECT_EQ(caps.colorDepths[1], 16);
    EXPECT_EQ(caps.colorDepths[2], 0);
    const CLines lines;
    CDeviceRig other("[simulator]\nmodel=OTHER\n");
    EXPECT_EQ(OpenCode(CreateToolkit().Get(), other.Port()), OSTREL_OPEN_FAILED);
    EXPECT_NE(lines.Text().find("its file must be named so"), std::string::npos) << lines.Text();
    unsetenv("NVQ_SIM_MODELS");
}

TEST(Settings, ThatAreFaultyAreNamed) {
    const struct {
        const char* ini;
        const char* line;
    } kCases[] = {
        {"lost", "device.ini:1: is neither a section"},
        {"[simulator]\nmodel=SIM300A\n\n[device", "device.ini:4: a section is"},
        {"[simulator]\nmodel=../x", "no name of a model"},
        {"[device]\nbedWith=3", "device.ini:2: [device] knows no \"bedWith\""},
        {"[device]\nbedWidth=-1", "device.ini:2: bedWidth is \"-1\", and must be a number from 1"},
        {"[device]\nbedWidth=3x", "bedWidth is \"3x\""},
        {"[device]\nchannelFlags=0x10000", "from 0 to 65535"},
        {"[device]\ncolorDepths=16 8", "must be 8, 16, or both"},
        {"[device]\ntonemapEntrySize=1", "largest value must fit the entry"},
        {"[device]\ncolorDepths=", "[device] needs"},
        {"[flatbed]\nencoding=gamma", "must be one of: linear srgb negative"},
        {"[flatbed]\nlid=1,2", "red, green, blue"},
        {"[flatbed]\ndpi=", "must be one resolution"},
        {"[buttons]\ncount=33", "from 0 to 32"},
        {"[media.4]\nwidth=5\nheight=5", "no number may be left out"},
        {"[resolutions]\nflatbed=300", "must be at most 86 pairs"},
        {"[faults]\nStartScann=1:2", "is no operation"},
    };
    for (const auto& c : kCases) {
        CDeviceRig rig(c.ini);
        const CLines lines;
        EXPECT_EQ(OpenCode(CreateToolkit().Get(), rig.Port()), OSTREL_OPEN_FAILED) << c.ini;
        EXPECT_NE(lines.Text().find(c.line), std::string::npos) << c.ini << '\n' << lines.Text();
        EXPECT_EQ(std::count(lines.Text().begin(), lines.Text().end(), '\n'), 1) << lines.Text();
    }
}

TEST(Settings, OfPicturesThatCannotBeHadFailTheScan) {
    CDeviceRig rig("[flatbed]\npicture=page.png\n");
    CSessionRig session(rig);
    session.Prepare();
    Bytes data;
    for (const char* content : {"", "BM", "\x89PNG\r\n\x1a\n", "no picture at all"}) {
        if (*content)
            WriteWholeFile(rig.Path() + "/page.png", content);
        const CLines lines;
        EXPECT_EQ(session.Scan(Window(0, 0, 30, 30), &data), OSTREL_OPEN_FAILED) << content;
        EXPECT_NE(lines.Text().find("page.png"), std::string::npos) << lines.Text();
    }
    // Changed settings count from the next lock on; faulty ones are told and change nothing.
    const auto relock = [&] {
        session->UnlockScanner(session.Session(), session.Error());
        session->LockScanner(session.Session(), 0, 0, session.Error());
    };
    rig.SetIni("[flatbed]\npicture=none\nlid=9,8,7\n");
    relock();
    EXPECT_EQ(session.Scan(Window(0, 0, 1, 1), &data), OSTREL_END_OF_MEDIA);
    EXPECT_EQ(data, (Bytes{9, 8, 7}));
    const CLines lines;
    rig.SetIni("[flatbed]\nlit=1\n");
    relock();
    rig.SetIni("[simulator]\nmodel=SIM100F\n");
    relock();
    EXPECT_EQ(session.Scan(Window(0, 0, 1, 1), &data), OSTREL_END_OF_MEDIA);
    EXPECT_EQ(data, (Bytes{9, 8, 7}));
    EXPECT_NE(lines.Text().find("device.ini:2:"), std::string::npos) << lines.Text();
    EXPECT_NE(lines.Text().find("opened anew"), std::string::npos) << lines.Text();
}

TEST(Device, ThatIsNoneCannotBeOpened) {
    const CLines lines;
    auto toolkit = CreateToolkit();
    EXPECT_EQ(OpenCode(toolkit.Get(), u"/no/such/folder/port"), OSTREL_NOT_FOUND);
    EXPECT_EQ(OpenCode(toolkit.Get(), u""), OSTREL_NOT_FOUND);
    EXPECT_EQ(OpenCode(toolkit.Get(), u"port"), OSTREL_NOT_FOUND);
    EXPECT_NE(lines.Text().find("is no simulated scanner's port"), std::string::npos);
    CDeviceRig rig;
    EXPECT_EQ(OpenCode(toolkit.Get(), rig.Port(), 6), OSTREL_INVALID_PARAMETER);
    WriteWholeFile(rig.Path() + "/port", "a plain file");
    EXPECT_EQ(OpenCode(toolkit.Get(), rig.Port()), OSTREL_OPEN_FAILED);
}

TEST(Device, IsMadeForAModelAndFoundByItsName) {
    setenv("NVQ_SIM_DIR", (TestFolder() + "/sims").c_str(), 1);
    const std::string folder = SimulatedDeviceFolder("office");
    EXPECT_EQ(folder, TestFolder() + "/sims/office");
    std::string error;
    ASSERT_TRUE(MakeSimulatedDevice(folder, "SIM200S", &error)) << error;
    EXPECT_FALSE(MakeSimulatedDevice(folder, "NOPE", &error));
    ASSERT_TRUE(MakeSimulatedDevice(folder, "SIM300A", &error)) << "one that is there stays";
    const std::u16string port = std::filesystem::path(SimulatedPort(folder)).u16string();
    auto toolkit = CreateToolkit();
    EXPECT_EQ(OpenCode(toolkit.Get(), port), 0u);
    EXPECT_EQ(CountFacets(toolkit.Get()), 4);
    unsetenv("NVQ_SIM_DIR");
    setenv("XDG_STATE_HOME", "/state", 1);
    EXPECT_EQ(SimulatorFolder(), "/state/nvqdrv/simulator");
    unsetenv("XDG_STATE_HOME");
}

TEST(Device, RemembersWhatItIsTold) {
    CDeviceRig rig("[simulator]\nmodel=SIM500D\n[device]\nlampWarmUpFlatbed=0\n");
    {
        CSessionRig session(rig);
        const DWORD id = session.Session();
        const auto nvram = session.Facet<IOstrelNvram>(IID_IOstrelNvram);
        DWORD value = 0;
        EXPECT_EQ(nvram->ReadNvram(id, 1, &value, session.Error()), S_OK);
        EXPECT_EQ(value, 0xFFFFFFFFu) << "never set";
        EXPECT_EQ(nvram->ReadNvram(id, 2, &value, session.Error()), E_FAIL);
        EXPECT_EQ(nvram->WriteNvram(id, 8, 2026 << 16 | 24 << 8 | 11, session.Error()), S_OK);
        const auto panel = session.Facet<IOstrelPanel>(IID_IOstrelPanel);
        const std::u16string text = u"Größe";
        EXPECT_EQ(panel->SetPanelText(id, 1, text.c_str(), 12, session.Error()), S_OK);
        EXPECT_EQ(panel->SetPanelText(id, 1, text.c_str(), 10, session.Error()), E_FAIL)
            << "no zero at its end";
        session->UnlockScanner(id, session.Error());
        EXPECT_EQ(panel->SetPanelText(id, 1, text.c_str(), 12, session.Error()), S_OK)
            << "the panel needs no lock";
    }
    EXPECT_EQ(rig.State().panelText, "Größe");
    CSessionRig session(rig);
    session.Prepare();
    Bytes data;
    session.Scan(Window(0, 0, 30, 30), &data);
    DWORD value = 0;
    const auto nvram = session.Facet<IOstrelNvram>(IID_IOstrelNvram);
    EXPECT_EQ(nvram->ReadNvram(session.Session(), 8, &value, session.Error()), S_OK);
    EXPECT_EQ(value, 2026u << 16 | 24 << 8 | 11);
    EXPECT_EQ(nvram->ReadNvram(session.Session(), 1, &value, session.Error()), S_OK);
    EXPECT_EQ(value, 1u) << "the device counts its scans";
    EXPECT_EQ(rig.State().violations, 0u);
    WriteWholeFile(rig.Path() + "/state",
                   "lamp=x\n\xFF\xFE=\nscans\nnvramScanCount=99999999999999999999\n");
    EXPECT_EQ(nvram->ReadNvram(session.Session(), 8, &value, session.Error()), S_OK)
        << "a spoilt state is a fresh one";
}

TEST(Device, TellsWhatItHasAndRefusesTheRest) {
    CDeviceRig rig("[simulator]\nmodel=SIM500D\n[properties]\nXPA=0\n[xpa]\nhasXPA=0\n");
    CSessionRig session(rig);
    const DWORD id = session.Session();
    const auto properties = session.Facet<IOstrelProperties>(IID_IOstrelProperties);
    LPOLESTR text = nullptr;
    EXPECT_EQ(properties->GetStringProperty(id, OLESTR("Firmware Version"), &text, session.Error()),
              S_OK);
    EXPECT_EQ(std::u16string(text), u"SIM 5.00D");
    CoTaskMemFree(text);
    DWORD value = 9;
    EXPECT_EQ(properties->GetLongProperty(id, OLESTR("ADF"), &value, session.Error()), S_OK);
    EXPECT_EQ(value, 1u);
    EXPECT_EQ(properties->GetLongProperty(id, OLESTR("XPA"), &value, session.Error()), E_FAIL);
    EXPECT_EQ(session.Code(), OSTREL_INVALID_HW_PROPERTY);
    EXPECT_EQ(session.Facet<IOstrelXPA>(IID_IOstrelXPA)->XPALampOn(id, session.Error()), E_FAIL);
    EXPECT_EQ(session.Code(), 322u) << "not plugged in";

    OstrelResolutionTable table = {};
    const auto resolutions = session.Facet<IOstrelResolutions>(IID_IOstrelResolutions);
    EXPECT_EQ(resolutions->GetResolutionTable(id, 0, &table, session.Error()), S_OK);
    ASSERT_EQ(table.count, 7);
    EXPECT_EQ(table.entries[6].y, 9600);
    EXPECT_EQ(table.entries[6].scale, 4);
    EXPECT_EQ(resolutions->GetResolutionTable(id, 3, &table, session.Error()), E_FAIL);

    const auto profile = session.Facet<IOstrelProfile>(IID_IOstrelProfile);
    DWORD bytes = 0;
    EXPECT_EQ(profile->GetProfileSize(id, &bytes, session.Error()), S_OK);
    std::string profileText(bytes, 0);
    EXPECT_EQ(profile->ReadProfile(id, bytes + 1, profileText.data(), session.Error()), E_FAIL);
    EXPECT_EQ(profile->ReadProfile(id, bytes, profileText.data(), session.Error()), S_OK);
    EXPECT_NE(profileText.find("\nFB\n1.06, "), std::string::npos);

    const auto gate = session.Facet<IOstrelJobGate>(IID_IOstrelJobGate);
    EXPECT_EQ(gate->GetJobGateState(id, &value, session.Error()), E_FAIL) << "closed";
    EXPECT_EQ(gate->BeginJobGate(id, 0, session.Error()), S_OK);
    EXPECT_EQ(gate->GetJobGateState(id, &value, session.Error()), S_OK);
    EXPECT_EQ(value, 2u);
    EXPECT_EQ(gate->EndJobGate(id, session.Error()), S_OK);
    EXPECT_EQ(gate->EndJobGate(id, session.Error()), E_FAIL);
}

}  // namespace
