// What installing writes into the registry, and what removing leaves there.
#include "platform/module.h"
#include "platform/registry_key.h"
#include "service/module_files.h"
#include "tests/service/service_rig.h"

namespace {

class InstallTest : public CServiceTest {
  protected:
    static bool RegistrySays(const std::string& text) {
        return ReadWholeFile(RegistryPath()).find(text) != std::string::npos;
    }
    static bool HasClass(const char* clsid) {
        return RegistrySays("[HKEY_CLASSES_ROOT\\CLSID\\" + std::string(clsid));
    }
};

constexpr const char* kDriver = "{0C3A5327-4FBD-4E6C-BC58-EF03A9B7B981}";
constexpr const char* kToolkit = "{1E0C2B4A-77F1-4B7E-A10F-6C2D54903BE8}";

TEST_F(InstallTest, RemovesAllThatItWroteWithTheLastDeviceThatNeedsIt) {
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT}) {
        CRegistryKey others;
        others.Create(root, "Software\\Norvane\\Other");
        others.WriteText("Kept", "yes");
    }
    const std::string before = ReadWholeFile(RegistryPath());
    Install();
    CRegistryKey data;
    ASSERT_EQ(data.Open(HKEY_LOCAL_MACHINE, DeviceKeyPath("0000") + "\\DeviceData"), ERROR_SUCCESS);
    EXPECT_EQ(data.ReadText("OstrelCLSID"), kToolkit) << "as the module has registered it";
    EXPECT_EQ(data.ReadNumber("LoadSettingsOnce"), std::nullopt) << "the first start is to come";
    EXPECT_TRUE(HasClass(kDriver));
    EXPECT_TRUE(HasClass(kToolkit));

    InstallOptions second = TestInstall("Second scanner");
    Install(second);
    EXPECT_EQ(InstallDevice(second).code, E_INVALIDARG) << "the port has a device";
    EXPECT_EQ(UninstallDevice("").code, E_INVALIDARG) << "never the first by chance";
    EXPECT_EQ(UninstallDevice("Third scanner").code, E_INVALIDARG);
    ASSERT_EQ(Failure(UninstallDevice("Test scanner")), "");
    EXPECT_TRUE(HasClass(kDriver)) << "the other device needs it";
    ASSERT_EQ(Failure(m_client.Open("Second scanner", m_device)), "");
    m_device.Close();
    ASSERT_EQ(Failure(UninstallDevice("0001")), "");
    EXPECT_EQ(ReadWholeFile(RegistryPath()), before);
}

TEST_F(InstallTest, AModuleThatIsGoneDoesntKeepItsRegistration) {
    Install();
    for (const char* clsid : {kDriver, kToolkit}) {
        CRegistryKey server;
        ASSERT_EQ(
            server.Create(HKEY_CLASSES_ROOT, std::string("CLSID\\") + clsid + "\\InprocServer32"),
            ERROR_SUCCESS);
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
    SetDebugStringHook([](LPCSTR) {});
    std::vector<ScanDeviceInfo> devices;
    EXPECT_EQ(m_client.ListDevices(devices).code, MakeResult(0x800703F1u));
    SetDebugStringHook({});
}

TEST_F(InstallTest, ADeviceInTheNetworkNeedsItsIdentifier) {
    InstallOptions options = TestInstall();
    options.ioType = 5;
    const ScanStatus status = InstallDevice(options);
    EXPECT_EQ(status.code, E_INVALIDARG);
    EXPECT_EQ(status.text, "Test scanner: a scanner in the network needs its network identifier");
    EXPECT_FALSE(HasClass(kDriver)) << "refused before anything is registered";
    options.networkDeviceId = "scanner.local";
    Install(options);
    CRegistryKey data;
    ASSERT_EQ(data.Open(HKEY_LOCAL_MACHINE, DeviceKeyPath("0000") + "\\DeviceData"), ERROR_SUCCESS);
    EXPECT_EQ(data.ReadText("NetworkDeviceID"), "scanner.local");
}

TEST_F(InstallTest, RegistryValuesOfTheWrongKindCountAsAbsent) {
    Install();
    CRegistryKey key;
    ASSERT_EQ(key.Open(HKEY_LOCAL_MACHINE, DeviceKeyPath("0000"), KEY_ALL_ACCESS), ERROR_SUCCESS);
    key.WriteNumber("DriverDesc", 5);
    key.WriteText("Capabilities", "1");
    key.WriteText("ProviderName", std::string(10000, 'x'));
    CRegistryKey odd;
    odd.Create(HKEY_LOCAL_MACHINE, DeviceKeyPath("Properties"));
    std::vector<InstalledDevice> devices;
    ASSERT_EQ(Failure(ListInstalled(devices)), "");
    ASSERT_EQ(devices.size(), 1u) << "a key without a number is no device";
    EXPECT_EQ(devices[0].name, "Scanner 0000");
    EXPECT_EQ(devices[0].capabilities, 0u);
    EXPECT_EQ(devices[0].vendor, "");
}

}  // namespace
