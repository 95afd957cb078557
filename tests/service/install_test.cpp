// What installing writes into the registry, and what removing leaves there.
#include <filesystem>

#include "platform/registry_key.h"
#include "simulator/simulator_class.h"
#include "tests/service/service_rig.h"

namespace {

class InstallTest : public CServiceTest {
  protected:
    static bool HasClass(const std::string& clsid) {
        const std::string registry = ReadWholeFile(RegistryPath());
        return registry.find("[HKEY_CLASSES_ROOT\\CLSID\\" + clsid) != registry.npos;
    }
    static CRegistryKey Data() {
        CRegistryKey data;
        EXPECT_EQ(data.Open(HKEY_LOCAL_MACHINE, DeviceKeyPath("0000") + "\\DeviceData"), 0);
        return data;
    }
};

const std::string kDriver = GuidText(CLSID_TestDriver);
const std::string kToolkit = GuidText(CLSID_OstrelSimulator);

TEST_F(InstallTest, RemovesAllThatItWroteWithTheLastDeviceThatNeedsIt) {
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT}) {
        CRegistryKey others;
        others.Create(root, "Software\\Norvane\\Other");
        others.WriteText("Kept", "yes");
    }
    const std::string before = ReadWholeFile(RegistryPath());
    Install();
    EXPECT_EQ(Data().ReadText("OstrelCLSID"), kToolkit) << "as the module has registered it";
    EXPECT_TRUE(HasClass(kDriver));
    EXPECT_TRUE(HasClass(kToolkit));
    const InstallOptions second = TestInstall("Second scanner");
    Install(second);
    EXPECT_EQ(InstallDevice(second).code, E_INVALIDARG) << "the port has a device";
    EXPECT_EQ(UninstallDevice("").code, E_INVALIDARG) << "never the first by chance";
    ASSERT_EQ(Failure(UninstallDevice("Test scanner")), "");
    EXPECT_TRUE(HasClass(kDriver)) << "the other device needs it";
    ASSERT_EQ(Failure(m_client.Open("Second scanner", m_device)), "");
    m_device.Close();
    ASSERT_EQ(Failure(UninstallDevice("0001")), "");
    EXPECT_EQ(ReadWholeFile(RegistryPath()), before);
}

TEST_F(InstallTest, AModuleThatIsGoneDoesntKeepItsRegistration) {
    Install();
    for (const std::string& clsid : {kDriver, kToolkit}) {
        CRegistryKey server;
        server.Create(HKEY_CLASSES_ROOT, "CLSID\\" + clsid + "\\InprocServer32");
        server.WriteText(nullptr, TestFolder() + "/gone.so");
    }
    ASSERT_EQ(Failure(UninstallDevice("0000")), "");
    EXPECT_FALSE(HasClass(kDriver));
    EXPECT_FALSE(HasClass(kToolkit));
}

TEST_F(InstallTest, AFailureLeavesNoDevice) {
    const auto fails = [&](const std::string& driver, const std::string& toolkit,
                           const std::string& words) {
        InstallOptions options = TestInstall();
        options.driverModule = driver;
        options.toolkitModule = toolkit;
        const ScanStatus status = InstallDevice(options);
        EXPECT_NE(status.text.find(words), std::string::npos) << status.text;
        std::vector<InstalledDevice> devices;
        EXPECT_EQ(Failure(ListInstalled(devices)), "");
        EXPECT_TRUE(devices.empty());
        return status.code;
    };
    setenv("NVQ_MODULE_DIR", (TestFolder() + "/modules").c_str(), 1);
    EXPECT_EQ(fails("nvqdrv.so", TEST_TOOLKIT, TestFolder() + "/modules"), CO_E_DLLNOTFOUND);
    unsetenv("NVQ_MODULE_DIR");
    EXPECT_EQ(fails(EMPTY_MODULE, TEST_TOOLKIT, "doesn't export DllRegisterServer"),
              CO_E_ERRORINDLL);
    EXPECT_EQ(fails(TEST_TOOLKIT, TEST_TOOLKIT, "has not registered the driver's class"),
              REGDB_E_CLASSNOTREG);
    WriteWholeFile(RegistryPath(), "scribble");
    std::vector<ScanDeviceInfo> devices;
    EXPECT_EQ(m_client.ListDevices(devices).code, MakeResult(0x800703F1u));
}

// A copy that has kept the class identifier of what it was copied from.
TEST_F(InstallTest, AModuleDoesntTakeTheClassOfAnotherOne) {
    Install();
    const std::string file = RegisteredModule(CLSID_OstrelSimulator);
    const std::string copy = TestFolder() + "/copy.so";
    std::filesystem::copy_file(file, copy);
    InstallOptions options = TestInstall("Second scanner");
    options.toolkitModule = copy;
    const ScanStatus status = InstallDevice(options);
    EXPECT_EQ(status.code, E_INVALIDARG);
    EXPECT_NE(status.text.find("of its own"), std::string::npos) << status.text;
    EXPECT_EQ(RegisteredModule(CLSID_OstrelSimulator), file);
    ASSERT_EQ(Failure(UninstallDevice("0000")), "");
    Install(options);
    EXPECT_EQ(RegisteredModule(CLSID_OstrelSimulator), copy);
}

TEST_F(InstallTest, ADeviceInTheNetworkNeedsItsIdentifier) {
    InstallOptions options = TestInstall();
    options.ioType = 5;
    EXPECT_EQ(InstallDevice(options).code, E_INVALIDARG);
    EXPECT_FALSE(HasClass(kDriver)) << "refused before anything is registered";
    options.networkDeviceId = "scanner.local";
    Install(options);
    EXPECT_EQ(Data().ReadText("NetworkDeviceID"), "scanner.local");
}

}  // namespace
