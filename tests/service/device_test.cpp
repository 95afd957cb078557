// Devices in use: their drivers, good and bad, and several clients at once.
#include <thread>

#include "platform/registry.h"
#include "platform/registry_key.h"
#include "tests/service/service_rig.h"

namespace {

class Devices : public CServiceTest {
  protected:
    // What opening gives; the text must tell `words`.
    HRESULT OpenFails(const std::string& words) {
        const ScanStatus status = m_client.Open("", m_device);
        EXPECT_NE(status.text.find(words), std::string::npos) << status.text;
        EXPECT_NE(status.text.find("Test scanner"), std::string::npos) << status.text;
        EXPECT_FALSE(m_device.IsOpen());
        EXPECT_EQ(TestScript().m_objects, 0) << "what failed is released";
        return status.code;
    }
};

TEST_F(Devices, AModuleThatIsUselessIsToldInOneLine) {
    EXPECT_EQ(m_client.Open("", m_device).code, MakeResult(0x80070103u)) << "none by itself";
    Install();
    RegDeleteTreeA(HKEY_CLASSES_ROOT, "CLSID");
    EXPECT_EQ(OpenFails("isn't registered"), REGDB_E_CLASSNOTREG);
    CRegistryKey key;
    key.Create(HKEY_LOCAL_MACHINE, DeviceKeyPath("0000"));
    key.WriteText("USDClass", "{no class}");
    EXPECT_EQ(OpenFails("USDClass"), REGDB_E_CLASSNOTREG);
    std::vector<ScanDeviceInfo> devices;
    ASSERT_EQ(Failure(m_client.ListDevices(devices)), "");
    ASSERT_EQ(devices.size(), 1u) << "it is listed all the same";
    EXPECT_NE(devices[0].fault, "");
}

TEST_F(Devices, ADriverThatFailsIsReleasedAndTheNextAttemptHasANewOne) {
    Install();
    TestScript().Fail("Initialize", MakeResult(0x80040003u), 1);
    EXPECT_EQ(OpenFails("not found"), MakeResult(0x80040003u));
    EXPECT_EQ(m_notices, std::vector<std::string>{"the driver reports: no scanner"});
    TestScript().Fail("drvInitializeWia", MakeResult(0x80040006u), 1);
    EXPECT_EQ(OpenFails("in use by another program (the glass is dirty)"), MakeResult(0x80040006u));
    TestScript().Fail("drvInitItemProperties", MakeResult(0x80040007u), 1);
    EXPECT_EQ(OpenFails("the properties of Root"), MakeResult(0x80040007u));
    EXPECT_EQ(TestScript().Count("drvUnInitializeWia"), 1) << "only what had begun is ended";
    EXPECT_EQ(TestScript().m_made, 3);
    ASSERT_EQ(Failure(m_client.Open("", m_device)), "");
    std::vector<ScanCapability> commands;
    EXPECT_EQ(m_device.Commands(commands).code, WIA_ERROR_INVALID_DRIVER_RESPONSE)
        << "three rows, and none of them there";

    CScanDevice second;
    TestScript().Fail("drvInitializeWia", E_FAIL, 1);
    EXPECT_EQ(m_client.Open("", second).code, E_FAIL);
    CPageStore sink;
    EXPECT_EQ(Failure(m_device.Scan("Top", {}, sink)), "") << "who works on it goes on";
    EXPECT_EQ(TestScript().m_made, 4);
}

TEST_F(Devices, ATreeThatIsBuiltAnewReplacesTheOldOne) {
    InstallAndOpen();
    CScanDevice other;
    ASSERT_EQ(Failure(m_client.Open("", other)), "");
    ASSERT_EQ(Failure(m_device.Write("Top", {{WIA_IPS_BRIGHTNESS, 100}})), "");
    ASSERT_EQ(Failure(m_device.Synchronize()), "");
    EXPECT_EQ(TestScript().Count("Free"), 1) << "the driver's memory goes";
    EXPECT_EQ(Number(WIA_IPS_BRIGHTNESS), 0);
    EXPECT_EQ(TestScript().Count("drvInitializeWia") - TestScript().Count("drvUnInitializeWia"), 2)
        << "for two clients";
    EXPECT_EQ(other.Write("Top", {{WIA_IPS_BRIGHTNESS, 100}}).code, WIA_ERROR_ITEM_DELETED);
}

TEST_F(Devices, ClientsOnSeveralThreadsReachTheDriverOneAfterTheOther) {
    Install();
    TestScript().m_sheets = 1000;
    std::atomic<int> inside = 0;  // threads in the driver
    TestScript().m_read = [&](BYTE*) {
        EXPECT_EQ(++inside, 1);
        std::this_thread::yield();
        --inside;
    };
    TestScript().m_validate = [&](BYTE* context) { return TestScript().m_read(context), S_OK; };
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([this, t] {
            for (int i = 0; i < 5; ++i) {
                CScanDevice device;
                CPageStore sink;
                CScanSubscription subscription;
                std::vector<ScanProperty> read;
                const auto ignore = [](const ScanEvent&) {};
                EXPECT_EQ(Failure(m_client.Open("", device)), "");
                EXPECT_EQ(Failure(m_client.Subscribe("", ignore, subscription)), "");
                EXPECT_EQ(Failure(device.Write("Top", {{WIA_IPS_BRIGHTNESS, 10 * t}})), "");
                TestScript().Press(DefaultEvents()[0].guid);
                EXPECT_EQ(Failure(device.Scan("Top", {}, sink)), "");
                EXPECT_EQ(Failure(device.Read("Top", {WIA_IPS_BRIGHTNESS}, read)), "");
                EXPECT_EQ(read.at(0).value, PropertyValue(10 * t));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(TestScript().m_objects, 0);
}

}  // namespace
